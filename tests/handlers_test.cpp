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

TEST_F(Handlers, OpenTellsThatAnAssetIsMissingBeforeThatThereIsNoAlbum) {
  serve({});
  EXPECT_EQ(answer(open_), R"({"ok":false,"status":"missing"})");
  serve({.assets = small.assets});
  EXPECT_EQ(answer(open_), R"({"ok":false,"status":"open_unavailable"})");
}

TEST_F(Handlers, OpenTakesTheFirstPieceOfEachIdentifier) {
  for (const auto& [album, asset, pieces] :
       std::vector<std::array<std::string, 3>>{{"X", "Y", "X&assetUuid=Y"},
                                               {"/X/1", "//Y//2/", "X&assetUuid=Y"},
                                               {"///", "Y", ""},
                                               {"", "Y", ""},
                                               {"X", "//", ""}}) {
    serve({.assets = {{.localIdentifier = asset}}, .userLibraryAlbum = album});
    Calls calls = {readStatus, "fetchAssetsWithLocalIdentifiers " + asset, fetchAlbum};
    if (!pieces.empty()) {
      calls.insert(calls.end(), {"URLWithString photos:albums?albumUuid=" + pieces, "openURL"});
    }
    EXPECT_EQ(callsOf({.command = "open", .assetID = asset}), calls);
    EXPECT_THAT(answer({.command = "open", .assetID = asset}),
                HasSubstr(pieces.empty() ? "open_unavailable" : "opened_in_photos"));
  }
}

TEST_F(Handlers, ExportStopsWritingAtTheFirstFailedWrite) {
  platform_->breakFiles({.failingWrite = 3});
  EXPECT_EQ(answer(export_), R"({"ok":false,"status":"export_failed","error":"write failed"})");
  EXPECT_EQ(exported(), "ab");
  EXPECT_EQ(platform_->takeCalls().back(), "close");
  platform_->breakFiles({.failingWrite = 1});
  Calls calls = callsOf(export_);
  EXPECT_EQ(std::erase_if(calls, [](const auto& call) { return call.starts_with("write"); }), 1U);
}

TEST_F(Handlers, ExportTellsAFailedCloseRatherThanAFailedWrite) {
  for (const int failingWrite : {0, 1}) {
    platform_->breakFiles({.failingWrite = failingWrite, .closeFails = true});
    EXPECT_EQ(answer(export_), R"({"ok":false,"status":"export_failed","error":"close failed"})");
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

TEST_F(Handlers, ExportReplacesWhatIsThereAndAsksForNoDataThatCannotBeWritten) {
  std::ofstream(file_) << "something longer than that";
  EXPECT_EQ(answer(export_),
            R"({"ok":true,"status":"exported","sha256":)"
            R"("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad","bytes":3})");
  EXPECT_EQ(exported(), "abc");
  export_.destination = folder_.path() / "no folder" / "x";
  EXPECT_THAT(answer(export_), HasSubstr("could not be opened for writing: No such file"));
  EXPECT_EQ(platform_->takeCalls().back(), "fileHandleForWriting " + *export_.destination);
}

TEST_F(Handlers, LeakNoDescriptorOverThousandsOfFailures) {
  const auto openDescriptors = [] {
    return std::distance(std::filesystem::directory_iterator("/dev/fd"),
                         std::filesystem::directory_iterator());
  };
  Request nowhere = export_;
  nowhere.destination = "/no/folder";
  EXPECT_THAT(answer(export_), HasSubstr("exported"));
  const auto before = openDescriptors();
  for (int round = 0; round < 1000; ++round) {
    platform_->breakFiles({.failingWrite = 1 + round % 3, .closeFails = round % 2 == 0});
    ASSERT_THAT(answer(export_), HasSubstr("export_failed"));
    ASSERT_THAT(answer(nowhere), HasSubstr("export_failed"));
    ASSERT_THAT(answer(estimate_), HasSubstr("estimated"));
  }
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
}  // namespace tests
