// The command "estimate".
#pragma once

#include "photos/platform.h"
#include "protocol/request.h"
#include "protocol/response.h"

namespace photos {

/// Reports the exact size in bytes of one resource of one asset, by reading all of it. Nothing is
/// kept: asking twice reads twice.
[[nodiscard]] protocol::Response estimate(const protocol::Request& request, Platform& platform);

}  // namespace photos
