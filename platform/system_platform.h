// The platform of this system: what the helper serves.
#pragma once

#include <memory>

#include "photos/platform.h"

namespace platform {

/// On macOS the user's Photos library. Elsewhere the local library at "Pictures/Photos Library" in
/// the user's home folder, as the password database has it.
[[nodiscard]] std::unique_ptr<photos::Platform> makeSystemPlatform();

}  // namespace platform
