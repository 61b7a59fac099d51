// The files that a library keeps its content in.
#pragma once

#include <expected>
#include <filesystem>
#include <functional>
#include <span>
#include <string_view>
#include <utility>

#include "photos/platform.h"
#include "platform/local/model.h"
#include "platform/posix/descriptor.h"

namespace platform::local {

/// The folder of all content of the library in `folder`.
[[nodiscard]] std::filesystem::path originalsFolder(const std::filesystem::path& library);

/// The file that holds content of that digest.
[[nodiscard]] std::filesystem::path originalFile(const std::filesystem::path& library,
                                                 std::string_view sha256);

/// Gives pieces of content, in order, to where it is told; an error ends it.
using ContentSource = std::function<std::optional<photos::Error>(
    const std::function<std::optional<photos::Error>(std::span<const std::byte>)>&)>;

/// The right to store content in a library, which one process has at a time, for as long as the
/// object lives.
class OriginalsLock {
 public:
  /// Waits until no other process has the right, then removes what interrupted ones have left.
  [[nodiscard]] static std::expected<OriginalsLock, photos::Error> acquire(
      const std::filesystem::path& library);

 private:
  explicit OriginalsLock(posix::Descriptor folder) : folder_(std::move(folder)) {}

  posix::Descriptor folder_;
};

/// Keeps content in the library, under an OriginalsLock: written beside its place, then moved there
/// whole, unless it is held already. When this returns, the bytes are on disk. A failure leaves
/// nothing behind; a crash, at most a file whose name begins with ".incomplete-".
[[nodiscard]] std::expected<Content, photos::Error> storeOriginal(
    const std::filesystem::path& library, const ContentSource& source);

/// Gives a file's bytes.
[[nodiscard]] ContentSource bytesOfFile(const std::filesystem::path& file);

}  // namespace platform::local
