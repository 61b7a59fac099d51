// Destinations that are no part of a library.
#pragma once

#include <filesystem>
#include <string>
#include <utility>

namespace platform::local {

/// Tells which destinations lead into a library's folder.
class DestinationGuard {
 public:
  explicit DestinationGuard(std::filesystem::path folder) : folder_(std::move(folder)) {}

  /// Whether a file opened at `path` would be one in the folder, or below it: by its path, by links
  /// on the way, by a link in its place, or by another hard link of a file there. False for a path
  /// that can't be opened at all.
  [[nodiscard]] bool leadsInto(const std::string& path) const;

 private:
  bool isInside(const std::string& folder) const;

  std::filesystem::path folder_;
};

}  // namespace platform::local
