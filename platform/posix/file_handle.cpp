#include "platform/posix/file_handle.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "platform/posix/descriptor.h"

namespace platform::posix {
namespace {

class PosixFileHandle : public photos::FileHandle {
 public:
  PosixFileHandle(Descriptor descriptor, std::string path)
      : descriptor_(std::move(descriptor)), path_(std::move(path)) {}

  [[nodiscard]] std::optional<photos::Error> write(std::span<const std::byte> bytes) override {
    if (const int error = writeAll(descriptor_.get(), bytes); error != 0) {
      return fileError(path_, "written", error);
    }
    return std::nullopt;
  }

  [[nodiscard]] std::optional<photos::Error> close() override {
    // An interrupted close has closed: the descriptor is gone either way.
    if (::close(descriptor_.release()) != 0 && errno != EINTR) {
      return fileError(path_, "closed", errno);
    }
    return std::nullopt;
  }

 private:
  Descriptor descriptor_;
  std::string path_;
};

/// A descriptor for writing; one that is not open leaves errno.
Descriptor openForWriting(const std::string& path, int flags) {
  if (path.find('\0') != std::string::npos) {
    errno = EINVAL;
    return {};
  }
  // Without O_NONBLOCK opening a pipe would wait for its reader, for ever perhaps. Files and disks
  // are written the same with it; it is taken off again for the pipe's sake.
  constexpr mode_t permissions = 0666;
  Descriptor descriptor(
      ::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | flags, permissions));
  if (descriptor.isOpen()) {
    ::fcntl(descriptor.get(), F_SETFL, ::fcntl(descriptor.get(), F_GETFL) & ~O_NONBLOCK);
  }
  return descriptor;
}

}  // namespace

void createFile(const std::string& path) {
  // Only a file is emptied: opening a pipe here and closing it would be its end for a reader.
  struct stat status{};
  if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
    return;
  }
  const Descriptor created = openForWriting(path, O_CREAT | O_TRUNC);
}

std::expected<std::unique_ptr<photos::FileHandle>, photos::Error> fileHandleForWriting(
    const std::string& path) {
  Descriptor descriptor = openForWriting(path, 0);
  if (!descriptor.isOpen()) {
    return std::unexpected(fileError(path, "opened for writing", errno));
  }
  return std::make_unique<PosixFileHandle>(std::move(descriptor), path);
}

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
