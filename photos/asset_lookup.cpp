#include "photos/asset_lookup.h"

#include <utility>

namespace photos {

std::unique_ptr<Asset> assetWithLocalIdentifier(const std::string& identifier, Platform& platform) {
  return platform.fetchAssetsWithLocalIdentifiers({&identifier, 1})->firstObject();
}

std::unique_ptr<AssetResource> resourceOfType(const Asset& asset, std::optional<std::int64_t> type,
                                              Platform& platform) {
  for (std::unique_ptr<AssetResource>& resource : platform.assetResourcesForAsset(asset)) {
    if (std::to_underlying(resource->type()) == type) {
      return std::move(resource);
    }
  }
  return nullptr;
}

}  // namespace photos
