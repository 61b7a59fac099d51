// Libraries for measuring: many plausible assets whose content takes no disk.
#pragma once

#include <cstdint>
#include <filesystem>

#include "library/library.h"

namespace sim {

/// The largest average, 64 GiB.
inline constexpr std::int64_t mostBytesPerResource = std::int64_t{1} << 36;

/// Makes a library of `count` assets, to which access is authorized, and says what it has made: one
/// in ten a video, one in fifty RAW + JPEG, one in five of the images a Live Photo, one in twenty
/// edited, with dates over 15 years in no order. A resource has half to three halves of
/// `bytesPerResource`, which is at most mostBytesPerResource. The same numbers give the same
/// assets, on every system; another size changes nothing but sizes.
[[nodiscard]] library::Result makeSyntheticLibrary(const std::filesystem::path& place,
                                                   std::int64_t count,
                                                   std::int64_t bytesPerResource);

}  // namespace sim
