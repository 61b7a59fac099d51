// The commands end to end over PhotoKit's stand-in, and just what they ask of the frameworks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <objc/runtime.h>
#include <sys/mman.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "photos/platform.h"
#include "platform/system_platform.h"
#include "tests/child_process.h"
#include "tests/photokit/requests.h"
#include "tests/photokit/stand_in.h"
#include "tests/platform_contract.h"
#include "tests/temporary_folder.h"

namespace tests {
namespace {

using protocol::Request;
using stand_in::takeCalls;
using testing::ElementsAre;
using Calls = std::vector<std::string>;

std::shared_ptr<photos::Platform> makePhotoKitPlatform(const DescribedLibrary& described) {
  stand_in::Library library{.status = std::to_underlying(described.authorizationStatus),
                            .promptAnswer = std::to_underlying(described.promptAnswer),
                            .album = described.userLibraryAlbum};
  for (const DescribedAsset& asset : described.assets) {
    library.assets.push_back({.localIdentifier = asset.localIdentifier,
                              .mediaType = std::to_underlying(asset.mediaType),
                              .creationDate = asset.creationDate,
                              .modificationDate = asset.modificationDate});
    for (const DescribedResource& resource : asset.resources) {
      library.assets.back().resources.push_back({.type = std::to_underlying(resource.type),
                                                 .originalFilename = resource.originalFilename});
    }
  }
  stand_in::serve(std::move(library));
  return platform::makeSystemPlatform();
}

INSTANTIATE_TEST_SUITE_P(PhotoKit, PlatformContract, testing::Values(makePhotoKitPlatform));

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
  std::filesystem::path file_ = folder_.path() / "copy.CR2";
  std::vector<Request> requests_ = everyCommand(file_);
};

INSTANTIATE_TEST_SUITE_P(CallbacksLaterAndAtOnce, PhotoKitCommands, testing::Bool());

TEST_P(PhotoKitCommands, AreAnswered) {
  std::vector<std::string> lines;
  std::ranges::transform(requests_, std::back_inserter(lines), ask);
  EXPECT_THAT(
      lines,
      ElementsAre(
          R"({"ok":true,"status":"authorized"})",
          R"({"ok":true,"status":"discovered","assets":[{"assetID":"A\/L0\/001",)"
          R"("filename":"IMG_0001.CR2","createdAt":5.5E0,"modifiedAt":6,"mediaType":"photo",)"
          R"("photoKitResourceType":1,"isRaw":true,"isLivePhotoCompanion":false,)"
          R"("isLivePhotoImage":true,"isCurrentEdit":false},{"assetID":"A\/L0\/001",)"
          R"("filename":"IMG_0001.MOV","createdAt":5.5E0,"modifiedAt":6,"mediaType":"photo",)"
          R"("photoKitResourceType":9,"isRaw":false,"isLivePhotoCompanion":true,)"
          R"("isLivePhotoImage":false,"isCurrentEdit":false}]})",
          R"({"ok":true,"status":"estimated","bytes":5})",
          R"({"ok":true,"status":"exported",)"
          R"("sha256":"ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad","bytes":3})",
          R"({"ok":true,"status":"opened_in_photos"})",
          R"({"ok":true,"status":"moved_to_recently_deleted"})"));
  std::ifstream file(file_);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "abc");
  EXPECT_EQ(ask(requests_[5]),
            R"({"ok":false,"status":"missing","error":"One or more assets no longer exist"})");
}

TEST_P(PhotoKitCommands, AskTheFrameworksForWhatTheyNeedAndNothingElse) {
  const std::string status = "authorizationStatusForAccessLevel: 2";
  const std::string fetch = "fetchAssetsWithLocalIdentifiers:options: [A/L0/001] nil";
  const std::string request =
      "requestDataForAssetResource:options:dataReceivedHandler:completionHandler: ";
  EXPECT_THAT(callsOf(requests_[0]), ElementsAre("requestAuthorizationForAccessLevel:handler: 2"));
  EXPECT_THAT(callsOf(requests_[2]),
              ElementsAre(status, fetch, "firstObject", "assetResourcesForAsset: A/L0/001", "type",
                          "type", "setNetworkAccessAllowed: YES", "defaultManager",
                          request + "IMG_0001.MOV", "bytes"));
  EXPECT_THAT(callsOf(requests_[3]),
              ElementsAre(status, fetch, "firstObject", "assetResourcesForAsset: A/L0/001", "type",
                          "type", "setNetworkAccessAllowed: YES", "defaultManager",
                          request + "IMG_0001.CR2", "bytes", "bytes", "bytes"));
  EXPECT_THAT(callsOf(requests_[4]),
              ElementsAre(status, fetch, "firstObject",
                          "fetchAssetCollectionsWithType:subtype:options: 2 209 nil", "firstObject",
                          "localIdentifier", "localIdentifier", "sharedWorkspace",
                          "openURL: photos:albums?albumUuid=ALBUM&assetUuid=A"));
  EXPECT_THAT(callsOf(requests_[5]),
              ElementsAre(status, "fetchAssetsWithLocalIdentifiers:options: [H A/L0/001] nil",
                          "count", "sharedPhotoLibrary",
                          "performChanges:completionHandler:", "deleteAssets: result A/L0/001 H"));
}

TEST_P(PhotoKitCommands, DiscoverListsNoResourcesOfWhatItPassesOver) {
  const std::string status = "authorizationStatusForAccessLevel: 2";
  EXPECT_THAT(callsOf({.command = "discover", .includeVideos = false, .offset = 1}),
              ElementsAre(status, "fetchAssetsWithOptions: creationDate ascending", "count",
                          "objectAtIndex: 0", "mediaType", "creationDate", "objectAtIndex: 1",
                          "mediaType", "creationDate", "objectAtIndex: 2", "mediaType"));
  Calls calls = callsOf(requests_[1]);
  EXPECT_EQ(calls.at(1), "fetchAssetsWithOptions: creationDate < 7, creationDate ascending");
  std::ranges::sort(calls);
  calls.erase(std::ranges::unique(calls).begin(), calls.end());
  EXPECT_THAT(calls, ElementsAre("assetResourcesForAsset: A/L0/001", status, "count",
                                 "creationDate", testing::StartsWith("fetchAssetsWithOptions:"),
                                 "localIdentifier", "mediaType", "modificationDate",
                                 "objectAtIndex: 0", "originalFilename", "type"));
}

TEST_P(PhotoKitCommands, AskForNothingButTheStatusWithoutAccess) {
  for (const long status : {0, 1, 2, 5}) {
    stand_in::library().status = status;
    for (const Request& request : requests_) {
      if (request.command != "authorize") {
        EXPECT_THAT(callsOf(request), ElementsAre("authorizationStatusForAccessLevel: 2"));
        EXPECT_EQ(ask(request),
                  R"({"ok":false,"status":"authorization_)" + std::to_string(status) + "\"}");
      }
    }
  }
}

TEST(PhotoKitURL, IsParsedStrictlyWhereFoundationEscapesByDefault) {
  const auto platform = platform::makeSystemPlatform();
  EXPECT_EQ(platform->URLWithString("photos:a b"), nullptr);
  EXPECT_NE(platform->URLWithString("photos:albums?albumUuid=A"), nullptr);
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
  stand_in::serve({.hashes = false});
  const auto platform = platform::makeSystemPlatform();
  platform->makeSHA256()->update({static_cast<const std::byte*>(zeros), size});
  munmap(zeros, size);
  EXPECT_THAT(takeCalls(), ElementsAre("CC_SHA256_Update 1073741824", "CC_SHA256_Update 1073741824",
                                       "CC_SHA256_Update 1073741824", "CC_SHA256_Update 1073741824",
                                       "CC_SHA256_Update 5"));
}

TEST(PhotoKitHelper, ServesTheWholeProtocolOverPipesAndEndsWithItsInput) {
  const TemporaryFolder folder;
  ChildProcess helper({PHOTOKIT_HELPER}, folder.path());
  helper.write(R"({"command":"export","assetID":"A/L0/001","photoKitResourceType":9,)"
               R"("destination":"copy.MOV"})"
               "\n{\n"
               R"({"command":"discover","limit":1,"offset":1})"
               "\n");
  EXPECT_THAT(helper.readLine(), testing::HasSubstr(R"("status":"exported")"));
  EXPECT_THAT(helper.readLine(), testing::HasSubstr("invalid_request"));
  EXPECT_EQ(helper.readLine(), R"({"ok":true,"status":"discovered","assets":[]})"
                               "\n");
  EXPECT_EQ(helper.wait(), 0);
  EXPECT_EQ(std::filesystem::file_size(folder.path() / "copy.MOV"), 5U);
  // Foundation reports there what is autoreleased without a pool.
  EXPECT_THAT(helper.errors(), testing::Not(testing::HasSubstr("autorelease")));
}

}  // namespace
}  // namespace tests
