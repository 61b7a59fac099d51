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

/// A local library whose exports fail, and what their files were asked for.
class FailingFiles : public platform::local::LocalPlatform {
 public:
  using LocalPlatform::LocalPlatform;

  File fileHandleForWriting(const std::string& path) override {
    return std::make_unique<Handle>(LocalPlatform::fileHandleForWriting(path).value(), *this);
  }

  int failingWrite = 0;  // by its number
  bool closeFails = false;
  std::string calls;

 private:
  struct Handle : photos::FileHandle {
    Handle(std::unique_ptr<photos::FileHandle> file, FailingFiles& platform)
        : real(std::move(file)), failing(platform) {}
    Outcome write(std::span<const std::byte> bytes) override {
      failing.calls += std::to_string(bytes.size()) + " ";
      const bool fails = --failing.failingWrite == 0;
      return fails ? std::unexpected(photos::Error{"write failed"}) : real->write(bytes);
    }
    Outcome close() override {
      failing.calls += "close";
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
    std::string calls;
    std::string written;
    std::optional<std::string> told;
  };
  for (const Case& each : {Case{{}, 0, false, "2 0 1 close", "abc", {}},
                           Case{{}, 1, false, "2 close", "", "write failed"},
                           Case{{}, 3, false, "2 0 1 close", "ab", "write failed"},
                           Case{{}, 1, true, "2 close", "", "close failed"},
                           Case{{}, 0, true, "2 0 1 close", "abc", "close failed"},
                           Case{"library failed", 0, true, "2 0 1 ", "abc", "library failed"},
                           Case{"library failed", 3, true, "2 0 1 ", "ab", "library failed"}}) {
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
    EXPECT_EQ(response.status, each.told ? "export_failed" : "exported");
    EXPECT_EQ(response.error, each.told);
    EXPECT_EQ(platform.calls, each.calls);
    std::ifstream copy(file);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(copy), {}), each.written);
  }
}

}  // namespace
}  // namespace tests
