#include "platform/local/destination.h"

#include <dirent.h>
#include <sys/stat.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>

#include "library/originals.h"

namespace platform::local {
namespace {

namespace fs = std::filesystem;
using library::FileIdentity;
using library::identityOf;

/// Whether one of the files below the folder is this one. A folder that can't be read, for want of
/// descriptors for instance, may hold it. The iterators of std::filesystem would abort where there
/// is no memory.
bool holds(const fs::path& folder, const FileIdentity& file) {
  const std::unique_ptr<DIR, int (*)(DIR*)> opened(opendir(folder.c_str()), closedir);
  if (!opened) {
    return errno != ENOENT;
  }
  errno = 0;
  while (const dirent* const entry = readdir(opened.get())) {
    const std::string_view name = entry->d_name;
    const fs::path path = folder / name;
    struct stat status{};
    const bool isFolder = lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
    if (identityOf(path) == file ||
        (isFolder && name != "." && name != ".." && holds(path, file))) {
      return true;
    }
    errno = 0;
  }
  return errno != 0;
}

}  // namespace

bool DestinationGuard::leadsInto(const std::string& path) const {
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
      const FileIdentity file{.device = status.st_dev, .node = status.st_ino};
      const bool hasOtherNames = S_ISREG(status.st_mode) && status.st_nlink > 1;
      // The database in the folder may itself be a link to a file elsewhere.
      return file == identityOf(library::databaseFile(folder_)) ||
             (hasOtherNames && holds(folder_, file));
    }
    std::error_code error;
    target = folder / fs::read_symlink(target, error);
  }
  return false;
}

bool DestinationGuard::isInside(const std::string& folder) const {
  const auto own = identityOf(folder_);
  const auto originals = identityOf(library::originalsFolder(folder_));
  // Compared by device and inode: a folder may have several paths. The root is its own parent.
  std::optional<FileIdentity> below;
  for (std::string place = folder; own; place += "/..") {
    const auto identity = identityOf(place);
    if (!identity || identity == below) {
      return false;
    }
    if (identity == own || identity == originals) {
      return true;
    }
    below = identity;
  }
  return false;
}

}  // namespace platform::local
