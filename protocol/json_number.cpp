#include "protocol/json_number.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <string>

namespace protocol {

std::optional<std::int64_t> wholeNumber(std::string_view text) {
  constexpr std::int64_t mostDigits = 19;

  // The value is `digits` times ten to the power of `exponent`.
  std::string digits;
  std::int64_t exponent = 0;
  const std::size_t exponentAt = text.find_first_of("eE");
  if (exponentAt != std::string_view::npos) {
    std::string digitsOfPower(text.substr(exponentAt + 1));
    digitsOfPower.erase(0, digitsOfPower.starts_with('+') ? 1 : 0);
    int power = 0;
    const char* const end = digitsOfPower.data() + digitsOfPower.size();
    if (std::from_chars(digitsOfPower.data(), end, power).ec != std::errc{}) {
      return std::nullopt;  // beyond what the JSON library takes as a number, too
    }
    exponent = power;
    text = text.substr(0, exponentAt);
  }
  const bool negative = text.starts_with('-');
  text.remove_prefix(negative ? 1 : 0);
  const std::size_t point = text.find('.');
  digits = text.substr(0, point);
  if (point != std::string_view::npos) {
    const std::string_view fraction = text.substr(point + 1);
    digits += fraction;
    exponent -= static_cast<std::int64_t>(fraction.size());
  }

  digits.erase(0, digits.find_first_not_of('0'));
  if (digits.empty()) {
    return 0;
  }
  const std::size_t significant = digits.find_last_not_of('0') + 1;
  exponent += static_cast<std::int64_t>(digits.size() - significant);
  digits.resize(significant);
  if (exponent < 0 || exponent > mostDigits) {
    return std::nullopt;
  }
  digits.append(static_cast<std::size_t>(exponent), '0');
  if (negative) {
    digits.insert(0, 1, '-');
  }

  std::int64_t value = 0;
  const char* const end = digits.data() + digits.size();
  const auto [read, error] = std::from_chars(digits.data(), end, value);
  return error == std::errc{} && read == end ? std::optional(value) : std::nullopt;
}

std::optional<double> finiteNumber(std::string_view text) {
  // strtod rounds correctly, which the JSON library's own conversion does not promise; a date that
  // a host sends back must be the very date that it was given. The process never sets a locale.
  const double value = std::strtod(std::string(text).c_str(), nullptr);
  return std::isfinite(value) ? std::optional(value) : std::nullopt;
}

}  // namespace protocol
