#include "photos/open_asset.h"

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

#include "photos/asset_lookup.h"

namespace photos {
namespace {

using protocol::Request;
using protocol::Response;

/// The first piece between the identifier's "/"; empty when it has none.
std::string_view identifierPiece(std::string_view identifier) {
  identifier.remove_prefix(std::min(identifier.find_first_not_of('/'), identifier.size()));
  return identifier.substr(0, identifier.find('/'));
}

/// The URL that shows the asset in the album of the whole library, or null when there is none.
std::unique_ptr<URL> urlOfAsset(const Asset& asset, Platform& platform) {
  const auto album = platform
                         .fetchAssetCollections(AssetCollectionType::smartAlbum,
                                                AssetCollectionSubtype::smartAlbumUserLibrary)
                         ->firstObject();
  if (!album) {
    return nullptr;
  }
  const std::string albumIdentifier = album->localIdentifier();
  const std::string_view albumPiece = identifierPiece(albumIdentifier);
  if (albumPiece.empty()) {
    return nullptr;
  }
  const std::string assetIdentifier = asset.localIdentifier();
  const std::string_view assetPiece = identifierPiece(assetIdentifier);
  if (assetPiece.empty()) {
    return nullptr;
  }
  std::string text = "photos:albums?albumUuid=";
  text.append(albumPiece).append("&assetUuid=").append(assetPiece);
  return platform.URLWithString(text);
}

}  // namespace

Response openAsset(const Request& request, Platform& platform) {
  if (!request.assetID) {
    return {.ok = false, .status = "invalid_request", .error = "assetID is required"};
  }
  const auto asset = assetWithLocalIdentifier(*request.assetID, platform);
  if (!asset) {
    return {.ok = false, .status = "missing"};
  }
  const std::unique_ptr<URL> url = urlOfAsset(*asset, platform);
  if (!url) {
    return {.ok = false, .status = "open_unavailable"};
  }
  return {.ok = platform.openURL(*url), .status = "opened_in_photos"};
}

}  // namespace photos
