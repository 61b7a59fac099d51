#include "sim/message.h"

#include <cerrno>
#include <iostream>
#include <string>

namespace sim {
namespace {

/// A newline in a file's name must not look like the end of a message, nor any other control
/// character reach a terminal.
void print(std::string_view start, std::string_view message) {
  std::string line(start);
  for (const char character : message) {
    const auto code = static_cast<unsigned char>(character);
    line += code < 0x20 || code == 0x7F ? '?' : character;
  }
  line += '\n';
  std::cerr << line;
}

}  // namespace

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
