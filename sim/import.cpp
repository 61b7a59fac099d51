#include "sim/import.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/local/library_writer.h"
#include "sim/existing_library.h"
#include "sim/folder_scan.h"
#include "sim/importer.h"
#include "sim/new_library.h"
#include "sim/progress_bar.h"

namespace sim {
namespace {

namespace fs = std::filesystem;
using platform::local::LibraryWriter;

std::string counted(std::size_t count, const std::string& one, const std::string& many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

void summarize(const ImportCount& added) {
  say("added " + counted(added.assets, "asset", "assets") + " and " +
      counted(added.files, "file", "files") + "; " + counted(added.held, "file", "files") +
      " already in the library" + (added.held > 0 ? ", Recently Deleted included" : ""));
}

void list(const std::vector<fs::path>& paths, const std::string& one, const std::string& many) {
  if (!paths.empty()) {
    say(counted(paths.size(), one, many) + " left out:");
  }
  for (const fs::path& path : paths) {
    sayBelow(path.string());
  }
}

void listLeftOut(const FolderScan& scan) {
  list(scan.unknownKind, "file of unknown kind", "files of unknown kind");
  list(scan.adjustmentsAlone, "adjustment file without its photo",
       "adjustment files without their photos");
  list(scan.folderLinks, "link to a folder", "links to folders");
}

std::optional<Error> listUnreadable(const std::vector<Error>& unreadable) {
  if (unreadable.empty()) {
    return std::nullopt;
  }
  const std::string what = counted(unreadable.size(), "file or folder", "files and folders");
  say(what + " not imported:");
  for (const Error& error : unreadable) {
    sayBelow(error.localizedDescription);
  }
  return Error{what + " could not be read; make what is named above readable and import again"};
}

bool isInside(const fs::path& path, const fs::path& folder) {
  return std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first ==
         folder.end();
}

// The library's own files are nobody's photos.
std::optional<Error> refuseOverlap(const fs::path& library, std::span<const fs::path> folders) {
  std::error_code error;
  // A library that is new has no folder yet: what is there of its path is made canonical.
  fs::path own = fs::weakly_canonical(fs::absolute(library, error), error);
  if (!own.has_filename()) {
    own = own.parent_path();
  }
  for (const fs::path& folder : folders) {
    const fs::path source = fs::canonical(folder, error);
    if (isInside(own, source) || isInside(source, own)) {
      return failure(folder, "the library and this folder are one inside the other",
                     "keep the library elsewhere");
    }
  }
  return std::nullopt;
}

std::optional<Error> makeIfNew(const fs::path& library) {
  std::error_code ignored;
  if (fs::exists(fs::symlink_status(library, ignored))) {
    return std::nullopt;
  }
  return makeLibrary(library, defaultSettings(),
                     [](LibraryWriter&) { return std::optional<Error>(); });
}

}  // namespace

std::optional<Error> importFolders(const fs::path& library, std::span<const fs::path> folders) {
  if (auto error = checkFolders(folders)) {
    return error;
  }
  if (auto error = refuseOverlap(library, folders)) {
    return error;
  }
  if (auto error = makeIfNew(library)) {
    return error;
  }
  auto writer = openLibrary(library);
  if (!writer) {
    return std::move(writer.error());
  }
  FolderScan scan = scanFolders(folders);
  Importer importer(*writer);
  std::optional<Error> stopped;
  {
    ProgressBar progress(scan.groups.size());
    for (auto group = scan.groups.begin(); group != scan.groups.end() && !stopped; ++group) {
      stopped = importer.add(*group);
      progress.advance();
    }
  }
  summarize(importer.count());
  if (stopped) {
    return stopped;
  }
  listLeftOut(scan);
  std::vector<Error> unreadable = std::move(scan.unreadable);
  unreadable.insert(unreadable.end(), importer.unreadable().begin(), importer.unreadable().end());
  return listUnreadable(unreadable);
}

}  // namespace sim
