// Memory stays flat, however many requests, assets and chunks there are, and every object goes.
#import <Photos/Photos.h>
#include <gtest/gtest.h>

#include "tests/photokit/requests.h"
#include "tests/photokit/stand_in.h"
#include "tests/temporary_folder.h"

namespace tests {
namespace {

constexpr long flat = 1000;

TEST(PhotoKitMemory, HoldsNoObjectAfterTenThousandRequests) {
  const TemporaryFolder folder;
  const auto requests = everyCommand(folder.path() / "copy");
  const auto liveObjectsAfter = [&](int count) {
    for (int number = 0; number < count; ++number) {
      stand_in::waitForCallbacks();
      stand_in::Library& served = stand_in::library();
      served.answersAtOnce = number % 4 < 2;
      served.deletionSuccess = number % 5 != 0;
      served.deletionFailure = stand_in::Failure{number / 6 % 3};
      served.deliveryFailure = stand_in::Failure{number / 6 % 3};
      served.raising.clear();
      if (number % 7 == 0) {
        served.raising = {"bytes", "openURL:", "deleteAssets:", "objectAtIndex:"};
      }
      for (stand_in::Asset& asset : served.assets) {
        asset.isDeleted = false;
      }
      EXPECT_NE(ask(requests[static_cast<std::size_t>(number) % requests.size()]), "");
      static_cast<void>(stand_in::takeCalls());
    }
    stand_in::waitForCallbacks();
    return stand_in::liveObjects();
  };
  stand_in::serve(smallLibrary());
  // The frameworks keep what they make once.
  static_cast<void>(stand_in::liveObjects());
  const long before = liveObjectsAfter(1260);
  EXPECT_EQ(liveObjectsAfter(10'000), before);
}

TEST(PhotoKitMemory, StaysFlatOnAWalkPastManyAssets) {
  stand_in::Library large;
  for (int number = 0; number < 10'000; ++number) {
    large.assets.push_back({.localIdentifier = "A", .creationDate = number});
  }
  stand_in::serve(std::move(large));
  static_cast<void>(stand_in::liveObjects());
  EXPECT_EQ(ask({.command = "discover", .offset = 10'000}),
            R"({"ok":true,"status":"discovered","assets":[]})");
  EXPECT_LT(stand_in::mostObjectsOf([PHAsset class]), flat);
  EXPECT_LT(stand_in::mostObjectsOf([StandInTemporary class]), 10 * flat);
}

TEST(PhotoKitMemory, StaysFlatOnALongDelivery) {
  stand_in::Library library = smallLibrary();
  library.assets[2].resources[0].chunks.assign(30'000, "chunk");
  const TemporaryFolder folder;
  for (const bool answersAtOnce : {false, true}) {
    stand_in::serve(library).answersAtOnce = answersAtOnce;
    static_cast<void>(stand_in::liveObjects());
    for (const protocol::Request& request : everyCommand(folder.path() / "copy")) {
      if (request.command == "export") {
        EXPECT_NE(ask(request).find(R"("bytes":150000)"), std::string::npos);
      }
    }
    EXPECT_LT(stand_in::mostObjectsOf([StandInData class]), flat);
    EXPECT_LT(stand_in::mostObjectsOf([StandInTemporary class]), 10 * flat);
  }
}

}  // namespace
}  // namespace tests
