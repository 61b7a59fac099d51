// Finding the one asset and the one resource that a request names.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "photos/platform.h"

namespace photos {

/// The asset of that identifier, or null.
[[nodiscard]] std::unique_ptr<Asset> assetWithLocalIdentifier(const std::string& identifier,
                                                              Platform& platform);

/// The first of the asset's resources, in the library's order, of exactly that type; null when
/// there is none, and when no type is given.
[[nodiscard]] std::unique_ptr<AssetResource> resourceOfType(const Asset& asset,
                                                            std::optional<std::int64_t> type,
                                                            Platform& platform);

}  // namespace photos
