#include "tests/photokit/stand_in.h"

#include <future>
#include <mutex>
#include <utility>

#include "tests/photokit/queue.h"

/// What the runtime and Foundation keep for ever; objects that are leaked are counted instead.
extern "C" const char* __lsan_default_suppressions();  // NOLINT(bugprone-reserved-identifier)
const char* __lsan_default_suppressions() { return "leak:libobjc\nleak:libgnustep-base\n"; }

namespace stand_in {
namespace {

struct World {
  Library library;
  std::mutex mutex;
  std::vector<std::string> calls;
  Queue queue;
};

World& world() {
  static auto* const only = new World;
  return *only;
}

}  // namespace

Library& serve(Library described) {
  waitForCallbacks();
  world().library = std::move(described);
  world().calls.clear();
  return library();
}

Library& library() { return world().library; }

std::vector<std::string> takeCalls() {
  const std::lock_guard lock(world().mutex);
  return std::exchange(world().calls, {});
}

void waitForCallbacks() {
  std::promise<void> done;
  world().queue.async([&] { done.set_value(); });
  done.get_future().wait();
}

long liveObjects() {
  GSDebugAllocationActive(YES);
  long count = 0;
  Class* const classes = GSDebugAllocationClassList();
  for (Class* kind = classes; *kind != nullptr; ++kind) {
    count += GSDebugAllocationCount(*kind);
  }
  NSZoneFree(NSDefaultMallocZone(), classes);
  return count;
}

long mostObjectsOf(Class kind) { return GSDebugAllocationPeak(kind); }

bool called(const std::string& method, const std::string& arguments) {
  {
    const std::lock_guard lock(world().mutex);
    world().calls.push_back(arguments.empty() ? method : method + " " + arguments);
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
  } else {
    world().queue.async(answers);
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
