#include "tests/photokit/stand_in.h"

#include <future>
#include <mutex>
#include <utility>

#include "platform/local/serial_queue.h"

/// What the runtime and Foundation keep for ever; objects that are leaked are counted instead.
extern "C" const char* __lsan_default_suppressions();  // NOLINT(bugprone-reserved-identifier)
const char* __lsan_default_suppressions() { return "leak:libobjc\nleak:libgnustep-base\n"; }

namespace stand_in {
namespace {

struct World {
  Library library;
  unsigned generation = 0;
  std::mutex mutex;
  std::vector<std::string> calls;
  // The last, so that it ends first.
  platform::local::SerialQueue queue;
};

World& world() {
  static World only;
  return only;
}

}  // namespace

Library& serve(Library described) {
  waitForCallbacks();
  world().library = std::move(described);
  ++world().generation;
  world().calls.clear();
  return library();
}

unsigned generation() { return world().generation; }

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
  [[[StandInTemporary alloc] init] autorelease];
  if (library().raising.contains(method)) {
    [NSException raise:NSInternalInconsistencyException format:@"%s raised", method.c_str()];
  }
  return library().givingNil.contains(method);
}

void answer(std::function<void()> work) {
  if (library().answersAtOnce) {
    work();
  } else {
    world().queue.async(std::move(work));
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
@end

@implementation StandInData
- (id)initWithText:(const std::string&)text {
  self = [super init];
  if (self != nil) {
    length_ = text.size();
    bytes_ = new char[length_];
    text.copy(bytes_, length_);
  }
  return self;
}
// Foundation's own init ends here.
- (id)initWithBytesNoCopy:(void*)bytes length:(NSUInteger)length freeWhenDone:(BOOL)frees {
  return self;
}
- (void)dealloc {
  delete[] bytes_;
  [super dealloc];
}
- (NSUInteger)length {
  return length_;
}
- (const void*)bytes {
  return stand_in::called("bytes") || length_ == 0 ? nullptr : bytes_;
}
@end

/// An error that has nothing to say, which Foundation's own never is.
@interface StandInError : NSError
@end

@implementation StandInError
- (NSString*)localizedDescription {
  return stand_in::called("localizedDescription") ? nil : @"";
}
@end

namespace stand_in {

NSError* newError(Failure failure, long code) {
  @autoreleasepool {
    NSDictionary* const info = [NSDictionary dictionaryWithObject:@"The library’s own reason"
                                                           forKey:NSLocalizedDescriptionKey];
    switch (failure) {
      case Failure::none:
        return nil;
      case Failure::described:
        return [[NSError alloc] initWithDomain:@"PHPhotosErrorDomain" code:code userInfo:info];
      case Failure::undescribed:
        return [[StandInError alloc] initWithDomain:@"PHPhotosErrorDomain" code:code userInfo:nil];
    }
  }
}

}  // namespace stand_in
