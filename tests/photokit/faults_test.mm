// What the frameworks may do wrong: each time an answer of the protocol, and the next request is
// served.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <algorithm>
#include <limits>

#include "tests/photokit/requests.h"
#include "tests/photokit/stand_in.h"
#include "tests/temporary_folder.h"

namespace tests {
namespace {

using protocol::Request;
using stand_in::Failure;
using stand_in::library;

constexpr const char* requestData =
    "requestDataForAssetResource:options:dataReceivedHandler:completionHandler:";
constexpr const char* noEstimate =
    R"("status":"estimate_failed","error":"Photos could not retrieve this original"})";

class PhotoKitFaults : public testing::Test {
 protected:
  PhotoKitFaults() { stand_in::serve(smallLibrary()); }

  const Request& request(const std::string& command) {
    return *std::ranges::find(requests_, command, &Request::command);
  }
  std::string answer(const std::string& command) { return ask(request(command)); }

  /// What the system log is told, for a request and the callbacks that come after it.
  std::string logOf(const Request& request, const std::string& expected) {
    openlog("tests", LOG_PERROR, LOG_USER);
    testing::internal::CaptureStderr();
    EXPECT_EQ(ask(request), expected);
    stand_in::waitForCallbacks();
    return testing::internal::GetCapturedStderr();
  }

  TemporaryFolder folder_;
  std::vector<Request> requests_ = everyCommand(folder_.path() / "copy");
};

TEST_F(PhotoKitFaults, ExceptionsAreTheRequestsFailure) {
  struct Case {
    const char* raising;
    const char* command;
    std::string answer;
  };
  const auto failedFor = [](const std::string& status, const std::string& method) {
    return R"({"ok":false,"status":")" + status + R"(","error":")" + method + " raised\"}";
  };
  const std::string nothing = R"({"ok":true,"status":"discovered","assets":[]})";
  const std::string restricted = R"({"ok":false,"status":"authorization_1"})";
  const std::string missing = R"({"ok":false,"status":"missing"})";
  const std::string unavailable = R"({"ok":false,"status":"open_unavailable"})";
  const std::string unopened = R"({"ok":false,"status":"opened_in_photos"})";
  for (const auto& [raising, command, expected] : std::vector<Case>{
           {"authorizationStatusForAccessLevel:", "discover", restricted},
           {"requestAuthorizationForAccessLevel:handler:", "authorize", restricted},
           {"fetchAssetsWithOptions:", "discover", nothing},
           {"count", "discover", nothing},
           {"objectAtIndex:", "discover", nothing},
           {"mediaType", "discover", nothing},
           {"creationDate", "discover", nothing},
           {"assetResourcesForAsset:", "discover", nothing},
           {"type", "discover", nothing},
           {"fetchAssetsWithLocalIdentifiers:options:", "export", missing},
           {"firstObject", "open", missing},
           {"assetResourcesForAsset:", "export", R"({"ok":false,"status":"unavailable"})"},
           {"type", "export", R"({"ok":false,"status":"unavailable"})"},
           {"setNetworkAccessAllowed:", "estimate", std::string(R"({"ok":false,)") + noEstimate},
           {"defaultManager", "export", failedFor("export_failed", "defaultManager")},
           {requestData, "export", failedFor("export_failed", requestData)},
           {"bytes", "export", failedFor("export_failed", "bytes")},
           {"bytes", "estimate", std::string(R"({"ok":false,)") + noEstimate},
           {"fetchAssetCollectionsWithType:subtype:options:", "open", unavailable},
           {"localIdentifier", "open", unavailable},
           {"sharedWorkspace", "open", unopened},
           {"openURL:", "open", unopened},
           {"sharedPhotoLibrary", "reclaim", failedFor("reclaim_failed", "sharedPhotoLibrary")},
           {"performChanges:completionHandler:", "reclaim",
            failedFor("reclaim_failed", "performChanges:completionHandler:")},
           {"deleteAssets:", "reclaim", failedFor("reclaim_failed", "deleteAssets:")}}) {
    SCOPED_TRACE(raising);
    stand_in::serve(smallLibrary()).raising = {raising};
    EXPECT_EQ(answer(command), expected);
    stand_in::waitForCallbacks();
    library().raising.clear();
    EXPECT_THAT(answer("estimate"), testing::HasSubstr("estimated"));
  }
}

TEST_F(PhotoKitFaults, NilIsAnAbsentValue) {
  struct Case {
    const char* method;
    const char* command;
    const char* part;
  };
  for (const auto& [method, command, part] : std::vector<Case>{
           {"fetchAssetsWithOptions:", "discover", R"("discovered","assets":[]})"},
           {"objectAtIndex:", "discover", R"("discovered","assets":[]})"},
           {"creationDate", "discover", R"("discovered","assets":[]})"},
           {"modificationDate", "discover", R"("createdAt":5.5E0,"mediaType")"},
           {"localIdentifier", "discover", R"("assetID":"")"},
           {"originalFilename", "discover", R"("filename":"")"},
           {"assetResourcesForAsset:", "discover", R"("assets":[]})"},
           {"fetchAssetsWithLocalIdentifiers:options:", "estimate", R"("missing","error":"The )"},
           {"fetchAssetsWithLocalIdentifiers:options:", "reclaim", R"("missing","error":"One )"},
           {"firstObject", "export", R"("missing"})"},
           {"assetResourcesForAsset:", "export", R"("unavailable"})"},
           {"defaultManager", "export", R"("export_failed","error":"Photos has no resource )"},
           {"defaultManager", "estimate", noEstimate},
           {"fetchAssetCollectionsWithType:subtype:options:", "open", R"("open_unavailable"})"},
           {"localIdentifier", "open", R"("open_unavailable"})"},
           {"sharedWorkspace", "open", R"({"ok":false,"status":"opened_in_photos"})"},
           {"sharedPhotoLibrary", "reclaim", R"("reclaim_failed","error":"There is no Photos )"}}) {
    SCOPED_TRACE(std::string(method) + " for " + command);
    stand_in::serve(smallLibrary()).givingNil = {method};
    EXPECT_THAT(answer(command), testing::HasSubstr(part));
  }
}

TEST_F(PhotoKitFaults, ErrorsBringTheirDescriptionOrOneOfOurs) {
  const std::string own = R"("error":"The library’s own reason"})";
  const std::string ours = R"("error":"Photos gave no reason for its failure"})";
  for (const auto& [failure, text] :
       {std::pair(Failure::described, own), std::pair(Failure::undescribed, ours)}) {
    stand_in::Library& served = stand_in::serve(smallLibrary());
    served.deliveryFailure = failure;
    served.deletionFailure = failure;
    EXPECT_EQ(answer("export"), R"({"ok":false,"status":"export_failed",)" + text);
    EXPECT_EQ(answer("estimate"), std::string(R"({"ok":false,)") + noEstimate);
    served.deletionSuccess = false;
    EXPECT_EQ(answer("reclaim"), R"({"ok":false,"status":"reclaim_failed",)" + text);
    served.deletionSuccess = true;
    EXPECT_EQ(answer("reclaim"), R"({"ok":true,"status":"moved_to_recently_deleted",)" + text);
  }
  stand_in::serve(smallLibrary()).deletionSuccess = false;
  EXPECT_EQ(answer("reclaim"), R"({"ok":false,"status":"reclaim_failed"})");
}

TEST_F(PhotoKitFaults, ValuesThatOthersTripOverComeAsTheyAreOrNotAtAll) {
  stand_in::Asset& photo = library().assets[2];
  photo.modificationDate = std::numeric_limits<double>::infinity();
  photo.resources[0].originalFilename = std::string("a\0b.DNG", 7);
  EXPECT_THAT(answer("discover"),
              testing::HasSubstr(R"("filename":"a\u0000b.DNG","createdAt":5.5E0,"mediaType")"));
  photo.creationDate = std::numeric_limits<double>::infinity();
  EXPECT_EQ(ask({.command = "discover", .includeVideos = false}),
            R"({"ok":true,"status":"discovered","assets":[]})");
}

TEST_F(PhotoKitFaults, CompletionsThatComeTwiceAreReportedAndChangeNothing) {
  for (const bool answersAtOnce : {false, true}) {
    for (const auto& [command, label] :
         {std::pair("authorize", "authorize()"), std::pair("estimate", "resourceByteCount(_:)"),
          std::pair("export", "streamResource(_:to:)"), std::pair("reclaim", "reclaim(_:)")}) {
      stand_in::serve(smallLibrary());
      const std::string expected = answer(command);
      stand_in::Library& faulty = stand_in::serve(smallLibrary());
      faulty.answersAtOnce = answersAtOnce;
      faulty.completions = 2;
      faulty.deliversAfterCompletion = true;
      EXPECT_THAT(logOf(request(command), expected),
                  testing::HasSubstr(std::string(label) + " was resumed more than once"));
    }
  }
  EXPECT_EQ(std::filesystem::file_size(*request("export").destination), 3U);
}

}  // namespace
}  // namespace tests
