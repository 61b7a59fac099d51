// Shows requests and answers to a person, on standard output.
#pragma once

#include <boost/json/value.hpp>
#include <string>
#include <string_view>

#include "sim/transcript.h"

namespace sim {

/// The text with "\u" and four digits for each control character, and U+FFFD for what is not UTF-8.
[[nodiscard]] std::string printable(std::string_view text);

void showSession(const Session& session);

/// Shows each summary of an answer on a line of its own, without what is false.
void showExchange(const Exchange& exchange, const boost::json::value& answer);

}  // namespace sim
