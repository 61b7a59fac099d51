// What photos-sim tells people: whole lines on standard error, whatever a file's name holds.
// Control characters and bytes that are not UTF-8 are shown escaped.
//
// A failure travels as a value up to main, which says it. Its text names the place first, then
// what is wrong there, then what to do about it.
#pragma once

#include <concepts>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

#include "library/database.h"

namespace sim {

using library::Error;
using library::Result;

/// The text as it may be shown to people: what acts as \u{1b}, bytes that are not UTF-8 as \xff.
[[nodiscard]] std::string printable(std::string_view text);

/// Prints "photos-sim: " and the message as one line.
void say(std::string_view message);

/// Prints an indented line below what was said last.
void sayBelow(std::string_view message);

/// The number and what it counts: "1 asset", "2 assets". `many` is for a plural of another form.
[[nodiscard]] std::string counted(std::integral auto count, const std::string& one,
                                  const std::string& many = {}) {
  return std::to_string(count) + " " + (count == 1 ? one : many.empty() ? one + "s" : many);
}

/// Hands over what was printed to standard output; a failure when that can't be written.
[[nodiscard]] Result flushOutput();

/// The failure "PLACE: PROBLEM; ADVICE", without the last part when there is no advice.
[[nodiscard]] Error failure(const std::filesystem::path& place, std::string_view problem,
                            std::string_view advice = {});

/// The same for a system error.
[[nodiscard]] Error failure(const std::filesystem::path& place, std::error_code problem,
                            std::string_view advice = {});

/// The system error of the last call that failed.
[[nodiscard]] std::error_code lastSystemError();

}  // namespace sim
