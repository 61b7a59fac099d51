#include "photos/reclaim.h"

#include <memory>
#include <optional>
#include <utility>

#include "runtime/continuation.h"

namespace photos {

using protocol::Request;
using protocol::Response;

Response reclaim(const Request& request, Platform& platform) {
  if (!request.assetIDs || request.assetIDs->empty()) {
    return {.ok = false, .status = "invalid_request", .error = "assetIDs are required"};
  }
  const std::shared_ptr<AssetFetchResult> assets =
      platform.fetchAssetsWithLocalIdentifiers(*request.assetIDs);
  if (assets->count() != request.assetIDs->size()) {
    return {.ok = false, .status = "missing", .error = "One or more assets no longer exist"};
  }
  return runtime::suspend(
      "reclaim(_:)", Response{.ok = false, .status = "reclaim_failed"},
      [&](const auto& continuation) {
        platform.performChanges(
            [assets](AssetChangeRequest& change) { change.deleteAssets(*assets); },
            [continuation](bool success, std::optional<Error> error) {
              Response response{
                  .ok = success,
                  .status = success ? "moved_to_recently_deleted" : "reclaim_failed",
              };
              if (error) {
                response.error = std::move(error->localizedDescription);
              }
              continuation.resume(std::move(response));
            });
      });
}

}  // namespace photos
