// What each command answers and asks of the platform, in which order: on a real local library,
// behind a platform that takes down the calls and breaks single operations.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
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
  void serve(const DescribedLibrary& library) { platform_.emplace(makeLocalPlatform(library)); }

  std::string answer(const Request& request) {
    return protocol::encode(dispatch::response(request, *platform_)).value_or("");
  }

  Calls callsOf(const Request& request) {
    static_cast<void>(platform_->takeCalls());
    static_cast<void>(answer(request));
    return platform_->takeCalls();
  }

  [[nodiscard]] std::string exported() const {
    std::ifstream file(file_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
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
    serve({.authorizationStatus = photos::AuthorizationStatus{status}});
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
  const auto refuses = [this](const Request& request, const std::string& error) {
    EXPECT_EQ(answer(request),
              R"({"ok":false,"status":"invalid_request","error":")" + error + "\"}");
    EXPECT_THAT(platform_->takeCalls(), ElementsAre(readStatus)) << request.command;
  };
  const std::string forEstimate = "assetID and photoKitResourceType are required";
  refuses({.command = "estimate", .photoKitResourceType = 1}, forEstimate);
  refuses({.command = "estimate", .assetID = "A/L0/001"}, forEstimate);
  const std::string forExport = "assetID and destination are required";
  refuses({.command = "export", .photoKitResourceType = 1, .destination = file_}, forExport);
  refuses({.command = "export", .assetID = "A/L0/001", .photoKitResourceType = 1}, forExport);
  refuses({.command = "open", .assetIDs = {{"A/L0/001"}}}, "assetID is required");
  refuses({.command = "reclaim", .assetID = "A/L0/001"}, "assetIDs are required");
  refuses({.command = "reclaim", .assetIDs = std::vector<std::string>()}, "assetIDs are required");
  refuses({.command = "coffee", .assetID = "A/L0/001"}, "Unknown command");
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

TEST_F(Handlers, ExportStopsAtTheFirstFailedWriteAndTellsAFailedCloseRather) {
  struct Case {
    RecordingPlatform::Faults faults;
    std::size_t writes;
    std::string written;
    std::string told;
  };
  const std::string failure = R"("export_failed","error":)";
  for (const Case& each : {Case{{1, false}, 1, "", failure + "\"write failed\""},
                           Case{{3, false}, 3, "ab", failure + "\"write failed\""},
                           Case{{1, true}, 1, "", failure + "\"close failed\""},
                           Case{{0, true}, 3, "abc", failure + "\"close failed\""},
                           Case{{0, false}, 3, "abc", R"(cb410ff61f20015ad","bytes":3})"}}) {
    platform_->breakFiles(each.faults);
    EXPECT_THAT(answer(export_), HasSubstr(each.told));
    EXPECT_EQ(exported(), each.written);
    Calls calls = platform_->takeCalls();
    EXPECT_EQ(calls.back(), "close");
    EXPECT_EQ(std::erase_if(calls, [](const auto& call) { return call.starts_with("write"); }),
              each.writes);
  }
}

TEST_F(Handlers, ExportTellsALibraryErrorRatherThanAFailedWriteAndKeepsWhatCame) {
  DescribedLibrary library = small;
  library.assets[0].resources[0].error = "library failed";
  serve(library);
  const std::string failure = R"({"ok":false,"status":"export_failed","error":"library failed"})";
  EXPECT_EQ(answer(export_), failure);
  EXPECT_EQ(exported(), "abc");
  EXPECT_THAT(platform_->takeCalls(), testing::Not(testing::Contains("close")));
  platform_->breakFiles({.failingWrite = 3});
  EXPECT_EQ(answer(export_), failure);
  EXPECT_EQ(exported(), "ab");
  EXPECT_THAT(answer(estimate_), HasSubstr("estimate_failed"));
}

}  // namespace
}  // namespace tests
