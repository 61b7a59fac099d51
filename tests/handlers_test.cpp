// What each command answers and asks of the platform, in which order: on a real local library,
// behind a platform that takes down the calls and breaks single operations.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "dispatch/dispatcher.h"
#include "protocol/response_encoder.h"
#include "tests/local_library.h"
#include "tests/recording_platform.h"
#include "tests/temporary_folder.h"

namespace tests {
namespace {

using protocol::Request;
using testing::ElementsAre;
using testing::HasSubstr;
using Calls = std::vector<std::string>;

constexpr auto photo = photos::AssetResourceType::photo;
constexpr auto pairedVideo = photos::AssetResourceType::pairedVideo;
const std::string readStatus = "authorizationStatus 2";
const std::string fetchA = "fetchAssetsWithLocalIdentifiers A/L0/001";
const std::string fetchAlbum = "fetchAssetCollections 2 209";

const DescribedLibrary small{
    .assets = {{.localIdentifier = "A/L0/001",
                .creationDate = 5,
                .resources = {{photo, "a.jpg", {"ab", "", "c"}}, {pairedVideo, "a.mov"}}},
               {.localIdentifier = "V", .creationDate = 6}},
    .userLibraryAlbum = "ALBUM/L0/040"};

class Handlers : public testing::Test {
 protected:
  std::string answer(const Request& request) {
    return protocol::encode(dispatch::response(request, *platform_)).value_or("");
  }

  Calls callsOf(const Request& request) {
    static_cast<void>(platform_->takeCalls());
    static_cast<void>(answer(request));
    return platform_->takeCalls();
  }

  TemporaryFolder folder_;
  std::string file_ = folder_.path() / "copy";
  std::optional<RecordingPlatform> platform_{std::in_place, makeLocalPlatform(small)};
  Request export_{
      .command = "export", .assetID = "A/L0/001", .photoKitResourceType = 1, .destination = file_};
  Request estimate_{.command = "estimate", .assetID = "A/L0/001", .photoKitResourceType = 1};
  Request open_{.command = "open", .assetID = "A/L0/001"};
  Request reclaim_{.command = "reclaim", .assetIDs = {{"V", "A/L0/001"}}};
};

TEST_F(Handlers, AskForTheStatusAloneWithoutAccess) {
  for (const int status : {0, 1, 2, 5, -1}) {
    platform_.emplace(
        makeLocalPlatform({.authorizationStatus = photos::AuthorizationStatus{status}}));
    const std::string refusal =
        R"({"ok":false,"status":"authorization_)" + std::to_string(status) + "\"}";
    for (const char* command :
         {"export", "estimate", "open", "reclaim", "discover", "Authorize", "coffee", ""}) {
      EXPECT_EQ(answer({.command = command}), refusal);
      EXPECT_THAT(platform_->takeCalls(), ElementsAre(readStatus)) << command;
    }
  }
}

TEST_F(Handlers, ValidateARequestBeforeTheyAskTheLibrary) {
  for (const Request& request :
       std::vector<Request>{{.command = "estimate", .photoKitResourceType = 1},
                            {.command = "estimate", .assetID = "A/L0/001"},
                            {.command = "export", .photoKitResourceType = 1, .destination = file_},
                            {.command = "export", .assetID = "A/L0/001", .photoKitResourceType = 1},
                            {.command = "open", .assetIDs = {{"A/L0/001"}}},
                            {.command = "reclaim", .assetID = "A/L0/001"},
                            {.command = "reclaim", .assetIDs = std::vector<std::string>()},
                            {.command = "coffee", .assetID = "A/L0/001"}}) {
    EXPECT_THAT(answer(request), HasSubstr(R"("status":"invalid_request","error":")"));
    EXPECT_THAT(platform_->takeCalls(), ElementsAre(readStatus)) << request.command;
  }
}

TEST_F(Handlers, AskForWhatTheyNeedAndNothingElse) {
  const std::string resources = "assetResourcesForAsset A/L0/001";
  EXPECT_THAT(callsOf({.command = "authorize"}), ElementsAre("requestAuthorization 2"));
  EXPECT_THAT(callsOf({.command = "discover", .offset = 1}),
              ElementsAre(readStatus, "fetchAssets", "assetResourcesForAsset V"));
  EXPECT_THAT(callsOf(estimate_),
              ElementsAre(readStatus, fetchA, resources, "requestData a.jpg network"));
  EXPECT_THAT(callsOf(export_),
              ElementsAre(readStatus, fetchA, resources, "createFile " + file_,
                          "fileHandleForWriting " + file_, "requestData a.jpg network", "write 2",
                          "write 0", "write 1", "close"));
  EXPECT_THAT(callsOf(open_),
              ElementsAre(readStatus, fetchA, fetchAlbum,
                          "URLWithString photos:albums?albumUuid=ALBUM&assetUuid=A", "openURL"));
  EXPECT_THAT(
      callsOf(reclaim_),
      ElementsAre(readStatus, "fetchAssetsWithLocalIdentifiers V A/L0/001", "performChanges"));
  // What is missing ends a command at once.
  EXPECT_THAT(callsOf(export_), ElementsAre(readStatus, fetchA));
  EXPECT_THAT(callsOf(open_), ElementsAre(readStatus, fetchA));
  EXPECT_THAT(callsOf(reclaim_),
              ElementsAre(readStatus, "fetchAssetsWithLocalIdentifiers V A/L0/001"));
}

TEST_F(Handlers, ExportTellsALibraryErrorBeforeAFailedCloseBeforeAFailedWriteAndKeepsWhatCame) {
  struct Case {
    std::optional<std::string> libraryError;
    RecordingPlatform::Faults faults;
    Calls writes;
    std::string written;
    std::string told;
  };
  const std::string exported = R"(cb410ff61f20015ad","bytes":3})";
  const Calls all{"write 2", "write 0", "write 1"};
  for (const Case& each : {Case{{}, {0, false}, all, "abc", exported},
                           Case{{}, {1, false}, {"write 2"}, "", "write failed"},
                           Case{{}, {3, false}, all, "ab", "write failed"},
                           Case{{}, {1, true}, {"write 2"}, "", "close failed"},
                           Case{{}, {0, true}, all, "abc", "close failed"},
                           Case{"library failed", {0, true}, all, "abc", "library failed"},
                           Case{"library failed", {3, true}, all, "ab", "library failed"}}) {
    DescribedLibrary library = small;
    library.assets[0].resources[0].error = each.libraryError;
    platform_.emplace(makeLocalPlatform(library)).breakFiles(each.faults);
    EXPECT_THAT(answer(export_), HasSubstr(each.told));
    Calls calls = platform_->takeCalls();
    calls.erase(calls.begin(), std::ranges::find(calls, "requestData a.jpg network") + 1);
    Calls expected = each.writes;
    if (!each.libraryError) {
      expected.emplace_back("close");
    }
    EXPECT_EQ(calls, expected);
    std::ifstream file(file_, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), each.written);
  }
}

TEST_F(Handlers, ExportOfALargeResourceEndsAsThatOfASmallOneDoes) {
  DescribedLibrary library = small;
  std::vector<std::string>& chunks = library.assets[0].resources[0].chunks;
  chunks.clear();
  for (int number = 0; number < 50; ++number) {
    chunks.emplace_back(100'000, static_cast<char>(number));
  }
  const auto exportWith = [&](RecordingPlatform::Faults faults) {
    platform_->breakFiles(faults);
    static_cast<void>(platform_->takeCalls());
    return answer(export_);
  };
  platform_.emplace(makeLocalPlatform(library));
  // What sha256sum says of these bytes.
  EXPECT_THAT(
      exportWith({}),
      HasSubstr(
          R"("sha256":"c95d7a5b61a35f4a4dca45b11c514fba3a8f1b751d9f1467477d7b5d1d0b7b9b","bytes":5000000})"));
  EXPECT_EQ(std::filesystem::file_size(file_), 5'000'000U);
  EXPECT_THAT(exportWith({.failingWrite = 30}), HasSubstr("write failed"));
  EXPECT_EQ(std::filesystem::file_size(file_), 2'900'000U);
  EXPECT_EQ(platform_->takeCalls().size(), 6 + 30 + 1);
  EXPECT_THAT(exportWith({.failingWrite = 50, .closeFails = true}), HasSubstr("close failed"));
  library.assets[0].resources[0].error = "library failed";
  platform_.emplace(makeLocalPlatform(library));
  EXPECT_THAT(exportWith({.failingWrite = 30}), HasSubstr("library failed"));
  EXPECT_EQ(std::filesystem::file_size(file_), 2'900'000U);
}

}  // namespace
}  // namespace tests
