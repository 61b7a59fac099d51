// Makes a library, all or nothing.
//
// It is made in a private folder beside its place, and moved there when all of it is on disk. A run
// that is killed leaves the private folder; the next run for the same place names it.
#pragma once

#include <filesystem>
#include <functional>

#include "library/library.h"
#include "library/originals.h"

namespace sim {

/// How a new library answers unless it is told otherwise: access is not determined, a prompt is
/// answered with authorized, and the album of the whole library has an identifier of its own.
[[nodiscard]] library::Settings defaultSettings();

/// Adds what a library that is being made holds.
using Fill = std::function<library::Result(library::Library&, const library::Originals&)>;

/// Makes the library at `place`, where nothing may be yet, with the folders on the way to it, and
/// fills it with `fill`. After a failure nothing is there, and nothing that it made is left.
[[nodiscard]] library::Result makeLibrary(const std::filesystem::path& place,
                                          const library::Settings& settings, const Fill& fill);

}  // namespace sim
