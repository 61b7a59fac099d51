#include "platform/local/resource_delivery.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "library/originals.h"
#include "platform/local/faults.h"
#include "platform/posix/descriptor.h"

namespace platform::local {
namespace {

using library::Resource;
using Failure = library::DeliveryFailure::Kind;
using photos::Error;

/// Larger chunks were slower on virtual machines, which get their memory piece by piece.
constexpr std::int64_t chunkSize = 131072;

/// The kernel copies a good deal faster into and out of a buffer that begins where a page does.
struct alignas(4096) Page {
  std::array<std::byte, 4096> bytes;
};

std::size_t pagesOf(std::int64_t length) {
  return (static_cast<std::size_t>(length) + sizeof(Page) - 1) / sizeof(Page);
}

Error originalError(const Resource& resource, const std::string& what) {
  return {"The original “" + resource.originalFilename + "” " + what};
}

Error readError(const Resource& resource, int error) {
  return originalError(resource, "could not be read: " + std::generic_category().message(error));
}

/// Whether the row holds numbers that our programs could have written.
bool makesSense(const Resource& resource) {
  const auto& failure = resource.failure;
  return resource.content.size >= 0 && resource.delay >= 0 &&
         resource.delay <= library::longestDelay && resource.bytesPerSecond.value_or(1) > 0 &&
         (!failure || (failure->afterBytes >= 0 && failure->kind >= Failure::error &&
                       failure->kind <= Failure::crash)) &&
         std::ranges::all_of(resource.chunks, [](std::int64_t length) {
           return length >= 0 && length <= library::longestChunk;
         });
}

/// How many bytes a chunk of the library's own choice has: no more than come in a tenth of a
/// second.
std::int64_t ownChunkSize(const Resource& resource) {
  const auto& pace = resource.bytesPerSecond;
  return pace ? std::clamp<std::int64_t>(*pace / 10, 1, chunkSize) : chunkSize;
}

/// Waits until the last of that many bytes has come, at the pace that the resource has.
void awaitBytes(const Resource& resource, std::int64_t count,
                std::chrono::steady_clock::time_point begin) {
  if (resource.bytesPerSecond) {
    const auto pace = static_cast<double>(*resource.bytesPerSecond);
    std::this_thread::sleep_until(begin +
                                  std::chrono::duration<double>(static_cast<double>(count) / pace));
  }
}

/// What a delivery ends with that was described to fail, if it ends at all.
std::optional<Error> endOf(const library::DeliveryFailure& failure) {
  if (failure.kind == Failure::stall) {
    stall();
  }
  if (failure.kind == Failure::crash) {
    crash();
  }
  return Error{failure.error};
}

/// The bytes of one resource, in order: a file's, or zeros.
class Original {
 public:
  explicit Original(const Resource& resource) : resource_(resource) {}

  /// Opens the file; an error when it is not what the library recorded.
  std::optional<Error> open(const std::filesystem::path& folder) {
    if (!resource_.content.sha256) {
      return std::nullopt;
    }
    const auto path = library::originalFile(folder, *resource_.content.sha256);
    if (!path) {
      return originalError(resource_, "has a digest that is none");
    }
    // O_NONBLOCK: a pipe in the file's place must not be waited for.
    file_ = posix::Descriptor(::open(path->c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status{};
    if (!file_.isOpen() || fstat(file_.get(), &status) != 0) {
      return errno == ENOENT ? originalError(resource_, "is missing from the library")
                             : readError(resource_, errno);
    }
    if (!S_ISREG(status.st_mode)) {
      return originalError(resource_, "is no file in the library");
    }
    if (status.st_size != resource_.content.size) {
      return originalError(resource_, status.st_size < resource_.content.size
                                          ? "is shorter than the library recorded"
                                          : "is longer than the library recorded");
    }
    return std::nullopt;
  }

  /// Fills `buffer` with the next bytes. Without a file the buffer keeps its zeros.
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
  const Resource& resource_;
  posix::Descriptor file_;
};

}  // namespace

std::optional<Error> deliver(const Resource& resource, const std::filesystem::path& folder,
                             bool isCloudReachable,
                             const photos::Platform::DataReceivedHandler& dataReceived) {
  if (!makesSense(resource)) {
    return originalError(resource, "is recorded with a number that makes no sense");
  }
  if (resource.cloud && !isCloudReachable) {
    return originalError(resource, "is held in the cloud, which could not be reached");
  }
  Original original(resource);
  if (auto error = original.open(folder)) {
    return error;
  }
  const std::int64_t end = resource.failure
                               ? std::min(resource.failure->afterBytes, resource.content.size)
                               : resource.content.size;
  wait(resource.delay);
  const auto begin = std::chrono::steady_clock::now();
  const std::int64_t ownSize = ownChunkSize(resource);
  std::vector<Page> buffer(pagesOf(std::min(end, ownSize)));
  auto described = resource.chunks.begin();
  for (std::int64_t delivered = 0;;) {
    const bool isDescribed = described != resource.chunks.end();
    // At the end only described empty chunks are left to deliver.
    if (delivered == end && (!isDescribed || *described != 0)) {
      break;
    }
    const std::int64_t length = std::min(isDescribed ? *described++ : ownSize, end - delivered);
    buffer.resize(std::max(buffer.size(), pagesOf(length)));
    const std::span chunk =
        std::as_writable_bytes(std::span(buffer)).first(static_cast<std::size_t>(length));
    if (auto error = original.read(chunk)) {
      return error;
    }
    delivered += length;
    awaitBytes(resource, delivered, begin);
    dataReceived(chunk);
  }
  return resource.failure ? endOf(*resource.failure) : std::nullopt;
}

}  // namespace platform::local
