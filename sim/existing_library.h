// Opens libraries that are there, and says what to do when they are not.
#pragma once

#include <expected>
#include <filesystem>
#include <optional>

#include "platform/local/library_writer.h"
#include "sim/message.h"

namespace sim {

/// The failure that no library is at this path. Nothing when one may be: opening tells.
std::optional<Error> checkLibraryIsThere(const std::filesystem::path& library);

/// Opens the library for changes.
std::expected<platform::local::LibraryWriter, Error> openLibrary(
    const std::filesystem::path& library);

}  // namespace sim
