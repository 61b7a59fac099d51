// Memory stays flat, however many requests, assets and chunks there are, and every object goes.
#import <Photos/Photos.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "tests/photokit/requests.h"
#include "tests/photokit/stand_in.h"
#include "tests/temporary_folder.h"

namespace tests {
namespace {

/// There were objects of the class, though never so many at a time.
void expectFlat(Class kind, long limit) {
  EXPECT_GT(stand_in::mostObjectsOf(kind), 0);
  EXPECT_LT(stand_in::mostObjectsOf(kind), limit);
}

TEST(PhotoKitMemory, HoldsNoObjectAfterTenThousandRequests) {
  const TemporaryFolder folder;
  const auto requests = everyCommand(folder.path() / "copy");
  // All there are, as often as requests and faults have met in every way.
  constexpr std::size_t period = 1260;
  std::vector<std::string> answers;
  const auto liveObjectsAfter = [&](std::size_t count) {
    for (std::size_t number = 0; number < count; ++number) {
      const std::size_t kind = number / requests.size() % 3;
      const auto error = kind == 0 ? std::nullopt : std::optional(std::string(kind - 1, 'x'));
      stand_in::Library& served = stand_in::serve(smallLibrary());
      served.answersAtOnce = number % 4 < 2;
      served.deletionSuccess = number % 5 != 0;
      served.deletionError = error;
      for (DescribedResource& resource : served.assets[2].resources) {
        resource.error = error;
      }
      if (number % 7 == 0) {
        served.raising = {"bytes", "openURL:", "deleteAssets:", "objectAtIndex:"};
      }
      answers.push_back(ask(requests[number % requests.size()]));
      EXPECT_EQ(answers.back(), answers[number % period]);
    }
    stand_in::waitForCallbacks();
    static_cast<void>(stand_in::takeCalls());
    return stand_in::liveObjects();
  };
  // The frameworks keep what they make once.
  static_cast<void>(stand_in::liveObjects());
  const long before = liveObjectsAfter(period);
  EXPECT_THAT(answers, testing::Contains(R"({"ok":true,"status":"opened_in_photos"})"));
  EXPECT_EQ(liveObjectsAfter(10'000), before);
  expectFlat([StandInTemporary class], 1000);
}

TEST(PhotoKitMemory, AWalkPastManyAssetsCostsItsReadsOfThemAndStaysFlat) {
  constexpr int assets = 100'000;
  constexpr int images = assets / 4 * 3;
  constexpr int listed = 10;
  stand_in::Library large;
  for (int number = 0; number < assets; ++number) {
    const bool isVideo = number % 4 == 0;
    large.assets.push_back(
        {.localIdentifier = "A",
         .creationDate = number,
         .mediaType = isVideo ? photos::AssetMediaType::video : photos::AssetMediaType::image,
         .resources = {{photos::AssetResourceType::photo, "IMG_0001.JPG"}}});
  }
  stand_in::serve(std::move(large));
  static_cast<void>(stand_in::liveObjects());
  static_cast<void>(
      ask({.command = "discover", .includeVideos = false, .offset = images - listed}));
  expectFlat([PHAsset class], 1000);
  expectFlat([StandInTemporary class], 10'000);
  std::map<std::string, int> calls;
  for (const std::string& call : stand_in::takeCalls()) {
    ++calls[call.substr(0, call.find(' '))];
  }
  EXPECT_THAT(
      calls,
      testing::UnorderedElementsAre(
          testing::Pair("authorizationStatusForAccessLevel:", 1),
          testing::Pair("fetchAssetsWithOptions:", 1),
          // Once for each walk: to the first listed asset, and on from each.
          testing::Pair("count", 1 + listed), testing::Pair("objectAtIndex:", assets + listed),
          testing::Pair("mediaType", assets + listed),
          testing::Pair("creationDate", images + listed),
          // These for what is listed alone.
          testing::Pair("assetResourcesForAsset:", listed), testing::Pair("type", listed),
          testing::Pair("localIdentifier", listed), testing::Pair("originalFilename", listed),
          testing::Pair("modificationDate", listed)));
}

TEST(PhotoKitMemory, StaysFlatOnALongDelivery) {
  const TemporaryFolder folder;
  stand_in::serve(smallLibrary()).assets[2].resources[0].chunks.assign(30'000, "chunk");
  static_cast<void>(stand_in::liveObjects());
  EXPECT_THAT(ask(everyCommand(folder.path() / "copy")[3]),
              testing::HasSubstr(R"("bytes":150000)"));
  expectFlat([StandInData class], 1000);
  expectFlat([StandInTemporary class], 10'000);
}

}  // namespace
}  // namespace tests
