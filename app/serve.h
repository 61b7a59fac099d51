// Start and end of serving.
#pragma once

#include "app/observer.h"
#include "photos/platform.h"

namespace app {

/// Serves requests from standard input on that platform, then exits with status 0 when the input
/// ends. Called once, by the main thread, after setUpProcess(); `platform` and `observer`, who is
/// told of each line, live until the process has exited. Throws std::exception when serving can't
/// begin, for want of memory or threads.
[[noreturn]] void serve(photos::Platform& platform, Observer* observer = nullptr);

}  // namespace app
