#include "platform/local/changes.h"

#include "platform/local/database.h"
#include "platform/local/objects.h"
#include "platform/local/rows.h"

namespace platform::local {

void Changes::deleteAssets(photos::AssetFetchResult& assets) {
  auto& local = static_cast<LocalAssets&>(assets);
  const std::size_t count = local.count();
  deletedRows_.reserve(deletedRows_.size() + count);
  for (std::size_t index = 0; index < count; ++index) {
    deletedRows_.push_back(local.row(index));
  }
}

Changes::Outcome Changes::apply(const std::filesystem::path& library) const {
  std::expected<SQLite::Database, photos::Error> database = openDatabase(library);
  if (!database) {
    return {.success = false, .error = database.error()};
  }
  try {
    SQLite::Transaction transaction(*database, SQLite::TransactionBehavior::IMMEDIATE);
    const std::optional<Settings> settings = readSettings(*database);
    Outcome outcome{.success = settings && settings->deletionSuccess, .error = {}};
    if (settings && settings->deletionError) {
      outcome.error = photos::Error{*settings->deletionError};
    }
    if (outcome.success) {
      SQLite::Statement move(*database, "UPDATE asset SET recentlyDeleted = 1 WHERE id = ?");
      for (const std::int64_t row : deletedRows_) {
        move.bind(1, row);
        move.exec();
        move.reset();
      }
      transaction.commit();
    }
    return outcome;
  } catch (const SQLite::Exception& exception) {
    return {.success = false, .error = libraryError(exception)};
  }
}

}  // namespace platform::local
