// Adds the photos and videos below folders to a library. The folders are never changed.
//
// Each asset is added in a transaction of its own, after its files are on disk in the library: an
// interrupted import leaves whole assets, and running it again adds the rest. A photo or video
// whose bytes the library holds already is not added again; files that belong to it and are new
// go to the asset that holds it.
#pragma once

#include <filesystem>
#include <span>

#include "library/library.h"

namespace sim {

/// Imports into the library, which is made when nothing is at its path, and tells on standard
/// error what was added, what was there already and what was left out, by name. Files that can't
/// be read are a failure, told after everything else was imported.
[[nodiscard]] library::Result importFolders(const std::filesystem::path& place,
                                            std::span<const std::filesystem::path> folders);

}  // namespace sim
