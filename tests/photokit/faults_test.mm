// What the frameworks may do wrong: each time an answer of the protocol, and the next request is
// served.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <algorithm>
#include <array>
#include <future>
#include <limits>
#include <tuple>

#include "tests/photokit/requests.h"
#include "tests/photokit/stand_in.h"
#include "tests/temporary_folder.h"

namespace tests {
namespace {

using protocol::Request;
using stand_in::Library;
using testing::HasSubstr;

class PhotoKitFaults : public testing::Test {
 protected:
  PhotoKitFaults() { stand_in::serve(smallLibrary()); }

  std::string answer(const std::string& command) {
    return ask(*std::ranges::find(requests_, command, &Request::command));
  }

  TemporaryFolder folder_;
  std::filesystem::path file_ = folder_.path() / "copy";
  std::vector<Request> requests_ = everyCommand(file_);
};

TEST_F(PhotoKitFaults, ExceptionsAndNilAreAbsentValuesOrTheRequestsFailure) {
  constexpr auto nothing = R"({"ok":true,"status":"discovered","assets":[]})";
  constexpr auto unchanged = R"("createdAt":5.5E0,"mediaType")";
  constexpr auto restricted = R"({"ok":false,"status":"authorization_1"})";
  constexpr auto missing = R"({"ok":false,"status":"missing"})";
  constexpr auto unavailable = R"({"ok":false,"status":"unavailable"})";
  constexpr auto noURL = R"({"ok":false,"status":"open_unavailable"})";
  constexpr auto unopened = R"({"ok":false,"status":"opened_in_photos"})";
  // A method, a command, and a part of its answer when the method raises and when it gives nil.
  for (const auto& [method, command, raised, nothingGiven] :
       std::vector<std::array<const char*, 4>>{
           {"authorizationStatusForAccessLevel:", "discover", restricted},
           {"requestAuthorizationForAccessLevel:handler:", "authorize", restricted},
           {"fetchAssetsWithOptions:", "discover", nothing, nothing},
           {"count", "discover", nothing},
           {"objectAtIndex:", "discover", nothing, nothing},
           {"mediaType", "discover", nothing},
           {"creationDate", "discover", nothing, nothing},
           {"modificationDate", "discover", unchanged, unchanged},
           {"localIdentifier", "discover", R"("assetID":"")", R"("assetID":"")"},
           {"originalFilename", "discover", R"("filename":"")", R"("filename":"")"},
           {"fetchAssetsWithLocalIdentifiers:options:", "export", missing, missing},
           {"fetchAssetsWithLocalIdentifiers:options:", "reclaim", "One or more", "One or more"},
           {"firstObject", "open", missing, missing},
           {"assetResourcesForAsset:", "export", unavailable, unavailable},
           {"type", "export", unavailable},
           {"setNetworkAccessAllowed:", "estimate", R"("estimate_failed")"},
           {"defaultManager", "export", "defaultManager raised", "Photos has no resource manager"},
           {"requestDataForAssetResource:options:dataReceivedHandler:completionHandler:", "export",
            R"(completionHandler: raised"})"},
           {"bytes", "export", R"("export_failed","error":"bytes raised"})"},
           {"fetchAssetCollectionsWithType:subtype:options:", "open", noURL, noURL},
           {"localIdentifier", "open", noURL, noURL},
           {"sharedWorkspace", "open", unopened, unopened},
           {"openURL:", "open", unopened},
           {"sharedPhotoLibrary", "reclaim", "sharedPhotoLibrary raised", "There is no Photos lib"},
           {"performChanges:completionHandler:", "reclaim", R"(completionHandler: raised"})"},
           {"deleteAssets:", "reclaim", R"("reclaim_failed","error":"deleteAssets: raised"})"}}) {
    for (const bool raises : {true, false}) {
      if (const char* const part = raises ? raised : nothingGiven) {
        Library& faulty = stand_in::serve(smallLibrary());
        (raises ? faulty.raising : faulty.givingNil) = {method};
        EXPECT_THAT(answer(command), HasSubstr(part)) << method;
        stand_in::serve(smallLibrary());
        EXPECT_THAT(answer("estimate"), HasSubstr("estimated"));
      }
    }
  }
}

TEST_F(PhotoKitFaults, ErrorsBringTheirDescriptionOrOneOfOurs) {
  for (const auto& [said, text] : {std::pair("The library’s own", "The library’s own"),
                                   std::pair("", "Photos gave no reason for its failure")}) {
    const std::string error = R"(,"error":")" + std::string(text) + "\"}";
    Library& faulty = stand_in::serve(smallLibrary());
    for (DescribedResource& resource : faulty.assets[2].resources) {
      resource.error = said;
    }
    faulty.deletionError = said;
    EXPECT_EQ(answer("export"), R"({"ok":false,"status":"export_failed")" + error);
    EXPECT_THAT(answer("estimate"), HasSubstr("estimate_failed"));
    faulty.deletionSuccess = false;
    EXPECT_EQ(answer("reclaim"), R"({"ok":false,"status":"reclaim_failed")" + error);
    faulty.deletionSuccess = true;
    EXPECT_EQ(answer("reclaim"), R"({"ok":true,"status":"moved_to_recently_deleted")" + error);
  }
  stand_in::serve(smallLibrary()).deletionSuccess = false;
  EXPECT_EQ(answer("reclaim"), R"({"ok":false,"status":"reclaim_failed"})");
}

TEST_F(PhotoKitFaults, ValuesThatOthersTripOverComeAsTheyAreOrNotAtAll) {
  DescribedAsset& photo = stand_in::library().assets[2];
  photo.modificationDate = std::numeric_limits<double>::infinity();
  photo.resources[0].originalFilename = std::string("a\0b.DNG", 7);
  EXPECT_THAT(answer("discover"),
              HasSubstr(R"("filename":"a\u0000b.DNG","createdAt":5.5E0,"mediaType")"));
  photo.creationDate = std::numeric_limits<double>::infinity();
  EXPECT_EQ(ask({.command = "discover", .includeVideos = false}),
            R"({"ok":true,"status":"discovered","assets":[]})");
}

TEST_F(PhotoKitFaults, SecondCompletionsAreReportedAndChangeNothing) {
  openlog("tests", LOG_PERROR, LOG_USER);
  for (const auto& [command, success, failure, label] : std::vector<std::array<std::string, 4>>{
           {"authorize", R"("authorized"})", R"("authorization_1"})", "authorize()"},
           {"estimate", R"("bytes":5})", R"("estimate_failed")", "resourceByteCount(_:)"},
           {"export", R"("bytes":3})", R"("raised once queued"})", "streamResource(_:to:)"},
           {"reclaim", "moved_to_recently", R"("raised once queued"})", "reclaim(_:)"}}) {
    for (const auto& [answersAtOnce, answers, raises] :
         {std::tuple(false, 2, false), std::tuple(true, 2, false), std::tuple(false, 1, true),
          std::tuple(true, 1, true)}) {
      Library& faulty = stand_in::serve(smallLibrary());
      // The exception is the first to complete when the queue is held up until then.
      const bool isFailure = raises && !answersAtOnce;
      std::promise<void> failed;
      if (isFailure) {
        const auto hasFailed = failed.get_future().share();
        stand_in::answer(^{
          hasFailed.wait();
        });
      }
      faulty.answersAtOnce = answersAtOnce;
      faulty.answers = answers;
      faulty.raisesOnceQueued = raises;
      testing::internal::CaptureStderr();
      EXPECT_THAT(answer(command), HasSubstr(isFailure ? failure : success));
      failed.set_value();
      stand_in::waitForCallbacks();
      EXPECT_THAT(testing::internal::GetCapturedStderr(),
                  HasSubstr(label + " was resumed more than once"));
      EXPECT_EQ(faulty.deleted.empty(), command != "reclaim" || isFailure);
      EXPECT_TRUE(command != "export" || std::filesystem::file_size(file_) == (isFailure ? 0 : 3));
    }
  }
}

}  // namespace
}  // namespace tests
