// Local libraries of a description that every backend's tests understand.
#pragma once

#include <filesystem>
#include <memory>

#include "photos/platform.h"
#include "tests/described_library.h"

namespace tests {

/// Makes the library in a new folder, or throws.
void makeLibrary(const std::filesystem::path& folder, const DescribedLibrary& library);

/// A platform that serves such a library in a folder of its own, which goes with it.
[[nodiscard]] std::shared_ptr<photos::Platform> makeLocalPlatform(const DescribedLibrary& library);

}  // namespace tests
