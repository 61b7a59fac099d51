// The command "discover".
#pragma once

#include "photos/platform.h"
#include "protocol/request.h"
#include "protocol/response.h"

namespace photos {

/// Lists the library's photo and video assets, oldest first, one page at a time, with one summary
/// per resource of a relevant kind. Never fails, and keeps nothing between pages: positions count
/// the eligible assets at the time of the request. Sizes are never computed.
[[nodiscard]] protocol::Response discover(const protocol::Request& request, Platform& platform);

}  // namespace photos
