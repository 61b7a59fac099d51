// URLs and path extensions by Foundation's rules, and opening by the workspace.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "photos/platform.h"

namespace platform::photokit {

/// The text as a URL, or null when it is not a valid one as it stands.
[[nodiscard]] std::unique_ptr<photos::URL> parseURL(const std::string& text);

[[nodiscard]] bool openWithWorkspace(const photos::URL& url);

[[nodiscard]] std::string pathExtension(std::string_view filename);

}  // namespace platform::photokit
