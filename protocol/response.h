// One answer to the host: a plain value, one JSON object on one line of standard output.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace protocol {

/// One resource of one asset. An asset with several resources gives several.
struct AssetSummary {
  /// One case per field, in order; stringValue() is the field's JSON key.
  enum class CodingKeys : std::uint8_t {
    assetID,
    filename,
    createdAt,
    modifiedAt,
    mediaType,
    bytes,
    photoKitResourceType,
    isRaw,
    isLivePhotoCompanion,
    isLivePhotoImage,
    isCurrentEdit,
  };

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

/// A field that holds nothing leaves no key in the JSON object.
struct Response {
  /// One case per field, in order; stringValue() is the field's JSON key.
  enum class CodingKeys : std::uint8_t { ok, status, error, sha256, bytes, assets, nextOffset };

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

inline constexpr std::array<std::string_view, 11> assetSummaryKeys = {"assetID",
                                                                      "filename",
                                                                      "createdAt",
                                                                      "modifiedAt",
                                                                      "mediaType",
                                                                      "bytes",
                                                                      "photoKitResourceType",
                                                                      "isRaw",
                                                                      "isLivePhotoCompanion",
                                                                      "isLivePhotoImage",
                                                                      "isCurrentEdit"};

inline constexpr std::array<std::string_view, 7> responseKeys = {
    "ok", "status", "error", "sha256", "bytes", "assets", "nextOffset"};

[[nodiscard]] constexpr std::string_view stringValue(AssetSummary::CodingKeys key) {
  return assetSummaryKeys.at(static_cast<std::size_t>(key));
}

[[nodiscard]] constexpr std::string_view stringValue(Response::CodingKeys key) {
  return responseKeys.at(static_cast<std::size_t>(key));
}

}  // namespace protocol
