// The platform on the user's Photos library.
#pragma once

#include "platform/posix/posix_platform.h"

namespace platform::photokit {

/// Each operation calls the operations of PhotoKit, AppKit, Foundation and CommonCrypto that bear
/// its name, sets no option that its arguments don't name, and keeps nothing. Destination files are
/// the exception.
///
/// When a framework gives nil or raises an exception, the operation fails: access is restricted, a
/// fetch is empty, a completion gets an error, a URL is not opened. Each operation has an
/// autorelease pool of its own and may be called on any thread.
class PhotoKitPlatform : public posix::PosixPlatform {
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

  [[nodiscard]] std::string pathExtension(std::string_view filename) const override;

  [[nodiscard]] std::unique_ptr<photos::URL> URLWithString(const std::string& text) override;
  [[nodiscard]] bool openURL(const photos::URL& url) override;
};

}  // namespace platform::photokit
