// Writes responses as lines.
#pragma once

#include <optional>
#include <string>

#include "protocol/response.h"

namespace protocol {

/// The response as one compact JSON object without a line break, or nothing when one of its dates
/// is not finite. Fields that hold nothing are left out; solidi are escaped.
[[nodiscard]] std::optional<std::string> encode(const Response& response);

}  // namespace protocol
