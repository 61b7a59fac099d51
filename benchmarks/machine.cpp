#include <sys/utsname.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <string>

#include "benchmarks/report.h"

namespace benchmarks {
namespace {

std::string processor() {
  std::ifstream file("/proc/cpuinfo");
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("model name")) {
      return line.substr(line.find(':') + 2);
    }
  }
  return "unknown processor";
}

std::string compiler() {
#ifdef __clang__
  return "clang++ " + std::to_string(__clang_major__) + '.' + std::to_string(__clang_minor__);
#else
  return "g++ " + std::to_string(__GNUC__) + '.' + std::to_string(__GNUC_MINOR__);
#endif
}

}  // namespace

std::string machine() {
  constexpr std::int64_t gibi = 1LL << 30;
  utsname system{};
  uname(&system);
  const std::int64_t memory = sysconf(_SC_PHYS_PAGES) * sysconf(_SC_PAGESIZE);
  return processor() + ", " + std::to_string(sysconf(_SC_NPROCESSORS_ONLN)) + " cores, " +
         std::to_string((memory + gibi / 2) / gibi) + " GiB, " + system.sysname + ' ' +
         system.release + ", " + compiler();
}

}  // namespace benchmarks
