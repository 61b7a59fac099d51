// The commands end to end over PhotoKit's stand-in, and just what they ask of the frameworks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <objc/runtime.h>
#include <sys/mman.h>

#include <fstream>
#include <iterator>

#include "platform/system_platform.h"
#include "tests/child_process.h"
#include "tests/photokit/requests.h"
#include "tests/photokit/stand_in.h"
#include "tests/platform_contract.h"
#include "tests/temporary_folder.h"

namespace tests {
namespace {

using photos::AuthorizationStatus;
using protocol::Request;
using stand_in::takeCalls;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using Calls = std::vector<std::string>;

std::shared_ptr<photos::Platform> makePhotoKitPlatform(const DescribedLibrary& described) {
  stand_in::serve({described});
  return platform::makeSystemPlatform();
}

INSTANTIATE_TEST_SUITE_P(PhotoKit, PlatformContract, testing::Values(makePhotoKitPlatform));

const std::string readStatus = "authorizationStatusForAccessLevel: 2";

/// What the frameworks are asked for the request.
Calls callsOf(const Request& request) {
  static_cast<void>(takeCalls());
  static_cast<void>(ask(request));
  stand_in::waitForCallbacks();
  return takeCalls();
}

class PhotoKitCommands : public testing::TestWithParam<bool> {
 protected:
  PhotoKitCommands() { stand_in::serve(smallLibrary()).answersAtOnce = GetParam(); }
  TemporaryFolder folder_;
  std::vector<Request> requests_ = everyCommand(folder_.path() / "copy");
};

INSTANTIATE_TEST_SUITE_P(CallbacksLaterAndAtOnce, PhotoKitCommands, testing::Bool());

TEST_P(PhotoKitCommands, AskTheFrameworksForWhatTheyNeedAndNothingElse) {
  const std::string fetch = "fetchAssetsWithLocalIdentifiers:options: [A/L0/001] nil";
  const std::string resources = "assetResourcesForAsset: A/L0/001";
  const std::string data =
      "requestDataForAssetResource:options:dataReceivedHandler:completionHandler: ";
  EXPECT_THAT(callsOf(requests_[0]), ElementsAre("requestAuthorizationForAccessLevel:handler: 2"));
  EXPECT_THAT(callsOf(requests_[2]), ElementsAre(readStatus, fetch, "firstObject", resources,
                                                 "type", "type", "setNetworkAccessAllowed: YES",
                                                 "defaultManager", data + "IMG_0001.MOV", "bytes"));
  EXPECT_THAT(callsOf(requests_[3]),
              ElementsAre(readStatus, fetch, "firstObject", resources, "type", "type",
                          "setNetworkAccessAllowed: YES", "defaultManager", data + "IMG_0001.CR2",
                          "bytes", "CC_SHA256_Update 2", "bytes", "bytes", "CC_SHA256_Update 1"));
  EXPECT_THAT(callsOf(requests_[4]),
              ElementsAre(readStatus, fetch, "firstObject",
                          "fetchAssetCollectionsWithType:subtype:options: 2 209 nil", "firstObject",
                          "localIdentifier", "localIdentifier", "sharedWorkspace",
                          "openURL: photos:albums?albumUuid=ALBUM&assetUuid=A"));
  EXPECT_THAT(callsOf(requests_[5]),
              ElementsAre(readStatus, "fetchAssetsWithLocalIdentifiers:options: [H A/L0/001] nil",
                          "count", "sharedPhotoLibrary",
                          "performChanges:completionHandler:", "deleteAssets: result A/L0/001 H"));
}

TEST_P(PhotoKitCommands, DiscoverFetchesOnceAndWalksNoFurtherThanThePage) {
  const std::string fetch = "fetchAssetsWithOptions: ";
  EXPECT_THAT(callsOf({.command = "discover", .includeVideos = false, .offset = 1}),
              ElementsAre(readStatus, fetch + "nil, creationDate ascending", "count",
                          "objectAtIndex: 0", "mediaType", "creationDate", "objectAtIndex: 1",
                          "mediaType", "creationDate", "objectAtIndex: 2", "mediaType"));
  // A page that ends before the first asset goes no further than to see that there is one.
  EXPECT_THAT(callsOf({.command = "discover", .offset = -1, .limit = 1}),
              Not(Contains("objectAtIndex: 2")));
  EXPECT_THAT(callsOf(requests_[1]),
              Contains(fetch + "creationDate < CAST(-978307193.000000, \"NSDate\"), "
                               "creationDate ascending"));
}

TEST_P(PhotoKitCommands, NameTheStatusThatIsNoGrant) {
  for (const int status : {0, 1, 2, 5, -1}) {
    stand_in::library().authorizationStatus = AuthorizationStatus{status};
    EXPECT_THAT(callsOf(requests_[1]), ElementsAre(readStatus));
    EXPECT_EQ(ask(requests_[1]),
              R"({"ok":false,"status":"authorization_)" + std::to_string(status) + "\"}");
  }
}

TEST(PhotoKitURL, IsParsedStrictlyWhereFoundationEscapesByDefault) {
  const auto platform = platform::makeSystemPlatform();
  EXPECT_EQ(platform->URLWithString("photos:a b"), nullptr);
  EXPECT_EQ(platform->URLWithString("photos:\xFF"), nullptr);
  // From here on the class has the newer method.
  static std::vector<bool> escaping;
  const auto parse = +[](id urlClass, SEL, NSString* text, BOOL escapes) -> NSURL* {
    escaping.push_back(escapes != NO);
    return [urlClass URLWithString:text];
  };
  ASSERT_TRUE(class_addMethod(object_getClass([NSURL class]),
                              NSSelectorFromString(@"URLWithString:encodingInvalidCharacters:"),
                              reinterpret_cast<IMP>(reinterpret_cast<void (*)()>(parse)), "@@:@C"));
  EXPECT_NE(platform->URLWithString("photos:albums?albumUuid=A"), nullptr);
  EXPECT_EQ(platform->URLWithString("photos:a b"), nullptr);
  EXPECT_EQ(escaping, std::vector(2, false));
}

TEST(PhotoKitSHA256, TakesMoreThanALengthOf32BitsHolds) {
  constexpr std::size_t size = (std::size_t{1} << 32) + 5;
  void* const zeros =
      mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(zeros, MAP_FAILED);
  stand_in::serve({});
  platform::makeSystemPlatform()->makeSHA256()->update(
      {static_cast<const std::byte*>(zeros), size});
  munmap(zeros, size);
  Calls calls(4, "CC_SHA256_Update 1073741824");
  calls.emplace_back("CC_SHA256_Update 5");
  EXPECT_EQ(takeCalls(), calls);
}

TEST(PhotoKitHelper, ServesEveryCommandOverPipesAndEndsWithItsInput) {
  const TemporaryFolder folder;
  ChildProcess helper({PHOTOKIT_HELPER}, folder.path());
  const std::string asset = R"("assetID":"A/L0/001")";
  const std::string reclaim = R"({"command":"reclaim","assetIDs":["H","A/L0/001"]})";
  for (const auto& [request, answer] : std::vector<std::pair<std::string, std::string>>{
           {R"({"command":"authorize"})", R"({"ok":true,"status":"authorized"})"},
           {"{", R"({"ok":false,"status":"invalid_request"})"},
           {R"({"command":"discover","cutoff":7})",
            R"({"ok":true,"status":"discovered","assets":[{"assetID":"A\/L0\/001",)"
            R"("filename":"IMG_0001.CR2","createdAt":5.5E0,"modifiedAt":6,"mediaType":"photo",)"
            R"("photoKitResourceType":1,"isRaw":true,"isLivePhotoCompanion":false,)"
            R"("isLivePhotoImage":true,"isCurrentEdit":false},{"assetID":"A\/L0\/001",)"
            R"("filename":"IMG_0001.MOV","createdAt":5.5E0,"modifiedAt":6,"mediaType":"photo",)"
            R"("photoKitResourceType":9,"isRaw":false,"isLivePhotoCompanion":true,)"
            R"("isLivePhotoImage":false,"isCurrentEdit":false}]})"},
           {R"({"command":"estimate","photoKitResourceType":9,)" + asset + "}",
            R"({"ok":true,"status":"estimated","bytes":5})"},
           {R"({"command":"export","photoKitResourceType":1,"destination":"copy",)" + asset + "}",
            R"({"ok":true,"status":"exported","sha256":)"
            R"("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad","bytes":3})"},
           {R"({"command":"open",)" + asset + "}", R"({"ok":true,"status":"opened_in_photos"})"},
           {reclaim, R"({"ok":true,"status":"moved_to_recently_deleted"})"},
           {reclaim,
            R"({"ok":false,"status":"missing","error":"One or more assets no longer exist"})"}}) {
    helper.write(request + "\n");
    EXPECT_EQ(helper.readLine(), answer + "\n");
  }
  EXPECT_EQ(helper.wait(), 0);
  std::ifstream file(folder.path() / "copy");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "abc");
  // Foundation reports there what is autoreleased without a pool.
  EXPECT_THAT(helper.errors(), Not(testing::HasSubstr("autorelease")));
}

}  // namespace
}  // namespace tests
