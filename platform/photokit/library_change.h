// One change of the library.
#pragma once

#include "photos/platform.h"

namespace platform::photokit {

/// Performs the change on the shared library, with callbacks from the library's queue. An exception
/// in the change block fails the whole change. A second completion is passed on: the continuation
/// reports it.
void performChange(photos::Platform::ChangeBlock changeBlock,
                   photos::Platform::ChangeCompletionHandler completionHandler);

}  // namespace platform::photokit
