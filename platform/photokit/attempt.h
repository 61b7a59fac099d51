// Calls into the frameworks: no exception of theirs and no temporary object of theirs gets out.
#pragma once

#import <Foundation/Foundation.h>

#include <type_traits>

namespace platform::photokit {

/// What `work` gives, or `otherwise` when a framework raises an exception meanwhile. Runs in an
/// autorelease pool of its own, since worker threads have none that is ever drained: what is to
/// outlive the call must be a value, or be retained.
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
