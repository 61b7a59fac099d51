#include "platform/local/changes.h"

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

Changes::Outcome Changes::apply(const std::filesystem::path& library,
                                const std::optional<FileIdentity>& identity) const {
  std::expected<SQLite::Database, photos::Error> database = openDatabase(library);
  if (!database) {
    return {.success = false, .error = database.error()};
  }
  if (identityOf(databaseFile(library)) != identity) {
    return {.success = false, .error = photos::Error{"The library was replaced by another one"}};
  }
  try {
    SQLite::Transaction transaction(*database, SQLite::TransactionBehavior::IMMEDIATE);
    SQLite::Statement described(*database, settingsQuery);
    const std::optional<Settings> settings = readSettings(described);
    described.reset();
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
