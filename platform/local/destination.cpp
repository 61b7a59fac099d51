#include "platform/local/destination.h"

#include <sys/stat.h>

#include <system_error>

namespace platform::local {
namespace {

namespace fs = std::filesystem;
using library::FileIdentity;

std::optional<FileIdentity> identityOf(const fs::path& path) {
  struct stat status{};
  return stat(path.c_str(), &status) == 0
             ? std::optional(FileIdentity{.device = status.st_dev, .node = status.st_ino})
             : std::nullopt;
}

/// Whether one of the files below the folder is this one. What can't be looked at, for want of
/// descriptors for instance, may hold it.
bool holds(const fs::path& folder, const FileIdentity& file) {
  std::error_code error;
  for (fs::recursive_directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    if (identityOf(entry->path()) == file) {
      return true;
    }
  }
  return error && error != std::errc::no_such_file_or_directory;
}

}  // namespace

bool DestinationGuard::leadsInto(const std::string& path) {
  constexpr int mostLinks = 40;  // as the system has it
  fs::path target = path;
  for (int link = 0; link < mostLinks; ++link) {
    const fs::path folder = target.has_parent_path() ? target.parent_path() : ".";
    if (isInside(folder)) {
      return true;
    }
    struct stat status{};
    if (lstat(target.c_str(), &status) != 0) {
      return false;
    }
    if (!S_ISLNK(status.st_mode)) {
      const bool hasOtherNames = S_ISREG(status.st_mode) && status.st_nlink > 1;
      return hasOtherNames && holds(folder_, {.device = status.st_dev, .node = status.st_ino});
    }
    std::error_code error;
    target = folder / fs::read_symlink(target, error);
  }
  return false;
}

bool DestinationGuard::isInside(const fs::path& folder) {
  const auto identity = identityOf(folder);
  if (!identity || identity == outside_) {
    return false;
  }
  const auto own = identityOf(folder_);
  std::error_code error;
  // Compared by device and inode: a folder may have several paths.
  for (fs::path place = fs::canonical(folder, error); own && !error; place = place.parent_path()) {
    if (identityOf(place) == own) {
      return true;
    }
    if (!place.has_relative_path()) {
      break;
    }
  }
  outside_ = identity;
  return false;
}

}  // namespace platform::local
