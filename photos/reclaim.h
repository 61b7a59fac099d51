// The command "reclaim".
#pragma once

#include "photos/platform.h"
#include "protocol/request.h"
#include "protocol/response.h"

namespace photos {

/// Moves all the assets that the request names to Recently Deleted, in one change: all of them or
/// none. Refuses, and changes nothing, when any identifier names no asset or is repeated. Blocks
/// until the library has reported the outcome, without a time limit.
[[nodiscard]] protocol::Response reclaim(const protocol::Request& request, Platform& platform);

}  // namespace photos
