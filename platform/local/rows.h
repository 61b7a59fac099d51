// Rows of library.sqlite as values. All of it throws SQLite::Exception.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>

#include <optional>
#include <string>

#include "platform/local/model.h"

namespace platform::local {

[[nodiscard]] std::optional<photos::Date> optionalDate(const SQLite::Column& column);

[[nodiscard]] std::optional<std::string> optionalText(const SQLite::Column& column);

inline constexpr const char* settingsQuery =
    "SELECT authorizationStatus, promptAnswer, userLibraryAlbum, opensURLs, deletionSuccess, "
    "deletionError, networkReachable FROM library";

/// The library's one row of settings, if it has one, from a statement of settingsQuery.
[[nodiscard]] std::optional<Settings> readSettings(SQLite::Statement& row);

inline constexpr const char* resourceQuery =
    "SELECT type, originalFilename, size, sha256, cloud, chunks, failureAfterBytes, failureError "
    "FROM resource WHERE asset = ? AND position = ?";

/// The resource in that row, if it is there, from a statement of resourceQuery with its row bound.
[[nodiscard]] std::optional<NewResource> readResource(SQLite::Statement& row);

/// The lengths of a resource's first chunks, as the table keeps them: "3 0 5".
[[nodiscard]] std::string chunksText(const std::vector<std::int64_t>& chunks);

}  // namespace platform::local
