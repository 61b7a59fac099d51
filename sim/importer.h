// Adds groups of files to a library, one asset after another.
#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <optional>
#include <vector>

#include "platform/local/library_writer.h"
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
  explicit Importer(platform::local::LibraryWriter& library) : library_(library) {}

  /// Adds the group's asset, or what is new of it, as a whole. Files that can't be read are noted
  /// and passed over. Fails when the library can't take it: nothing of the group is added then.
  std::optional<Error> add(const FolderGroup& group);

  [[nodiscard]] const ImportCount& count() const { return total_; }
  /// What could not be read, and what was not added because it belongs to that.
  [[nodiscard]] const std::vector<Error>& unreadable() const { return unreadable_; }

 private:
  using Resources = std::vector<platform::local::NewResource>;

  std::expected<Resources, Error> store(const FolderGroup& group);
  std::expected<ImportCount, Error> addRows(const FolderGroup& group, Resources resources);
  std::expected<ImportCount, Error> addMissing(std::int64_t asset, const Resources& resources);

  platform::local::LibraryWriter& library_;
  ImportCount total_;
  std::vector<Error> unreadable_;
};

}  // namespace sim
