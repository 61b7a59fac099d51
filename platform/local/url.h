// URLs: strictly parsed, and opened by the desktop.
#pragma once

#include <memory>
#include <string>

#include "photos/platform.h"

namespace platform::local {

/// The text as a URL with a scheme (RFC 3986, to the letter), or null.
[[nodiscard]] std::unique_ptr<photos::URL> parseURL(const std::string& text);

/// Opens a URL that parseURL() gave with the application that the desktop has for its scheme. True
/// when the desktop's opener says that it did. The opener's input and output are kept away from
/// this process's.
[[nodiscard]] bool openWithSystem(const photos::URL& url);

}  // namespace platform::local
