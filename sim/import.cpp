#include "sim/import.h"

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "sim/existing_library.h"
#include "sim/folder_scan.h"
#include "sim/importer.h"
#include "sim/message.h"
#include "sim/new_library.h"

namespace sim {
namespace {

namespace fs = std::filesystem;

/// A bar on standard error that shows how far the import has come. It is drawn on a terminal only,
/// and gone when the object is destroyed.
class ProgressBar {
 public:
  explicit ProgressBar(std::size_t total)
      : total_(total), isVisible_(total > 0 && isatty(STDERR_FILENO) != 0) {}
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  ~ProgressBar() {
    if (isVisible_) {
      std::cerr << "\r\033[K";
    }
  }

  void advance() {
    ++done_;
    const std::size_t percent = done_ * 100 / total_;
    if (!isVisible_ || percent == shownPercent_) {
      return;
    }
    shownPercent_ = percent;
    std::string bar(percent * 2 / 5, '#');
    bar.resize(40, '.');
    std::cerr << "\r[" + bar + "] " + std::to_string(done_) + " of " + std::to_string(total_);
  }

 private:
  std::size_t total_;
  std::size_t done_ = 0;
  std::size_t shownPercent_ = 0;
  bool isVisible_;
};

void list(const std::vector<fs::path>& paths, const std::string& one, const std::string& many) {
  if (!paths.empty()) {
    say(counted(paths.size(), one, many) + " left out:");
  }
  for (const fs::path& path : paths) {
    sayBelow(path.string());
  }
}

Result listUnreadable(const std::vector<Error>& unreadable) {
  if (unreadable.empty()) {
    return {};
  }
  const std::string what = counted(unreadable.size(), "file or folder", "files and folders");
  say(what + " not imported:");
  for (const Error& error : unreadable) {
    sayBelow(error.localizedDescription);
  }
  return std::unexpected(
      Error{what + " could not be read; make what is named above readable and import again"});
}

bool isInside(const fs::path& path, const fs::path& folder) {
  return std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first ==
         folder.end();
}

/// Fails when a folder can't be read, or when it holds the library or is in it.
Result checkFolders(const fs::path& library, std::span<const fs::path> folders) {
  std::error_code error;
  // A library that is new has no folder yet: what is there of its path is made canonical.
  fs::path own = fs::weakly_canonical(fs::absolute(library, error), error);
  if (!own.has_filename()) {
    own = own.parent_path();
  }
  for (const fs::path& folder : folders) {
    const fs::directory_iterator entries(folder, error);
    if (error) {
      return std::unexpected(failure(folder, error, "name a folder that you may read"));
    }
    const fs::path source = fs::canonical(folder, error);
    if (isInside(own, source) || isInside(source, own)) {
      return std::unexpected(failure(folder, "the library and this folder are one inside the other",
                                     "keep the library elsewhere"));
    }
  }
  return {};
}

/// Makes an empty library where nothing is yet.
Result makeIfNew(const fs::path& library) {
  std::error_code ignored;
  const auto isThere = [&] { return fs::exists(fs::symlink_status(library, ignored)); };
  if (isThere()) {
    return {};
  }
  const Result made =
      makeLibrary(library, defaultSettings(), [](auto&, auto&) { return Result(); });
  // Another import may have made it meanwhile.
  return isThere() ? Result() : made;
}

}  // namespace

Result importFolders(const fs::path& place, std::span<const fs::path> folders) {
  Result ready = checkFolders(place, folders);
  if (ready) {
    ready = makeIfNew(place);
  }
  if (!ready) {
    return ready;
  }
  auto library = openLibrary(place);
  if (!library) {
    return std::unexpected(std::move(library.error()));
  }
  const auto originals = library::Originals::lock(place);
  if (!originals) {
    return std::unexpected(originals.error());
  }
  FolderScan scan = scanFolders(folders);
  Importer importer(*library, *originals);
  Result added;
  {
    ProgressBar progress(scan.groups.size());
    for (auto group = scan.groups.begin(); added && group != scan.groups.end(); ++group) {
      added = importer.add(*group);
      progress.advance();
    }
  }
  const ImportCount& count = importer.count();
  say("added " + counted(count.assets, "asset") + " and " + counted(count.files, "file") + "; " +
      counted(count.held, "file") + " already in the library" +
      (count.held > 0 ? ", Recently Deleted included" : ""));
  if (!added) {
    return added;
  }
  list(scan.unknownKind, "file of unknown kind", "files of unknown kind");
  list(scan.adjustmentsAlone, "adjustment file without its photo",
       "adjustment files without their photos");
  list(scan.links, "link", "links");
  std::vector<Error> unreadable = std::move(scan.unreadable);
  unreadable.insert(unreadable.end(), importer.unreadable().begin(), importer.unreadable().end());
  return listUnreadable(unreadable);
}

}  // namespace sim
