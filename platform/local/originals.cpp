#include "platform/local/originals.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <vector>

#include "platform/local/sha256.h"
#include "platform/posix/descriptor.h"
#include "platform/posix/file_handle.h"

namespace platform::local {
namespace {

using photos::Error;
using posix::fileError;

constexpr std::string_view incompletePrefix = ".incomplete-";

/// A new file in `folder` for content that is on its way.
class IncompleteFile {
 public:
  explicit IncompleteFile(const std::filesystem::path& folder)
      : path_(folder / (std::string(incompletePrefix) + "XXXXXX")),
        descriptor_(mkstemp(path_.data())) {}
  IncompleteFile(const IncompleteFile&) = delete;
  IncompleteFile& operator=(const IncompleteFile&) = delete;
  ~IncompleteFile() {
    if (descriptor_.isOpen()) {
      unlink(path_.c_str());
    }
  }

  [[nodiscard]] bool isOpen() const { return descriptor_.isOpen(); }
  [[nodiscard]] int descriptor() const { return descriptor_.get(); }
  [[nodiscard]] const std::string& path() const { return path_; }

  /// Moves the file, with all that was written safe on disk, to its place.
  std::optional<Error> moveTo(const std::filesystem::path& place) {
    if (fsync(descriptor_.get()) != 0) {
      return fileError(path_, "written", errno);
    }
    if (rename(path_.c_str(), place.c_str()) != 0) {
      return fileError(place.string(), "put in its place", errno);
    }
    descriptor_ = posix::Descriptor();
    posix::syncFolder(place.parent_path().string());
    return std::nullopt;
  }

 private:
  std::string path_;
  posix::Descriptor descriptor_;
};

}  // namespace

std::filesystem::path originalsFolder(const std::filesystem::path& library) {
  return library / "originals";
}

std::filesystem::path originalFile(const std::filesystem::path& library, std::string_view sha256) {
  return originalsFolder(library) / sha256.substr(0, 2) / sha256;
}

std::expected<OriginalsLock, Error> OriginalsLock::acquire(const std::filesystem::path& library) {
  const std::filesystem::path path = originalsFolder(library);
  posix::Descriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  int locked = -1;
  while (folder.isOpen() && (locked = flock(folder.get(), LOCK_EX)) != 0 && errno == EINTR) {
  }
  if (locked != 0) {
    return std::unexpected(fileError(path.string(), "locked", errno));
  }
  std::error_code error;
  for (std::filesystem::directory_iterator entry(path, error), end; !error && entry != end;
       entry.increment(error)) {
    if (entry->path().filename().string().starts_with(incompletePrefix)) {
      unlink(entry->path().c_str());
    }
  }
  return OriginalsLock(std::move(folder));
}

std::expected<Content, Error> storeOriginal(const std::filesystem::path& library,
                                            const ContentSource& source) {
  IncompleteFile file(originalsFolder(library));
  if (!file.isOpen()) {
    return std::unexpected(fileError(file.path(), "made", errno));
  }
  Content content;
  const auto hasher = makeSHA256();
  auto error = source([&](std::span<const std::byte> bytes) -> std::optional<Error> {
    if (const int failure = posix::writeAll(file.descriptor(), bytes); failure != 0) {
      return fileError(file.path(), "written", failure);
    }
    hasher->update(bytes);
    content.size += static_cast<std::int64_t>(bytes.size());
    return std::nullopt;
  });
  if (error) {
    return std::unexpected(std::move(*error));
  }
  content.sha256 = photos::hexadecimal(hasher->finalize());
  const std::filesystem::path place = originalFile(library, *content.sha256);
  std::error_code failure;
  if (std::filesystem::file_size(place, failure) == static_cast<std::uintmax_t>(content.size)) {
    return content;
  }
  if (std::filesystem::create_directory(place.parent_path(), failure)) {
    posix::syncFolder(originalsFolder(library).string());
  }
  if (failure) {
    return std::unexpected(fileError(place.parent_path().string(), "made", failure.value()));
  }
  if (auto moving = file.moveTo(place)) {
    return std::unexpected(std::move(*moving));
  }
  return content;
}

ContentSource bytesOfFile(const std::filesystem::path& file) {
  return [file](const auto& take) -> std::optional<Error> {
    constexpr std::size_t pieceSize = 262144;
    const posix::Descriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!descriptor.isOpen()) {
      return fileError(file.string(), "opened", errno);
    }
    std::vector<std::byte> piece(pieceSize);
    for (;;) {
      const ssize_t count = ::read(descriptor.get(), piece.data(), piece.size());
      if (count == 0) {
        return std::nullopt;
      }
      if (count > 0) {
        if (auto error = take(std::span(piece).first(static_cast<std::size_t>(count)))) {
          return error;
        }
      } else if (errno != EINTR) {
        return fileError(file.string(), "read", errno);
      }
    }
  };
}

}  // namespace platform::local
