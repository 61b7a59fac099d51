// One request for a resource's data.
#pragma once

#import <Photos/Photos.h>

#include "photos/platform.h"

namespace platform::photokit {

/// Asks the shared resource manager for the resource's data, with callbacks from its queue. An
/// exception of the framework's is the completion's error, also when it lost a chunk. Chunks after
/// the completion are dropped. A second completion is passed on: the continuation reports it.
void requestData(PHAssetResource* resource, const photos::AssetResourceRequestOptions& options,
                 photos::Platform::DataReceivedHandler dataReceivedHandler,
                 photos::Platform::CompletionHandler completionHandler);

}  // namespace platform::photokit
