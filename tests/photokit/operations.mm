// What the frameworks do: access, the delivery of data, changes, opening, hashing, queues.
#define OPENSSL_SUPPRESS_DEPRECATED
#import <AppKit/AppKit.h>
#include <CommonCrypto/CommonDigest.h>
#import <Photos/Photos.h>
#include <dispatch/dispatch.h>
#include <unistd.h>

#include "platform/local/serial_queue.h"
#include "tests/photokit/stand_in.h"

using stand_in::called;
using stand_in::library;

namespace {

using DataHandler = void (^)(NSData*);
using CompletionHandler = void (^)(NSError*);

constexpr long userCancelled = 3072;
constexpr long networkAccessRequired = 3164;

/// The assets whose deletion the running change block has asked for; null outside of one.
std::vector<stand_in::Asset*>* deletions = nullptr;

void give(DataHandler handler, const std::string& chunk) {
  NSData* const data = [[StandInData alloc] initWithText:chunk];
  handler(data);
  [data release];
}

void deliver(const stand_in::Resource& resource, bool isNetworkAllowed, DataHandler dataReceived,
             CompletionHandler completion) {
  const bool isAvailable = !resource.isInCloud || isNetworkAllowed;
  for (const std::string& chunk : isAvailable ? resource.chunks : std::vector<std::string>()) {
    give(dataReceived, chunk);
  }
  NSError* const error =
      stand_in::newError(isAvailable ? library().deliveryFailure : stand_in::Failure::described,
                         networkAccessRequired);
  for (int count = 0; count < library().completions; ++count) {
    completion(error);
  }
  [error release];
  if (library().deliversAfterCompletion) {
    give(dataReceived, "late");
  }
}

}  // namespace

@implementation PHPhotoLibrary
+ (PHPhotoLibrary*)sharedPhotoLibrary {
  static PHPhotoLibrary* const shared = [[PHPhotoLibrary alloc] init];
  return called("sharedPhotoLibrary") ? nil : shared;
}

+ (PHAuthorizationStatus)authorizationStatusForAccessLevel:(PHAccessLevel)level {
  called("authorizationStatusForAccessLevel:", std::to_string(level));
  return static_cast<PHAuthorizationStatus>(library().status);
}

+ (void)requestAuthorizationForAccessLevel:(PHAccessLevel)level
                                   handler:(void (^)(PHAuthorizationStatus status))handler {
  called("requestAuthorizationForAccessLevel:handler:", std::to_string(level));
  if (library().status == PHAuthorizationStatusNotDetermined) {
    library().status = library().promptAnswer;
  }
  void (^const kept)(PHAuthorizationStatus) = Block_copy(handler);
  stand_in::answer([kept] {
    for (int count = 0; count < library().completions; ++count) {
      kept(static_cast<PHAuthorizationStatus>(library().status));
    }
    Block_release(kept);
  });
}

- (void)performChanges:(void (^)(void))changeBlock
     completionHandler:(void (^)(BOOL success, NSError* error))completionHandler {
  called("performChanges:completionHandler:");
  void (^const change)(void) = Block_copy(changeBlock);
  void (^const completion)(BOOL, NSError*) = Block_copy(completionHandler);
  stand_in::answer([change, completion] {
    std::vector<stand_in::Asset*> asked;
    deletions = &asked;
    change();
    deletions = nullptr;
    for (stand_in::Asset* const asset : asked) {
      asset->isDeleted = library().deletionSuccess;
    }
    NSError* const error = stand_in::newError(library().deletionFailure, userCancelled);
    for (int count = 0; count < library().completions; ++count) {
      completion(library().deletionSuccess ? YES : NO, error);
    }
    [error release];
    Block_release(change);
    Block_release(completion);
  });
}
@end

@implementation PHAssetChangeRequest
+ (void)deleteAssets:(id<NSFastEnumeration>)assets {
  std::vector<stand_in::Asset*> asked;
  std::string list = [static_cast<id>(assets) isKindOfClass:[PHFetchResult class]] ? "result" : "";
  for (PHAsset* const asset in assets) {
    asked.push_back(static_cast<stand_in::Asset*>(const_cast<void*>(asset->described_)));
    list += " " + asked.back()->localIdentifier.value_or("nil");
  }
  called("deleteAssets:", list);
  *deletions = std::move(asked);
}
@end

@implementation PHAssetResourceRequestOptions
- (BOOL)isNetworkAccessAllowed {
  return networkAccessAllowed_;
}
- (void)setNetworkAccessAllowed:(BOOL)isAllowed {
  called("setNetworkAccessAllowed:", isAllowed ? "YES" : "NO");
  networkAccessAllowed_ = isAllowed;
}
@end

@implementation PHAssetResourceManager
+ (PHAssetResourceManager*)defaultManager {
  static PHAssetResourceManager* const manager = [[PHAssetResourceManager alloc] init];
  return called("defaultManager") ? nil : manager;
}

- (PHAssetResourceDataRequestID)
    requestDataForAssetResource:(PHAssetResource*)resource
                        options:(PHAssetResourceRequestOptions*)options
            dataReceivedHandler:(void (^)(NSData* data))dataReceivedHandler
              completionHandler:(void (^)(NSError* error))completionHandler {
  const auto* const described = static_cast<const stand_in::Resource*>(resource->described_);
  called("requestDataForAssetResource:options:dataReceivedHandler:completionHandler:",
         described->originalFilename.value_or("nil"));
  const DataHandler dataReceived = Block_copy(dataReceivedHandler);
  const CompletionHandler completion = Block_copy(completionHandler);
  const bool isNetworkAllowed = options != nil && [options isNetworkAccessAllowed];
  stand_in::answer([=] {
    deliver(*described, isNetworkAllowed, dataReceived, completion);
    Block_release(dataReceived);
    Block_release(completion);
  });
  return 1;
}
@end

@implementation NSWorkspace
+ (NSWorkspace*)sharedWorkspace {
  static NSWorkspace* const shared = [[NSWorkspace alloc] init];
  return called("sharedWorkspace") ? nil : shared;
}
- (BOOL)openURL:(NSURL*)url {
  called("openURL:", stand_in::text([url absoluteString]));
  return library().opensURLs ? YES : NO;
}
@end

int CC_SHA256_Init(CC_SHA256_CTX* context) { return SHA256_Init(context); }

int CC_SHA256_Update(CC_SHA256_CTX* context, const void* data, CC_LONG length) {
  if (library().hashes) {
    return SHA256_Update(context, data, length);
  }
  @autoreleasepool {
    called("CC_SHA256_Update", std::to_string(length));
  }
  return 1;
}

int CC_SHA256_Final(unsigned char* digest, CC_SHA256_CTX* context) {
  return SHA256_Final(digest, context);
}

// As there, the main queue is not served by the thread that the process began with, and no queue
// has an autorelease pool. Both live for ever.
struct StandInQueue : platform::local::SerialQueue {};

dispatch_queue_t dispatch_get_main_queue() {
  static auto* const queue = new StandInQueue;
  return queue;
}

dispatch_queue_t dispatch_get_global_queue(std::intptr_t /*identifier*/, std::uintptr_t /*flags*/) {
  static auto* const queue = new StandInQueue;
  return queue;
}

void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work) {
  queue->async([=] { work(context); });
}

void dispatch_main() {
  for (;;) {
    pause();
  }
}
