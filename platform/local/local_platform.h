// The platform on a local library: SQLite and plain files in place of the Photos library.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include "platform/local/destination.h"
#include "platform/local/served_library.h"
#include "platform/posix/posix_platform.h"

namespace platform::local {

/// Serves the library in a folder. The library need not be there: access is restricted while it is
/// missing, is no local library, has another schema version or can't be read, and each request
/// looks again. Other processes may change the library meanwhile.
///
/// All callbacks come on the calling thread, before the call has returned.
class LocalPlatform : public posix::PosixPlatform {
 public:
  explicit LocalPlatform(const std::filesystem::path& folder);

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

  /// A destination in the library's own folder is neither emptied nor opened.
  void createFile(const std::string& path) override;
  [[nodiscard]] std::expected<std::unique_ptr<photos::FileHandle>, photos::Error>
  fileHandleForWriting(const std::string& path) override;

  [[nodiscard]] std::string pathExtension(std::string_view filename) const override;
  [[nodiscard]] std::unique_ptr<photos::URL> URLWithString(const std::string& text) override;
  [[nodiscard]] bool openURL(const photos::URL& url) override;

 protected:
  /// The settings of the library as it is there now; nothing without one.
  [[nodiscard]] std::optional<library::Settings> settings();

 private:
  /// The library as it is there now, or null.
  std::shared_ptr<ServedLibrary> served();

  /// A view of it, or null.
  std::shared_ptr<Snapshot> snapshot();

  std::filesystem::path folder_;
  std::filesystem::path databaseFile_;
  DestinationGuard guard_;
  /// The file that was created last and has not been opened since.
  std::string created_;
  std::optional<library::FileIdentity> identity_;
  std::shared_ptr<ServedLibrary> served_;
  /// Whether a read of this very library has failed and it has not been checked since.
  bool mustBeChecked_ = false;
};

}  // namespace platform::local
