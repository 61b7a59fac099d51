#include "platform/posix/overlapped_sha256.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstddef>
#include <cstring>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>

namespace platform::posix {
namespace {

constexpr std::size_t bytesBeforeThread = std::size_t{1} << 20;
constexpr std::size_t ringSize = std::size_t{1} << 20;
/// What the thread waits for and digests at a time: one half, while the other is being filled. Less
/// would wake the two sides more often, which costs more than it gains.
constexpr std::size_t pieceSize = ringSize / 2;

/// Chunks often begin where a page does, and are copied fastest to where one does too.
struct alignas(4096) Ring {
  std::array<std::byte, ringSize> bytes;
};

class OverlappedSHA256 : public photos::SHA256 {
 public:
  explicit OverlappedSHA256(std::unique_ptr<photos::SHA256> hasher) : hasher_(std::move(hasher)) {}

  ~OverlappedSHA256() override { endThread(); }

  void update(std::span<const std::byte> bytes) override {
    if (!thread_.joinable() && !startThreadIfLarge(bytes.size())) {
      hasher_->update(bytes);
      return;
    }
    while (!bytes.empty()) {
      bytes = bytes.subspan(add(bytes));
    }
  }

  [[nodiscard]] photos::SHA256Digest finalize() override {
    endThread();
    return hasher_->finalize();
  }

 private:
  /// Tries once, when enough bytes came before. Whether the thread runs.
  bool startThreadIfLarge(std::size_t size) {
    if (wasTried_ || bytesBefore_ < bytesBeforeThread) {
      bytesBefore_ += size;
      return false;
    }
    wasTried_ = true;
    try {
      ring_ = std::make_unique_for_overwrite<Ring>();
      thread_ = std::thread([this] { digest(); });
    } catch (const std::exception&) {  // std::bad_alloc, or std::system_error of the thread
      ring_.reset();
    }
    return thread_.joinable();
  }

  /// Copies as many of the bytes as there is room for, at least one; how many.
  std::size_t add(std::span<const std::byte> bytes) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return added_ - digested_ < ringSize; });
    const std::size_t room = ringSize - (added_ - digested_);
    lock.unlock();
    const std::size_t at = added_ % ringSize;
    const std::size_t count = std::min({bytes.size(), room, ringSize - at});
    std::memcpy(ring_->bytes.data() + at, bytes.data(), count);
    lock.lock();
    added_ += count;
    const bool hasPiece = added_ - digested_ >= pieceSize;
    lock.unlock();
    if (hasPiece) {
      changed_.notify_one();
    }
    return count;
  }

  /// The thread's work: piece by piece, and at the end what is left.
  void digest() {
    std::unique_lock lock(mutex_);
    for (;;) {
      changed_.wait(lock, [this] { return hasEnded_ || added_ - digested_ >= pieceSize; });
      const std::size_t count = std::min(added_ - digested_, pieceSize);
      if (count == 0) {
        return;
      }
      lock.unlock();
      hasher_->update({ring_->bytes.data() + digested_ % ringSize, count});
      lock.lock();
      digested_ += count;
      changed_.notify_one();
    }
  }

  /// Waits until all bytes are digested.
  void endThread() {
    if (thread_.joinable()) {
      {
        const std::lock_guard lock(mutex_);
        hasEnded_ = true;
      }
      changed_.notify_one();
      thread_.join();
    }
  }

  const std::unique_ptr<photos::SHA256> hasher_;  // the thread's own while that runs
  std::size_t bytesBefore_ = 0;
  bool wasTried_ = false;
  std::unique_ptr<Ring> ring_;
  std::thread thread_;

  // Guards what follows. One condition is enough: the ring is never full and empty at once, so that
  // only one side waits.
  std::mutex mutex_;
  std::condition_variable changed_;
  std::size_t added_ = 0;
  std::size_t digested_ = 0;
  bool hasEnded_ = false;
};

}  // namespace

std::unique_ptr<photos::SHA256> overlapped(std::unique_ptr<photos::SHA256> hasher) {
  return std::make_unique<OverlappedSHA256>(std::move(hasher));
}

}  // namespace platform::posix
