// Reviews what a host has asked of a library.
#pragma once

#include <filesystem>

#include "sim/message.h"

namespace sim {

/// Reads a record of sessions on the library, and says what a careful host would not have done:
/// reclaim an asset whose resources have not all been exported, export a resource again, leave open
/// what became of a reclaim. Fails when there is any, or when the file is no record.
[[nodiscard]] Result reviewRecord(const std::filesystem::path& library,
                                  const std::filesystem::path& record);

}  // namespace sim
