#include "sim/new_library.h"

#include <expected>
#include <system_error>
#include <utility>

#include "platform/local/local_identifier.h"
#include "platform/posix/file_handle.h"
#include "sim/building_site.h"

namespace sim {
namespace {

namespace fs = std::filesystem;
using platform::local::LibraryWriter;
using platform::local::Settings;

std::optional<Error> refuseExisting(const fs::path& library) {
  std::error_code ignored;
  if (fs::exists(fs::symlink_status(library, ignored))) {
    return failure(library, "is there already", "remove it or choose another place");
  }
  return std::nullopt;
}

// The writer is gone, and its files closed, before the library moves.
std::optional<Error> build(const fs::path& folder, const Settings& settings,
                           const FillLibrary& fill) {
  auto writer = LibraryWriter::create(folder, settings);
  if (!writer) {
    return std::move(writer.error());
  }
  if (auto error = fill(*writer)) {
    return error;
  }
  return writer->finish();
}

std::optional<Error> moveIntoPlace(const fs::path& folder, const fs::path& library) {
  if (auto error = refuseExisting(library)) {
    return error;
  }
  std::error_code error;
  fs::rename(folder, library, error);
  if (error) {
    return failure(library, error, "choose another place");
  }
  platform::posix::syncFolder(library.parent_path().string());
  return std::nullopt;
}

std::optional<Error> fillPlace(const BuildingSite& site, const fs::path& library,
                               const Settings& settings, const FillLibrary& fill) {
  if (auto error = build(site.folder(), settings, fill)) {
    return error;
  }
  return moveIntoPlace(site.folder(), library);
}

// An absolute path without a slash at its end, so that it has a name and a folder.
std::expected<fs::path, Error> placeOf(const fs::path& library) {
  std::error_code error;
  fs::path place = fs::absolute(library, error);
  if (error || library.empty()) {
    return std::unexpected(Error{"the library's path is empty; name a folder to make"});
  }
  if (!place.has_filename()) {
    place = place.parent_path();
  }
  const fs::path parent = place.parent_path();
  if (!fs::is_directory(parent, error)) {
    return std::unexpected(failure(parent, "is no folder", "make it first"));
  }
  return place;
}

}  // namespace

Settings defaultSettings() {
  Settings settings;
  settings.userLibraryAlbum = platform::local::randomLocalIdentifier();
  return settings;
}

std::optional<Error> makeLibrary(const fs::path& library, const Settings& settings,
                                 const FillLibrary& fill) {
  const auto place = placeOf(library);
  if (!place) {
    return place.error();
  }
  if (auto error = refuseExisting(*place)) {
    return error;
  }
  const auto site = BuildingSite::claim(*place);
  if (!site) {
    return site.error();
  }
  // Not removed when something of a stranger's is in it.
  if (auto error = site->clear()) {
    return error;
  }
  auto error = fillPlace(*site, *place, settings, fill);
  if (error) {
    site->remove();
  }
  return error;
}

}  // namespace sim
