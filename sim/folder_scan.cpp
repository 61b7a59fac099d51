#include "sim/folder_scan.h"

#include <algorithm>
#include <set>
#include <system_error>
#include <utility>

namespace sim {
namespace {

namespace fs = std::filesystem;

std::vector<fs::path> inFolder(const fs::path& folder, std::vector<std::string> names) {
  std::vector<fs::path> paths;
  paths.reserve(names.size());
  for (std::string& name : names) {
    paths.push_back(folder / std::move(name));
  }
  return paths;
}

void append(std::vector<fs::path>& all, std::vector<fs::path> more) {
  std::move(more.begin(), more.end(), std::back_inserter(all));
}

class Scanner {
 public:
  void scan(const fs::path& folder);
  FolderScan result() && { return std::move(scan_); }

 private:
  std::vector<fs::directory_entry> entriesOf(const fs::path& folder);
  // Adds a file's name to `names` or a folder's path to `folders`, or notes what else it is.
  void sort(const fs::directory_entry& entry, std::vector<std::string>& names,
            std::vector<fs::path>& folders);
  void group(const fs::path& folder, std::vector<std::string> names);

  FolderScan scan_;
  std::set<fs::path> seen_;
};

void Scanner::scan(const fs::path& folder) {
  std::error_code error;
  if (!seen_.insert(fs::canonical(folder, error)).second && !error) {
    return;
  }
  std::vector<std::string> names;
  std::vector<fs::path> folders;
  for (const auto& entry : entriesOf(folder)) {
    sort(entry, names, folders);
  }
  group(folder, std::move(names));
  for (const auto& inner : folders) {
    scan(inner);
  }
}

std::vector<fs::directory_entry> Scanner::entriesOf(const fs::path& folder) {
  std::vector<fs::directory_entry> entries;
  std::error_code error;
  for (auto entry = fs::directory_iterator(folder, error);
       !error && entry != fs::directory_iterator(); entry.increment(error)) {
    entries.push_back(*entry);
  }
  if (error) {
    scan_.unreadable.push_back(failure(folder, error));
  }
  std::sort(entries.begin(), entries.end());
  return entries;
}

void Scanner::sort(const fs::directory_entry& entry, std::vector<std::string>& names,
                   std::vector<fs::path>& folders) {
  std::error_code error;
  const fs::file_status status = entry.status(error);
  if (!fs::status_known(status) || !fs::exists(status)) {
    // A link that leads nowhere has no error of its own.
    const auto reason = error ? error : std::make_error_code(std::errc::no_such_file_or_directory);
    scan_.unreadable.push_back(failure(entry.path(), reason));
  } else if (fs::is_regular_file(status)) {
    names.push_back(entry.path().filename().string());
  } else if (!fs::is_directory(status)) {
    scan_.unknownKind.push_back(entry.path());
  } else if (entry.is_symlink(error)) {
    scan_.folderLinks.push_back(entry.path());
  } else {
    folders.push_back(entry.path());
  }
}

void Scanner::group(const fs::path& folder, std::vector<std::string> names) {
  GroupedFiles grouped = groupFiles(std::move(names));
  for (MediaGroup& media : grouped.groups) {
    scan_.groups.push_back({folder, std::move(media)});
  }
  append(scan_.unknownKind, inFolder(folder, std::move(grouped.unknownKind)));
  append(scan_.adjustmentsAlone, inFolder(folder, std::move(grouped.adjustmentsAlone)));
}

}  // namespace

std::optional<Error> checkFolders(std::span<const fs::path> folders) {
  for (const fs::path& folder : folders) {
    std::error_code error;
    const fs::directory_iterator entries(folder, error);
    if (error) {
      return failure(folder, error, "name a folder that you may read");
    }
  }
  return std::nullopt;
}

FolderScan scanFolders(std::span<const fs::path> folders) {
  Scanner scanner;
  for (const fs::path& folder : folders) {
    scanner.scan(folder);
  }
  return std::move(scanner).result();
}

}  // namespace sim
