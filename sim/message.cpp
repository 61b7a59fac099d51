#include "sim/message.h"

#include <utf8.h>
#include <utf8/unchecked.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <iostream>
#include <string>

namespace sim {
namespace {

/// Whether a character is not shown but acts: a control, a line's end, or one that sets the
/// direction of what stands around it.
bool acts(std::uint32_t character) {
  constexpr auto ranges = std::to_array<std::array<std::uint32_t, 2>>({
      {0x00, 0x1F},
      {0x7F, 0x9F},
      {0x61C, 0x61C},
      {0x200E, 0x200F},
      {0x2028, 0x202E},
      {0x2066, 0x2069},
  });
  return std::ranges::any_of(ranges, [character](const auto& range) {
    return range[0] <= character && character <= range[1];
  });
}

std::string hexadecimal(std::uint32_t number) {
  std::array<char, 8> digits{};
  const auto end = std::to_chars(digits.begin(), digits.end(), number, 16).ptr;
  return {digits.begin(), end};
}

/// In one piece, so that the lines of several processes are not mixed.
void print(std::string_view start, std::string_view message) {
  std::cerr << std::string(start) + printable(message) + "\n";
}

}  // namespace

std::string printable(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    const char* at = text.data();
    const char* const invalid = utf8::find_invalid(at, at + text.size());
    while (at != invalid) {
      const char* const begin = at;
      const std::uint32_t character = utf8::unchecked::next(at);
      shown += acts(character) ? "\\u{" + hexadecimal(character) + "}" : std::string(begin, at);
    }
    text.remove_prefix(static_cast<std::size_t>(invalid - text.data()));
    if (!text.empty()) {
      shown += "\\x" + hexadecimal(static_cast<unsigned char>(text.front()));
      text.remove_prefix(1);
    }
  }
  return shown;
}

void say(std::string_view message) { print("photos-sim: ", message); }

void sayBelow(std::string_view message) { print("  ", message); }

Result flushOutput() {
  std::cout << std::flush;
  if (!std::cout) {
    return std::unexpected(Error{"standard output: it can't be written; check where it goes"});
  }
  return {};
}

Error failure(const std::filesystem::path& place, std::string_view problem,
              std::string_view advice) {
  std::string text = place.string();
  text.append(": ").append(problem);
  if (!advice.empty()) {
    text.append("; ").append(advice);
  }
  return Error{std::move(text)};
}

Error failure(const std::filesystem::path& place, std::error_code problem,
              std::string_view advice) {
  return failure(place, problem.message(), advice);
}

std::error_code lastSystemError() { return {errno, std::generic_category()}; }

}  // namespace sim
