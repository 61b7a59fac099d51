// What reclaim has moved to Recently Deleted, and the way back.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>

#include "sim/message.h"

namespace sim {

/// Prints the assets in Recently Deleted on standard output, oldest first, one JSON object a line
/// with the keys that a description has for an asset.
std::optional<Error> printRecentlyDeleted(const std::filesystem::path& library);

/// Puts the assets of these identifiers back into the library: all of them or, when one is not in
/// Recently Deleted, none.
std::optional<Error> restore(const std::filesystem::path& library,
                             std::span<const std::string> localIdentifiers);

}  // namespace sim
