// The size of a resource, by reading it.
#pragma once

#include <cstdint>
#include <optional>

#include "photos/platform.h"

namespace photos {

/// How many bytes the library delivers for the resource, downloaded first where it is held only in
/// the cloud; nothing when the delivery ends with an error. Blocks until it has ended, without a
/// time limit. Nothing of the content is kept.
[[nodiscard]] std::optional<std::int64_t> resourceByteCount(const AssetResource& resource,
                                                            Platform& platform);

}  // namespace photos
