// The one seam between the helper and a Photos library.
//
// Every operation that a command handler asks of the system is declared here, under the name that
// PhotoKit, Foundation, CryptoKit or AppKit gives it. Handlers receive the Platform they work on;
// a backend implements all of it and is invisible behind it.
//
// Threads: synchronous operations are called by one request at a time, from a thread of the worker
// pool. Handlers given to an operation (its callbacks) may be called from any thread of the
// backend's choice, also before the call that took them has returned.
//
// Objects: an asset, resource, album or fetch result belongs to the platform that gave it, is
// handed back to that platform only, and must be released before the platform is. It shows the
// library as it was at its fetch.
//
// Failures are values. An Error carries one human-readable sentence, without a final full stop,
// that reaches the host as it stands. Nothing here throws.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace photos {

/// A point in time: seconds since 1970-01-01T00:00:00 UTC, finite.
using Date = double;

struct [[nodiscard]] Error {
  std::string localizedDescription;
};

// The raw values below are PhotoKit's. A library may give others; they are kept as they come.

enum class AccessLevel : std::int64_t { readWrite = 2 };

enum class AuthorizationStatus : std::int64_t {
  notDetermined = 0,
  restricted = 1,
  denied = 2,
  authorized = 3,
  limited = 4,
};

/// Whether the library may be read and changed.
[[nodiscard]] constexpr bool isGranted(AuthorizationStatus status) {
  return status == AuthorizationStatus::authorized || status == AuthorizationStatus::limited;
}

enum class AssetMediaType : std::int64_t { unknown = 0, image = 1, video = 2, audio = 3 };

enum class AssetResourceType : std::int64_t {
  photo = 1,
  video = 2,
  audio = 3,
  alternatePhoto = 4,
  fullSizePhoto = 5,
  fullSizeVideo = 6,
  adjustmentData = 7,
  adjustmentBasePhoto = 8,
  pairedVideo = 9,
  fullSizePairedVideo = 10,
};

enum class AssetCollectionType : std::int64_t { smartAlbum = 2 };

enum class AssetCollectionSubtype : std::int64_t { smartAlbumUserLibrary = 209 };

class Asset {
 public:
  virtual ~Asset() = default;
  [[nodiscard]] virtual std::string localIdentifier() const = 0;
  [[nodiscard]] virtual AssetMediaType mediaType() const = 0;
  [[nodiscard]] virtual std::optional<Date> creationDate() const = 0;
  [[nodiscard]] virtual std::optional<Date> modificationDate() const = 0;
};

class AssetResource {
 public:
  virtual ~AssetResource() = default;
  [[nodiscard]] virtual AssetResourceType type() const = 0;
  [[nodiscard]] virtual std::string originalFilename() const = 0;
};

class AssetCollection {
 public:
  virtual ~AssetCollection() = default;
  [[nodiscard]] virtual std::string localIdentifier() const = 0;
};

/// An ordered result of a fetch. It is lazy: an object is made when it is asked for.
template <class Object>
class FetchResult {
 public:
  virtual ~FetchResult() = default;

  /// How many objects there are. May cost as much as reading the whole result once.
  [[nodiscard]] virtual std::size_t count() = 0;

  /// The object at `index`, which is less than count(). Never null.
  [[nodiscard]] virtual std::unique_ptr<Object> objectAtIndex(std::size_t index) = 0;

  /// The first object, or null when there is none. A backend whose library has it by itself
  /// overrides it.
  [[nodiscard]] virtual std::unique_ptr<Object> firstObject() {
    return count() == 0 ? nullptr : objectAtIndex(0);
  }
};

/// Which assets a walk along a fetch result stops at: those of a wanted media type that have a
/// creation date.
struct AssetFilter {
  bool images = true;
  bool videos = true;

  /// This is the one place that says which. `hasCreationDate` is called only for a wanted type.
  [[nodiscard]] bool admits(AssetMediaType type, auto&& hasCreationDate) const {
    return ((type == AssetMediaType::image && images) ||
            (type == AssetMediaType::video && videos)) &&
           hasCreationDate();
  }
};

class AssetFetchResult : public FetchResult<Asset> {
 public:
  /// Walks from `index` on, passes over the next `skipped` assets that `filter` admits, and returns
  /// the index of the one after them; nothing when the result ends before.
  ///
  /// A passed asset costs a media-type read, and a creation-date read when its type is wanted; its
  /// resources are not looked at. The cost is in proportion to where the walk ends, whatever the
  /// library's size. A backend that has this cheaper than an object for each asset overrides it.
  [[nodiscard]] virtual std::optional<std::size_t> indexOfAsset(const AssetFilter& filter,
                                                                std::size_t index,
                                                                std::uint64_t skipped) {
    for (const std::size_t end = count(); index < end; ++index) {
      const std::unique_ptr<Asset> asset = objectAtIndex(index);
      const auto hasDate = [&] { return asset->creationDate().has_value(); };
      if (filter.admits(asset->mediaType(), hasDate) && skipped-- == 0) {
        return index;
      }
    }
    return std::nullopt;
  }
};

using AssetCollectionFetchResult = FetchResult<AssetCollection>;

/// What a fetch of all assets asks for. The order is always by creation date, ascending; the
/// library keeps a stable order among equal dates, and puts assets without a date where it likes.
struct FetchOptions {
  /// The predicate "creationDate < %@": set, it leaves out assets of this date or later, and those
  /// without a date.
  std::optional<Date> creationDateBefore;
};

struct AssetResourceRequestOptions {
  bool networkAccessAllowed = false;
};

/// The changes that a change block may ask for.
class AssetChangeRequest {
 public:
  virtual ~AssetChangeRequest() = default;

  /// Moves all assets of the fetch result to Recently Deleted.
  virtual void deleteAssets(AssetFetchResult& assets) = 0;
};

/// A file open for writing. Destroying it closes the file if it is still open, ignoring failures.
class FileHandle {
 public:
  virtual ~FileHandle() = default;

  /// Writes all bytes at the current position and advances it. After a failure any part of them
  /// may be in the file. The bytes are not used after the call.
  [[nodiscard]] virtual std::expected<void, Error> write(std::span<const std::byte> bytes) = 0;

  /// Closes the file, whether it succeeds or not. Called at most once, and last.
  [[nodiscard]] virtual std::expected<void, Error> close() = 0;
};

using SHA256Digest = std::array<std::byte, 32>;

/// The digest as 64 lower-case hexadecimal digits.
[[nodiscard]] inline std::string hexadecimal(const SHA256Digest& digest) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  text.reserve(2 * digest.size());
  for (const std::byte byte : digest) {
    text += digits[std::to_integer<std::size_t>(byte >> 4)];
    text += digits[std::to_integer<std::size_t>(byte & std::byte{0x0F})];
  }
  return text;
}

/// A running SHA-256 (FIPS 180-4).
class SHA256 {
 public:
  virtual ~SHA256() = default;

  /// The bytes are not used after the call.
  virtual void update(std::span<const std::byte> bytes) = 0;

  /// The digest of all bytes so far. Called at most once, and last.
  [[nodiscard]] virtual SHA256Digest finalize() = 0;
};

/// A parsed URL.
class URL {
 public:
  virtual ~URL() = default;
};

class Platform {
 public:
  using AuthorizationHandler = std::function<void(AuthorizationStatus)>;
  using DataReceivedHandler = std::function<void(std::span<const std::byte>)>;
  using CompletionHandler = std::function<void(std::optional<Error>)>;
  using ChangeBlock = std::function<void(AssetChangeRequest&)>;
  using ChangeCompletionHandler = std::function<void(bool success, std::optional<Error>)>;

  virtual ~Platform() = default;

  // Access. Any status may come back, also one that the enumeration does not name.

  /// The current status. Never prompts, never blocks on the user.
  [[nodiscard]] virtual AuthorizationStatus authorizationStatus(AccessLevel level) = 0;

  /// Asks for access, which may prompt the user, and calls `handler` once with the status.
  virtual void requestAuthorization(AccessLevel level, AuthorizationHandler handler) = 0;

  // Fetching. Nothing matching gives an empty result, never null.

  [[nodiscard]] virtual std::shared_ptr<AssetFetchResult> fetchAssets(
      const FetchOptions& options) = 0;

  /// Each asset appears once, however often its identifier is repeated; unknown ones give nothing.
  [[nodiscard]] virtual std::shared_ptr<AssetFetchResult> fetchAssetsWithLocalIdentifiers(
      std::span<const std::string> identifiers) = 0;

  [[nodiscard]] virtual std::shared_ptr<AssetCollectionFetchResult> fetchAssetCollections(
      AssetCollectionType type, AssetCollectionSubtype subtype) = 0;

  /// The asset's resources in the library's order; no null among them.
  [[nodiscard]] virtual std::vector<std::unique_ptr<AssetResource>> assetResourcesForAsset(
      const Asset& asset) = 0;

  // Resource data.

  /// Starts reading the resource's content. Calls `dataReceivedHandler` with each chunk in order,
  /// never two at a time, then destroys it, then calls `completionHandler` once: without an error
  /// when all of the content was delivered. A chunk may be empty, and its bytes live until its
  /// handler returns. `resource` need not outlive the call.
  virtual void requestDataForAssetResource(const AssetResource& resource,
                                           const AssetResourceRequestOptions& options,
                                           DataReceivedHandler dataReceivedHandler,
                                           CompletionHandler completionHandler) = 0;

  // Changes.

  /// Calls `changeBlock` once, applies what it asked for as a whole or not at all, destroys it,
  /// then calls `completionHandler` once. Success and error are independent of one another.
  virtual void performChanges(ChangeBlock changeBlock,
                              ChangeCompletionHandler completionHandler) = 0;

  // Files. Paths are the host's, relative ones against the working directory.

  /// Makes an empty file, emptying one that is there. Its outcome is not reported: opening tells.
  virtual void createFile(const std::string& path) = 0;

  /// Opens an existing file for writing, positioned at its start.
  [[nodiscard]] virtual std::expected<std::unique_ptr<FileHandle>, Error> fileHandleForWriting(
      const std::string& path) = 0;

  [[nodiscard]] virtual std::unique_ptr<SHA256> makeSHA256() = 0;

  /// The path extension of a file of this name: what follows the last ".", or empty.
  [[nodiscard]] virtual std::string pathExtension(std::string_view filename) const = 0;

  // URLs.

  /// The text as a URL, or null when it is not a valid one.
  [[nodiscard]] virtual std::unique_ptr<URL> URLWithString(const std::string& text) = 0;

  /// Opens the URL with the application registered for its scheme; true when the system did.
  [[nodiscard]] virtual bool openURL(const URL& url) = 0;
};

}  // namespace photos
