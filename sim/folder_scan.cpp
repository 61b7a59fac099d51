#include "sim/folder_scan.h"

#include <algorithm>
#include <set>
#include <string>
#include <system_error>
#include <utility>

namespace sim {
namespace {

namespace fs = std::filesystem;

class Scanner {
 public:
  void scan(const fs::path& folder) {
    std::error_code error;
    if (!seen_.insert(fs::canonical(folder, error)).second && !error) {
      return;
    }
    std::vector<std::string> names;
    std::vector<fs::path> inner;
    for (const auto& entry : entriesOf(folder)) {
      // An entry that has been removed meanwhile counts as one of no known kind.
      const fs::file_status status = entry.symlink_status(error);
      if (fs::is_symlink(status)) {
        scan_.links.push_back(entry.path());
      } else if (fs::is_directory(status)) {
        inner.push_back(entry.path());
      } else if (fs::is_regular_file(status)) {
        names.push_back(entry.path().filename().string());
      } else {
        scan_.unknownKind.push_back(entry.path());
      }
    }
    group(folder, std::move(names));
    std::ranges::for_each(inner, [this](const fs::path& each) { scan(each); });
  }

  FolderScan result() && { return std::move(scan_); }

 private:
  std::vector<fs::directory_entry> entriesOf(const fs::path& folder) {
    std::vector<fs::directory_entry> entries;
    std::error_code error;
    for (auto entry = fs::directory_iterator(folder, error);
         !error && entry != fs::directory_iterator(); entry.increment(error)) {
      entries.push_back(*entry);
    }
    if (error) {
      scan_.unreadable.push_back(failure(folder, error));
    }
    std::ranges::sort(entries);
    return entries;
  }

  void group(const fs::path& folder, std::vector<std::string> names) {
    GroupedFiles grouped = groupFiles(std::move(names));
    for (MediaGroup& media : grouped.groups) {
      scan_.groups.push_back({folder, std::move(media)});
    }
    for (const std::string& name : grouped.unknownKind) {
      scan_.unknownKind.push_back(folder / name);
    }
    for (const std::string& name : grouped.adjustmentsAlone) {
      scan_.adjustmentsAlone.push_back(folder / name);
    }
  }

  FolderScan scan_;
  std::set<fs::path> seen_;
};

}  // namespace

FolderScan scanFolders(std::span<const fs::path> folders) {
  Scanner scanner;
  std::ranges::for_each(folders, [&](const fs::path& folder) { scanner.scan(folder); });
  return std::move(scanner).result();
}

}  // namespace sim
