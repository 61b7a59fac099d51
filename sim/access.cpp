#include "sim/access.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iostream>
#include <system_error>
#include <utility>

#include "sim/existing_library.h"

namespace sim {
namespace {

// A status is its name's index.
constexpr std::array<std::string_view, 5> names{"not-determined", "restricted", "denied",
                                                "authorized", "limited"};

}  // namespace

std::optional<std::int64_t> parseStatus(std::string_view text) {
  if (const auto* const name = std::find(names.begin(), names.end(), text); name != names.end()) {
    return name - names.begin();
  }
  return parseInteger(text);
}

std::optional<std::int64_t> parseInteger(std::string_view text) {
  std::int64_t value = 0;
  const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || rest != text.data() + text.size()) {
    return std::nullopt;
  }
  return value;
}

std::string describeStatus(std::int64_t status) {
  std::string text = std::to_string(status);
  if (status >= 0 && status < std::ssize(names)) {
    text.append(" ").append(names[static_cast<std::size_t>(status)]);
  }
  return text;
}

std::optional<Error> printAccess(const std::filesystem::path& library) {
  auto writer = openLibrary(library);
  if (!writer) {
    return std::move(writer.error());
  }
  const auto settings = writer->settings();
  if (!settings) {
    return settings.error();
  }
  std::cout << describeStatus(settings->authorizationStatus) << "\nprompt-answer "
            << describeStatus(settings->promptAnswer) << "\n"
            << std::flush;
  return outputFailure();
}

std::optional<Error> setAccess(const std::filesystem::path& library,
                               std::optional<std::int64_t> status,
                               std::optional<std::int64_t> promptAnswer) {
  auto writer = openLibrary(library);
  if (!writer) {
    return std::move(writer.error());
  }
  return writer->setAccess(status, promptAnswer);
}

}  // namespace sim
