// Makes and fills local libraries: what photos-sim does to them. Serving one needs none of this.
//
// One thread at a time. Another process may serve the library meanwhile: it sees each committed
// transaction whole, with its next request. After a failure the current transaction is rolled back.
#pragma once

#include <cstdint>
#include <expected>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "photos/platform.h"
#include "platform/local/model.h"

namespace platform::local {

using photos::Error;

class LibraryWriter {
 public:
  /// Makes an empty library in `folder`, which is there and empty. Until finish() it is not safe
  /// against a crash and nobody else may open it: build it where nobody looks, then move it.
  [[nodiscard]] static std::expected<LibraryWriter, Error> create(
      const std::filesystem::path& folder, const Settings& settings);

  /// Opens the library in `folder` for changes.
  [[nodiscard]] static std::expected<LibraryWriter, Error> open(
      const std::filesystem::path& folder);

  LibraryWriter(LibraryWriter&&) noexcept;
  LibraryWriter& operator=(LibraryWriter&&) noexcept;
  ~LibraryWriter();

  /// Ends the making of a new library: from here on it is whole on disk.
  [[nodiscard]] std::optional<Error> finish();

  /// Runs `body` in one transaction: committed when it returns no error, else rolled back and its
  /// error returned. Not nested.
  [[nodiscard]] std::optional<Error> transaction(const std::function<std::optional<Error>()>& body);

  [[nodiscard]] std::expected<Settings, Error> settings();

  /// Sets what is given and leaves the rest.
  [[nodiscard]] std::optional<Error> setAccess(std::optional<std::int64_t> authorizationStatus,
                                               std::optional<std::int64_t> promptAnswer);

  /// Adds an asset behind all others and returns its row. An identifier that is taken is an error,
  /// in a library that is being made the error of finish().
  [[nodiscard]] std::expected<std::int64_t, Error> addAsset(const NewAsset& asset);

  /// Adds a resource behind the others of the asset in that row.
  [[nodiscard]] std::optional<Error> addResource(std::int64_t asset, const NewResource& resource);

  /// The row of the first asset, Recently Deleted included, with a resource of this content.
  [[nodiscard]] std::expected<std::optional<std::int64_t>, Error> assetHolding(
      std::string_view sha256);

  /// Gives each asset in Recently Deleted, oldest first; of the resources without what only a
  /// delivery needs.
  [[nodiscard]] std::optional<Error> forEachRecentlyDeleted(
      const std::function<void(const NewAsset&)>& take);

  /// Puts an asset from Recently Deleted back into the library; false when it is not there.
  [[nodiscard]] std::expected<bool, Error> restore(std::string_view localIdentifier);

  /// Copies a file's bytes into originals/, where they are on disk when this returns. The same
  /// bytes are held once. No transaction is needed or touched. The first call waits until no other
  /// writer stores content in this library, which then waits for this one's end.
  [[nodiscard]] std::expected<Content, Error> storeFile(const std::filesystem::path& file);

  /// The same for bytes at hand.
  [[nodiscard]] std::expected<Content, Error> storeText(std::string_view bytes);

 private:
  struct State;
  explicit LibraryWriter(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

}  // namespace platform::local
