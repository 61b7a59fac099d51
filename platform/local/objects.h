// The library's objects as handlers see them.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "photos/platform.h"
#include "platform/local/connection.h"

namespace platform::local {

/// Keeps the library as it was at the fetch: what is read next about the asset agrees with it.
class LocalAsset : public photos::Asset {
 public:
  LocalAsset(std::shared_ptr<Connection::Snapshot> snapshot, AssetRow row,
             std::optional<std::vector<ResourceRow>> resources = {})
      : snapshot_(std::move(snapshot)), row_(std::move(row)), resources_(std::move(resources)) {}

  [[nodiscard]] const AssetRow& row() const { return row_; }
  [[nodiscard]] const std::shared_ptr<Connection::Snapshot>& snapshot() const { return snapshot_; }

  /// Its resources, when they were read together with it.
  [[nodiscard]] const std::optional<std::vector<ResourceRow>>& resources() const {
    return resources_;
  }

  [[nodiscard]] std::string localIdentifier() const override { return row_.localIdentifier; }
  [[nodiscard]] photos::AssetMediaType mediaType() const override { return row_.mediaType; }
  [[nodiscard]] std::optional<photos::Date> creationDate() const override {
    return row_.creationDate;
  }
  [[nodiscard]] std::optional<photos::Date> modificationDate() const override {
    return row_.modificationDate;
  }

 private:
  std::shared_ptr<Connection::Snapshot> snapshot_;
  AssetRow row_;
  std::optional<std::vector<ResourceRow>> resources_;
};

class LocalResource : public photos::AssetResource {
 public:
  LocalResource(std::shared_ptr<Connection::Snapshot> snapshot, ResourceRow row)
      : snapshot_(std::move(snapshot)), row_(std::move(row)) {}

  [[nodiscard]] const ResourceRow& row() const { return row_; }
  /// The library as it was when the resource's asset was fetched.
  [[nodiscard]] Connection& connection() const { return snapshot_->connection(); }

  [[nodiscard]] photos::AssetResourceType type() const override { return row_.type; }
  [[nodiscard]] std::string originalFilename() const override { return row_.originalFilename; }

 private:
  std::shared_ptr<Connection::Snapshot> snapshot_;
  ResourceRow row_;
};

class LocalAlbum : public photos::AssetCollection {
 public:
  explicit LocalAlbum(std::string localIdentifier) : localIdentifier_(std::move(localIdentifier)) {}

  [[nodiscard]] std::string localIdentifier() const override { return localIdentifier_; }

 private:
  std::string localIdentifier_;
};

/// What every fetch of assets here gives.
class LocalAssets : public photos::AssetFetchResult {
 public:
  /// The row of the asset at `index`, which is less than count().
  [[nodiscard]] virtual std::int64_t row(std::size_t index) = 0;
};

/// Assets in fetch order, read as far as they are asked for.
class OrderedAssets : public LocalAssets {
 public:
  OrderedAssets(std::shared_ptr<Connection> connection, const photos::FetchOptions& options);

  [[nodiscard]] std::size_t count() override;
  [[nodiscard]] std::int64_t row(std::size_t index) override;
  [[nodiscard]] std::unique_ptr<photos::Asset> objectAtIndex(std::size_t index) override;
  [[nodiscard]] std::optional<std::size_t> indexOfAsset(const photos::AssetFilter& filter,
                                                        std::size_t index,
                                                        std::uint64_t skipped) override;

 private:
  /// Reads on behind what is read; false at the end of the result.
  bool readMore();

  std::shared_ptr<Connection> connection_;
  std::shared_ptr<Connection::Snapshot> snapshot_;
  std::optional<photos::Date> before_;
  /// Where the result begins in the library's order: behind the undated assets, if it has none.
  std::size_t first_ = 0;
  /// A run of assets, read ahead with their resources; each is given once, in order. Where it
  /// begins, and the position from which on it has not been given.
  std::vector<AssetWithResources> run_;
  std::size_t runBegin_ = 0;
  std::size_t ungiven_ = 0;
  std::size_t runLength_ = 0;
};

/// Assets of given rows: none of them without a connection.
class AssetsOfRows : public LocalAssets {
 public:
  AssetsOfRows(std::shared_ptr<Connection> connection, std::vector<std::int64_t> rows,
               std::shared_ptr<Connection::Snapshot> snapshot)
      : connection_(std::move(connection)),
        snapshot_(std::move(snapshot)),
        rows_(std::move(rows)) {}

  [[nodiscard]] std::size_t count() override { return rows_.size(); }
  [[nodiscard]] std::int64_t row(std::size_t index) override { return rows_[index]; }
  [[nodiscard]] std::unique_ptr<photos::Asset> objectAtIndex(std::size_t index) override {
    return std::make_unique<LocalAsset>(snapshot_, connection_->asset(rows_[index]));
  }

 private:
  std::shared_ptr<Connection> connection_;
  std::shared_ptr<Connection::Snapshot> snapshot_;
  std::vector<std::int64_t> rows_;
};

class Albums : public photos::AssetCollectionFetchResult {
 public:
  explicit Albums(std::vector<std::string> localIdentifiers)
      : localIdentifiers_(std::move(localIdentifiers)) {}

  [[nodiscard]] std::size_t count() override { return localIdentifiers_.size(); }
  [[nodiscard]] std::unique_ptr<photos::AssetCollection> objectAtIndex(std::size_t index) override {
    return std::make_unique<LocalAlbum>(localIdentifiers_[index]);
  }

 private:
  std::vector<std::string> localIdentifiers_;
};

}  // namespace platform::local
