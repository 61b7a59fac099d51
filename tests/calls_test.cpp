// Which calls a request makes of the system, and in which order: the gate comes first, a request
// that lacks something asks the library nothing, and only a download may use the network.
#include <gtest/gtest.h>

#include <expected>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "app/request_cycle.h"
#include "platform/local/local_platform.h"
#include "protocol/request_decoder.h"
#include "tests/local_library.h"
#include "tests/temporary_folder.h"

namespace tests {
namespace {

/// A local library, and the calls that were made of it.
class Recording : public platform::local::LocalPlatform {
  using Local = platform::local::LocalPlatform;
  using File = std::expected<std::unique_ptr<photos::FileHandle>, photos::Error>;

 public:
  using Local::Local;

  std::string calls;

  photos::AuthorizationStatus authorizationStatus(photos::AccessLevel level) override {
    calls += "status ";
    return Local::authorizationStatus(level);
  }
  void requestAuthorization(photos::AccessLevel level, AuthorizationHandler handler) override {
    calls += "request ";
    Local::requestAuthorization(level, std::move(handler));
  }
  std::shared_ptr<photos::AssetFetchResult> fetchAssets(
      const photos::FetchOptions& options) override {
    calls += "fetch ";
    return Local::fetchAssets(options);
  }
  std::shared_ptr<photos::AssetFetchResult> fetchAssetsWithLocalIdentifiers(
      std::span<const std::string> identifiers) override {
    calls += "find ";
    return Local::fetchAssetsWithLocalIdentifiers(identifiers);
  }
  std::shared_ptr<photos::AssetCollectionFetchResult> fetchAssetCollections(
      photos::AssetCollectionType type, photos::AssetCollectionSubtype subtype) override {
    calls += "album ";
    return Local::fetchAssetCollections(type, subtype);
  }
  std::vector<std::unique_ptr<photos::AssetResource>> assetResourcesForAsset(
      const photos::Asset& asset) override {
    calls += "resources ";
    return Local::assetResourcesForAsset(asset);
  }
  void requestDataForAssetResource(const photos::AssetResource& resource,
                                   const photos::AssetResourceRequestOptions& options,
                                   DataReceivedHandler received,
                                   CompletionHandler completed) override {
    calls += options.networkAccessAllowed ? "data " : "data-without-network ";
    Local::requestDataForAssetResource(resource, options, std::move(received),
                                       std::move(completed));
  }
  void performChanges(ChangeBlock block, ChangeCompletionHandler completed) override {
    calls += "change ";
    Local::performChanges(std::move(block), std::move(completed));
  }
  void createFile(const std::string& path) override {
    calls += "create ";
    Local::createFile(path);
  }
  File fileHandleForWriting(const std::string& path) override {
    calls += "write ";
    return Local::fileHandleForWriting(path);
  }
  bool openURL(const photos::URL& url) override {
    calls += "open ";
    return Local::openURL(url);
  }
};

struct Case {
  std::string request;
  std::string status;
  std::string calls;
};

void expectCalls(photos::AuthorizationStatus access, std::initializer_list<Case> cases) {
  const TemporaryFolder folder;
  makeLibrary(folder.path() / "library",
              {.assets = {{.localIdentifier = "A",
                           .creationDate = photos::Date{1},
                           .resources = {{photos::AssetResourceType{1}, "a", {"abc"}}}}},
               .authorizationStatus = access});
  Recording platform(folder.path() / "library");
  protocol::RequestDecoder decoder;
  for (const Case& each : cases) {
    platform.calls.clear();
    EXPECT_EQ(app::answer(each.request, decoder, platform).status, each.status) << each.request;
    EXPECT_EQ(platform.calls, each.calls) << each.request;
  }
}

TEST(Calls, OfRequestsWithAccess) {
  expectCalls(
      photos::AuthorizationStatus::authorized,
      {{R"({"command":"authorize"})", "authorized", "request "},
       {R"({"command":"discover"})", "discovered", "status fetch resources "},
       {R"({"command":"estimate"})", "invalid_request", "status "},
       {R"({"command":"estimate","assetID":"B","photoKitResourceType":1})", "missing",
        "status find "},
       {R"({"command":"estimate","assetID":"A","photoKitResourceType":2})", "missing",
        "status find resources "},
       {R"({"command":"estimate","assetID":"A","photoKitResourceType":1})", "estimated",
        "status find resources data "},
       {R"({"command":"export","assetID":"A"})", "invalid_request", "status "},
       {R"({"command":"export","assetID":"B","destination":"/dev/null"})", "missing",
        "status find "},
       {R"({"command":"export","assetID":"A","destination":"/dev/null","photoKitResourceType":1})",
        "exported", "status find resources create write data "},
       {R"({"command":"reclaim","assetIDs":[]})", "invalid_request", "status "},
       {R"({"command":"reclaim","assetIDs":["A","B"]})", "missing", "status find "},
       {R"({"command":"open"})", "invalid_request", "status "},
       {R"({"command":"open","assetID":"B"})", "missing", "status find "},
       {R"({"command":"reclaim","assetIDs":["A"]})", "moved_to_recently_deleted",
        "status find change "},
       {R"({"command":"Discover"})", "invalid_request", "status "},
       {"discover", "invalid_request", ""}});
}

TEST(Calls, OfRequestsWithoutAccess) {
  expectCalls(photos::AuthorizationStatus::denied,
              {{R"({"command":"authorize"})", "authorization_2", "request "},
               {R"({"command":"discover"})", "authorization_2", "status "},
               {R"({"command":"export"})", "authorization_2", "status "},
               {R"({"command":"reclaim","assetIDs":["A"]})", "authorization_2", "status "},
               {R"({"command":"open","assetID":"A"})", "authorization_2", "status "}});
}

}  // namespace
}  // namespace tests
