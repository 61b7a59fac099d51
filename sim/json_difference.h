// Tells two JSON values apart.
#pragma once

#include <boost/json/value.hpp>
#include <optional>
#include <string>

namespace sim {

/// Where and how `actual` first differs from `expected`, which stands at `place`, such as
/// "assets[3].filename: \"a\" instead of \"b\""; nothing when they are equal. Keys may come in any
/// order, and numbers count by their values: 5, 5.0 and 5e0 are equal.
[[nodiscard]] std::optional<std::string> differenceOf(const boost::json::value& expected,
                                                      const boost::json::value& actual,
                                                      const std::string& place = "");

}  // namespace sim
