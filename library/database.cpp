#include "library/database.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <string>
#include <system_error>

#include "library/schema.h"
#include "platform/posix/files.h"

namespace library {
namespace {

namespace fs = std::filesystem;

/// How long to wait for another process that is changing the library at this moment.
constexpr int busyTimeoutInMilliseconds = 60'000;

/// What the header of a database file says it is (SQLite's "Database File Format", section 1.3).
struct Header {
  std::int64_t applicationID = 0;
  std::int64_t userVersion = 0;
};

/// The header in the file itself, without what the WAL adds. Neither the WAL nor the shared memory
/// is opened. Throws SQLite::Exception.
std::optional<Header> readHeader(const fs::path& file) {
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

std::int64_t userVersion(SQLite::Database& database) {
  return database.execAndGet("PRAGMA user_version").getInt64();
}

/// Closing the last connection checkpoints the WAL and deletes it, unless this is set.
void keepWALOnClose(SQLite::Database& database, bool keeps) {
  sqlite3_db_config(database.getHandle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, keeps ? 1 : 0, nullptr);
}

/// The schema version with the WAL applied; nothing when another process has the library open.
/// Changes no byte of the library: under an exclusive lock SQLite keeps the WAL index in private
/// memory.
std::optional<std::int64_t> versionInWAL(const fs::path& file) {
  try {
    SQLite::Database database(file.string(), SQLite::OPEN_READWRITE);
    keepWALOnClose(database, true);
    database.exec("PRAGMA locking_mode = EXCLUSIVE");
    return userVersion(database);
  } catch (const SQLite::Exception&) {
    return std::nullopt;
  }
}

bool hasWAL(const fs::path& file) {
  std::error_code none;
  const std::uintmax_t size = fs::file_size(file.string() + "-wal", none);
  return !none && size > 0;
}

Error openError(const fs::path& file, const std::string& reason) {
  return {"“" + file.string() + "” could not be opened: " + reason};
}

Error versionError(const fs::path& file, std::int64_t version) {
  return openError(file, "it has schema version " + std::to_string(version) +
                             ", and this program reads version " + std::to_string(schemaVersion));
}

}  // namespace

fs::path databaseFile(const fs::path& folder) { return folder / "library.sqlite"; }

std::optional<FileIdentity> identityOf(const std::string& path) {
  struct stat status{};
  return stat(path.c_str(), &status) == 0
             ? std::optional(FileIdentity{.device = status.st_dev, .node = status.st_ino})
             : std::nullopt;
}

std::expected<Database, Error> Database::open(const fs::path& folder) {
  const fs::path file = databaseFile(folder);
  // Opening a pipe would wait for its writer.
  if (std::error_code none; !fs::is_regular_file(file, none)) {
    return std::unexpected(openError(file, "there is no such file"));
  }
  try {
    // Opening a database the ordinary way changes the files beside it. Another application's, or
    // another version's, is refused before that.
    const std::optional<Header> header = readHeader(file);
    if (!header || header->applicationID != applicationID) {
      return std::unexpected(openError(file, "it is no local library"));
    }
    const bool hadWAL = hasWAL(file);
    std::int64_t version = header->userVersion;
    if (version == schemaVersion && hadWAL) {
      version = versionInWAL(file).value_or(version);
    }
    if (version != schemaVersion) {
      return std::unexpected(versionError(file, version));
    }
    SQLite::Database database(file.string(), SQLite::OPEN_READWRITE | SQLite::OPEN_NOMUTEX,
                              busyTimeoutInMilliseconds);
    // A process that has the library open may have raised the version in the WAL.
    keepWALOnClose(database, hadWAL);
    version = userVersion(database);
    if (version != schemaVersion) {
      return std::unexpected(versionError(file, version));
    }
    keepWALOnClose(database, false);
    // Somebody may have taken it out of WAL mode, in which a change waits for the end of all reads:
    // reclaim would wait for the fetch that it works on. A commit is on disk before it is answered.
    // The cache holds up to 100 MB, so that a million assets are listed without reading a page of
    // the database twice.
    database.exec(
        "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA cache_size = -100000");
    return Database(std::move(database));
  } catch (const SQLite::Exception& exception) {
    return std::unexpected(openError(file, exception.what()));
  }
}

std::expected<Database, Error> Database::create(const fs::path& folder) {
  const fs::path file = databaseFile(folder);
  // An empty file is an empty database. SQLite would let only its owner write to the file it makes,
  // whatever the umask.
  if (!platform::posix::makeFile(file.string()).isOpen()) {
    return std::unexpected(platform::posix::fileError(file.string(), "made", errno));
  }
  try {
    return Database(SQLite::Database(file.string(), SQLite::OPEN_READWRITE));
  } catch (const SQLite::Exception& exception) {
    return std::unexpected(Error{"“" + file.string() + "” could not be made: " + exception.what()});
  }
}

Result Database::runScript(const char* script) {
  return attempt([&] { database_.exec(script); });
}

Error Database::failure(const SQLite::Exception& exception) {
  failed_ = true;
  return {"“" + database_.getFilename() + "” could not be used: " + exception.what() +
          "; make sure that there is room and that you may write to it"};
}

}  // namespace library
