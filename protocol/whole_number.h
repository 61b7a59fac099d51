// Whole numbers that are written as doubles.
#pragma once

#include <cmath>
#include <cstdint>
#include <optional>

namespace protocol {

/// The integer that the number is. Nothing when it has a fraction, or is so large that it may stand
/// for another integer.
[[nodiscard]] inline std::optional<std::int64_t> wholeNumber(double number) {
  constexpr double exactUpTo = 9007199254740992;  // 2 to the power of 53
  const bool isWhole = std::trunc(number) == number && std::abs(number) <= exactUpTo;
  return isWhole ? std::optional(static_cast<std::int64_t>(number)) : std::nullopt;
}

}  // namespace protocol
