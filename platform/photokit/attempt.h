// Calls into the frameworks that let out neither their exceptions nor their autoreleased objects.
#pragma once

#import <Foundation/Foundation.h>

#include <type_traits>

namespace platform::photokit {

/// What `work` gives, or `otherwise` when a framework raises an exception. Runs in an autorelease
/// pool of its own, since worker threads drain none: what outlives the call must be a value, or be
/// retained.
template <class Result, class Work>
[[nodiscard]] Result attempt(Result otherwise, Work&& work) {
  static_assert(!std::is_pointer_v<Result>, "the pool would take the object away");
  @autoreleasepool {
    @try {
      return work();
    } @catch (NSException*) {
      return otherwise;
    }
  }
}

}  // namespace platform::photokit
