// A platform that hands every call on to another one. A test overrides the one operation that is
// to go wrong.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "photos/platform.h"

namespace tests {

class ForwardingPlatform : public photos::Platform {
 public:
  explicit ForwardingPlatform(photos::Platform& target) : target_(target) {}

  photos::AuthorizationStatus authorizationStatus(photos::AccessLevel level) override {
    return target_.authorizationStatus(level);
  }
  void requestAuthorization(photos::AccessLevel level, AuthorizationHandler handler) override {
    target_.requestAuthorization(level, std::move(handler));
  }
  std::shared_ptr<photos::AssetFetchResult> fetchAssets(
      const photos::FetchOptions& options) override {
    return target_.fetchAssets(options);
  }
  std::shared_ptr<photos::AssetFetchResult> fetchAssetsWithLocalIdentifiers(
      std::span<const std::string> identifiers) override {
    return target_.fetchAssetsWithLocalIdentifiers(identifiers);
  }
  std::shared_ptr<photos::AssetCollectionFetchResult> fetchAssetCollections(
      photos::AssetCollectionType type, photos::AssetCollectionSubtype subtype) override {
    return target_.fetchAssetCollections(type, subtype);
  }
  std::vector<std::unique_ptr<photos::AssetResource>> assetResourcesForAsset(
      const photos::Asset& asset) override {
    return target_.assetResourcesForAsset(asset);
  }
  void requestDataForAssetResource(const photos::AssetResource& resource,
                                   const photos::AssetResourceRequestOptions& options,
                                   DataReceivedHandler dataReceivedHandler,
                                   CompletionHandler completionHandler) override {
    target_.requestDataForAssetResource(resource, options, std::move(dataReceivedHandler),
                                        std::move(completionHandler));
  }
  void performChanges(ChangeBlock changeBlock, ChangeCompletionHandler completionHandler) override {
    target_.performChanges(std::move(changeBlock), std::move(completionHandler));
  }
  void createFile(const std::string& path) override { target_.createFile(path); }
  std::expected<std::unique_ptr<photos::FileHandle>, photos::Error> fileHandleForWriting(
      const std::string& path) override {
    return target_.fileHandleForWriting(path);
  }
  std::unique_ptr<photos::SHA256> makeSHA256() override { return target_.makeSHA256(); }
  std::string pathExtension(std::string_view filename) const override {
    return target_.pathExtension(filename);
  }
  std::unique_ptr<photos::URL> URLWithString(const std::string& text) override {
    return target_.URLWithString(text);
  }
  bool openURL(const photos::URL& url) override { return target_.openURL(url); }

 private:
  photos::Platform& target_;
};

}  // namespace tests
