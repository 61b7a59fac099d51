// SHA-256 by the system's crypto library, with the processor's own instructions.
#pragma once

#include <memory>

#include "photos/platform.h"

namespace platform::posix {

[[nodiscard]] std::unique_ptr<photos::SHA256> makeSHA256();

}  // namespace platform::posix
