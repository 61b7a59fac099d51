// Rows of library.sqlite as values. All of it throws SQLite::Exception.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>

#include <optional>
#include <string>

#include "platform/local/model.h"

namespace platform::local {

[[nodiscard]] std::optional<photos::Date> optionalDate(const SQLite::Column& column);

[[nodiscard]] std::optional<std::string> optionalText(const SQLite::Column& column);

/// The library's one row of settings, if it has one.
[[nodiscard]] std::optional<Settings> readSettings(SQLite::Database& database);

/// The resource in that row, if it is there.
[[nodiscard]] std::optional<NewResource> readResource(SQLite::Database& database,
                                                      std::int64_t asset, std::int64_t position);

/// The lengths of a resource's first chunks, as the table keeps them: "3 0 5".
[[nodiscard]] std::string chunksText(const std::vector<std::int64_t>& chunks);

}  // namespace platform::local
