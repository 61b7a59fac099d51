// Routes one request to the handler of its command, behind the authorization gate.
#pragma once

#include "photos/platform.h"
#include "protocol/request.h"
#include "protocol/response.h"

namespace dispatch {

/// The one answer to the request. Every path ends in a response and nothing is kept between two
/// requests: access is read afresh for each gated one. Runs on a worker thread, one at a time, and
/// waits there as long as the platform takes.
[[nodiscard]] protocol::Response response(const protocol::Request& request,
                                          photos::Platform& platform);

/// Asks the system for read-write access, which may prompt the user, and waits for the status.
[[nodiscard]] photos::AuthorizationStatus authorize(photos::Platform& platform);

}  // namespace dispatch
