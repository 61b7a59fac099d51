// A folder that is gone, with all that is in it, when the test is done.
#pragma once

#include <filesystem>

#include "sim/temporary_folder.h"

namespace tests {

struct TemporaryFolder : sim::TemporaryFolder {
  TemporaryFolder()
      : sim::TemporaryFolder(std::filesystem::temp_directory_path() / "photos-helper-test-") {}
};

}  // namespace tests
