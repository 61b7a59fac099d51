#include "sim/recorder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utf8.h>

#include <array>
#include <boost/json/serialize.hpp>
#include <boost/json/value.hpp>
#include <chrono>
#include <cstdio>
#include <new>
#include <string>
#include <utility>

namespace sim {
namespace {

/// What every record begins with.
constexpr std::string_view beginning = R"({"at":)";

/// The text as a JSON string; what is not UTF-8 is replaced by U+FFFD.
std::string quoted(std::string_view text) {
  return boost::json::serialize(boost::json::value(utf8::replace_invalid(text)));
}

}  // namespace

std::expected<std::unique_ptr<Recorder>, Error> Recorder::open(const std::filesystem::path& file,
                                                               std::string_view library) {
  const int descriptor = ::open(file.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  struct stat status{};
  if (descriptor < 0 || fstat(descriptor, &status) != 0) {
    return std::unexpected(failure(file, lastSystemError(), "name a file you may write to"));
  }
  std::unique_ptr<Recorder> recorder(new Recorder(file, descriptor));
  std::array<char, beginning.size()> found{};
  char last = '\n';
  if (status.st_size > 0 && (pread(descriptor, found.data(), found.size(), 0) < 0 ||
                             pread(descriptor, &last, 1, status.st_size - 1) < 0 ||
                             std::string_view(found.data(), found.size()) != beginning)) {
    return std::unexpected(failure(file, "is no record", "name a new file"));
  }
  // A server that was killed may have left half a line.
  if (last != '\n' && write(descriptor, "\n", 1) < 0) {
    return std::unexpected(failure(file, lastSystemError()));
  }
  if (const Result begun = recorder->record("serves", quoted(library)); !begun) {
    return std::unexpected(begun.error());
  }
  return recorder;
}

Recorder::~Recorder() { stop(); }

void Recorder::received(std::string_view line) noexcept { recordOrStop("request", line); }

void Recorder::answered(std::string_view line) noexcept { recordOrStop("answer", line); }

void Recorder::recordOrStop(std::string_view key, std::string_view line) noexcept {
  try {
    // An answer is JSON already.
    const Result recorded = descriptor_ < 0
                                ? Result()
                                : record(key, key == "answer" ? std::string(line) : quoted(line));
    if (!recorded) {
      stop();
      say(recorded.error().localizedDescription + "; the record ends here, the session goes on");
    }
  } catch (const std::bad_alloc&) {
    stop();
    std::fputs("photos-sim: no memory for the record, which ends here\n", stderr);
  }
}

Result Recorder::record(std::string_view key, std::string_view value) const {
  using namespace std::chrono;
  constexpr int inSecond = 1000;
  const auto moment = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
  const std::string fraction = std::to_string(inSecond + moment % inSecond);
  std::string line(beginning);
  line.append(std::to_string(moment / inSecond)).append(".").append(fraction, 1);
  line.append(R"(,"server":)").append(std::to_string(getpid()));
  line.append(R"(,")").append(key).append(R"(":)").append(value).append("}\n");
  // In one piece: other servers may append to the same record.
  const ssize_t written = write(descriptor_, line.data(), line.size());
  if (written < 0) {
    return std::unexpected(failure(file_, lastSystemError()));
  }
  return std::cmp_equal(written, line.size())
             ? Result()
             : std::unexpected(failure(file_, "a line was written in part"));
}

void Recorder::stop() {
  if (descriptor_ >= 0) {
    close(std::exchange(descriptor_, -1));
  }
}

}  // namespace sim
