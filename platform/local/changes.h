// Changes of a local library, made as one.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

#include "photos/platform.h"
#include "platform/local/database.h"

namespace platform::local {

/// Collects what a change block asks for, then applies it. One thread, one use.
class Changes : public photos::AssetChangeRequest {
 public:
  struct Outcome {
    bool success = false;
    std::optional<photos::Error> error;
  };

  void deleteAssets(photos::AssetFetchResult& assets) override;

  /// Applies everything in one transaction, or nothing. Assets that move to Recently Deleted keep
  /// their rows and their originals. A library described as refusing deletions refuses.
  /// `identity` is that of the database the assets were fetched from: another one that has taken
  /// its place is not touched.
  [[nodiscard]] Outcome apply(const std::filesystem::path& library,
                              const std::optional<FileIdentity>& identity) const;

 private:
  std::vector<std::int64_t> deletedRows_;
};

}  // namespace platform::local
