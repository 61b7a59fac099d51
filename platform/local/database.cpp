#include "platform/local/database.h"

#include <sys/stat.h>

#include <string>
#include <utility>

#include "platform/local/schema.h"

namespace platform::local {
namespace {

/// How long to wait for another process that is changing the library at this moment.
constexpr int busyTimeoutInMilliseconds = 60'000;

}  // namespace

std::filesystem::path databaseFile(const std::filesystem::path& folder) {
  return folder / "library.sqlite";
}

std::optional<FileIdentity> identityOf(const std::filesystem::path& file) {
  struct stat status{};
  if (stat(file.c_str(), &status) != 0) {
    return std::nullopt;
  }
  return FileIdentity{.device = status.st_dev, .node = status.st_ino};
}

std::expected<SQLite::Database, photos::Error> openDatabase(const std::filesystem::path& folder) {
  const std::filesystem::path file = databaseFile(folder);
  try {
    SQLite::Database database(file.string(), SQLite::OPEN_READWRITE | SQLite::OPEN_NOMUTEX,
                              busyTimeoutInMilliseconds);
    if (number(database, "PRAGMA application_id") != applicationID) {
      return std::unexpected(photos::Error{"“" + file.string() + "” is not a local library"});
    }
    const std::int64_t version = number(database, "PRAGMA user_version");
    if (version != schemaVersion) {
      return std::unexpected(
          photos::Error{"“" + file.string() + "” has schema version " + std::to_string(version) +
                        ", and this program reads version " + std::to_string(schemaVersion)});
    }
    // A million assets are listed without reading any part of the database twice: this is a limit
    // in KiB, and memory is taken as pages are read.
    database.exec("PRAGMA foreign_keys = ON; PRAGMA cache_size = -100000");
    return database;
  } catch (const SQLite::Exception& exception) {
    return std::unexpected(photos::Error{"“" + file.string() + "” could not be opened: " +
                                         libraryError(exception).localizedDescription});
  }
}

photos::Error libraryError(const SQLite::Exception& exception) { return {exception.what()}; }

std::int64_t number(SQLite::Database& database, const char* query) {
  return database.execAndGet(query).getInt64();
}

}  // namespace platform::local
