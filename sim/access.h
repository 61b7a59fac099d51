// The access status of a library, and the answer to its next prompt, as people write them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "sim/message.h"

namespace sim {

/// The status that a number or a name (not-determined, restricted, denied, authorized, limited)
/// stands for; nothing for any other text.
std::optional<std::int64_t> parseStatus(std::string_view text);

/// The number that the whole text writes in decimal, if it fits.
std::optional<std::int64_t> parseInteger(std::string_view text);

/// The number, and the name if it has one: "3 authorized", "7".
std::string describeStatus(std::int64_t status);

/// Prints the current status and the prompt's answer to standard output, a line each.
std::optional<Error> printAccess(const std::filesystem::path& library);

/// Sets what is given and leaves the rest. After a failure nothing has changed.
std::optional<Error> setAccess(const std::filesystem::path& library,
                               std::optional<std::int64_t> status,
                               std::optional<std::int64_t> promptAnswer);

}  // namespace sim
