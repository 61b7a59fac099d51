// When a photo was taken, and when a file was last changed. Reads files and changes none.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "photos/platform.h"

namespace sim {

/// When the still was taken, by its own Exif; nothing when that is missing, broken or no date.
[[nodiscard]] std::optional<photos::Date> exifCaptureDate(const std::filesystem::path& still);

/// The date that Exif's DateTimeOriginal, OffsetTimeOriginal and SubSecTimeOriginal stand for. An
/// offset that is empty or malformed leaves the time to be local, a malformed fraction counts as
/// none; nothing when the date itself is malformed or no day of the calendar.
[[nodiscard]] std::optional<photos::Date> exifDate(const std::string& dateTime,
                                                   const std::string& offset,
                                                   const std::string& fraction);

/// When the file's content was last changed; nothing when the file can't be asked.
[[nodiscard]] std::optional<photos::Date> fileDate(const std::filesystem::path& file);

}  // namespace sim
