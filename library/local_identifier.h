// Making identifiers for what is new in a library.
#pragma once

#include <cstdint>
#include <string>

namespace library {

/// An identifier of the form UUID/L0/001 whose digits are those 128 bits.
[[nodiscard]] std::string localIdentifier(std::uint64_t high, std::uint64_t low);

/// The same with random bits.
[[nodiscard]] std::string randomLocalIdentifier();

}  // namespace library
