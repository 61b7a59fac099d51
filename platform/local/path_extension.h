// Path extensions by the file system's rules.
#pragma once

#include <string>
#include <string_view>

namespace platform::local {

/// What follows the last "." of the last path component; empty when that "." is its first or last
/// character or there is none, as Foundation's pathExtension has it.
[[nodiscard]] inline std::string pathExtension(std::string_view path) {
  const std::string_view name = path.substr(path.find_last_of('/') + 1);
  const std::size_t dot = name.find_last_of('.');
  return dot == std::string_view::npos || dot == 0 ? std::string()
                                                   : std::string(name.substr(dot + 1));
}

}  // namespace platform::local
