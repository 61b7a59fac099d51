// SHA-256 by the system's crypto library, with the processor's own instructions.
#pragma once

#include <memory>
#include <span>
#include <string>

#include "photos/platform.h"

namespace platform::local {

[[nodiscard]] std::unique_ptr<photos::SHA256> makeSHA256();

/// Bytes as lower-case hexadecimal digits.
[[nodiscard]] std::string hexadecimal(std::span<const std::byte> bytes);

}  // namespace platform::local
