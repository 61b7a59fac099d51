// A platform that is told what to answer, and records what it is asked.
#pragma once

#include <future>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "photos/platform.h"

namespace tests {

class ScriptedAsset : public photos::Asset {
 public:
  struct Script {
    std::string localIdentifier;
    std::optional<photos::Date> creationDate = {};
    photos::AssetMediaType mediaType = photos::AssetMediaType::image;
  };

  explicit ScriptedAsset(Script script) : script_(std::move(script)) {}
  std::string localIdentifier() const override { return script_.localIdentifier; }
  photos::AssetMediaType mediaType() const override { return script_.mediaType; }
  std::optional<photos::Date> creationDate() const override { return script_.creationDate; }
  std::optional<photos::Date> modificationDate() const override { return std::nullopt; }

 private:
  Script script_;
};

/// Operations that no test has scripted yet throw. A test that wants one of them to behave in a way
/// of its own overrides it.
class ScriptedPlatform : public photos::Platform {
 public:
  // The script, which may be changed between calls.
  photos::AuthorizationStatus status = photos::AuthorizationStatus::authorized;
  /// What asking for access gives.
  photos::AuthorizationStatus answer = photos::AuthorizationStatus::authorized;
  /// Whether handlers are called from a thread of their own, at any time, or before the call that
  /// took them returns.
  bool answersFromAnotherThread = false;
  /// In fetch order.
  std::vector<ScriptedAsset::Script> assets;

  /// Each call in order, with its arguments; "objectAtIndex" for those to fetch results.
  std::vector<std::string> calls;

  photos::AuthorizationStatus authorizationStatus(photos::AccessLevel level) override {
    record("authorizationStatus", std::to_underlying(level));
    return status;
  }
  void requestAuthorization(photos::AccessLevel level, AuthorizationHandler handler) override {
    record("requestAuthorization", std::to_underlying(level));
    if (answersFromAnotherThread) {
      answering_ = std::async(std::launch::async, std::move(handler), answer);
    } else {
      handler(answer);
    }
  }
  std::shared_ptr<photos::AssetFetchResult> fetchAssets(
      const photos::FetchOptions& options) override {
    if (options.creationDateBefore) {
      record("fetchAssetsBefore", *options.creationDateBefore);
    } else {
      calls.emplace_back("fetchAssets");
    }
    return std::make_shared<Assets>(*this);
  }
  std::vector<std::unique_ptr<photos::AssetResource>> assetResourcesForAsset(
      const photos::Asset& asset) override {
    calls.push_back("assetResourcesForAsset " + asset.localIdentifier());
    return {};
  }

  std::shared_ptr<photos::AssetFetchResult> fetchAssetsWithLocalIdentifiers(
      std::span<const std::string> /*identifiers*/) override {
    notScripted();
  }
  std::shared_ptr<photos::AssetCollectionFetchResult> fetchAssetCollections(
      photos::AssetCollectionType /*type*/, photos::AssetCollectionSubtype /*subtype*/) override {
    notScripted();
  }
  void requestDataForAssetResource(const photos::AssetResource& /*resource*/,
                                   const photos::AssetResourceRequestOptions& /*options*/,
                                   DataReceivedHandler /*dataReceivedHandler*/,
                                   CompletionHandler /*completionHandler*/) override {
    notScripted();
  }
  void performChanges(ChangeBlock /*changeBlock*/,
                      ChangeCompletionHandler /*completionHandler*/) override {
    notScripted();
  }
  void createFile(const std::string& /*path*/) override { notScripted(); }
  std::expected<std::unique_ptr<photos::FileHandle>, photos::Error> fileHandleForWriting(
      const std::string& /*path*/) override {
    notScripted();
  }
  std::unique_ptr<photos::SHA256> makeSHA256() override { notScripted(); }
  std::string pathExtension(std::string_view /*filename*/) const override { notScripted(); }
  std::unique_ptr<photos::URL> URLWithString(const std::string& /*text*/) override {
    notScripted();
  }
  bool openURL(const photos::URL& /*url*/) override { notScripted(); }

 private:
  class Assets : public photos::AssetFetchResult {
   public:
    explicit Assets(ScriptedPlatform& platform) : platform_(platform) {}
    std::size_t count() override { return platform_.assets.size(); }
    std::unique_ptr<photos::Asset> objectAtIndex(std::size_t index) override {
      platform_.record("objectAtIndex", index);
      return std::make_unique<ScriptedAsset>(platform_.assets.at(index));
    }

   private:
    ScriptedPlatform& platform_;
  };

  void record(const char* operation, auto argument) {
    calls.push_back(std::string(operation) + " " + std::to_string(argument));
  }
  [[noreturn]] static void notScripted() { throw std::logic_error("no test has scripted this"); }

  std::future<void> answering_;
};

}  // namespace tests
