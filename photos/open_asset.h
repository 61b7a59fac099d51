// The command "open".
#pragma once

#include "photos/platform.h"
#include "protocol/request.h"
#include "protocol/response.h"

namespace photos {

/// Shows one asset in the Photos application, by asking the system to open a URL that names it.
/// Returns once the system has accepted or refused.
[[nodiscard]] protocol::Response openAsset(const protocol::Request& request, Platform& platform);

}  // namespace photos
