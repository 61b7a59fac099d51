// The library's objects as handlers see them, and the results of fetches.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "photos/platform.h"
#include "platform/local/served_library.h"

namespace platform::local {

/// What is read of the asset later agrees with the fetch that it came from.
class LocalAsset : public photos::Asset {
 public:
  LocalAsset(std::shared_ptr<Snapshot> snapshot, library::AssetRow row)
      : snapshot_(std::move(snapshot)), row_(std::move(row)) {}

  [[nodiscard]] const std::shared_ptr<Snapshot>& snapshot() const { return snapshot_; }
  [[nodiscard]] const library::AssetRow& row() const { return row_; }

  [[nodiscard]] std::string localIdentifier() const override { return row_.asset.localIdentifier; }
  [[nodiscard]] photos::AssetMediaType mediaType() const override {
    return photos::AssetMediaType{row_.asset.mediaType};
  }
  [[nodiscard]] std::optional<photos::Date> creationDate() const override {
    return row_.asset.creationDate;
  }
  [[nodiscard]] std::optional<photos::Date> modificationDate() const override {
    return row_.asset.modificationDate;
  }

 private:
  std::shared_ptr<Snapshot> snapshot_;
  library::AssetRow row_;
};

class LocalResource : public photos::AssetResource {
 public:
  LocalResource(std::shared_ptr<Snapshot> snapshot, library::ResourceRow row)
      : snapshot_(std::move(snapshot)), row_(std::move(row)) {}

  [[nodiscard]] Snapshot& snapshot() const { return *snapshot_; }
  [[nodiscard]] const library::ResourceRow& row() const { return row_; }

  [[nodiscard]] photos::AssetResourceType type() const override { return row_.type; }
  [[nodiscard]] std::string originalFilename() const override { return row_.originalFilename; }

 private:
  std::shared_ptr<Snapshot> snapshot_;
  library::ResourceRow row_;
};

/// A result of a fetch of assets.
class LocalAssets : public photos::AssetFetchResult {
 public:
  explicit LocalAssets(std::shared_ptr<Snapshot> snapshot) : snapshot_(std::move(snapshot)) {}

  /// The row of the asset at `index`, which is less than count().
  [[nodiscard]] virtual std::int64_t row(std::size_t index) = 0;

  [[nodiscard]] const std::shared_ptr<Snapshot>& snapshot() const { return snapshot_; }

 protected:
  [[nodiscard]] std::unique_ptr<photos::Asset> assetOfRow(std::int64_t row) const;

 private:
  std::shared_ptr<Snapshot> snapshot_;
};

/// All assets in fetch order, read as far as they are asked for.
class OrderedAssets : public LocalAssets {
 public:
  OrderedAssets(std::shared_ptr<Snapshot> snapshot, const photos::FetchOptions& options)
      : LocalAssets(std::move(snapshot)), before_(options.creationDateBefore) {}

  [[nodiscard]] std::size_t count() override;
  [[nodiscard]] std::int64_t row(std::size_t index) override;
  [[nodiscard]] std::unique_ptr<photos::Asset> objectAtIndex(std::size_t index) override;
  [[nodiscard]] std::optional<std::size_t> indexOfAsset(const photos::AssetFilter& filter,
                                                        std::size_t index,
                                                        std::uint64_t skipped) override;

 private:
  /// Where the result ends, as far as the order has been read.
  [[nodiscard]] std::size_t end() const;
  /// Reads on; false when the whole result has been read.
  [[nodiscard]] bool readMore();

  std::optional<photos::Date> before_;
  /// The assets last read, and where the first of them is in the result.
  using Run = std::vector<library::AssetRow>;
  Run run_;
  std::size_t runBegin_ = 0;
};

/// The assets in given rows. Without rows the snapshot may be null.
class AssetsOfRows : public LocalAssets {
 public:
  AssetsOfRows(std::shared_ptr<Snapshot> snapshot, std::vector<std::int64_t> rows)
      : LocalAssets(std::move(snapshot)), rows_(std::move(rows)) {}

  [[nodiscard]] std::size_t count() override { return rows_.size(); }
  [[nodiscard]] std::int64_t row(std::size_t index) override { return rows_[index]; }
  [[nodiscard]] std::unique_ptr<photos::Asset> objectAtIndex(std::size_t index) override {
    return assetOfRow(rows_[index]);
  }

 private:
  std::vector<std::int64_t> rows_;
};

class LocalAlbum : public photos::AssetCollection {
 public:
  explicit LocalAlbum(std::string localIdentifier) : localIdentifier_(std::move(localIdentifier)) {}

  [[nodiscard]] std::string localIdentifier() const override { return localIdentifier_; }

 private:
  std::string localIdentifier_;
};

/// The album of that identifier, or none.
class LocalAlbums : public photos::AssetCollectionFetchResult {
 public:
  explicit LocalAlbums(std::optional<std::string> localIdentifier)
      : localIdentifier_(std::move(localIdentifier)) {}

  [[nodiscard]] std::size_t count() override { return localIdentifier_ ? 1 : 0; }
  [[nodiscard]] std::unique_ptr<photos::AssetCollection> objectAtIndex(
      std::size_t /*index*/) override {
    return std::make_unique<LocalAlbum>(*localIdentifier_);
  }

 private:
  std::optional<std::string> localIdentifier_;
};

}  // namespace platform::local
