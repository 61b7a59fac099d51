#include "sim/words.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <system_error>

namespace sim {
namespace {

/// A status is its name's index.
constexpr std::array<std::string_view, 5> names{"not-determined", "restricted", "denied",
                                                "authorized", "limited"};

}  // namespace

std::optional<std::int64_t> parseCount(std::string_view text) {
  std::int64_t value = 0;
  const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  const bool isWhole = error == std::errc() && rest == text.data() + text.size();
  return isWhole && value >= 0 ? std::optional(value) : std::nullopt;
}

std::optional<std::int64_t> parseStatus(std::string_view text) {
  const auto* const name = std::ranges::find(names, text);
  return name == names.end() ? parseCount(text) : std::optional<std::int64_t>(name - names.begin());
}

std::string describeStatus(std::int64_t status) {
  std::string text = std::to_string(status);
  if (status >= 0 && status < std::ssize(names)) {
    text.append(" ").append(names[static_cast<std::size_t>(status)]);
  }
  return text;
}

}  // namespace sim
