// The local library behind the seam: what every platform does, and what is done to a library that
// is replaced amid a request.
#include "platform/local/local_platform.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>

#include "tests/local_library.h"
#include "tests/platform_contract.h"
#include "tests/temporary_folder.h"

namespace tests {
namespace {

INSTANTIATE_TEST_SUITE_P(Local, PlatformContract, testing::Values(makeLocalPlatform));

TEST(LocalPlatform, KeepsWhatWasFetchedWhenTheLibraryIsReplaced) {
  const TemporaryFolder folder;
  const std::filesystem::path library = folder.path() / "library";
  platform::local::LocalPlatform platform(library);
  makeLibrary(library, {.assets = {{.localIdentifier = "A", .resources = {{{}, "a", {"abc"}}}}}});
  const std::string identifier = "A";
  const auto fetched = platform.fetchAssetsWithLocalIdentifiers({&identifier, 1});
  const auto asset = fetched->firstObject();
  std::filesystem::rename(library, folder.path() / "elsewhere");
  makeLibrary(library, {.assets = {{.localIdentifier = "B", .resources = {{{}, "b", {"x"}}}}}});
  EXPECT_EQ(asset->localIdentifier(), "A");
  // The originals are those at the library's place: none is given for another.
  std::string told;
  const auto tell = [&](const std::optional<photos::Error>& error) {
    told += error ? error->localizedDescription + "; " : "none; ";
  };
  platform.requestDataForAssetResource(
      *platform.assetResourcesForAsset(*asset).at(0), {}, [&](auto) { told += "bytes, "; }, tell);
  platform.performChanges(
      [&](photos::AssetChangeRequest& change) { change.deleteAssets(*fetched); },
      [&](bool success, const std::optional<photos::Error>& error) {
        told += success ? "changed, " : "";
        tell(error);
      });
  EXPECT_EQ(told,
            "The original “a” is missing from the library; "
            "The library was replaced by another one; ");
  EXPECT_EQ(platform.fetchAssets({})->count(), 1U);
}

}  // namespace
}  // namespace tests
