// The platform on the user's Photos library.
#pragma once

#include "photos/platform.h"

namespace platform::photokit {

/// Each operation calls the operations of PhotoKit, AppKit, Foundation and CommonCrypto that bear
/// its name, sets no option that its arguments don't name, and keeps nothing. Files are the
/// exception: platform/posix writes them, so that a destination means the same on every system.
///
/// What a framework fails to give, or fails with an exception, comes out as the operation's
/// failure: access is restricted, a fetch is empty, a completion gets an error, a URL stays
/// unopened. No operation leaves autoreleased objects to its caller, so that any thread will do.
class PhotoKitPlatform : public photos::Platform {
 public:
  [[nodiscard]] photos::AuthorizationStatus authorizationStatus(photos::AccessLevel level) override;
  void requestAuthorization(photos::AccessLevel level, AuthorizationHandler handler) override;

  [[nodiscard]] std::shared_ptr<photos::AssetFetchResult> fetchAssets(
      const photos::FetchOptions& options) override;
  [[nodiscard]] std::shared_ptr<photos::AssetFetchResult> fetchAssetsWithLocalIdentifiers(
      std::span<const std::string> identifiers) override;
  [[nodiscard]] std::shared_ptr<photos::AssetCollectionFetchResult> fetchAssetCollections(
      photos::AssetCollectionType type, photos::AssetCollectionSubtype subtype) override;
  [[nodiscard]] std::vector<std::unique_ptr<photos::AssetResource>> assetResourcesForAsset(
      const photos::Asset& asset) override;

  void requestDataForAssetResource(const photos::AssetResource& resource,
                                   const photos::AssetResourceRequestOptions& options,
                                   DataReceivedHandler dataReceivedHandler,
                                   CompletionHandler completionHandler) override;

  void performChanges(ChangeBlock changeBlock, ChangeCompletionHandler completionHandler) override;

  void createFile(const std::string& path) override;
  [[nodiscard]] std::expected<std::unique_ptr<photos::FileHandle>, photos::Error>
  fileHandleForWriting(const std::string& path) override;
  [[nodiscard]] std::unique_ptr<photos::SHA256> makeSHA256() override;
  [[nodiscard]] std::string pathExtension(std::string_view filename) const override;

  [[nodiscard]] std::unique_ptr<photos::URL> URLWithString(const std::string& text) override;
  [[nodiscard]] bool openURL(const photos::URL& url) override;
};

}  // namespace platform::photokit
