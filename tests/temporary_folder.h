// A folder that is gone, with all that is in it, when the test is done.
#pragma once

#include <stdlib.h>  // NOLINT(modernize-deprecated-headers): mkdtemp is POSIX's

#include <filesystem>
#include <stdexcept>
#include <string>

namespace tests {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = std::filesystem::temp_directory_path() / "photos-helper-test-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error("no temporary folder can be made");
    }
    path_ = name;
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace tests
