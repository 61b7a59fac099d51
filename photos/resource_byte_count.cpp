#include "photos/resource_byte_count.h"

#include <memory>

#include "runtime/continuation.h"

namespace photos {

std::optional<std::int64_t> resourceByteCount(const AssetResource& resource, Platform& platform) {
  const AssetResourceRequestOptions options{.networkAccessAllowed = true};
  // Shared by the two callbacks, which never run at the same time: no lock.
  const auto total = std::make_shared<std::int64_t>(0);
  return runtime::suspend("resourceByteCount(_:)", std::optional<std::int64_t>(),
                          [&](const auto& continuation) {
                            platform.requestDataForAssetResource(
                                resource, options,
                                [total](std::span<const std::byte> chunk) {
                                  *total += static_cast<std::int64_t>(chunk.size());
                                },
                                [total, continuation](const std::optional<Error>& error) {
                                  continuation.resume(error ? std::nullopt : std::optional(*total));
                                });
                          });
}

}  // namespace photos
