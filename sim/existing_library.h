// Reading and changing what a library says of access, the network and Recently Deleted.
#pragma once

#include <cstdint>
#include <expected>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

#include "library/library.h"

namespace sim {

/// Fails when there is no library at this path. Whether one that is there can be opened is not
/// looked at.
[[nodiscard]] library::Result checkLibraryIsThere(const std::filesystem::path& folder);

[[nodiscard]] std::expected<library::Library, library::Error> openLibrary(
    const std::filesystem::path& folder);

/// Prints the access status and the next prompt's answer to standard output, a line each.
[[nodiscard]] library::Result printAccess(const std::filesystem::path& folder);

/// Sets what is given and leaves the rest. After a failure nothing has changed.
[[nodiscard]] library::Result setAccess(const std::filesystem::path& folder,
                                        std::optional<std::int64_t> status,
                                        std::optional<std::int64_t> promptAnswer);

/// Prints whether cloud-only resources can be downloaded: "reachable" or "unreachable".
[[nodiscard]] library::Result printNetwork(const std::filesystem::path& folder);

[[nodiscard]] library::Result setNetwork(const std::filesystem::path& folder, bool isReachable);

/// Prints the assets in Recently Deleted on standard output, oldest first, one JSON object a line
/// with the keys that a description has for an asset.
[[nodiscard]] library::Result printRecentlyDeleted(const std::filesystem::path& folder);

/// Puts the assets of these identifiers back into the library: all of them or, when one is not in
/// Recently Deleted, none.
[[nodiscard]] library::Result restore(const std::filesystem::path& folder,
                                      std::span<const std::string> localIdentifiers);

}  // namespace sim
