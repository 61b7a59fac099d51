// An owned file descriptor.
#pragma once

#include <unistd.h>

#include <utility>

namespace platform::posix {

/// Closes its descriptor at its end, ignoring failures.
class Descriptor {
 public:
  Descriptor() = default;
  /// Takes over what an open() gave: -1 owns nothing.
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  Descriptor(Descriptor&& other) noexcept : descriptor_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~Descriptor() {
    if (isOpen()) {
      ::close(descriptor_);
    }
  }

  [[nodiscard]] bool isOpen() const { return descriptor_ >= 0; }
  [[nodiscard]] int get() const { return descriptor_; }

  /// Gives the descriptor away: the caller closes it.
  [[nodiscard]] int release() { return std::exchange(descriptor_, -1); }

 private:
  int descriptor_ = -1;
};

}  // namespace platform::posix
