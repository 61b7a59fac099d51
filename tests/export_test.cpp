// What an export tells and leaves when its file fails, at a write or at the close. No disk does
// either on demand.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "dispatch/dispatcher.h"
#include "platform/local/local_platform.h"
#include "tests/local_library.h"
#include "tests/temporary_folder.h"

namespace tests {
namespace {

using File = std::expected<std::unique_ptr<photos::FileHandle>, photos::Error>;
using Outcome = std::expected<void, photos::Error>;

/// A local library whose exports fail.
class FailingFiles : public platform::local::LocalPlatform {
 public:
  using LocalPlatform::LocalPlatform;

  File fileHandleForWriting(const std::string& path) override {
    return std::make_unique<Handle>(LocalPlatform::fileHandleForWriting(path).value(), *this);
  }

  int failingWrite = 0;  // by its number
  bool closeFails = false;

 private:
  struct Handle : photos::FileHandle {
    Handle(std::unique_ptr<photos::FileHandle> file, FailingFiles& platform)
        : real(std::move(file)), failing(platform) {}
    Outcome write(std::span<const std::byte> bytes) override {
      const bool fails = --failing.failingWrite == 0;
      return fails ? std::unexpected(photos::Error{"write failed"}) : real->write(bytes);
    }
    Outcome close() override {
      const Outcome closed = real->close();
      return failing.closeFails ? std::unexpected(photos::Error{"close failed"}) : closed;
    }
    std::unique_ptr<photos::FileHandle> real;
    FailingFiles& failing;
  };
};

TEST(Export, TellsALibraryErrorBeforeAFailedCloseBeforeAFailedWriteAndKeepsWhatCame) {
  struct Case {
    std::optional<std::string> libraryError;
    int failingWrite;
    bool closeFails;
    std::string told;
    std::string written;
  };
  const std::vector<Case> cases{
      {{}, 1, false, "write failed", ""},
      {{}, 3, false, "write failed", "ab"},
      {{}, 1, true, "close failed", ""},
      {{}, 0, true, "close failed", "abc"},
      {"library failed", 0, true, "library failed", "abc"},
      {"library failed", 3, true, "library failed", "ab"},
  };
  for (const Case& each : cases) {
    const TemporaryFolder folder;
    const std::string file = folder.path() / "copy";
    std::ofstream(file) << "a longer copy of before";
    const photos::AssetResourceType photo{1};
    makeLibrary(folder.path() / "library",
                {.assets = {{.localIdentifier = "A",
                             .resources = {{photo, "a", {"ab", "", "c"}, each.libraryError}}}}});
    FailingFiles platform(folder.path() / "library");
    platform.failingWrite = each.failingWrite;
    platform.closeFails = each.closeFails;
    const auto response = dispatch::response(
        {.command = "export", .assetID = "A", .photoKitResourceType = 1, .destination = file},
        platform);
    EXPECT_EQ(response.status, "export_failed");
    EXPECT_EQ(response.error, each.told);
    std::ifstream copy(file);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(copy), {}), each.written);
  }
}

}  // namespace
}  // namespace tests
