// Makes a library, all or nothing.
//
// It is built in a hidden folder beside its place and moved there when it is whole on disk, so
// that nobody ever meets half a library. What an interrupted run leaves in the hidden folder is
// thrown away by the next run for the same place; a lock on that folder keeps two runs apart.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>

#include "platform/local/library_writer.h"
#include "sim/message.h"

namespace sim {

/// How a new library answers unless it is told otherwise: access is not determined, a prompt is
/// answered with authorized, and the album of the whole library has an identifier of its own.
platform::local::Settings defaultSettings();

/// Puts the content into a library that is being made.
using FillLibrary = std::function<std::optional<Error>(platform::local::LibraryWriter&)>;

/// Makes the library at `library`, where nothing may be yet, and fills it with `fill`. After a
/// failure nothing is there, and nothing is left beside it.
std::optional<Error> makeLibrary(const std::filesystem::path& library,
                                 const platform::local::Settings& settings,
                                 const FillLibrary& fill);

}  // namespace sim
