// A local library: what it holds, read and changed.
//
// One thread at a time. Other processes may read and change the library meanwhile.
#pragma once

#include <cstdint>
#include <expected>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "library/database.h"
#include "library/model.h"

namespace library {

class Library {
 public:
  /// Opens the library in `folder`, as Database::open() does.
  [[nodiscard]] static std::expected<Library, Error> open(const std::filesystem::path& folder);

  /// Makes a library in `folder`, which is there and empty, and has `fill` add what it holds. When
  /// this returns, all of it is on disk. Until then it is not safe against a crash, and a failure
  /// leaves junk: make it where nobody looks, then move it.
  [[nodiscard]] static Result make(const std::filesystem::path& folder, const Settings& settings,
                                   const std::function<Result(Library&)>& fill);

  /// For statements that only one caller needs.
  [[nodiscard]] Database& database() { return database_; }

  /// Checks the whole database, which takes long: true when nothing is wrong with it.
  [[nodiscard]] bool isSound();

  [[nodiscard]] std::expected<Settings, Error> settings();

  /// The asset in that row, without values when there is none.
  [[nodiscard]] std::expected<AssetRow, Error> asset(std::int64_t row);
  /// The asset of that date and row, and those behind it in order of date and row: `count` of them,
  /// fewer at the end. Assets in Recently Deleted are left out.
  [[nodiscard]] std::expected<std::vector<AssetRow>, Error> assetsFrom(photos::Date creationDate,
                                                                       std::int64_t row,
                                                                       std::size_t count);
  /// The row of the asset with that identifier, unless it is in Recently Deleted.
  [[nodiscard]] std::expected<std::optional<std::int64_t>, Error> rowOfAsset(
      const std::string& localIdentifier);
  /// The row of the first asset, Recently Deleted included, with a resource of this content.
  [[nodiscard]] std::expected<std::optional<std::int64_t>, Error> rowOfAssetHolding(
      const std::string& sha256);
  [[nodiscard]] std::expected<std::optional<Resource>, Error> resource(const ResourceRow& row);

  /// Gives each asset in Recently Deleted, oldest first, with its resources.
  [[nodiscard]] Result eachRecentlyDeleted(
      const std::function<void(const Asset&, const std::vector<Resource>&)>& take);

  /// Runs `body` in one transaction: committed when it succeeds, else rolled back. Not nested, and
  /// not within make().
  [[nodiscard]] Result transaction(const std::function<Result()>& body);

  /// Sets what is given and leaves the rest.
  [[nodiscard]] Result setAccess(std::optional<std::int64_t> authorizationStatus,
                                 std::optional<std::int64_t> promptAnswer);
  [[nodiscard]] Result setNetworkReachable(bool isReachable);
  /// Sets a status that is not determined to the prompt's answer.
  [[nodiscard]] Result answerPrompt();

  /// Adds an asset behind all others and returns its row. An identifier that is taken is an error,
  /// in a library that is being made the error of make().
  [[nodiscard]] std::expected<std::int64_t, Error> addAsset(const Asset& asset);
  /// Adds a resource behind the others of the asset in that row.
  [[nodiscard]] Result addResource(std::int64_t asset, const Resource& resource);

  [[nodiscard]] Result moveToRecentlyDeleted(std::span<const std::int64_t> assets);
  /// Puts an asset from Recently Deleted back; false when it is not there.
  [[nodiscard]] std::expected<bool, Error> restore(const std::string& localIdentifier);

 private:
  explicit Library(Database database) : database_(std::move(database)) {}

  Database database_;
};

}  // namespace library
