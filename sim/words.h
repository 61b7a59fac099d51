// What words of the command line stand for, and access statuses as words.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

/// The number from 0 on that the whole text writes in decimal, if it fits.
[[nodiscard]] std::optional<std::int64_t> parseCount(std::string_view text);

/// The status that a number from 0 on or a name (not-determined, restricted, denied, authorized,
/// limited) stands for; nothing for any other text.
[[nodiscard]] std::optional<std::int64_t> parseStatus(std::string_view text);

/// The number, and the name if it has one: "3 authorized", "7".
[[nodiscard]] std::string describeStatus(std::int64_t status);

}  // namespace sim
