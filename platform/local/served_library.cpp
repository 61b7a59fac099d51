#include "platform/local/served_library.h"

#include <new>
#include <utility>

namespace platform::local {

std::shared_ptr<Snapshot> Snapshot::of(std::shared_ptr<ServedLibrary> served) {
  std::shared_ptr<Snapshot> snapshot = served->snapshot.lock();
  if (!snapshot) {
    std::weak_ptr<Snapshot>& place = served->snapshot;
    snapshot = std::make_shared<Snapshot>(std::move(served));
    place = snapshot;
  }
  return snapshot;
}

Snapshot::Snapshot(std::shared_ptr<ServedLibrary> served) : served_(std::move(served)) {
  library::Database& database = served_->library.database();
  // The database remembers a failure; the next request looks.
  static_cast<void>(database.run("BEGIN"));
  // The transaction sees the library as it is at this first read.
  const auto version = database.row(
      "PRAGMA data_version", [](SQLite::Statement& row) { return row.getColumn(0).getInt64(); });
  const auto current = version.value_or(std::nullopt);
  if (!current || served_->orderVersion != current) {
    served_->order.clear();
    served_->orderVersion = current;
  }
}

Snapshot::~Snapshot() {
  try {
    static_cast<void>(served_->library.database().run("COMMIT"));
  } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch)
    // The database remembers the failure: the next request opens it anew.
  }
}

bool Snapshot::readMoreOfOrder() {
  // An order that is cut short, for want of memory, must not count for the next snapshot.
  const auto version = std::exchange(served_->orderVersion, std::nullopt);
  const bool hasMore = served_->order.readMore(served_->library.database()).value_or(false);
  served_->orderVersion = version;
  return hasMore;
}

}  // namespace platform::local
