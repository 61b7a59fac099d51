// Opening library.sqlite, and what SQLite says when it fails.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>
#include <sys/types.h>

#include <expected>
#include <filesystem>
#include <optional>

#include "photos/platform.h"

namespace platform::local {

/// The database file of the library in `folder`.
[[nodiscard]] std::filesystem::path databaseFile(const std::filesystem::path& folder);

/// Which file a path leads to, to notice that another one has taken its place.
struct FileIdentity {
  dev_t device{};
  ino_t node{};
  bool operator==(const FileIdentity&) const = default;
};

/// Nothing when there is no file.
[[nodiscard]] std::optional<FileIdentity> identityOf(const std::filesystem::path& file);

/// Opens the library's database for reading and writing. Fails, and writes nothing, when there is
/// none, when it is no local library or of another schema version, or when it cannot be read.
[[nodiscard]] std::expected<SQLite::Database, photos::Error> openDatabase(
    const std::filesystem::path& folder);

/// The one mapper of SQLite's errors.
[[nodiscard]] photos::Error libraryError(const SQLite::Exception& exception);

/// A number out of a PRAGMA or a query that gives one. Throws SQLite::Exception.
[[nodiscard]] std::int64_t number(SQLite::Database& database, const char* query);

}  // namespace platform::local
