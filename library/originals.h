// The files that a library keeps its content in.
#pragma once

#include <cstddef>
#include <expected>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "library/database.h"
#include "library/model.h"
#include "platform/posix/descriptor.h"

namespace library {

/// The folder of all content of a library, which is given by its own folder.
[[nodiscard]] std::filesystem::path originalsFolder(const std::filesystem::path& library);

/// The file that holds the content of that digest. Nothing for a text that is no digest: a damaged
/// or edited database may hold any text, a path that leads elsewhere for instance.
[[nodiscard]] std::optional<std::filesystem::path> originalFile(
    const std::filesystem::path& library, std::string_view sha256);

/// Content on its way into a library, in a file whose name begins with ".incomplete-". keep() moves
/// it to its place; otherwise the destructor removes it. A crash leaves it.
class NewOriginal {
 public:
  NewOriginal(NewOriginal&& other) noexcept;
  NewOriginal& operator=(NewOriginal&&) = delete;
  ~NewOriginal();

  [[nodiscard]] Result append(std::span<const std::byte> bytes);

  /// Moves the content to its place, where the same bytes or a damaged file may be: that is
  /// replaced. The content is on disk when this returns. Called at most once, and last.
  [[nodiscard]] std::expected<Content, Error> keep();

 private:
  friend class Originals;
  NewOriginal(std::filesystem::path library, std::string path,
              platform::posix::Descriptor descriptor);

  std::filesystem::path library_;
  std::string path_;
  platform::posix::Descriptor descriptor_;
  std::unique_ptr<photos::SHA256> hasher_;
  std::int64_t size_ = 0;
};

/// Why a file's content could not be stored.
struct StoreFailure : Error {
  /// Whether the file could not be read; otherwise the library could not take it.
  bool isUnreadable = false;
};

/// The right to store content in a library, which one process has at a time, for as long as the
/// object lives.
class Originals {
 public:
  /// Waits until no other process has the right, then removes what interrupted ones have left.
  [[nodiscard]] static std::expected<Originals, Error> lock(const std::filesystem::path& library);

  [[nodiscard]] std::expected<NewOriginal, Error> begin() const;

  /// Stores a text, and a file's content.
  [[nodiscard]] std::expected<Content, Error> store(std::string_view text) const;
  [[nodiscard]] std::expected<Content, StoreFailure> storeFile(
      const std::filesystem::path& file) const;

 private:
  Originals(std::filesystem::path library, platform::posix::Descriptor folder)
      : library_(std::move(library)), folder_(std::move(folder)) {}

  std::filesystem::path library_;
  platform::posix::Descriptor folder_;
};

}  // namespace library
