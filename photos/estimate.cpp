#include "photos/estimate.h"

#include "photos/asset_lookup.h"
#include "photos/resource_byte_count.h"

namespace photos {

using protocol::Request;
using protocol::Response;

Response estimate(const Request& request, Platform& platform) {
  if (!request.assetID || !request.photoKitResourceType) {
    return {.ok = false,
            .status = "invalid_request",
            .error = "assetID and photoKitResourceType are required"};
  }
  const auto asset = assetWithLocalIdentifier(*request.assetID, platform);
  if (!asset) {
    return {.ok = false, .status = "missing", .error = "The Photos asset no longer exists"};
  }
  const auto resource = resourceOfType(*asset, request.photoKitResourceType, platform);
  if (!resource) {
    return {.ok = false, .status = "missing", .error = "The Photos resource no longer exists"};
  }
  const std::optional<std::int64_t> byteCount = resourceByteCount(*resource, platform);
  if (!byteCount) {
    return {.ok = false,
            .status = "estimate_failed",
            .error = "Photos could not retrieve this original"};
  }
  return {.ok = true, .status = "estimated", .bytes = byteCount};
}

}  // namespace photos
