#include "photos/discover.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <ranges>
#include <string>
#include <string_view>
#include <utility>

namespace photos {
namespace {

using protocol::AssetSummary;
using protocol::Request;
using protocol::Response;

using Resources = std::vector<std::unique_ptr<AssetResource>>;

bool isListed(AssetResourceType type) {
  switch (type) {
    using enum AssetResourceType;
    case photo:
    case video:
    case alternatePhoto:
    case fullSizePhoto:
    case fullSizeVideo:
    case pairedVideo:
    case fullSizePairedVideo:
      return true;
    default:
      return false;
  }
}

bool isPairedVideo(AssetResourceType type) {
  return type == AssetResourceType::pairedVideo || type == AssetResourceType::fullSizePairedVideo;
}

bool isCurrentEdit(AssetResourceType type) {
  return type == AssetResourceType::fullSizePhoto || type == AssetResourceType::fullSizeVideo ||
         type == AssetResourceType::fullSizePairedVideo;
}

bool isRawExtension(std::string extension) {
  constexpr std::array<std::string_view, 8> rawExtensions = {"arw", "cr2", "cr3", "dng",
                                                             "nef", "orf", "raf", "rw2"};
  std::ranges::transform(extension, extension.begin(), [](char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  });
  return std::ranges::find(rawExtensions, extension) != rawExtensions.end();
}

/// Adds one summary for each listed resource of the asset, which has a creation date.
void appendSummaries(std::vector<AssetSummary>& summaries, const Asset& asset, Platform& platform) {
  const Resources resources = platform.assetResourcesForAsset(asset);
  if (resources.empty()) {
    return;
  }
  const bool isLivePhoto = std::ranges::any_of(
      resources, [](const auto& resource) { return isPairedVideo(resource->type()); });
  const std::string assetID = asset.localIdentifier();
  for (const auto& resource : resources) {
    const AssetResourceType type = resource->type();
    if (!isListed(type)) {
      continue;
    }
    std::string filename = resource->originalFilename();
    const bool isRaw = type == AssetResourceType::alternatePhoto ||
                       isRawExtension(platform.pathExtension(filename));
    summaries.push_back({
        .assetID = assetID,
        .filename = std::move(filename),
        .createdAt = asset.creationDate().value_or(0),
        .modifiedAt = asset.modificationDate(),
        .mediaType = asset.mediaType() == AssetMediaType::video ? "video" : "photo",
        .photoKitResourceType = std::to_underlying(type),
        .isRaw = isRaw,
        .isLivePhotoCompanion = isPairedVideo(type),
        .isLivePhotoImage = isLivePhoto && !isPairedVideo(type),
        .isCurrentEdit = isCurrentEdit(type),
    });
  }
}

/// offset + limit. No library reaches the positions where the sum would not fit.
std::int64_t pageEnd(std::int64_t offset, std::int64_t limit) {
  constexpr std::int64_t last = std::numeric_limits<std::int64_t>::max();
  return offset > last - limit ? last : offset + limit;
}

}  // namespace

Response discover(const Request& request, Platform& platform) {
  constexpr std::int64_t defaultLimit = 100;
  constexpr std::int64_t largestLimit = 500;

  const FetchOptions options{.creationDateBefore = request.cutoff};
  const AssetFilter filter{.images = request.includePhotos.value_or(true),
                           .videos = request.includeVideos.value_or(true)};
  const std::int64_t offset = request.offset.value_or(0);
  const std::int64_t limit =
      std::clamp(request.limit.value_or(defaultLimit), std::int64_t{1}, largestLimit);
  const std::int64_t end = pageEnd(offset, limit);

  Response response{.ok = true, .status = "discovered"};
  std::vector<AssetSummary>& summaries = response.assets.emplace();
  summaries.reserve(static_cast<std::size_t>(limit));
  const auto assets = platform.fetchAssets(options);
  // A negative offset skips nothing, but ends the page earlier.
  std::int64_t matched = std::max(offset, std::int64_t{0});
  auto index = assets->indexOfAsset(filter, 0, static_cast<std::uint64_t>(matched));
  for (; index; index = assets->indexOfAsset(filter, *index + 1, 0)) {
    if (matched >= end) {
      response.nextOffset = end;
      break;
    }
    ++matched;
    appendSummaries(summaries, *assets->objectAtIndex(*index), platform);
  }
  return response;
}

}  // namespace photos
