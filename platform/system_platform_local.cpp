#include <pwd.h>
#include <unistd.h>

#include <array>
#include <filesystem>

#include "platform/local/local_platform.h"
#include "platform/system_platform.h"

namespace platform {
namespace {

/// Empty when the user has no entry.
std::filesystem::path homeFolder() {
  constexpr std::size_t longestEntry = 65536;
  std::array<char, longestEntry> text{};
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, text.data(), text.size(), &found) != 0 || found == nullptr) {
    return {};
  }
  return entry.pw_dir;
}

}  // namespace

std::unique_ptr<photos::Platform> makeSystemPlatform() {
  return std::make_unique<local::LocalPlatform>(homeFolder() / "Pictures" / "Photos Library");
}

}  // namespace platform
