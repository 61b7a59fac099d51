// A private folder for what is being made or tried.
#pragma once

#include <stdlib.h>  // NOLINT(modernize-deprecated-headers): mkdtemp is POSIX's

#include <filesystem>
#include <string>
#include <system_error>

namespace sim {

/// Made by the constructor, with six letters of its own behind its name. The destructor removes it
/// with all that is in it.
class TemporaryFolder {
 public:
  explicit TemporaryFolder(const std::filesystem::path& name)
      : path_(name.string() + "XXXXXX"), isThere_(mkdtemp(path_.data()) != nullptr) {}
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    if (isThere_) {
      std::filesystem::remove_all(path_, ignored);
    }
  }

  /// False when it could not be made; errno says why.
  [[nodiscard]] bool isThere() const { return isThere_; }
  [[nodiscard]] std::filesystem::path path() const { return path_; }

 private:
  std::string path_;
  bool isThere_;
};

}  // namespace sim
