#include "tests/photokit/stand_in.h"

#include <dispatch/dispatch.h>
#include <unistd.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <utility>

/// What the runtime and Foundation keep for ever; objects that are leaked are counted instead.
extern "C" const char* __lsan_default_suppressions();  // NOLINT(bugprone-reserved-identifier)
const char* __lsan_default_suppressions() { return "leak:libobjc\nleak:libgnustep-base\n"; }

/// Runs its work in order, on a thread of its own that has no autorelease pool. Lives for ever: a
/// thread that ends leaves objects of Foundation's for later.
struct StandInQueue {
  StandInQueue() {
    std::thread([this] {
      for (;;) {
        next()();
      }
    }).detach();
  }

  /// From any thread.
  void async(std::function<void()> work) {
    const std::lock_guard lock(mutex_);
    work_.push_back(std::move(work));
    arrived_.notify_one();
  }

 private:
  std::function<void()> next() {
    std::unique_lock lock(mutex_);
    arrived_.wait(lock, [this] { return !work_.empty(); });
    std::function<void()> work = std::move(work_.front());
    work_.pop_front();
    return work;
  }

  std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<std::function<void()>> work_;
};

namespace stand_in {
namespace {

struct World {
  Library library = smallLibrary();
  std::mutex mutex;
  std::string calls;
  std::function<void()> late;
};

World& world() {
  static auto* const only = new World;
  return *only;
}

}  // namespace

Library smallLibrary() {
  using enum photos::AssetResourceType;
  Library library;
  library.userLibraryAlbum = "ALBUM/L0/040";
  library.assets = {{"V/L0/001", 7, photos::AssetMediaType::video},
                    {"undated"},
                    {.localIdentifier = "A/L0/001",
                     .creationDate = 5.5,
                     .modificationDate = 6,
                     .resources = {{photo, "IMG_0001.CR2", {"ab", "", "c"}},
                                   {pairedVideo, "IMG_0001.MOV", {"video"}}}}};
  return library;
}

Library& serve(Library described) {
  waitForCallbacks();
  world().library = std::move(described);
  world().calls.clear();
  return library();
}

Library& library() { return world().library; }

std::string takeCalls() {
  const std::lock_guard lock(world().mutex);
  return std::exchange(world().calls, {});
}

void waitForCallbacks() {
  std::promise<void> done;
  dispatch_get_main_queue()->async([&] {
    if (const auto late = std::exchange(world().late, nullptr)) {
      late();
    }
    done.set_value();
  });
  done.get_future().wait();
}

bool called(const std::string& method, const std::string& arguments) {
  {
    const std::lock_guard lock(world().mutex);
    world().calls += " " + method + (arguments.empty() ? "" : " " + arguments) + ";";
  }
  [StandInTemporary leave];
  if (library().raising.contains(method)) {
    [NSException raise:NSInternalInconsistencyException format:@"%s raised", method.c_str()];
  }
  return library().givingNil.contains(method);
}

void answer(void (^callbacks)(void)) {
  void (^const kept)(void) = Block_copy(callbacks);
  const auto answers = [kept] {
    for (int count = 0; count < library().answers; ++count) {
      kept();
    }
    Block_release(kept);
  };
  if (library().answersAtOnce) {
    answers();
  } else if (library().raisesOnceQueued) {
    world().late = answers;
  } else {
    dispatch_get_main_queue()->async(answers);
  }
  if (library().raisesOnceQueued) {
    [NSException raise:NSInternalInconsistencyException format:@"raised once queued"];
  }
}

std::string text(NSString* string) { return string == nil ? "nil" : [string UTF8String]; }

NSString* string(const std::string& text) {
  return [[[NSString alloc] initWithBytes:text.data()
                                   length:text.size()
                                 encoding:NSUTF8StringEncoding] autorelease];
}

}  // namespace stand_in

@implementation StandInTemporary
+ (void)leave {
  [[[self alloc] init] autorelease];
}
@end

@implementation StandInData
- (NSUInteger)length {
  return bytes_.size();
}
- (const void*)bytes {
  return stand_in::called("bytes") || bytes_.empty() ? nullptr : bytes_.data();
}
@end

// As there: the thread that the process began with is let go, and the main queue's work runs on
// another like any queue's.

dispatch_queue_t dispatch_get_main_queue() {
  static auto* const queue = new StandInQueue;
  return queue;
}

dispatch_queue_t dispatch_get_global_queue(std::intptr_t identifier, std::uintptr_t flags) {
  static auto* const queue = new StandInQueue;
  return identifier == DISPATCH_QUEUE_PRIORITY_DEFAULT && flags == 0 ? queue : nullptr;
}

void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work) {
  queue->async([=] { work(context); });
}

void dispatch_main() {
  for (;;) {
    pause();
  }
}
