// Reads JSON that people write by hand: strictly, exactly, and telling where it is wrong.
#pragma once

#include <boost/json/value.hpp>
#include <expected>
#include <string>
#include <string_view>

namespace sim {

/// The text's one value, its numbers with a fraction as the nearest double. Or the place and kind
/// of the first fault: "line 3: " and the syntax error, or the path of a key that an object has
/// twice.
std::expected<boost::json::value, std::string> parseJSON(std::string_view text);

}  // namespace sim
