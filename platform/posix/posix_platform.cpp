#include "platform/posix/posix_platform.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/posix/descriptor.h"
#include "platform/posix/files.h"
#include "platform/posix/overlapped_sha256.h"
#include "platform/posix/sha256.h"

namespace platform::posix {
namespace {

using photos::Error;

class PosixFileHandle : public photos::FileHandle {
 public:
  PosixFileHandle(Descriptor descriptor, std::string path)
      : descriptor_(std::move(descriptor)), path_(std::move(path)) {}

  [[nodiscard]] std::expected<void, Error> write(std::span<const std::byte> bytes) override {
    if (const int error = writeAll(descriptor_.get(), bytes); error != 0) {
      return std::unexpected(fileError(path_, "written", error));
    }
    return {};
  }

  [[nodiscard]] std::expected<void, Error> close() override {
    // After EINTR the descriptor is closed all the same.
    if (::close(descriptor_.release()) != 0 && errno != EINTR) {
      return std::unexpected(fileError(path_, "closed", errno));
    }
    return {};
  }

 private:
  Descriptor descriptor_;
  std::string path_;
};

/// A descriptor for writing. When it is not open, errno tells why.
Descriptor openForWriting(const std::string& path, int flags) {
  if (path.find('\0') != std::string::npos) {
    errno = EINVAL;
    return {};
  }
  // Without O_NONBLOCK opening a pipe would wait for its reader, for ever perhaps. Files and disks
  // are written the same with it; it is taken off again for the pipe's sake. No other flag is: on
  // macOS "/dev/fd/2" shares them with the host.
  constexpr mode_t permissions = 0666;
  Descriptor descriptor(
      ::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | flags, permissions));
  if (descriptor.isOpen()) {
    ::fcntl(descriptor.get(), F_SETFL, ::fcntl(descriptor.get(), F_GETFL) & ~O_NONBLOCK);
  }
  return descriptor;
}

}  // namespace

void PosixPlatform::createFile(const std::string& path) {
  // Only a file is emptied: opening a pipe here and closing it would be its end for a reader.
  struct stat status{};
  if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
    return;
  }
  const Descriptor created = openForWriting(path, O_CREAT | O_TRUNC);
}

std::expected<std::unique_ptr<photos::FileHandle>, Error> PosixPlatform::fileHandleForWriting(
    const std::string& path) {
  Descriptor descriptor = openForWriting(path, 0);
  if (!descriptor.isOpen()) {
    return std::unexpected(fileError(path, "opened for writing", errno));
  }
  return std::make_unique<PosixFileHandle>(std::move(descriptor), path);
}

std::unique_ptr<photos::SHA256> PosixPlatform::makeSHA256() {
  return overlapped(posix::makeSHA256());
}

}  // namespace platform::posix
