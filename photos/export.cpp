#include "photos/export.h"

#include <memory>
#include <optional>
#include <utility>

#include "photos/asset_lookup.h"
#include "runtime/continuation.h"

namespace photos {

using protocol::Request;
using protocol::Response;

Response export_(const Request& request, Platform& platform) {
  if (!request.assetID || !request.destination) {
    return {
        .ok = false, .status = "invalid_request", .error = "assetID and destination are required"};
  }
  const auto asset = assetWithLocalIdentifier(*request.assetID, platform);
  if (!asset) {
    return {.ok = false, .status = "missing"};
  }
  const auto resource = resourceOfType(*asset, request.photoKitResourceType, platform);
  if (!resource) {
    return {.ok = false, .status = "unavailable"};
  }
  auto streamed = streamResource(*resource, *request.destination, platform);
  if (!streamed) {
    return {.ok = false,
            .status = "export_failed",
            .error = std::move(streamed.error().localizedDescription)};
  }
  return {.ok = true,
          .status = "exported",
          .sha256 = std::move(streamed->sha256),
          .bytes = streamed->byteCount};
}

std::expected<StreamedResource, Error> streamResource(const AssetResource& resource,
                                                      const std::string& path, Platform& platform) {
  const AssetResourceRequestOptions options{.networkAccessAllowed = true};
  auto opened = ResourceStreamSink::make(path, platform);
  if (!opened) {
    return std::unexpected(std::move(opened.error()));
  }
  const std::shared_ptr<ResourceStreamSink> sink = std::move(*opened);
  std::optional<Error> libraryError = runtime::suspend(
      "streamResource(_:to:)",
      std::optional(Error{"The Photos library dropped the request for this original"}),
      [&](const auto& continuation) {
        platform.requestDataForAssetResource(
            resource, options, [sink](std::span<const std::byte> chunk) { sink->append(chunk); },
            [continuation](std::optional<Error> error) { continuation.resume(std::move(error)); });
      });
  if (libraryError) {
    return std::unexpected(std::move(*libraryError));
  }
  return sink->finish();
}

}  // namespace photos
