// The platform on a local library: SQLite and plain files in place of the Photos library.
#pragma once

#include <filesystem>
#include <memory>

#include "photos/platform.h"
#include "platform/local/connection.h"
#include "platform/local/database.h"
#include "platform/local/serial_queue.h"

namespace platform::local {

/// Serves the library in a folder. The library need not be there: access is restricted while it is
/// missing, is no local library, has another schema version or can't be read, and each request
/// looks again; only asking for access that is granted already does not. Other processes may change
/// the library meanwhile.
///
/// Resource data comes before the call that asks for it has returned: handing small files over to
/// another thread would cost as much as copying them. Changes call back from a thread of the
/// platform's own, which ends with it.
class LocalPlatform : public photos::Platform {
 public:
  explicit LocalPlatform(const std::filesystem::path& library);

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

 private:
  /// The library as it is there now, or null. It stays connection_ until the next call.
  std::shared_ptr<Connection> connection();

  std::filesystem::path library_;
  std::filesystem::path databaseFile_;
  std::optional<FileIdentity> identity_;
  std::shared_ptr<Connection> connection_;
  /// Whether a read of this very library has failed and it has not been checked since.
  bool mustBeChecked_ = false;
  SerialQueue changes_;
};

}  // namespace platform::local
