// One request for a resource's data.
#pragma once

#import <Photos/Photos.h>

#include "photos/platform.h"

namespace platform::photokit {

/// Asks the shared resource manager for the resource's data. The handlers are called as the seam
/// has it, from the manager's queue. Whatever keeps a chunk or the whole request from being
/// delivered, an exception included, comes out as an error at completion; chunks that come after
/// the completion are dropped, and a second completion is passed on for its receiver to report.
void requestData(PHAssetResource* resource, const photos::AssetResourceRequestOptions& options,
                 photos::Platform::DataReceivedHandler dataReceivedHandler,
                 photos::Platform::CompletionHandler completionHandler);

}  // namespace platform::photokit
