// Libraries for measuring: many plausible assets whose content takes no disk.
#pragma once

#include <cstdint>
#include <filesystem>

#include "library/library.h"

namespace sim {

/// Makes a library of `count` assets, to which access is authorized: one in ten a video, one in
/// fifty RAW + JPEG, one in five of the images a Live Photo, one in twenty edited, with dates over
/// 15 years in no order. The same count gives the same assets, on every system.
[[nodiscard]] library::Result makeSyntheticLibrary(const std::filesystem::path& place,
                                                   std::int64_t count);

}  // namespace sim
