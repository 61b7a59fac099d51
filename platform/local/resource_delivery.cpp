#include "platform/local/resource_delivery.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <system_error>
#include <vector>

#include "platform/local/originals.h"
#include "platform/posix/descriptor.h"

namespace platform::local {
namespace {

using photos::Error;

/// Larger writes take larger pieces of memory for the copy, which cost a virtual machine more.
constexpr std::int64_t chunkSize = 131072;

Error originalError(const NewResource& resource, const std::string& what) {
  return {"The original “" + resource.originalFilename + "” " + what};
}

Error readError(const NewResource& resource, int error) {
  return originalError(resource, "could not be read: " + std::generic_category().message(error));
}

/// The bytes of one resource, in order: a file's, or zeros.
class Original {
 public:
  explicit Original(const NewResource& resource) : resource_(resource) {}

  /// Opens the file; an error when it is not what the library recorded.
  std::optional<Error> open(const std::filesystem::path& library) {
    if (!resource_.content.sha256) {
      return std::nullopt;
    }
    const std::filesystem::path file = originalFile(library, *resource_.content.sha256);
    file_ = posix::Descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status{};
    if (!file_.isOpen() || fstat(file_.get(), &status) != 0) {
      return errno == ENOENT ? originalError(resource_, "is missing from the library")
                             : readError(resource_, errno);
    }
    if (status.st_size != resource_.content.size) {
      return originalError(resource_, status.st_size < resource_.content.size
                                          ? "is shorter than the library recorded"
                                          : "is longer than the library recorded");
    }
    return std::nullopt;
  }

  /// Fills `buffer` with the next bytes. Without a file it stays as it is: zeros.
  std::optional<Error> read(std::span<std::byte> buffer) {
    while (file_.isOpen() && !buffer.empty()) {
      const ssize_t count = ::read(file_.get(), buffer.data(), buffer.size());
      if (count > 0) {
        buffer = buffer.subspan(static_cast<std::size_t>(count));
      } else if (count == 0) {
        return originalError(resource_, "is shorter than the library recorded");
      } else if (errno != EINTR) {
        return readError(resource_, errno);
      }
    }
    return std::nullopt;
  }

 private:
  const NewResource& resource_;
  posix::Descriptor file_;
};

}  // namespace

std::optional<Error> deliver(const NewResource& resource, const std::filesystem::path& library,
                             bool isCloudReachable,
                             const photos::Platform::DataReceivedHandler& dataReceived) {
  if (resource.cloud && !isCloudReachable) {
    return originalError(resource, "is held in the cloud, which could not be reached");
  }
  Original original(resource);
  if (auto error = original.open(library)) {
    return error;
  }
  const std::int64_t end = resource.failure
                               ? std::min(resource.failure->afterBytes, resource.content.size)
                               : resource.content.size;
  if (std::ranges::any_of(resource.chunks, [](std::int64_t length) {
        return length < 0 || length > longestChunk;
      })) {
    return originalError(resource, "is described with a chunk of an impossible length");
  }
  std::vector<std::byte> buffer(static_cast<std::size_t>(std::min(end, chunkSize)));
  auto described = resource.chunks.begin();
  for (std::int64_t delivered = 0;;) {
    const bool isDescribed = described != resource.chunks.end();
    // At the end, only empty chunks that are described come still.
    if (delivered == end && (!isDescribed || *described != 0)) {
      break;
    }
    const std::int64_t length = std::min(isDescribed ? *described++ : chunkSize, end - delivered);
    buffer.resize(std::max(buffer.size(), static_cast<std::size_t>(length)));
    const std::span chunk = std::span(buffer).first(static_cast<std::size_t>(length));
    if (auto error = original.read(chunk)) {
      return error;
    }
    dataReceived(chunk);
    delivered += length;
  }
  return resource.failure ? std::optional(Error{resource.failure->error}) : std::nullopt;
}

}  // namespace platform::local
