#include "sim/new_library.h"

#include <expected>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "library/local_identifier.h"
#include "platform/posix/files.h"
#include "sim/message.h"
#include "sim/temporary_folder.h"

namespace sim {
namespace {

namespace fs = std::filesystem;
using library::Error;
using library::Result;

std::string incompletePrefix(const fs::path& place) {
  return "." + place.filename().string() + ".incomplete-";
}

Result refuseExisting(const fs::path& place) {
  std::error_code ignored;
  if (fs::exists(fs::symlink_status(place, ignored))) {
    return std::unexpected(failure(place, "is there already", "remove it or choose another place"));
  }
  return {};
}

/// The folders that are missing on the way to a place. The destructor removes those that are there
/// and empty.
class MissingFolders {
 public:
  explicit MissingFolders(const fs::path& place) {
    std::error_code error;
    for (fs::path folder = place.parent_path(); !fs::exists(folder, error) && !error;
         folder = folder.parent_path()) {
      missing_.push_back(folder);
    }
  }
  MissingFolders(const MissingFolders&) = delete;
  MissingFolders& operator=(const MissingFolders&) = delete;
  ~MissingFolders() {
    std::error_code ignored;
    for (const fs::path& folder : missing_) {
      fs::remove(folder, ignored);
    }
  }

 private:
  std::vector<fs::path> missing_;
};

/// The absolute path, without a slash at its end.
std::expected<fs::path, Error> preparedPlace(const fs::path& place) {
  std::error_code error;
  fs::path prepared = fs::absolute(place, error);
  if (error || place.empty()) {
    return std::unexpected(
        Error{"the library's path is empty, or the working folder is gone; name a folder to make"});
  }
  if (!prepared.has_filename()) {
    prepared = prepared.parent_path();
  }
  return prepared;
}

Result moveIntoPlace(const fs::path& made, const fs::path& place) {
  // Somebody else may have made something there meanwhile.
  if (Result free = refuseExisting(place); !free) {
    return free;
  }
  platform::posix::syncFolder(made.string());
  std::error_code error;
  fs::rename(made, place, error);
  if (error) {
    return std::unexpected(failure(place, error, "choose another place"));
  }
  platform::posix::syncFolder(place.parent_path().string());
  return {};
}

void nameWhatIsLeft(const fs::path& place) {
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(place.parent_path(), ignored)) {
    if (entry.path().filename().string().starts_with(incompletePrefix(place))) {
      say(entry.path().string() +
          ": left by a run that was killed, unless one is at work now; remove it");
    }
  }
}

}  // namespace

library::Settings defaultSettings() {
  return {.userLibraryAlbum = library::randomLocalIdentifier()};
}

Result makeLibrary(const fs::path& place, const library::Settings& settings, const Fill& fill) {
  const auto prepared = preparedPlace(place);
  if (!prepared) {
    return std::unexpected(prepared.error());
  }
  if (Result free = refuseExisting(*prepared); !free) {
    return free;
  }
  const MissingFolders missing(*prepared);
  std::error_code error;
  fs::create_directories(prepared->parent_path(), error);
  if (error) {
    return std::unexpected(failure(prepared->parent_path(), error, "choose another place"));
  }
  Result made;
  {
    const TemporaryFolder site(prepared->parent_path() / incompletePrefix(*prepared));
    // A folder in the private one: the library gets the permissions of any new folder of the
    // user's.
    const fs::path folder = site.path() / "library";
    if (!site.isThere() || !fs::create_directory(folder, error)) {
      return std::unexpected(failure(site.path(), error ? error : lastSystemError(),
                                     "check the folder that LIBRARY goes into"));
    }
    made = library::Library::make(folder, settings, [&](library::Library& library) -> Result {
      const auto originals = library::Originals::lock(folder);
      return originals ? fill(library, *originals) : std::unexpected(originals.error());
    });
    if (made) {
      made = moveIntoPlace(folder, *prepared);
    }
  }
  nameWhatIsLeft(*prepared);
  return made;
}

}  // namespace sim
