// What a test makes of the stand-in frameworks: the library that they serve, the faults that they
// show, and what they were asked.
#pragma once

#import <Foundation/Foundation.h>

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace stand_in {

struct Resource {
  long type = 1;
  std::optional<std::string> originalFilename = "IMG_0001.JPG";
  std::vector<std::string> chunks = {};
  bool isInCloud = false;
};

struct Asset {
  std::optional<std::string> localIdentifier;
  long mediaType = 1;
  std::optional<double> creationDate = {};
  std::optional<double> modificationDate = {};
  std::vector<Resource> resources = {};
  bool isHidden = false;
  bool isDeleted = false;
};

enum class Failure { none, described, undescribed };

struct Library {
  long status = 3;
  long promptAnswer = 3;
  std::optional<std::string> album = {};
  bool opensURLs = true;
  std::vector<Asset> assets = {};

  /// Callbacks come before the call that took them returns, not from the frameworks' own queue.
  bool answersAtOnce = false;
  int completions = 1;
  bool deliversAfterCompletion = false;
  Failure deliveryFailure = Failure::none;
  bool deletionSuccess = true;
  Failure deletionFailure = Failure::none;
  /// Methods that raise an exception, and methods that give nil.
  std::set<std::string> raising = {};
  std::set<std::string> givingNil = {};
  /// Whether CC_SHA256_Update hashes, or only says what it was given.
  bool hashes = true;
};

/// Serves another library, and forgets the calls.
Library& serve(Library described);

/// The one that is served. Its assets must not be added to or taken away.
Library& library();

/// Each call of a framework's method since the last time, in order: its name and its arguments.
[[nodiscard]] std::vector<std::string> takeCalls();

/// Returns once the frameworks' queue has nothing left to do.
void waitForCallbacks();

/// How many Objective-C objects of any class are alive; of them, those of one class.
[[nodiscard]] long liveObjects();
[[nodiscard]] long mostObjectsOf(Class kind);

// For the stand-ins themselves.

/// Another one for each library that is served.
[[nodiscard]] unsigned generation();

/// Takes down the call. Raises when the method is to; true when it is to give nil.
bool called(const std::string& method, const std::string& arguments = {});

/// Calls the work from the frameworks' queue, or at once.
void answer(std::function<void()> work);

[[nodiscard]] std::string text(NSString* string);
[[nodiscard]] NSString* string(const std::string& text);

/// An error of the caller's own, or nil.
[[nodiscard]] NSError* newError(Failure failure, long code);

}  // namespace stand_in

/// Temporary objects that the frameworks leave to the caller's autorelease pool.
@interface StandInTemporary : NSObject
@end

/// A chunk of bytes that are gone with it.
@interface StandInData : NSData {
  char* bytes_;
  NSUInteger length_;
}
- (id)initWithText:(const std::string&)text;
@end
