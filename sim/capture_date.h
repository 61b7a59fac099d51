// When a photo was taken, and when a file was last changed. Reads files and changes none.
#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

#include "photos/platform.h"

namespace sim {

/// When the still was taken, by its own Exif; nothing when that is missing, broken or no date.
std::optional<photos::Date> exifCaptureDate(const std::filesystem::path& still);

/// The date that Exif's DateTimeOriginal, OffsetTimeOriginal and SubSecTimeOriginal stand for. An
/// offset that is empty or malformed leaves the time to be local, a malformed fraction counts as
/// none; nothing when the date itself is malformed or no day of the calendar.
std::optional<photos::Date> exifDate(std::string_view dateTime, std::string_view offset,
                                     std::string_view fraction);

/// When the file's content was last changed; nothing when the file can't be asked.
std::optional<photos::Date> fileDate(const std::filesystem::path& file);

}  // namespace sim
