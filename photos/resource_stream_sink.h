// The file end of an export.
#pragma once

#include <cstdint>
#include <expected>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "photos/platform.h"

namespace photos {

/// What a finished stream has written.
struct StreamedResource {
  /// The digest of all bytes, 64 lower-case hexadecimal digits.
  std::string sha256;
  std::int64_t byteCount = 0;
};

/// Writes a resource's chunks to a file, hashing and counting what was written. One file, one
/// export; not for two threads at once. The first failed write is remembered and ends all writing.
///
/// As long as no write has failed, exactly the bytes that were written have been hashed, in order.
/// Destroying an unfinished sink closes the file, which keeps what was written.
class ResourceStreamSink {
 public:
  /// Makes the file at `path`, or empties the one there, and opens it. After a failure to open it
  /// the file, if there is one, stays.
  [[nodiscard]] static std::expected<std::shared_ptr<ResourceStreamSink>, Error> make(
      const std::string& path, Platform& platform);

  ResourceStreamSink(std::unique_ptr<FileHandle> handle, std::unique_ptr<SHA256> hasher);

  /// Writes one chunk, unless a write has failed before.
  void append(std::span<const std::byte> chunk);

  /// Closes the file; called at most once, and last. A failure to close is reported rather than an
  /// earlier failure to write.
  [[nodiscard]] std::expected<StreamedResource, Error> finish();

 private:
  std::unique_ptr<FileHandle> handle_;
  std::unique_ptr<SHA256> hasher_;
  std::int64_t byteCount_ = 0;
  std::optional<Error> writeError_;
};

}  // namespace photos
