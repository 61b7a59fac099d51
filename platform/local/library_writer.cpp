#include "platform/local/library_writer.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <SQLiteCpp/VariadicBind.h>

#include <string>
#include <utility>

#include "platform/local/database.h"
#include "platform/local/originals.h"
#include "platform/local/rows.h"
#include "platform/local/schema.h"

namespace platform::local {
namespace {

/// Binds a value, or NULL for none.
template <class T>
void bindOptional(SQLite::Statement& statement, int index, const std::optional<T>& value) {
  if (value) {
    statement.bind(index, *value);
  } else {
    statement.bind(index);
  }
}

void insertSettings(SQLite::Database& database, const Settings& settings) {
  SQLite::Statement insert(database, "INSERT INTO library VALUES (1, ?, ?, ?, ?, ?, ?, ?)");
  insert.bind(1, settings.authorizationStatus);
  insert.bind(2, settings.promptAnswer);
  bindOptional(insert, 3, settings.userLibraryAlbum);
  bindOptional(insert, 4, settings.opensURLs);
  insert.bind(5, settings.deletionSuccess);
  bindOptional(insert, 6, settings.deletionError);
  insert.bind(7, settings.networkReachable);
  insert.exec();
}

}  // namespace

struct LibraryWriter::State {
  State(std::filesystem::path library, SQLite::Database opened)
      : folder(std::move(library)),
        database(std::move(opened)),
        insertAsset(database,
                    "INSERT INTO asset (localIdentifier, mediaType, creationDate, "
                    "modificationDate) VALUES (?, ?, ?, ?)"),
        insertResource(database, "INSERT INTO resource VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
        nextPosition(database, "SELECT ifnull(max(position) + 1, 0) FROM resource WHERE asset = ?"),
        assetHolding(database, "SELECT min(asset) FROM resource WHERE sha256 = ?") {}

  /// Runs `work`; what SQLite throws becomes its error.
  template <class Work>
  auto attempt(Work&& work) -> std::expected<std::invoke_result_t<Work>, Error> {
    try {
      if constexpr (std::is_void_v<std::invoke_result_t<Work>>) {
        std::forward<Work>(work)();
        return {};
      } else {
        return std::forward<Work>(work)();
      }
    } catch (const SQLite::Exception& exception) {
      return std::unexpected(
          Error{folder.string() + ": " + libraryError(exception).localizedDescription +
                "; make sure that there is room and that you may write, then run this again"});
    }
  }

  std::expected<Content, Error> store(const ContentSource& source) {
    if (!originals) {
      auto lock = OriginalsLock::acquire(folder);
      if (!lock) {
        return std::unexpected(std::move(lock.error()));
      }
      originals = std::move(*lock);
    }
    return storeOriginal(folder, source);
  }

  void addResource(std::int64_t asset, std::int64_t position, const NewResource& resource) {
    insertResource.reset();
    insertResource.bind(1, asset);
    insertResource.bind(2, position);
    insertResource.bind(3, resource.type);
    insertResource.bind(4, resource.originalFilename);
    insertResource.bind(5, resource.content.size);
    bindOptional(insertResource, 6, resource.content.sha256);
    insertResource.bind(7, resource.cloud);
    bindOptional(
        insertResource, 8,
        resource.chunks.empty() ? std::nullopt : std::optional(chunksText(resource.chunks)));
    if (resource.failure) {
      insertResource.bind(9, resource.failure->afterBytes);
      insertResource.bind(10, resource.failure->error);
    } else {
      insertResource.bind(9);
      insertResource.bind(10);
    }
    insertResource.exec();
  }

  std::filesystem::path folder;
  /// Taken by the first content that is stored.
  std::optional<OriginalsLock> originals;
  SQLite::Database database;
  SQLite::Statement insertAsset;
  SQLite::Statement insertResource;
  SQLite::Statement nextPosition;
  SQLite::Statement assetHolding;
};

namespace {

template <class Result>
std::optional<Error> failureOf(std::expected<Result, Error> outcome) {
  return outcome ? std::nullopt : std::optional(std::move(outcome.error()));
}

}  // namespace

LibraryWriter::LibraryWriter(std::unique_ptr<State> state) : state_(std::move(state)) {}
LibraryWriter::LibraryWriter(LibraryWriter&&) noexcept = default;
LibraryWriter& LibraryWriter::operator=(LibraryWriter&&) noexcept = default;
LibraryWriter::~LibraryWriter() = default;

std::expected<LibraryWriter, Error> LibraryWriter::create(const std::filesystem::path& folder,
                                                          const Settings& settings) {
  try {
    std::filesystem::create_directory(originalsFolder(folder));
    SQLite::Database database(databaseFile(folder).string(),
                              SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    database.exec("PRAGMA page_size = " + std::to_string(pageSize));
    // Nothing to be safe from yet: a crash leaves an unfinished library that is made anew.
    database.exec("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF");
    database.exec("PRAGMA foreign_keys = ON");
    database.exec(tables);
    insertSettings(database, settings);
    return LibraryWriter(std::make_unique<State>(folder, std::move(database)));
  } catch (const std::exception& exception) {
    return std::unexpected(Error{folder.string() + ": " + exception.what() +
                                 "; make sure that there is room and that you may write"});
  }
}

std::expected<LibraryWriter, Error> LibraryWriter::open(const std::filesystem::path& folder) {
  std::expected<SQLite::Database, Error> database = openDatabase(folder);
  if (!database) {
    return std::unexpected(std::move(database.error()));
  }
  try {
    return LibraryWriter(std::make_unique<State>(folder, std::move(*database)));
  } catch (const SQLite::Exception& exception) {
    return std::unexpected(libraryError(exception));
  }
}

std::optional<Error> LibraryWriter::finish() {
  return failureOf(state_->attempt([this] {
    SQLite::Database& database = state_->database;
    database.exec(indexes);
    database.exec("PRAGMA synchronous = FULL; PRAGMA journal_mode = WAL");
    // Last, and safe on disk with the whole file: only now it is a local library.
    database.exec("PRAGMA application_id = " + std::to_string(applicationID));
    database.exec("PRAGMA user_version = " + std::to_string(schemaVersion));
    database.exec("PRAGMA wal_checkpoint(TRUNCATE)");
  }));
}

std::optional<Error> LibraryWriter::transaction(const std::function<std::optional<Error>()>& body) {
  std::optional<Error> failure;
  auto outcome = state_->attempt([&] {
    SQLite::Transaction transaction(state_->database, SQLite::TransactionBehavior::IMMEDIATE);
    failure = body();
    if (!failure) {
      transaction.commit();
    }
  });
  return outcome ? failure : std::optional(std::move(outcome.error()));
}

std::expected<Settings, Error> LibraryWriter::settings() {
  auto settings = state_->attempt([this] {
    SQLite::Statement row(state_->database, settingsQuery);
    return readSettings(row);
  });
  if (!settings) {
    return std::unexpected(std::move(settings.error()));
  }
  if (!*settings) {
    return std::unexpected(Error{"The library has no settings"});
  }
  return std::move(**settings);
}

std::optional<Error> LibraryWriter::setAccess(std::optional<std::int64_t> authorizationStatus,
                                              std::optional<std::int64_t> promptAnswer) {
  return failureOf(state_->attempt([&] {
    SQLite::Statement update(state_->database,
                             "UPDATE library SET "
                             "authorizationStatus = ifnull(?1, authorizationStatus), "
                             "promptAnswer = ifnull(?2, promptAnswer)");
    bindOptional(update, 1, authorizationStatus);
    bindOptional(update, 2, promptAnswer);
    update.exec();
  }));
}

std::expected<std::int64_t, Error> LibraryWriter::addAsset(const NewAsset& asset) {
  return state_->attempt([&] {
    SQLite::Statement& insert = state_->insertAsset;
    insert.reset();
    insert.bind(1, asset.localIdentifier);
    insert.bind(2, asset.mediaType);
    bindOptional(insert, 3, asset.creationDate);
    bindOptional(insert, 4, asset.modificationDate);
    insert.exec();
    const std::int64_t row = state_->database.getLastInsertRowid();
    std::int64_t position = 0;
    for (const NewResource& resource : asset.resources) {
      state_->addResource(row, position++, resource);
    }
    return row;
  });
}

std::optional<Error> LibraryWriter::addResource(std::int64_t asset, const NewResource& resource) {
  return failureOf(state_->attempt([&] {
    SQLite::Statement& next = state_->nextPosition;
    next.reset();
    next.bind(1, asset);
    next.executeStep();
    const std::int64_t position = next.getColumn(0).getInt64();
    next.reset();
    state_->addResource(asset, position, resource);
  }));
}

std::expected<std::optional<std::int64_t>, Error> LibraryWriter::assetHolding(
    std::string_view sha256) {
  return state_->attempt([&]() -> std::optional<std::int64_t> {
    SQLite::Statement& query = state_->assetHolding;
    query.reset();
    query.bind(1, std::string(sha256));
    query.executeStep();
    const SQLite::Column asset = query.getColumn(0);
    const auto row = asset.isNull() ? std::nullopt : std::optional(asset.getInt64());
    query.reset();
    return row;
  });
}

std::optional<Error> LibraryWriter::forEachRecentlyDeleted(
    const std::function<void(const NewAsset&)>& take) {
  return failureOf(state_->attempt([&] {
    SQLite::Statement assets(state_->database,
                             "SELECT id, localIdentifier, mediaType, creationDate, "
                             "modificationDate FROM asset WHERE recentlyDeleted = 1 "
                             "ORDER BY creationDate, id");
    SQLite::Statement resources(state_->database,
                                "SELECT type, originalFilename, size, sha256 FROM resource "
                                "WHERE asset = ? ORDER BY position");
    while (assets.executeStep()) {
      NewAsset asset{.localIdentifier = assets.getColumn(1).getString(),
                     .mediaType = assets.getColumn(2).getInt64(),
                     .creationDate = optionalDate(assets.getColumn(3)),
                     .modificationDate = optionalDate(assets.getColumn(4)),
                     .resources = {}};
      resources.bind(1, assets.getColumn(0).getInt64());
      while (resources.executeStep()) {
        NewResource& resource = asset.resources.emplace_back();
        resource.type = resources.getColumn(0).getInt64();
        resource.originalFilename = resources.getColumn(1).getString();
        resource.content = {.size = resources.getColumn(2).getInt64(),
                            .sha256 = optionalText(resources.getColumn(3))};
      }
      resources.reset();
      take(asset);
    }
  }));
}

std::expected<bool, Error> LibraryWriter::restore(std::string_view localIdentifier) {
  return state_->attempt([&] {
    SQLite::Statement update(state_->database,
                             "UPDATE asset SET recentlyDeleted = 0 "
                             "WHERE localIdentifier = ? AND recentlyDeleted = 1");
    update.bind(1, std::string(localIdentifier));
    return update.exec() == 1;
  });
}

std::expected<Content, Error> LibraryWriter::storeFile(const std::filesystem::path& file) {
  return state_->store(bytesOfFile(file));
}

std::expected<Content, Error> LibraryWriter::storeText(std::string_view bytes) {
  return state_->store([bytes](const auto& take) { return take(std::as_bytes(std::span(bytes))); });
}

}  // namespace platform::local
