#include "platform/posix/files.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <vector>

namespace platform::posix {

int writeAll(int descriptor, std::span<const std::byte> bytes) {
  // macOS refuses to write 2 GiB or more at a time.
  constexpr std::size_t mostAtATime = std::size_t{1} << 30;
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), std::min(bytes.size(), mostAtATime));
    if (written >= 0) {
      bytes = bytes.subspan(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

Descriptor makeFile(const std::string& path) {
  constexpr mode_t permissions = 0666;
  return Descriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, permissions));
}

std::expected<void, photos::Error> readFile(
    const std::string& path, const std::function<bool(std::span<const std::byte>)>& take) {
  constexpr std::size_t pieceSize = 262144;
  // O_NONBLOCK: a pipe's writer must not be waited for, only what a writer that is there writes.
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file.isOpen() || fcntl(file.get(), F_SETFL, 0) != 0) {
    return std::unexpected(fileError(path, "opened", errno));
  }
  std::vector<std::byte> piece(pieceSize);
  for (;;) {
    const ssize_t count = ::read(file.get(), piece.data(), piece.size());
    if (count == 0) {
      return {};
    }
    if (count > 0) {
      if (!take(std::span(piece).first(static_cast<std::size_t>(count)))) {
        return {};
      }
    } else if (errno != EINTR) {
      return std::unexpected(fileError(path, "read", errno));
    }
  }
}

void syncFolder(const std::string& path) {
  const Descriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.isOpen()) {
    ::fsync(folder.get());
  }
}

photos::Error fileError(const std::string& path, const char* what, int error) {
  return {"The file “" + path + "” could not be " + what + ": " +
          std::generic_category().message(error)};
}

}  // namespace platform::posix
