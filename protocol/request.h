// One request of the host: a plain value, one JSON object on one line of standard input.
#pragma once

#include <boost/describe.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "protocol/coding_keys.h"

namespace protocol {

BOOST_DEFINE_FIXED_ENUM_CLASS(RequestKeys, std::uint8_t, command, assetID, photoKitResourceType,
                              assetIDs, destination, cutoff, includePhotos, includeVideos, offset,
                              limit)

/// A field that the line leaves out, or gives as null, holds nothing; no field gets a default.
struct Request {
  using CodingKeys = RequestKeys;

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

BOOST_DESCRIBE_STRUCT(Request, (),
                      (command, assetID, photoKitResourceType, assetIDs, destination, cutoff,
                       includePhotos, includeVideos, offset, limit))
static_assert(keysAreFields<Request>());

}  // namespace protocol
