#include "platform/local/database.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "platform/local/schema.h"

namespace platform::local {
namespace {

/// How long to wait for another process that is changing the library at this moment.
constexpr int busyTimeoutInMilliseconds = 60'000;

/// What the header of a database file says it is (SQLite's "Database File Format", section 1.3).
struct Header {
  std::int64_t applicationID = 0;
  std::int64_t userVersion = 0;
};

/// The header in the file itself, without what the WAL adds. Neither the WAL nor the shared memory
/// is opened. Throws SQLite::Exception.
std::optional<Header> readHeader(const std::filesystem::path& file) {
  // Read through SQLite: closing a descriptor of our own would drop the locks that this process's
  // connections hold on the file.
  const SQLite::Database unused(file.string(), SQLite::OPEN_READONLY);
  sqlite3_file* opened = nullptr;
  std::array<unsigned char, 100> bytes{};
  if (sqlite3_file_control(unused.getHandle(), "main", SQLITE_FCNTL_FILE_POINTER,
                           static_cast<void*>(&opened)) != SQLITE_OK ||
      opened->pMethods->xRead(opened, bytes.data(), bytes.size(), 0) != SQLITE_OK) {
    return std::nullopt;
  }
  const auto bigEndian = [&bytes](std::size_t at) {
    std::int64_t value = 0;
    for (std::size_t index = 0; index < 4; ++index) {
      value = value << 8 | bytes.at(at + index);
    }
    return value;
  };
  return Header{.applicationID = bigEndian(68), .userVersion = bigEndian(60)};
}

photos::Error versionError(const std::filesystem::path& file, std::int64_t version) {
  return {"“" + file.string() + "” has schema version " + std::to_string(version) +
          ", and this program reads version " + std::to_string(schemaVersion)};
}

/// Whether closing the database leaves its files alone.
void keepAsItIs(SQLite::Database& database, bool keeps) {
  sqlite3_db_config(database.getHandle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, keeps ? 1 : 0, nullptr);
}

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
    // SQLite tidies up any database that it opens and closes: another's is not to be touched.
    const std::optional<Header> header = readHeader(file);
    if (!header || header->applicationID != applicationID) {
      return std::unexpected(photos::Error{"“" + file.string() + "” is not a local library"});
    }
    if (header->userVersion != schemaVersion) {
      return std::unexpected(versionError(file, header->userVersion));
    }
    SQLite::Database database(file.string(), SQLite::OPEN_READWRITE | SQLite::OPEN_NOMUTEX,
                              busyTimeoutInMilliseconds);
    // What the log adds to the file may make it another's still.
    keepAsItIs(database, std::filesystem::exists(file.string() + "-wal"));
    if (const std::int64_t version = number(database, "PRAGMA user_version");
        version != schemaVersion) {
      return std::unexpected(versionError(file, version));
    }
    keepAsItIs(database, false);
    // What was answered as done is on disk.
    database.exec("PRAGMA synchronous = FULL");
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
