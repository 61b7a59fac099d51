#include "photos/resource_stream_sink.h"

#include <utility>

namespace photos {

std::expected<std::shared_ptr<ResourceStreamSink>, Error> ResourceStreamSink::make(
    const std::string& path, Platform& platform) {
  auto hasher = platform.makeSHA256();
  platform.createFile(path);
  auto handle = platform.fileHandleForWriting(path);
  if (!handle) {
    return std::unexpected(std::move(handle.error()));
  }
  return std::make_shared<ResourceStreamSink>(std::move(*handle), std::move(hasher));
}

ResourceStreamSink::ResourceStreamSink(std::unique_ptr<FileHandle> handle,
                                       std::unique_ptr<SHA256> hasher)
    : handle_(std::move(handle)), hasher_(std::move(hasher)) {}

void ResourceStreamSink::append(std::span<const std::byte> chunk) {
  if (writeError_) {
    return;
  }
  if (auto written = handle_->write(chunk); !written) {
    writeError_ = std::move(written.error());
    return;
  }
  hasher_->update(chunk);
  byteCount_ += static_cast<std::int64_t>(chunk.size());
}

std::expected<StreamedResource, Error> ResourceStreamSink::finish() {
  if (auto closed = handle_->close(); !closed) {
    return std::unexpected(std::move(closed.error()));
  }
  if (writeError_) {
    return std::unexpected(*writeError_);
  }
  return StreamedResource{.sha256 = hexadecimal(hasher_->finalize()), .byteCount = byteCount_};
}

}  // namespace photos
