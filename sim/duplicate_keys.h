// Checks the text of a JSON value where a parsed value would no longer show the fault.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sim {

/// The place and kind of the first fault: "line 3: " and the syntax error, or the path of a key
/// that an object has twice. Nothing when the text is one JSON value without such keys.
std::optional<std::string> findJSONFault(std::string_view text);

}  // namespace sim
