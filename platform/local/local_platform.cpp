#include "platform/local/local_platform.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "platform/local/faults.h"
#include "platform/local/fetch_results.h"
#include "platform/local/resource_delivery.h"
#include "platform/local/url.h"

namespace platform::local {
namespace {

using photos::AuthorizationStatus;
using photos::Error;

/// Collects the rows that a change block asks to delete, and which databases they are in.
class Deletions : public photos::AssetChangeRequest {
 public:
  void deleteAssets(photos::AssetFetchResult& assets) override {
    auto& local = static_cast<LocalAssets&>(assets);
    const std::size_t count = local.count();
    for (std::size_t index = 0; index < count; ++index) {
      rows.push_back(local.row(index));
    }
    if (count > 0) {
      databases.push_back(local.snapshot()->identity());
    }
  }

  std::vector<std::int64_t> rows;
  std::vector<library::FileIdentity> databases;
};

struct ChangeOutcome {
  bool success = false;
  std::optional<Error> error = {};
};

/// Moves the assets to Recently Deleted, all of them or none, as far as the library lets it. A
/// library that has taken the place of the one they were fetched from is not touched.
ChangeOutcome moveAssets(const std::filesystem::path& folder, const Deletions& deletions) {
  // A connection of its own: the fetch holds a read transaction on the other one, and SQLite
  // refuses to write in a read transaction that is not the newest.
  auto opened = library::Library::open(folder);
  if (!opened) {
    return {.error = std::move(opened.error())};
  }
  const auto current = library::identityOf(library::databaseFile(folder));
  if (std::ranges::any_of(deletions.databases, [&](const auto& file) { return file != current; })) {
    return {.error = Error{"The library was replaced by another one"}};
  }
  ChangeOutcome outcome;
  library::Result done = opened->transaction([&]() -> library::Result {
    const auto settings = opened->settings();
    if (!settings) {
      return std::unexpected(settings.error());
    }
    outcome.success = settings->deletionSuccess;
    if (settings->deletionError) {
      outcome.error = Error{*settings->deletionError};
    }
    return outcome.success ? opened->moveToRecentlyDeleted(deletions.rows) : library::Result();
  });
  return done ? outcome : ChangeOutcome{.error = std::move(done.error())};
}

/// The path itself when it is relative and the working folder was deleted.
std::filesystem::path absoluteIfPossible(const std::filesystem::path& path) {
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(path, error);
  return error ? path : absolute;
}

}  // namespace

LocalPlatform::LocalPlatform(const std::filesystem::path& folder)
    : folder_(absoluteIfPossible(folder)),
      databaseFile_(library::databaseFile(folder_)),
      guard_(folder_) {}

std::shared_ptr<ServedLibrary> LocalPlatform::served() {
  const auto identity = library::identityOf(databaseFile_);
  const bool isSame = identity == identity_;
  const bool hasFailed = served_ && served_->library.database().hasFailed();
  if (served_ && isSame && !hasFailed) {
    return served_;
  }
  // After a failed read the same library is served again only if it is sound.
  mustBeChecked_ = isSame && (mustBeChecked_ || hasFailed);
  identity_ = identity;
  served_.reset();
  auto opened = library::Library::open(folder_);
  if (identity && opened && (!mustBeChecked_ || opened->isSound())) {
    served_ = std::make_shared<ServedLibrary>(std::move(*opened), *identity);
    mustBeChecked_ = false;
  }
  return served_;
}

std::shared_ptr<Snapshot> LocalPlatform::snapshot() {
  auto library = served();
  return library ? Snapshot::of(std::move(library)) : nullptr;
}

std::optional<library::Settings> LocalPlatform::settings() {
  const auto library = served();
  auto settings = library ? library->library.settings() : std::unexpected(Error{});
  return settings ? std::optional(std::move(*settings)) : std::nullopt;
}

AuthorizationStatus LocalPlatform::authorizationStatus(photos::AccessLevel /*level*/) {
  const auto current = settings();
  return current ? AuthorizationStatus{current->authorizationStatus}
                 : AuthorizationStatus::restricted;
}

void LocalPlatform::requestAuthorization(photos::AccessLevel level, AuthorizationHandler handler) {
  const auto current = settings();
  auto status =
      current ? AuthorizationStatus{current->authorizationStatus} : AuthorizationStatus::restricted;
  if (status == AuthorizationStatus::notDetermined) {
    wait(current->promptDelay);
    if (const auto library = served()) {
      // If the answer can't be stored, the status stays not determined.
      static_cast<void>(library->library.answerPrompt());
    }
    status = authorizationStatus(level);
  }
  handler(status);
}

std::shared_ptr<photos::AssetFetchResult> LocalPlatform::fetchAssets(
    const photos::FetchOptions& options) {
  auto view = snapshot();
  if (!view) {
    return std::make_shared<AssetsOfRows>(nullptr, std::vector<std::int64_t>());
  }
  return std::make_shared<OrderedAssets>(std::move(view), options);
}

std::shared_ptr<photos::AssetFetchResult> LocalPlatform::fetchAssetsWithLocalIdentifiers(
    std::span<const std::string> identifiers) {
  std::vector<std::int64_t> rows;
  auto view = snapshot();
  for (auto identifier = identifiers.begin(); view && identifier != identifiers.end();
       ++identifier) {
    if (const auto row = view->library().rowOfAsset(*identifier).value_or(std::nullopt)) {
      rows.push_back(*row);
    }
  }
  std::ranges::sort(rows);
  rows.erase(std::ranges::unique(rows).begin(), rows.end());
  return std::make_shared<AssetsOfRows>(std::move(view), std::move(rows));
}

std::shared_ptr<photos::AssetCollectionFetchResult> LocalPlatform::fetchAssetCollections(
    photos::AssetCollectionType type, photos::AssetCollectionSubtype subtype) {
  const bool isKnown = type == photos::AssetCollectionType::smartAlbum &&
                       subtype == photos::AssetCollectionSubtype::smartAlbumUserLibrary;
  const auto current = isKnown ? settings() : std::nullopt;
  return std::make_shared<LocalAlbums>(current ? current->userLibraryAlbum : std::nullopt);
}

std::vector<std::unique_ptr<photos::AssetResource>> LocalPlatform::assetResourcesForAsset(
    const photos::Asset& asset) {
  const auto& local = static_cast<const LocalAsset&>(asset);
  std::vector<std::unique_ptr<photos::AssetResource>> resources;
  for (const library::ResourceRow& row : local.row().resources) {
    resources.push_back(std::make_unique<LocalResource>(local.snapshot(), row));
  }
  return resources;
}

void LocalPlatform::requestDataForAssetResource(const photos::AssetResource& resource,
                                                const photos::AssetResourceRequestOptions& options,
                                                DataReceivedHandler dataReceivedHandler,
                                                CompletionHandler completionHandler) {
  const auto& local = static_cast<const LocalResource&>(resource);
  library::Library& library = local.snapshot().library();
  const auto settings = library.settings();
  const auto stored = library.resource(local.row()).value_or(std::nullopt);
  std::optional<Error> error;
  if (settings && stored) {
    const bool isCloudReachable = options.networkAccessAllowed && settings->networkReachable;
    error = deliver(*stored, folder_, isCloudReachable, dataReceivedHandler);
  } else {
    error = Error{"The original “" + local.row().originalFilename +
                  "” could not be found in the library"};
  }
  dataReceivedHandler = nullptr;
  completionHandler(std::move(error));
}

void LocalPlatform::performChanges(ChangeBlock changeBlock,
                                   ChangeCompletionHandler completionHandler) {
  Deletions deletions;
  changeBlock(deletions);
  changeBlock = nullptr;
  const auto current = settings().value_or(library::Settings());
  wait(current.deletionDelay);
  if (current.deletionCrash == library::DeletionCrash::before) {
    crash();
  }
  ChangeOutcome outcome = moveAssets(folder_, deletions);
  if (current.deletionCrash == library::DeletionCrash::after) {
    crash();
  }
  completionHandler(outcome.success, std::move(outcome.error));
}

void LocalPlatform::createFile(const std::string& path) {
  if (!guard_.leadsInto(path)) {
    PosixPlatform::createFile(path);
    created_ = path;
  }
}

std::expected<std::unique_ptr<photos::FileHandle>, Error> LocalPlatform::fileHandleForWriting(
    const std::string& path) {
  // What has been created just now has been looked at: that takes as long as a small export.
  if (std::exchange(created_, {}) != path && guard_.leadsInto(path)) {
    return std::unexpected(
        Error{"The file “" + path +
              "” could not be opened for writing: it is a part of the photo library"});
  }
  return PosixPlatform::fileHandleForWriting(path);
}

std::string LocalPlatform::pathExtension(std::string_view filename) const {
  const std::string_view name = filename.substr(filename.find_last_of('/') + 1);
  const std::size_t dot = name.find_last_of('.');
  // A name that only begins with a dot has no extension, as Foundation has it.
  return dot == std::string_view::npos || dot == 0 ? std::string()
                                                   : std::string(name.substr(dot + 1));
}

std::unique_ptr<photos::URL> LocalPlatform::URLWithString(const std::string& text) {
  return parseURL(text);
}

bool LocalPlatform::openURL(const photos::URL& url) {
  const auto current = settings();
  return current && (current->opensURLs ? *current->opensURLs : openWithSystem(url));
}

}  // namespace platform::local
