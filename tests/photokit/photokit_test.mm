// The commands over PhotoKit's stand-in, what they ask of the frameworks, what becomes of the
// frameworks' faults, and that memory stays flat.
#import <Photos/Photos.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <objc/runtime.h>
#include <sys/mman.h>
#include <syslog.h>

#include <array>
#include <fstream>
#include <limits>

#include "app/request_cycle.h"
#include "platform/system_platform.h"
#include "protocol/response_encoder.h"
#include "sim/child_process.h"
#include "tests/photokit/stand_in.h"
#include "tests/platform_contract.h"
#include "tests/temporary_folder.h"

namespace tests {
namespace {

using sim::ChildProcess;
using stand_in::Library;
using testing::HasSubstr;

std::shared_ptr<photos::Platform> makePhotoKitPlatform(const DescribedLibrary& described) {
  stand_in::serve({described});
  return platform::makeSystemPlatform();
}

INSTANTIATE_TEST_SUITE_P(PhotoKit, PlatformContract, testing::Values(makePhotoKitPlatform));

struct Exchange {
  std::string request;
  std::string answer;
  /// What the frameworks are asked, as stand_in::takeCalls() has it.
  std::string calls;
};

std::vector<Exchange> transcript() {
  std::vector<Exchange> exchanges;
  std::ifstream file(COMMANDS_TRANSCRIPT);
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("> ")) {
      exchanges.push_back({line.substr(2), "", ""});
    } else if (line.starts_with("< ")) {
      exchanges.back().answer += line.substr(2);
    } else if (line.starts_with("= ")) {
      exchanges.back().calls += line.substr(1);
    }
  }
  return exchanges;
}

/// The line that the host gets.
std::string ask(const std::string& request) {
  const auto platform = platform::makeSystemPlatform();
  protocol::RequestDecoder decoder;
  return protocol::encode(app::answer(request, decoder, *platform)).value_or("not encoded");
}

/// The same for the transcript's first request of that command.
std::string askTo(const std::string& command) {
  for (const Exchange& exchange : transcript()) {
    if (exchange.request.starts_with(R"({"command":")" + command + "\"")) {
      return ask(exchange.request);
    }
  }
  return "no such request";
}

class PhotoKit : public testing::Test {
 protected:
  PhotoKit() {
    std::filesystem::current_path(folder_.path());
    GSDebugAllocationActive(YES);
  }
  ~PhotoKit() override { std::filesystem::current_path(before_); }

  /// There were objects of the class since they are counted, though never so many at a time.
  static void expectFlat(Class kind, int limit) {
    EXPECT_GT(GSDebugAllocationPeak(kind), 0);
    EXPECT_LT(GSDebugAllocationPeak(kind), limit);
  }

  std::filesystem::path before_ = std::filesystem::current_path();
  TemporaryFolder folder_;
};

TEST_F(PhotoKit, CommandsAskTheFrameworksForWhatTheyNeedAndNothingElse) {
  for (const bool answersAtOnce : {false, true}) {
    stand_in::serve().answersAtOnce = answersAtOnce;
    for (const Exchange& exchange : transcript()) {
      EXPECT_EQ(ask(exchange.request), exchange.answer);
      stand_in::waitForCallbacks();
      EXPECT_EQ(stand_in::takeCalls(), exchange.calls) << exchange.request;
    }
  }
  // Without access nothing but the access is asked for.
  stand_in::serve().authorizationStatus = photos::AuthorizationStatus{7};
  for (const Exchange& exchange : transcript()) {
    EXPECT_EQ(ask(exchange.request), exchange.calls.empty()
                                         ? exchange.answer
                                         : R"({"ok":false,"status":"authorization_7"})");
    EXPECT_EQ(stand_in::takeCalls(), exchange.calls.substr(0, exchange.calls.find(';') + 1));
  }
}

TEST_F(PhotoKit, HelperServesEveryCommandOverPipesAndEndsWithItsInput) {
  ChildProcess helper({PHOTOKIT_HELPER}, folder_.path());
  for (const Exchange& exchange : transcript()) {
    helper.write(exchange.request + "\n");
    EXPECT_EQ(helper.readLine(), exchange.answer + "\n");
  }
  EXPECT_EQ(helper.wait(), 0);
  std::ifstream file(folder_.path() / "copy");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "abc");
  // Foundation reports there what is autoreleased without a pool.
  EXPECT_THAT(helper.errors(), testing::Not(HasSubstr("autorelease")));
}

TEST_F(PhotoKit, URLsAreParsedStrictlyWhereFoundationEscapesByDefault) {
  const auto platform = platform::makeSystemPlatform();
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
  for (const char* text : {"photos:a b", "photos:%", "photos:\xFF", "photos:\n"}) {
    EXPECT_EQ(platform->URLWithString(text), nullptr) << text;
  }
  // What is no text at all has no URL to ask for.
  EXPECT_EQ(escaping, std::vector(4, false));
}

TEST_F(PhotoKit, SHA256TakesMoreThanALengthOf32BitsHolds) {
  constexpr std::size_t size = (std::size_t{1} << 32) + 5;
  void* const zeros =
      mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(zeros, MAP_FAILED);
  stand_in::serve();
  platform::makeSystemPlatform()->makeSHA256()->update(
      {static_cast<const std::byte*>(zeros), size});
  munmap(zeros, size);
  const std::string piece = " CC_SHA256_Update 1073741824;";
  EXPECT_EQ(stand_in::takeCalls(), piece + piece + piece + piece + " CC_SHA256_Update 5;");
}

TEST_F(PhotoKit, ExceptionsAndNilAreAbsentValuesOrTheRequestsFailure) {
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
           {"defaultManager", "export", "defaultManager raised", "Photos has no resource manager"},
           {"defaultManager", "estimate", "estimate_failed", "estimate_failed"},
           {"requestDataForAssetResource:options:dataReceivedHandler:completionHandler:", "export",
            R"(completionHandler: raised"})"},
           {"bytes", "export", R"("export_failed","error":"bytes raised"})"},
           {"fetchAssetCollectionsWithType:subtype:options:", "open", noURL, noURL},
           {"localIdentifier", "open", noURL, noURL},
           {"sharedWorkspace", "open", unopened, unopened},
           {"openURL:", "open", unopened, unopened},
           {"sharedPhotoLibrary", "reclaim", "sharedPhotoLibrary raised", "There is no Photos lib"},
           {"performChanges:completionHandler:", "reclaim", R"(completionHandler: raised"})"},
           {"deleteAssets:", "reclaim", R"("reclaim_failed","error":"deleteAssets: raised"})"}}) {
    for (const bool raises : {true, false}) {
      if (const char* const part = raises ? raised : nothingGiven) {
        Library& faulty = stand_in::serve();
        (raises ? faulty.raising : faulty.givingNil) = {method};
        EXPECT_THAT(askTo(command), HasSubstr(part)) << method;
        stand_in::serve();
        EXPECT_THAT(askTo("estimate"), HasSubstr("estimated"));
      }
    }
  }
}

TEST_F(PhotoKit, ValuesThatOthersTripOverComeAsTheyAreOrNotAtAll) {
  Library& faulty = stand_in::serve();
  DescribedAsset& photo = faulty.assets[2];
  faulty.deletionError = photo.resources[0].error = "";
  constexpr auto noReason = R"("error":"Photos gave no reason for its failure"})";
  EXPECT_THAT(askTo("export"), HasSubstr(noReason));
  EXPECT_THAT(askTo("reclaim"), HasSubstr(noReason));

  faulty.deleted.clear();
  faulty.deletionError = "Some are kept";
  EXPECT_THAT(askTo("reclaim"), HasSubstr(R"(recently_deleted","error":"Some are kept"})"));
  faulty.deleted.clear();
  faulty.deletionError.reset();
  faulty.deletionSuccess = false;
  EXPECT_EQ(askTo("reclaim"), R"({"ok":false,"status":"reclaim_failed"})");
  photo.modificationDate = std::numeric_limits<double>::infinity();
  photo.resources[0].originalFilename = std::string("a\0b.DNG", 7);
  EXPECT_THAT(askTo("discover"),
              HasSubstr(R"("filename":"a\u0000b.DNG","createdAt":5.5E0,"mediaType")"));
  photo.creationDate = std::numeric_limits<double>::infinity();
  EXPECT_EQ(ask(R"({"command":"discover","includeVideos":false})"),
            R"({"ok":true,"status":"discovered","assets":[]})");
}

TEST_F(PhotoKit, SecondCompletionsAreReportedAndChangeNothing) {
  openlog("tests", LOG_PERROR, LOG_USER);
  for (const auto& [command, success, failure, label] : std::vector<std::array<std::string, 4>>{
           {"authorize", R"("authorized"})", R"("authorization_1"})", "authorize()"},
           {"estimate", R"("bytes":5})", R"("estimate_failed")", "resourceByteCount(_:)"},
           {"export", R"("bytes":3})", R"("raised once queued"})", "streamResource(_:to:)"},
           {"reclaim", "moved_to_recently", R"("raised once queued"})", "reclaim(_:)"}}) {
    for (const int kind : {0, 1, 2, 3}) {
      Library& faulty = stand_in::serve();
      faulty.raisesOnceQueued = kind < 2;
      faulty.answers = faulty.raisesOnceQueued ? 1 : 2;
      const bool isFailure = kind == 0;
      faulty.answersAtOnce = kind % 2 == 1;
      testing::internal::CaptureStderr();
      EXPECT_THAT(askTo(command), HasSubstr(isFailure ? failure : success));
      stand_in::waitForCallbacks();
      EXPECT_THAT(testing::internal::GetCapturedStderr(),
                  HasSubstr(label + " was resumed more than once"));
      EXPECT_EQ(faulty.deleted.empty(), command != "reclaim" || isFailure);
      EXPECT_TRUE(command != "export" || std::filesystem::file_size("copy") == (isFailure ? 0 : 3));
    }
  }
}

TEST_F(PhotoKit, HoldsNoObjectAfterTenThousandRequests) {
  const auto exchanges = transcript();
  std::set<std::string> answers;
  const auto liveObjectsAfter = [&](std::size_t count) {
    for (std::size_t number = 0; number < count; ++number) {
      stand_in::Library& served = stand_in::serve();
      served.answersAtOnce = number % 4 < 2;
      served.deletionSuccess = number % 5 != 0;
      if (number % 3 == 0) {
        served.deletionError = served.assets[2].resources[0].error = "x";
      }
      if (number % 7 == 0) {
        served.raising = {"bytes", "openURL:", "deleteAssets:", "objectAtIndex:"};
      }
      answers.insert(ask(exchanges[number % exchanges.size()].request));
    }
    stand_in::waitForCallbacks();
    static_cast<void>(stand_in::takeCalls());
    long live = 0;
    Class* const classes = GSDebugAllocationClassList();
    for (Class* kind = classes; *kind != nullptr; ++kind) {
      live += GSDebugAllocationCount(*kind);
    }
    NSZoneFree(NSDefaultMallocZone(), classes);
    return live;
  };
  // The frameworks keep what they make once.
  const long before = liveObjectsAfter(5000);
  EXPECT_THAT(answers, testing::Contains(R"({"ok":true,"status":"opened_in_photos"})"));
  EXPECT_EQ(liveObjectsAfter(10'000), before);
  expectFlat([StandInTemporary class], 1000);
}

TEST_F(PhotoKit, MemoryStaysFlatOnALongWalkAndALongDelivery) {
  stand_in::Library& large = stand_in::serve({});
  large.assets.assign(100'000, {.localIdentifier = "A", .creationDate = 1});
  EXPECT_THAT(ask(R"({"command":"discover","offset":99999})"), HasSubstr(R"("assets":[]})"));
  expectFlat([PHAsset class], 1000);
  stand_in::serve().assets[2].resources[0].chunks.assign(30'000, "chunk");
  EXPECT_THAT(askTo("export"), HasSubstr(R"("bytes":150000)"));
  expectFlat([StandInData class], 1000);
  expectFlat([StandInTemporary class], 10'000);
}

}  // namespace
}  // namespace tests
