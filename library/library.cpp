#include "library/library.h"

#include <cmath>
#include <sstream>
#include <string>
#include <system_error>
#include <utility>

#include "library/originals.h"
#include "library/schema.h"

namespace library {
namespace {

using Row = SQLite::Statement;

std::optional<std::string> optionalText(Row& row, int column) {
  return row.isColumnNull(column) ? std::nullopt : std::optional(row.getColumn(column).getString());
}

std::optional<std::int64_t> optionalInteger(Row& row, int column) {
  return row.isColumnNull(column) ? std::nullopt : std::optional(row.getColumn(column).getInt64());
}

/// Only a damaged or edited database holds an infinite date. It counts as none.
std::optional<photos::Date> optionalDate(Row& row, int column) {
  const double date = row.getColumn(column).getDouble();
  return row.isColumnNull(column) || !std::isfinite(date) ? std::nullopt : std::optional(date);
}

std::int64_t integer(Row& row) { return row.getColumn(0).getInt64(); }

std::vector<std::int64_t> chunks(const std::string& text) {
  std::vector<std::int64_t> lengths;
  if (text.empty()) {
    return lengths;  // as nearly always: a stream costs more than the row
  }
  std::istringstream numbers(text);
  for (std::int64_t length = 0; numbers >> length;) {
    lengths.push_back(length);
  }
  return lengths;
}

/// The lengths of a resource's first chunks, as the table keeps them: "3 0 5".
std::optional<std::string> chunksText(const std::vector<std::int64_t>& chunks) {
  std::string text;
  for (const std::int64_t length : chunks) {
    text += (text.empty() ? "" : " ") + std::to_string(length);
  }
  return chunks.empty() ? std::nullopt : std::optional(text);
}

Settings readSettings(Row& row) {
  return {
      .authorizationStatus = row.getColumn(0).getInt64(),
      .promptAnswer = row.getColumn(1).getInt64(),
      .promptDelay = row.getColumn(2).getDouble(),
      .userLibraryAlbum = optionalText(row, 3),
      .opensURLs =
          row.isColumnNull(4) ? std::nullopt : std::optional(row.getColumn(4).getInt() != 0),
      .deletionSuccess = row.getColumn(5).getInt() != 0,
      .deletionError = optionalText(row, 6),
      .deletionDelay = row.getColumn(7).getDouble(),
      .deletionCrash = DeletionCrash{row.getColumn(8).getInt64()},
      .networkReachable = row.getColumn(9).getInt() != 0,
  };
}

/// From the columns localIdentifier, mediaType, creationDate and modificationDate.
Asset readAsset(Row& row, int firstColumn) {
  return {.localIdentifier = row.getColumn(firstColumn).getString(),
          .mediaType = row.getColumn(firstColumn + 1).getInt64(),
          .creationDate = optionalDate(row, firstColumn + 2),
          .modificationDate = optionalDate(row, firstColumn + 3)};
}

/// Takes one row of assets joined with their resources; false when that is the row of one asset
/// more than `count`.
bool appendAsset(std::vector<AssetRow>& assets, Row& row, std::size_t count) {
  const std::int64_t asset = row.getColumn(0).getInt64();
  if (assets.empty() || assets.back().row != asset) {
    if (assets.size() == count) {
      return false;
    }
    assets.push_back({.row = asset, .asset = readAsset(row, 1)});
  }
  if (!row.isColumnNull(5)) {
    assets.back().resources.push_back(
        {.asset = asset,
         .position = row.getColumn(5).getInt64(),
         .type = photos::AssetResourceType{row.getColumn(6).getInt64()},
         .originalFilename = row.getColumn(7).getString()});
  }
  return true;
}

Resource readResource(Row& row) {
  Resource resource{
      .type = row.getColumn(0).getInt64(),
      .originalFilename = row.getColumn(1).getString(),
      .content = {.size = row.getColumn(2).getInt64(), .sha256 = optionalText(row, 3)},
      .cloud = row.getColumn(4).getInt() != 0,
      .chunks = chunks(row.getColumn(5).getString()),
      .delay = row.getColumn(6).getDouble(),
      .bytesPerSecond = optionalInteger(row, 7),
      .failure = {},
  };
  if (!row.isColumnNull(8)) {
    resource.failure = {.afterBytes = row.getColumn(8).getInt64(),
                        .kind = DeliveryFailure::Kind{row.getColumn(9).getInt64()},
                        .error = row.getColumn(10).getString()};
  }
  return resource;
}

Result insertSettings(Database& database, const Settings& settings) {
  return database.run("INSERT INTO library VALUES (1, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
                      settings.authorizationStatus, settings.promptAnswer, settings.promptDelay,
                      settings.userLibraryAlbum, settings.opensURLs, settings.deletionSuccess,
                      settings.deletionError, settings.deletionDelay,
                      std::to_underlying(settings.deletionCrash), settings.networkReachable);
}

}  // namespace

std::expected<Library, Error> Library::open(const std::filesystem::path& folder) {
  std::expected<Database, Error> database = Database::open(folder);
  if (!database) {
    return std::unexpected(std::move(database.error()));
  }
  Library library(std::move(*database));
  // A database without our tables, or without the row of settings, is no library: read each once.
  if (const auto settings = library.settings(); !settings) {
    return std::unexpected(settings.error());
  }
  if (const auto asset = library.asset(0); !asset) {
    return std::unexpected(asset.error());
  }
  if (const auto resource = library.resource({}); !resource) {
    return std::unexpected(resource.error());
  }
  return library;
}

Result Library::make(const std::filesystem::path& folder, const Settings& settings,
                     const std::function<Result(Library&)>& fill) {
  std::error_code error;
  if (!std::filesystem::create_directory(originalsFolder(folder), error)) {
    return std::unexpected(
        Error{originalsFolder(folder).string() + " could not be made: " + error.message()});
  }
  std::expected<Database, Error> database = Database::create(folder);
  if (!database) {
    return std::unexpected(std::move(database.error()));
  }
  Library library(std::move(*database));
  Result made = library.database_.runScript(beginMaking);
  if (made) {
    made = insertSettings(library.database_, settings);
  }
  if (made) {
    made = fill(library);
  }
  return made ? library.database_.runScript(endMaking) : made;
}

bool Library::isSound() {
  const auto verdict = database_.row("PRAGMA quick_check(1)",
                                     [](Row& row) { return row.getColumn(0).getString() == "ok"; });
  return verdict && verdict->value_or(false);
}

std::expected<Settings, Error> Library::settings() {
  auto settings = database_.row(
      "SELECT authorizationStatus, promptAnswer, promptDelay, userLibraryAlbum, opensURLs, "
      "deletionSuccess, deletionError, deletionDelay, deletionCrash, networkReachable FROM library",
      readSettings);
  if (!settings) {
    return std::unexpected(std::move(settings.error()));
  }
  if (!*settings) {
    return std::unexpected(Error{"The library has no settings"});
  }
  return std::move(**settings);
}

std::expected<AssetRow, Error> Library::asset(std::int64_t row) {
  std::vector<AssetRow> found;
  const Result read = database_.each(
      "SELECT id, localIdentifier, mediaType, creationDate, modificationDate, r.position, r.type, "
      "r.originalFilename FROM asset LEFT JOIN resource r ON r.asset = id WHERE id = ? "
      "ORDER BY r.position",
      [&found](Row& next) { return appendAsset(found, next, 1); }, row);
  if (!read) {
    return std::unexpected(read.error());
  }
  return found.empty() ? AssetRow{.row = row} : std::move(found.front());
}

std::expected<std::vector<AssetRow>, Error> Library::assetsFrom(photos::Date creationDate,
                                                                std::int64_t row,
                                                                std::size_t count) {
  std::vector<AssetRow> found;
  const Result read = database_.each(
      "SELECT id, localIdentifier, mediaType, creationDate, modificationDate, r.position, r.type, "
      "r.originalFilename FROM asset LEFT JOIN resource r ON r.asset = id "
      "WHERE recentlyDeleted = 0 AND (creationDate, id) >= (?, ?) "
      "ORDER BY creationDate, id, r.position",
      [&](Row& next) { return appendAsset(found, next, count); }, creationDate, row);
  if (!read) {
    return std::unexpected(read.error());
  }
  return found;
}

std::expected<std::optional<std::int64_t>, Error> Library::rowOfAsset(
    const std::string& localIdentifier) {
  return database_.row("SELECT id FROM asset WHERE localIdentifier = ? AND recentlyDeleted = 0",
                       integer, localIdentifier);
}

std::expected<std::optional<std::int64_t>, Error> Library::rowOfAssetHolding(
    const std::string& sha256) {
  return database_.row("SELECT asset FROM resource WHERE sha256 = ? ORDER BY asset", integer,
                       sha256);
}

std::expected<std::optional<Resource>, Error> Library::resource(const ResourceRow& row) {
  return database_.row(
      "SELECT type, originalFilename, size, sha256, cloud, chunks, delay, bytesPerSecond, "
      "failureAfterBytes, failureKind, failureError FROM resource "
      "WHERE asset = ? AND position = ?",
      readResource, row.asset, row.position);
}

Result Library::eachRecentlyDeleted(
    const std::function<void(const Asset&, const std::vector<Resource>&)>& take) {
  Result ofResources;
  const Result ofAssets = database_.each(
      "SELECT localIdentifier, mediaType, creationDate, modificationDate, id FROM asset "
      "WHERE recentlyDeleted = 1 ORDER BY creationDate, id",
      [&](Row& row) {
        auto resources = database_.rows(
            "SELECT type, originalFilename, size, sha256, cloud, chunks, delay, bytesPerSecond, "
            "failureAfterBytes, failureKind, failureError FROM resource WHERE asset = ? "
            "ORDER BY position",
            readResource, row.getColumn(4).getInt64());
        if (!resources) {
          ofResources = std::unexpected(std::move(resources.error()));
          return false;
        }
        take(readAsset(row, 0), *resources);
        return true;
      });
  return ofResources ? ofAssets : ofResources;
}

Result Library::transaction(const std::function<Result()>& body) {
  Result done = database_.run("BEGIN IMMEDIATE");
  if (!done) {
    return done;
  }
  done = body();
  if (done) {
    done = database_.run("COMMIT");
  }
  if (!done) {
    // This fails when SQLite has rolled back by itself.
    static_cast<void>(database_.run("ROLLBACK"));
  }
  return done;
}

Result Library::setAccess(std::optional<std::int64_t> authorizationStatus,
                          std::optional<std::int64_t> promptAnswer) {
  return database_.run(
      "UPDATE library SET authorizationStatus = ifnull(?, authorizationStatus), "
      "promptAnswer = ifnull(?, promptAnswer)",
      authorizationStatus, promptAnswer);
}

Result Library::setNetworkReachable(bool isReachable) {
  return database_.run("UPDATE library SET networkReachable = ?", isReachable);
}

Result Library::answerPrompt() {
  return database_.run(
      "UPDATE library SET authorizationStatus = promptAnswer WHERE authorizationStatus = 0");
}

std::expected<std::int64_t, Error> Library::addAsset(const Asset& asset) {
  Result added = database_.run(
      "INSERT INTO asset (localIdentifier, mediaType, creationDate, modificationDate) "
      "VALUES (?, ?, ?, ?)",
      asset.localIdentifier, asset.mediaType, asset.creationDate, asset.modificationDate);
  if (!added) {
    return std::unexpected(std::move(added.error()));
  }
  return database_.lastRow();
}

Result Library::addResource(std::int64_t asset, const Resource& resource) {
  const auto& failure = resource.failure;
  return database_.run(
      "INSERT INTO resource VALUES (?1, "
      "(SELECT ifnull(max(position) + 1, 0) FROM resource WHERE asset = ?1), "
      "?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12)",
      asset, resource.type, resource.originalFilename, resource.content.size,
      resource.content.sha256, resource.cloud, chunksText(resource.chunks), resource.delay,
      resource.bytesPerSecond, failure ? std::optional(failure->afterBytes) : std::nullopt,
      failure ? std::optional(std::to_underlying(failure->kind)) : std::nullopt,
      failure ? std::optional(failure->error) : std::nullopt);
}

Result Library::moveToRecentlyDeleted(std::span<const std::int64_t> assets) {
  Result moved;
  for (auto asset = assets.begin(); moved && asset != assets.end(); ++asset) {
    moved = database_.run("UPDATE asset SET recentlyDeleted = 1 WHERE id = ?", *asset);
  }
  return moved;
}

std::expected<bool, Error> Library::restore(const std::string& localIdentifier) {
  Result restored = database_.run(
      "UPDATE asset SET recentlyDeleted = 0 WHERE localIdentifier = ? AND recentlyDeleted = 1",
      localIdentifier);
  if (!restored) {
    return std::unexpected(std::move(restored.error()));
  }
  return database_.changedRows() == 1;
}

}  // namespace library
