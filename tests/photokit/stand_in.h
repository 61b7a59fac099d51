// What a test makes of the stand-in frameworks: the library that they serve, the faults that they
// show, and what they were asked.
#pragma once

#import <Foundation/Foundation.h>
#include <objc/blocks_runtime.h>

#include <set>
#include <string>

#include "tests/described_library.h"

namespace stand_in {

struct Library : tests::DescribedLibrary {
  /// Assets, by their identifiers.
  std::set<std::string> deleted = {};
  /// Callbacks come before the call that took them returns, not from the main queue.
  bool answersAtOnce = false;
  /// How often callbacks come, and whether the call that took them raises all the same: those that
  /// do not come at once then come with waitForCallbacks().
  int answers = 1;
  bool raisesOnceQueued = false;
  /// Methods that raise an exception, and methods that give nil.
  std::set<std::string> raising = {};
  std::set<std::string> givingNil = {};
};

/// One video "V/L0/001", a photo without a date, and one photo "A/L0/001" with a paired video; the
/// album "ALBUM/L0/040". It is served from the start.
[[nodiscard]] Library smallLibrary();

/// Serves another library, and forgets the calls.
Library& serve(Library described = smallLibrary());

/// The one that is served. Its assets must not be added to or taken away.
Library& library();

/// Each call of a framework's method since the last time, in order: its name and its arguments,
/// with a space before it and a semicolon behind it.
[[nodiscard]] std::string takeCalls();

/// Returns once the main queue has nothing left to do.
void waitForCallbacks();

// For the stand-ins themselves.

/// Takes down the call. Raises when the method is to; true when it is to give nil.
bool called(const std::string& method, const std::string& arguments = {});

/// Calls back from the main queue, which a request must leave free, or at once.
void answer(void (^callbacks)(void));

[[nodiscard]] std::string text(NSString* string);
[[nodiscard]] NSString* string(const std::string& text);

}  // namespace stand_in

/// Temporary objects that the frameworks leave to the caller's autorelease pool.
@interface StandInTemporary : NSObject
+ (void)leave;
@end

/// A chunk of bytes that are gone with it.
@interface StandInData : NSData {
 @public
  std::string bytes_;
}
@end
