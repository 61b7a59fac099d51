#include "platform/local/local_platform.h"

#include <algorithm>
#include <utility>

#include "platform/local/changes.h"
#include "platform/local/database.h"
#include "platform/local/objects.h"
#include "platform/local/path_extension.h"
#include "platform/local/resource_delivery.h"
#include "platform/local/sha256.h"
#include "platform/local/url.h"
#include "platform/posix/file_handle.h"

namespace platform::local {

LocalPlatform::LocalPlatform(const std::filesystem::path& library)
    : library_(std::filesystem::absolute(library)), databaseFile_(databaseFile(library_)) {}

std::shared_ptr<Connection> LocalPlatform::connection() {
  const std::optional<FileIdentity> identity = identityOf(databaseFile_);
  if (connection_ && identity == identity_ && !connection_->hasFailed()) {
    return connection_;
  }
  // After a failure the library is served again only if it turns out to be sound.
  mustBeChecked_ = identity == identity_ && (mustBeChecked_ || connection_);
  connection_.reset();
  identity_ = identity;
  if (std::expected<SQLite::Database, photos::Error> database = openDatabase(library_)) {
    try {
      connection_ = std::make_shared<Connection>(std::move(*database));
      if (mustBeChecked_ && !connection_->isSound()) {
        connection_.reset();
      }
      mustBeChecked_ = mustBeChecked_ && !connection_;
    } catch (const SQLite::Exception&) {
      // A database without our tables is no library.
      connection_.reset();
    }
  }
  return connection_;
}

photos::AuthorizationStatus LocalPlatform::authorizationStatus(photos::AccessLevel /*level*/) {
  const auto library = connection();
  return library ? library->authorizationStatus() : photos::AuthorizationStatus::restricted;
}

void LocalPlatform::requestAuthorization(photos::AccessLevel level, AuthorizationHandler handler) {
  // Whether another library has taken this one's place costs as much to find out as all the rest.
  // A grant is told without it: every request that reads the library looks.
  photos::AuthorizationStatus status =
      connection_ ? connection_->authorizationStatus() : photos::AuthorizationStatus::restricted;
  if (!photos::isGranted(status)) {
    status = authorizationStatus(level);
  }
  if (status == photos::AuthorizationStatus::notDetermined) {
    if (const auto library = connection()) {
      library->answerPrompt();
    }
    status = authorizationStatus(level);
  }
  handler(status);
}

std::shared_ptr<photos::AssetFetchResult> LocalPlatform::fetchAssets(
    const photos::FetchOptions& options) {
  if (auto library = connection()) {
    return std::make_shared<OrderedAssets>(std::move(library), options);
  }
  return std::make_shared<AssetsOfRows>(nullptr, std::vector<std::int64_t>{}, nullptr);
}

std::shared_ptr<photos::AssetFetchResult> LocalPlatform::fetchAssetsWithLocalIdentifiers(
    std::span<const std::string> identifiers) {
  std::vector<std::int64_t> rows;
  std::shared_ptr<Connection::Snapshot> snapshot;
  auto library = connection();
  if (library) {
    snapshot = library->snapshot();
    for (const std::string& identifier : identifiers) {
      if (const auto row = library->assetID(identifier)) {
        rows.push_back(*row);
      }
    }
  }
  std::ranges::sort(rows);
  rows.erase(std::ranges::unique(rows).begin(), rows.end());
  return std::make_shared<AssetsOfRows>(std::move(library), std::move(rows), std::move(snapshot));
}

std::shared_ptr<photos::AssetCollectionFetchResult> LocalPlatform::fetchAssetCollections(
    photos::AssetCollectionType type, photos::AssetCollectionSubtype subtype) {
  std::vector<std::string> albums;
  const bool isKnown = type == photos::AssetCollectionType::smartAlbum &&
                       subtype == photos::AssetCollectionSubtype::smartAlbumUserLibrary;
  if (const auto library = connection(); library && isKnown) {
    if (const auto settings = library->settings(); settings && settings->userLibraryAlbum) {
      albums.push_back(*settings->userLibraryAlbum);
    }
  }
  return std::make_shared<Albums>(std::move(albums));
}

std::vector<std::unique_ptr<photos::AssetResource>> LocalPlatform::assetResourcesForAsset(
    const photos::Asset& asset) {
  const auto& local = static_cast<const LocalAsset&>(asset);
  std::vector<std::unique_ptr<photos::AssetResource>> resources;
  const auto add = [&](const ResourceRow& row) {
    resources.push_back(std::make_unique<LocalResource>(local.snapshot(), row));
  };
  if (local.resources()) {
    std::ranges::for_each(*local.resources(), add);
  } else {
    std::ranges::for_each(local.snapshot()->connection().resources(local.row().id), add);
  }
  return resources;
}

void LocalPlatform::requestDataForAssetResource(const photos::AssetResource& resource,
                                                const photos::AssetResourceRequestOptions& options,
                                                DataReceivedHandler dataReceivedHandler,
                                                CompletionHandler completionHandler) {
  const auto& local = static_cast<const LocalResource&>(resource);
  const auto settings = local.connection().settings();
  const auto stored = local.connection().resource(local.row());
  std::optional<photos::Error> error;
  if (settings && stored) {
    const bool isCloudReachable = options.networkAccessAllowed && settings->networkReachable;
    error = deliver(*stored, library_, isCloudReachable, dataReceivedHandler);
  } else {
    error = photos::Error{"The original “" + local.row().originalFilename +
                          "” could not be found in the library"};
  }
  // What the handler holds is let go first, for who waits on another thread.
  dataReceivedHandler = nullptr;
  completionHandler(std::move(error));
}

void LocalPlatform::performChanges(ChangeBlock changeBlock,
                                   ChangeCompletionHandler completionHandler) {
  changes_.async([folder = library_, identity = identity_, block = std::move(changeBlock),
                  completion = std::move(completionHandler)]() mutable {
    Changes changes;
    block(changes);
    // The block holds what it deletes, and with it the library's connection, which is not to be
    // let go on this thread while the request goes on.
    block = nullptr;
    Changes::Outcome outcome = changes.apply(folder, identity);
    completion(outcome.success, std::move(outcome.error));
  });
}

void LocalPlatform::createFile(const std::string& path) { posix::createFile(path); }

std::expected<std::unique_ptr<photos::FileHandle>, photos::Error>
LocalPlatform::fileHandleForWriting(const std::string& path) {
  return posix::fileHandleForWriting(path);
}

std::unique_ptr<photos::SHA256> LocalPlatform::makeSHA256() { return local::makeSHA256(); }

std::string LocalPlatform::pathExtension(std::string_view filename) const {
  return local::pathExtension(filename);
}

std::unique_ptr<photos::URL> LocalPlatform::URLWithString(const std::string& text) {
  return parseURL(text);
}

bool LocalPlatform::openURL(const photos::URL& url) {
  const auto settings = connection_ ? connection_->settings() : std::nullopt;
  return settings && (settings->opensURLs ? *settings->opensURLs : openWithSystem(url));
}

}  // namespace platform::local
