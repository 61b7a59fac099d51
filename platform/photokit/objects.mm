#include "platform/photokit/objects.h"

#include <algorithm>

#include "platform/photokit/conversions.h"

namespace platform::photokit {
namespace {

/// Whether a walk stops at the asset of that index.
bool isStop(PHFetchResult<PHAsset*>* assets, std::size_t index, const photos::AssetFilter& filter) {
  // Without a pool: one for each step would cost more than the step.
  @try {
    PHAsset* const asset = [assets objectAtIndex:index];
    return filter.admits(photos::AssetMediaType{[asset mediaType]},
                         [&] { return secondsOf([asset creationDate]).has_value(); });
  } @catch (NSException*) {
    return false;
  }
}

}  // namespace

std::string PhotoKitAsset::localIdentifier() const {
  return attempt(std::string(), [this] { return textOf([asset_.get() localIdentifier]); });
}

photos::AssetMediaType PhotoKitAsset::mediaType() const {
  return attempt(photos::AssetMediaType::unknown,
                 [this] { return photos::AssetMediaType{[asset_.get() mediaType]}; });
}

std::optional<photos::Date> PhotoKitAsset::creationDate() const {
  return attempt(std::optional<photos::Date>(),
                 [this] { return secondsOf([asset_.get() creationDate]); });
}

std::optional<photos::Date> PhotoKitAsset::modificationDate() const {
  return attempt(std::optional<photos::Date>(),
                 [this] { return secondsOf([asset_.get() modificationDate]); });
}

std::string PhotoKitResource::originalFilename() const {
  return attempt(std::string(), [this] { return textOf([resource_.get() originalFilename]); });
}

std::string PhotoKitCollection::localIdentifier() const {
  return attempt(std::string(), [this] { return textOf([collection_.get() localIdentifier]); });
}

std::optional<std::size_t> PhotoKitAssets::indexOfAsset(const photos::AssetFilter& filter,
                                                        std::size_t index, std::uint64_t skipped) {
  constexpr std::size_t stepsPerPool = 256;
  const std::size_t end = count();
  while (index < end) {
    const std::size_t poolEnd = std::min(end, index + stepsPerPool);
    @autoreleasepool {
      for (; index < poolEnd; ++index) {
        if (isStop(get(), index, filter) && skipped-- == 0) {
          return index;
        }
      }
    }
  }
  return std::nullopt;
}

Resources resourcesOf(PHAsset* asset) {
  if (asset == nil) {
    return {};
  }
  return attempt(Resources(), [&] {
    Resources resources;
    for (PHAssetResource* const resource in [PHAssetResource assetResourcesForAsset:asset]) {
      resources.push_back(std::make_unique<PhotoKitResource>(Retained<PHAssetResource>(resource)));
    }
    return resources;
  });
}

}  // namespace platform::photokit
