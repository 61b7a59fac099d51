// One change of the library.
#pragma once

#include "photos/platform.h"

namespace platform::photokit {

/// Performs the change on the shared library. The handlers are called as the seam has it, from the
/// library's queue; a change block that the framework fails makes the whole change a failure. A
/// second completion is passed on for its receiver to report.
void performChange(photos::Platform::ChangeBlock changeBlock,
                   photos::Platform::ChangeCompletionHandler completionHandler);

}  // namespace platform::photokit
