#include "library/originals.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "platform/posix/files.h"
#include "platform/posix/sha256.h"

namespace library {
namespace {

namespace fs = std::filesystem;
using platform::posix::Descriptor;
using platform::posix::fileError;

constexpr std::string_view incompletePrefix = ".incomplete-";

std::unexpected<Error> failed(const std::string& path, const char* what) {
  return std::unexpected(fileError(path, what, errno));
}

}  // namespace

fs::path originalsFolder(const fs::path& library) { return library / "originals"; }

std::optional<fs::path> originalFile(const fs::path& library, std::string_view sha256) {
  constexpr std::string_view digits = "0123456789abcdef";
  constexpr std::size_t digestSize = 64;
  if (sha256.size() != digestSize || sha256.find_first_not_of(digits) != std::string_view::npos) {
    return std::nullopt;
  }
  return originalsFolder(library) / sha256.substr(0, 2) / sha256;
}

NewOriginal::NewOriginal(fs::path library, std::string path, Descriptor descriptor)
    : library_(std::move(library)),
      path_(std::move(path)),
      descriptor_(std::move(descriptor)),
      hasher_(platform::posix::makeSHA256()) {}

NewOriginal::NewOriginal(NewOriginal&& other) noexcept = default;

NewOriginal::~NewOriginal() {
  if (descriptor_.isOpen()) {
    unlink(path_.c_str());
  }
}

Result NewOriginal::append(std::span<const std::byte> bytes) {
  if (const int error = platform::posix::writeAll(descriptor_.get(), bytes); error != 0) {
    return std::unexpected(fileError(path_, "written", error));
  }
  hasher_->update(bytes);
  size_ += static_cast<std::int64_t>(bytes.size());
  return {};
}

std::expected<Content, Error> NewOriginal::keep() {
  Content content{.size = size_, .sha256 = photos::hexadecimal(hasher_->finalize())};
  const fs::path place = originalFile(library_, *content.sha256).value();
  std::error_code error;
  if (fs::create_directory(place.parent_path(), error)) {
    platform::posix::syncFolder(originalsFolder(library_).string());
  }
  if (error) {
    return std::unexpected(fileError(place.parent_path().string(), "made", error.value()));
  }
  if (fsync(descriptor_.get()) != 0) {
    return failed(path_, "written");
  }
  if (rename(path_.c_str(), place.c_str()) != 0) {
    return failed(place.string(), "put in its place");
  }
  descriptor_ = Descriptor();
  platform::posix::syncFolder(place.parent_path().string());
  return content;
}

std::expected<Originals, Error> Originals::lock(const fs::path& library) {
  const fs::path path = originalsFolder(library);
  Descriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  int locked = -1;
  while (folder.isOpen() && (locked = flock(folder.get(), LOCK_EX)) != 0 && errno == EINTR) {
  }
  if (locked != 0) {
    return failed(path.string(), "locked");
  }
  std::error_code error;
  for (fs::directory_iterator entry(path, error), end; !error && entry != end;
       entry.increment(error)) {
    if (entry->path().filename().string().starts_with(incompletePrefix)) {
      unlink(entry->path().c_str());
    }
  }
  return Originals(library, std::move(folder));
}

std::expected<NewOriginal, Error> Originals::begin() const {
  const std::string start = originalsFolder(library_) / incompletePrefix;
  // Only this process makes such files now: the first free number is soon found.
  for (int number = 0;; ++number) {
    std::string path = start + std::to_string(number);
    Descriptor file = platform::posix::makeFile(path);
    if (file.isOpen()) {
      return NewOriginal(library_, std::move(path), std::move(file));
    }
    if (errno != EEXIST) {
      return failed(path, "made");
    }
  }
}

std::expected<Content, Error> Originals::store(std::string_view text) const {
  auto original = begin();
  if (!original) {
    return std::unexpected(std::move(original.error()));
  }
  if (Result written = original->append(std::as_bytes(std::span(text))); !written) {
    return std::unexpected(std::move(written.error()));
  }
  return original->keep();
}

std::expected<Content, StoreFailure> Originals::storeFile(const fs::path& file) const {
  const auto storeFailed = [](Error& error) {
    return std::unexpected(StoreFailure{std::move(error)});
  };
  auto original = begin();
  if (!original) {
    return storeFailed(original.error());
  }
  Result written;
  Result read = platform::posix::readFile(file.string(), [&](std::span<const std::byte> bytes) {
    written = original->append(bytes);
    return written.has_value();
  });
  if (!written) {
    return storeFailed(written.error());
  }
  if (!read) {
    return std::unexpected(StoreFailure{std::move(read.error()), /*isUnreadable=*/true});
  }
  auto content = original->keep();
  if (!content) {
    return storeFailed(content.error());
  }
  return std::move(*content);
}

}  // namespace library
