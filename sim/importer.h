// Adds groups of files to a library, one asset after another.
#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <vector>

#include "library/library.h"
#include "library/originals.h"
#include "sim/folder_scan.h"
#include "sim/message.h"

namespace sim {

struct ImportCount {
  std::size_t assets = 0;
  std::size_t files = 0;
  /// Files whose bytes the library held already.
  std::size_t held = 0;
};

class Importer {
 public:
  Importer(library::Library& library, const library::Originals& originals)
      : library_(library), originals_(originals) {}

  /// Adds the group's asset, or what is new of it, as a whole. Files that can't be read are noted
  /// and passed over. Fails when the library can't take it: nothing of the group is added then.
  [[nodiscard]] Result add(const FolderGroup& group);

  [[nodiscard]] const ImportCount& count() const { return total_; }
  /// What could not be read, and what was not added because it belongs to that.
  [[nodiscard]] const std::vector<Error>& unreadable() const { return unreadable_; }

 private:
  using Resources = std::vector<library::Resource>;

  std::expected<Resources, Error> store(const FolderGroup& group);
  Result addRows(const FolderGroup& group, const Resources& resources, ImportCount& count);

  library::Library& library_;
  const library::Originals& originals_;
  ImportCount total_;
  std::vector<Error> unreadable_;
};

}  // namespace sim
