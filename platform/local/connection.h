// One open library, as requests read it.
//
// One thread at a time. The library may be changed by others while it is open: each snapshot shows
// it as it is when the snapshot begins. A read that fails gives the empty answer of its kind, and
// from then on the connection has failed: what it tells can't be relied on.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "photos/platform.h"
#include "platform/local/asset_order.h"
#include "platform/local/commit_watch.h"
#include "platform/local/model.h"

namespace platform::local {

class Connection : public std::enable_shared_from_this<Connection> {
 public:
  /// Throws SQLite::Exception when the database lacks what the schema says.
  explicit Connection(SQLite::Database database);

  /// While any snapshot lives, all reads see the library as it was when the first of them began,
  /// and the connection stays open.
  class Snapshot {
   public:
    explicit Snapshot(std::shared_ptr<Connection> connection);
    Snapshot(const Snapshot&) = delete;
    Snapshot& operator=(const Snapshot&) = delete;
    ~Snapshot();

    [[nodiscard]] Connection& connection() { return *connection_; }

   private:
    std::shared_ptr<Connection> connection_;
  };
  /// The connection must be a shared one.
  [[nodiscard]] std::shared_ptr<Snapshot> snapshot();

  [[nodiscard]] bool hasFailed() const { return failed_; }

  /// Checks the whole database, which takes long: true when nothing is wrong with it.
  [[nodiscard]] bool isSound();

  /// Restricted once the connection has failed.
  [[nodiscard]] photos::AuthorizationStatus authorizationStatus();

  /// Answers the prompt with what the library says, if the status is not determined.
  void answerPrompt();

  /// The library's assets in fetch order, as the current snapshot has them.
  [[nodiscard]] AssetOrder& order() { return order_; }

  [[nodiscard]] AssetRow asset(std::int64_t id);
  /// The asset of that date and row and those behind it in fetch order: at most `count`, fewer at
  /// the end or after a failure.
  [[nodiscard]] std::vector<AssetWithResources> assetsFrom(photos::Date creationDate,
                                                           std::int64_t id, std::size_t count);
  /// The row of the asset of that identifier, unless it is in Recently Deleted.
  [[nodiscard]] std::optional<std::int64_t> assetID(const std::string& localIdentifier);
  [[nodiscard]] std::vector<ResourceRow> resources(std::int64_t asset);
  /// All of one resource.
  [[nodiscard]] std::optional<NewResource> resource(const ResourceRow& row);
  [[nodiscard]] std::optional<Settings> settings();

  /// Runs `read`, which gives nothing.
  void reading(auto&& read) {
    try {
      std::forward<decltype(read)>(read)();
    } catch (const SQLite::Exception&) {
      failed_ = true;
    }
  }

  /// Runs `read` and gives what it gives; a failure gives `fallback`.
  template <class Result>
  [[nodiscard]] Result reading(Result fallback, auto&& read) {
    reading([&] { fallback = std::forward<decltype(read)>(read)(); });
    return fallback;
  }

 private:
  SQLite::Database database_;
  SQLite::Statement begin_;
  SQLite::Statement commit_;
  SQLite::Statement dataVersion_;
  SQLite::Statement authorizationStatus_;
  SQLite::Statement asset_;
  SQLite::Statement assetsFrom_;
  SQLite::Statement assetID_;
  SQLite::Statement resources_;
  SQLite::Statement resource_;
  SQLite::Statement settings_;
  AssetOrder order_;
  /// The version of the database that order_ was read from.
  std::optional<std::int64_t> orderVersion_;
  std::weak_ptr<Snapshot> snapshot_;
  CommitWatch commits_;
  /// The last status that was read, and the header of the WAL index as it was before that.
  photos::AuthorizationStatus lastStatus_ = photos::AuthorizationStatus::restricted;
  std::optional<CommitWatch::Header> lastHeader_;
  bool failed_ = false;
};

}  // namespace platform::local
