// Start and end of the process.
#pragma once

#include "photos/platform.h"

namespace app {

/// Sets how the process takes signals, serves requests from standard input on that platform, then
/// exits with status 0 when the input ends. Called once, on the main thread; `platform` lives until
/// the process has exited.
[[noreturn]] void serve(photos::Platform& platform);

}  // namespace app
