// One answer to the host: a plain value, one JSON object on one line of standard output.
#pragma once

#include <boost/describe.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "protocol/coding_keys.h"

namespace protocol {

BOOST_DEFINE_FIXED_ENUM_CLASS(AssetSummaryKeys, std::uint8_t, assetID, filename, createdAt,
                              modifiedAt, mediaType, bytes, photoKitResourceType, isRaw,
                              isLivePhotoCompanion, isLivePhotoImage, isCurrentEdit)

/// One resource of one asset. An asset with several resources gives several.
struct AssetSummary {
  using CodingKeys = AssetSummaryKeys;

  std::string assetID;
  std::string filename;
  /// Seconds since 1970-01-01T00:00:00 UTC, as modifiedAt.
  double createdAt = 0;
  std::optional<double> modifiedAt = {};
  /// "photo" or "video": what the asset is, not the resource.
  std::string mediaType;
  std::optional<std::int64_t> bytes = {};
  std::int64_t photoKitResourceType = 0;
  bool isRaw = false;
  bool isLivePhotoCompanion = false;
  bool isLivePhotoImage = false;
  bool isCurrentEdit = false;
};

BOOST_DESCRIBE_STRUCT(AssetSummary, (),
                      (assetID, filename, createdAt, modifiedAt, mediaType, bytes,
                       photoKitResourceType, isRaw, isLivePhotoCompanion, isLivePhotoImage,
                       isCurrentEdit))
static_assert(keysAreFields<AssetSummary>());

BOOST_DEFINE_FIXED_ENUM_CLASS(ResponseKeys, std::uint8_t, ok, status, error, sha256, bytes, assets,
                              nextOffset)

/// A field that holds nothing leaves no key in the JSON object.
struct Response {
  using CodingKeys = ResponseKeys;

  bool ok = false;
  /// The outcome in one lower-case snake_case word.
  std::string status;
  /// What went wrong, for a person.
  std::optional<std::string> error = {};
  /// 64 lower-case hexadecimal digits.
  std::optional<std::string> sha256 = {};
  std::optional<std::int64_t> bytes = {};
  std::optional<std::vector<AssetSummary>> assets = {};
  std::optional<std::int64_t> nextOffset = {};
};

BOOST_DESCRIBE_STRUCT(Response, (), (ok, status, error, sha256, bytes, assets, nextOffset))
static_assert(keysAreFields<Response>());

}  // namespace protocol
