// Owns a reference to an Objective-C object, by hand-written retain and release.
#pragma once

#include <utility>

namespace platform::photokit {

/// Holds one reference to an object, or nil. May be released on another thread than it was made on.
template <class T>
class Retained {
 public:
  Retained() = default;

  /// Retains the object, which somebody else owns.
  explicit Retained(T* object) : object_([object retain]) {}

  /// Takes over a reference that the caller owns, as alloc, new and copy give it.
  [[nodiscard]] static Retained adopt(T* object) {
    Retained adopted;
    adopted.object_ = object;
    return adopted;
  }

  Retained(Retained&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Retained& operator=(Retained other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Retained() {
    if (object_ != nullptr) {
      // The last release may autorelease what the object held, on a thread without a pool.
      @autoreleasepool {
        [object_ release];
      }
    }
  }

  [[nodiscard]] T* get() const { return object_; }
  [[nodiscard]] explicit operator bool() const { return object_ != nullptr; }

 private:
  T* object_ = nullptr;
};

}  // namespace platform::photokit
