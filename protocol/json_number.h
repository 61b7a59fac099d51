// Exact values of JSON numbers, taken from their text.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace protocol {

/// The value of a JSON number that is whole and fits, written in any way: 5, 5.0, 50e-1.
[[nodiscard]] std::optional<std::int64_t> wholeNumber(std::string_view text);

/// The double nearest to a JSON number, if it is finite.
[[nodiscard]] std::optional<double> finiteNumber(std::string_view text);

}  // namespace protocol
