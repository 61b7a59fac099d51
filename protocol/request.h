// One request of the host: a plain value, one JSON object on one line of standard input.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace protocol {

/// A field that the line leaves out, or gives as null, holds nothing; no field gets a default.
struct Request {
  /// One case per field, in order; stringValue() is the field's JSON key.
  enum class CodingKeys : std::uint8_t {
    command,
    assetID,
    photoKitResourceType,
    assetIDs,
    destination,
    cutoff,
    includePhotos,
    includeVideos,
    offset,
    limit,
  };

  std::string command;
  /// The localIdentifier of one asset.
  std::optional<std::string> assetID = {};
  /// The raw value of the resource type to use.
  std::optional<std::int64_t> photoKitResourceType = {};
  std::optional<std::vector<std::string>> assetIDs = {};
  /// The path of the file to write.
  std::optional<std::string> destination = {};
  /// Seconds since 1970-01-01T00:00:00 UTC: list only assets created before.
  std::optional<double> cutoff = {};
  std::optional<bool> includePhotos = {};
  std::optional<bool> includeVideos = {};
  /// Page start and size, in assets.
  std::optional<std::int64_t> offset = {};
  std::optional<std::int64_t> limit = {};
};

inline constexpr std::array<std::string_view, 10> requestKeys = {
    "command", "assetID",       "photoKitResourceType", "assetIDs", "destination",
    "cutoff",  "includePhotos", "includeVideos",        "offset",   "limit"};

[[nodiscard]] constexpr std::string_view stringValue(Request::CodingKeys key) {
  return requestKeys.at(static_cast<std::size_t>(key));
}

/// The key of exactly this text, or nothing.
[[nodiscard]] constexpr std::optional<Request::CodingKeys> requestKey(std::string_view text) {
  for (std::size_t index = 0; index < requestKeys.size(); ++index) {
    if (requestKeys.at(index) == text) {
      return static_cast<Request::CodingKeys>(index);
    }
  }
  return std::nullopt;
}

}  // namespace protocol
