// Shows requests and answers to a person, on standard output.
#pragma once

#include <boost/json/value.hpp>

#include "sim/transcript.h"

namespace sim {

void showSession(const Session& session);

/// Shows each summary of an answer on a line of its own, without what is false.
void showExchange(const Exchange& exchange, const boost::json::value& answer);

}  // namespace sim
