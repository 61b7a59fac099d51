// Libraries for measuring: many plausible assets whose content takes no disk.
#pragma once

#include <cstdint>
#include <optional>

#include "platform/local/library_writer.h"
#include "sim/message.h"

namespace sim {

/// How a synthetic library answers: access is authorized, so that it can be used at once.
platform::local::Settings syntheticSettings();

/// Adds `count` assets in one transaction: one in ten a video, one in fifty RAW + JPEG, one in
/// five of the images a Live Photo, one in twenty edited, with dates over 15 years in no order.
/// The same count gives the same assets, on every system. After a failure none is added.
std::optional<Error> addSyntheticAssets(platform::local::LibraryWriter& library,
                                        std::int64_t count);

}  // namespace sim
