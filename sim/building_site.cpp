#include "sim/building_site.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

namespace sim {
namespace {

namespace fs = std::filesystem;

bool belongsToLibrary(const fs::path& entry) {
  const std::string name = entry.filename().string();
  return name == "originals" || name.starts_with("library.sqlite");
}

}  // namespace

BuildingSite::BuildingSite(fs::path folder, int lock) : folder_(std::move(folder)), lock_(lock) {}

BuildingSite::BuildingSite(BuildingSite&& other) noexcept
    : folder_(std::move(other.folder_)), lock_(std::exchange(other.lock_, -1)) {}

BuildingSite::~BuildingSite() {
  if (lock_ >= 0) {
    close(lock_);
  }
}

// Whether the locked folder still has its name: another run may have moved or removed it between
// our opening and our locking it.
bool BuildingSite::isInPlace() const {
  struct stat locked{};
  struct stat named{};
  return fstat(lock_, &locked) == 0 && lstat(folder_.c_str(), &named) == 0 &&
         locked.st_dev == named.st_dev && locked.st_ino == named.st_ino;
}

std::expected<BuildingSite, Error> BuildingSite::claim(const fs::path& library) {
  fs::path folder = library;
  folder.replace_filename("." + library.filename().string() + ".incomplete");
  while (true) {
    std::error_code error;
    fs::create_directory(folder, error);
    if (error) {
      return std::unexpected(failure(folder, error, "check the folder that LIBRARY goes into"));
    }
    const int lock = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (lock < 0) {
      if (errno == ENOENT) {
        continue;
      }
      return std::unexpected(failure(folder, lastSystemError(), "move it out of the way"));
    }
    BuildingSite site(folder, lock);
    if (flock(lock, LOCK_EX | LOCK_NB) != 0) {
      if (errno == EWOULDBLOCK) {
        return std::unexpected(
            failure(library, "another photos-sim is making it", "wait until that one is done"));
      }
      return std::unexpected(failure(folder, lastSystemError()));
    }
    if (site.isInPlace()) {
      return site;
    }
  }
}

std::optional<Error> BuildingSite::clear() const {
  std::error_code error;
  for (auto entry = fs::directory_iterator(folder_, error);
       !error && entry != fs::directory_iterator(); entry.increment(error)) {
    if (!belongsToLibrary(entry->path())) {
      return failure(entry->path(), "is no part of an unfinished library", "move it away");
    }
    fs::remove_all(entry->path(), error);
    if (error) {
      break;
    }
  }
  if (error) {
    return failure(folder_, error, "remove this folder of an interrupted run");
  }
  return std::nullopt;
}

void BuildingSite::remove() const {
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

}  // namespace sim
