// The gate, and what a request asks of the platform.
#include "dispatch/dispatcher.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/scripted_platform.h"

namespace tests {
namespace {

using dispatch::response;
using photos::AuthorizationStatus;
using protocol::Request;
using protocol::Response;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

void expectWords(const Response& answer, bool ok, const std::string& status,
                 const std::optional<std::string>& error = {}) {
  EXPECT_EQ(answer.ok, ok);
  EXPECT_EQ(answer.status, status);
  EXPECT_EQ(answer.error, error);
  EXPECT_FALSE(answer.sha256 || answer.bytes || answer.assets || answer.nextOffset);
}

TEST(Dispatcher, RefusesAfterReadingTheStatusAndNothingElse) {
  ScriptedPlatform platform;
  for (const int status : {0, 1, 2, 5, 7, -1}) {
    for (const char* command :
         {"discover", "estimate", "export", "reclaim", "open", "Authorize", "coffee", ""}) {
      platform.calls.clear();
      platform.status = AuthorizationStatus{status};
      expectWords(response({.command = command}, platform), false,
                  "authorization_" + std::to_string(status));
      EXPECT_THAT(platform.calls, ElementsAre("authorizationStatus 2")) << command;
    }
  }
}

TEST(Dispatcher, AuthorizeAsksOnceWhateverTheStatusAndWaitsForTheAnswer) {
  for (const bool fromAnotherThread : {false, true}) {
    for (const int answer : {0, 1, 2, 3, 4, 7}) {
      ScriptedPlatform platform;
      platform.answer = AuthorizationStatus{answer};
      platform.answersFromAnotherThread = fromAnotherThread;
      const bool isGranted = answer == 3 || answer == 4;
      expectWords(response({.command = "authorize"}, platform), isGranted,
                  isGranted ? "authorized" : "authorization_" + std::to_string(answer));
      EXPECT_THAT(platform.calls, ElementsAre("requestAuthorization 2"));
    }
  }
}

TEST(Dispatcher, KnowsCommandsByTheirExactNameAndReadsTheStatusAfresh) {
  ScriptedPlatform platform;
  for (const char* command : {"Discover", " discover", "discover ", "discove", ""}) {
    expectWords(response({.command = command}, platform), false, "invalid_request",
                "Unknown command");
  }
  for (const int status : {4, 2, 3}) {
    platform.status = AuthorizationStatus{status};
    EXPECT_EQ(response({.command = "discover"}, platform).ok, status != 2) << status;
  }
}

TEST(Discover, PassesTheCutoffOnlyWhenThereIsOne) {
  ScriptedPlatform platform;
  EXPECT_TRUE(response({.command = "discover"}, platform).ok);
  EXPECT_TRUE(response({.command = "discover", .cutoff = 5}, platform).ok);
  EXPECT_THAT(platform.calls, ElementsAre("authorizationStatus 2", "fetchAssets",
                                          "authorizationStatus 2", "fetchAssetsBefore 5.000000"));
}

TEST(Discover, LooksNoFurtherThanOneAssetBeyondThePageAndListsNoSkippedResources) {
  ScriptedPlatform platform;
  platform.assets = {{"undated"},
                     {"skipped", 1},
                     {"audio", 2, photos::AssetMediaType::audio},
                     {"listed", 3},
                     {"video", 4, photos::AssetMediaType::video},
                     {"beyond", 5},
                     {"unseen", 6}};
  Request request{.command = "discover", .includeVideos = false, .offset = 1, .limit = 1};
  EXPECT_EQ(response(request, platform).nextOffset, 2);
  EXPECT_THAT(platform.calls, Contains("assetResourcesForAsset listed"));
  EXPECT_THAT(platform.calls, Not(Contains("objectAtIndex 6")));
  std::erase(platform.calls, "assetResourcesForAsset listed");
  EXPECT_THAT(platform.calls, Not(Contains(testing::StartsWith("assetResourcesForAsset"))));

  // A page that ends before the first asset goes no further than to see that there is one.
  platform.calls.clear();
  request.offset = -1;
  EXPECT_EQ(response(request, platform).nextOffset, 0);
  EXPECT_THAT(platform.calls, ElementsAre("authorizationStatus 2", "fetchAssets", "objectAtIndex 0",
                                          "objectAtIndex 1"));
}

}  // namespace
}  // namespace tests
