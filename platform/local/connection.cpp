#include "platform/local/connection.h"

#include <SQLiteCpp/VariadicBind.h>

#include "platform/local/database.h"
#include "platform/local/rows.h"

namespace platform::local {
namespace {

/// A statement given its values, back at its start when the object goes.
class Query {
 public:
  template <class... Values>
  explicit Query(SQLite::Statement& statement, const Values&... values) : statement_(statement) {
    SQLite::bind(statement, values...);
  }
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;
  ~Query() { statement_.tryReset(); }

  /// Steps to the next row; false when there is none.
  bool next() { return statement_.executeStep(); }

  [[nodiscard]] SQLite::Column column(int index) const { return statement_.getColumn(index); }

 private:
  SQLite::Statement& statement_;
};

}  // namespace

Connection::Connection(SQLite::Database database)
    : database_(std::move(database)),
      begin_(database_, "BEGIN"),
      commit_(database_, "COMMIT"),
      dataVersion_(database_, "PRAGMA data_version"),
      authorizationStatus_(database_, "SELECT authorizationStatus FROM library"),
      asset_(database_,
             "SELECT localIdentifier, mediaType, creationDate, modificationDate "
             "FROM asset WHERE id = ?"),
      assetsFrom_(database_,
                  "SELECT a.id, a.localIdentifier, a.mediaType, a.creationDate, "
                  "a.modificationDate, r.position, r.type, r.originalFilename "
                  "FROM asset a LEFT JOIN resource r ON r.asset = a.id "
                  "WHERE a.recentlyDeleted = 0 AND (a.creationDate, a.id) >= (?, ?) "
                  "ORDER BY a.creationDate, a.id, r.position"),
      assetID_(database_, "SELECT id FROM asset WHERE localIdentifier = ? AND recentlyDeleted = 0"),
      resources_(database_,
                 "SELECT position, type, originalFilename FROM resource WHERE asset = ? "
                 "ORDER BY position"),
      resource_(database_, resourceQuery),
      settings_(database_, settingsQuery),
      order_(database_),
      commits_(database_) {}

Connection::Snapshot::Snapshot(std::shared_ptr<Connection> connection)
    : connection_(std::move(connection)) {
  connection_->reading([this] {
    Query(connection_->begin_).next();
    // The first read of the transaction: from here on it sees one state of the library.
    Query version(connection_->dataVersion_);
    version.next();
    const std::int64_t current = version.column(0).getInt64();
    if (connection_->orderVersion_ != current) {
      connection_->order_.clear();
      connection_->orderVersion_ = current;
    }
  });
}

Connection::Snapshot::~Snapshot() {
  connection_->reading([this] { Query(connection_->commit_).next(); });
}

std::shared_ptr<Connection::Snapshot> Connection::snapshot() {
  std::shared_ptr<Snapshot> snapshot = snapshot_.lock();
  if (!snapshot) {
    snapshot = std::make_shared<Snapshot>(shared_from_this());
    snapshot_ = snapshot;
  }
  return snapshot;
}

bool Connection::isSound() {
  return reading(
      false, [this] { return database_.execAndGet("PRAGMA quick_check(1)").getString() == "ok"; });
}

photos::AuthorizationStatus Connection::authorizationStatus() {
  constexpr auto restricted = photos::AuthorizationStatus::restricted;
  const std::optional<CommitWatch::Header> header = commits_.header();
  if (!header || header != lastHeader_) {
    lastStatus_ = reading(restricted, [this] {
      Query query(authorizationStatus_);
      return query.next() ? photos::AuthorizationStatus{query.column(0).getInt64()} : restricted;
    });
    lastHeader_ = header;
  }
  return failed_ ? restricted : lastStatus_;
}

void Connection::answerPrompt() {
  // An answer that can't be kept was not given: the status stays as it is.
  try {
    database_.exec(
        "UPDATE library SET authorizationStatus = promptAnswer WHERE authorizationStatus = 0");
  } catch (const SQLite::Exception&) {
    return;
  }
}

AssetRow Connection::asset(std::int64_t id) {
  return reading(AssetRow{}, [&]() -> AssetRow {
    Query query(asset_, id);
    if (!query.next()) {
      return {};
    }
    return {.id = id,
            .localIdentifier = query.column(0).getString(),
            .mediaType = photos::AssetMediaType{query.column(1).getInt64()},
            .creationDate = optionalDate(query.column(2)),
            .modificationDate = optionalDate(query.column(3))};
  });
}

std::vector<AssetWithResources> Connection::assetsFrom(photos::Date creationDate, std::int64_t id,
                                                       std::size_t count) {
  std::vector<AssetWithResources> assets;
  reading([&] {
    for (Query query(assetsFrom_, creationDate, id); query.next();) {
      const std::int64_t current = query.column(0).getInt64();
      if (assets.empty() || assets.back().asset.id != current) {
        if (assets.size() == count) {
          break;
        }
        assets.push_back({.asset = {.id = current,
                                    .localIdentifier = query.column(1).getString(),
                                    .mediaType = photos::AssetMediaType{query.column(2).getInt64()},
                                    .creationDate = optionalDate(query.column(3)),
                                    .modificationDate = optionalDate(query.column(4))},
                          .resources = {}});
      }
      if (const SQLite::Column position = query.column(5); !position.isNull()) {
        assets.back().resources.push_back(
            {.asset = current,
             .position = position.getInt64(),
             .type = photos::AssetResourceType{query.column(6).getInt64()},
             .originalFilename = query.column(7).getString()});
      }
    }
  });
  return assets;
}

std::optional<std::int64_t> Connection::assetID(const std::string& localIdentifier) {
  using Result = std::optional<std::int64_t>;
  return reading(Result{}, [&]() -> Result {
    Query query(assetID_, localIdentifier);
    return query.next() ? Result(query.column(0).getInt64()) : std::nullopt;
  });
}

std::vector<ResourceRow> Connection::resources(std::int64_t asset) {
  return reading(std::vector<ResourceRow>{}, [&] {
    std::vector<ResourceRow> rows;
    for (Query query(resources_, asset); query.next();) {
      rows.push_back({.asset = asset,
                      .position = query.column(0).getInt64(),
                      .type = photos::AssetResourceType{query.column(1).getInt64()},
                      .originalFilename = query.column(2).getString()});
    }
    return rows;
  });
}

std::optional<NewResource> Connection::resource(const ResourceRow& row) {
  return reading(std::optional<NewResource>{}, [&] {
    const Query query(resource_, row.asset, row.position);
    return readResource(resource_);
  });
}

std::optional<Settings> Connection::settings() {
  return reading(std::optional<Settings>{}, [this] {
    const Query query(settings_);
    return readSettings(settings_);
  });
}

}  // namespace platform::local
