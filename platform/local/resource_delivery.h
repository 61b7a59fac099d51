// The content of a resource, chunk by chunk.
#pragma once

#include <filesystem>
#include <optional>

#include "library/model.h"
#include "photos/platform.h"

namespace platform::local {

/// Hands the resource's content to `dataReceived`, in order, on the calling thread: first chunks
/// of the lengths it is described with, then chunks of a fixed size. Memory does not grow with the
/// content. It takes the time that the resource is described with. Ends with an error where the
/// resource is described to fail, when it is held in the cloud and that can't be reached, when its
/// row makes no sense, and when the file under originals/ is missing or not what the library
/// recorded; a file of another size delivers nothing. Does not return where the resource is
/// described to stall or to crash the process.
[[nodiscard]] std::optional<photos::Error> deliver(
    const library::Resource& resource, const std::filesystem::path& folder, bool isCloudReachable,
    const photos::Platform::DataReceivedHandler& dataReceived);

}  // namespace platform::local
