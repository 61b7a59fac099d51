#include "platform/local/rows.h"

#include <sstream>

namespace platform::local {
namespace {

std::vector<std::int64_t> chunks(const std::string& text) {
  std::istringstream numbers(text);
  std::vector<std::int64_t> result;
  for (std::int64_t length = 0; numbers >> length;) {
    result.push_back(length);
  }
  return result;
}

}  // namespace

std::optional<photos::Date> optionalDate(const SQLite::Column& column) {
  return column.isNull() ? std::nullopt : std::optional(column.getDouble());
}

std::optional<std::string> optionalText(const SQLite::Column& column) {
  return column.isNull() ? std::nullopt : std::optional(column.getString());
}

std::optional<Settings> readSettings(SQLite::Statement& row) {
  if (!row.executeStep()) {
    return std::nullopt;
  }
  const SQLite::Column opensURLs = row.getColumn(3);
  return Settings{
      .authorizationStatus = row.getColumn(0).getInt64(),
      .promptAnswer = row.getColumn(1).getInt64(),
      .userLibraryAlbum = optionalText(row.getColumn(2)),
      .opensURLs = opensURLs.isNull() ? std::nullopt : std::optional(opensURLs.getInt() != 0),
      .deletionSuccess = row.getColumn(4).getInt() != 0,
      .deletionError = optionalText(row.getColumn(5)),
      .networkReachable = row.getColumn(6).getInt() != 0,
  };
}

std::optional<NewResource> readResource(SQLite::Statement& row) {
  if (!row.executeStep()) {
    return std::nullopt;
  }
  NewResource resource{
      .type = row.getColumn(0).getInt64(),
      .originalFilename = row.getColumn(1).getString(),
      .content = {.size = row.getColumn(2).getInt64(), .sha256 = optionalText(row.getColumn(3))},
      .cloud = row.getColumn(4).getInt() != 0,
      .chunks = chunks(row.getColumn(5).getString()),
      .failure = {},
  };
  if (!row.isColumnNull(6)) {
    resource.failure = {.afterBytes = row.getColumn(6).getInt64(),
                        .error = row.getColumn(7).getString()};
  }
  return resource;
}

std::string chunksText(const std::vector<std::int64_t>& chunks) {
  std::string text;
  for (const std::int64_t length : chunks) {
    text += (text.empty() ? "" : " ") + std::to_string(length);
  }
  return text;
}

}  // namespace platform::local
