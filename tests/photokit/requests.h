// Requests to the helper on the stand-in frameworks.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "protocol/request.h"
#include "tests/photokit/stand_in.h"

namespace tests {

/// The line that the host gets.
[[nodiscard]] std::string ask(const protocol::Request& request);

/// One photo "A/L0/001" with a paired video that is only in the cloud, one video "V/L0/001", a
/// hidden photo "H" and one without a date; the album "ALBUM/L0/040".
[[nodiscard]] stand_in::Library smallLibrary();

/// One granted request of each command on the small library; "export" writes to that path.
[[nodiscard]] std::vector<protocol::Request> everyCommand(const std::filesystem::path& destination);

}  // namespace tests
