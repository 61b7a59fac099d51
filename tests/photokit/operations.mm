// What the frameworks do: access, the delivery of data, changes, opening, hashing, queues.
#import <AppKit/AppKit.h>
#include <CommonCrypto/CommonDigest.h>
#import <Photos/Photos.h>
#include <dispatch/dispatch.h>
#include <unistd.h>

#include <utility>

#include "tests/photokit/queue.h"
#include "tests/photokit/stand_in.h"

using stand_in::called;
using stand_in::library;

namespace {

constexpr long userCancelled = 3072;
constexpr long networkAccessRequired = 3164;

/// The assets whose deletion the running change block has asked for.
std::set<std::string> deletions;

/// An error of the caller's own, or nil.
NSError* newError(const std::optional<std::string>& description, long code) {
  if (!description) {
    return nil;
  }
  @autoreleasepool {
    return [[NSError alloc]
        initWithDomain:@"PHPhotosErrorDomain"
                  code:code
              userInfo:[NSDictionary dictionaryWithObject:stand_in::string(*description)
                                                   forKey:NSLocalizedDescriptionKey]];
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
  return PHAuthorizationStatus{std::to_underlying(library().authorizationStatus)};
}

+ (void)requestAuthorizationForAccessLevel:(PHAccessLevel)level
                                   handler:(void (^)(PHAuthorizationStatus status))handler {
  called("requestAuthorizationForAccessLevel:handler:", std::to_string(level));
  if (library().authorizationStatus == photos::AuthorizationStatus::notDetermined) {
    library().authorizationStatus = library().promptAnswer;
  }
  stand_in::answer(^{
    handler(PHAuthorizationStatus{std::to_underlying(library().authorizationStatus)});
  });
}

- (void)performChanges:(dispatch_block_t)changeBlock
     completionHandler:(void (^)(BOOL success, NSError* error))completionHandler {
  called("performChanges:completionHandler:");
  stand_in::answer(^{
    deletions.clear();
    changeBlock();
    if (library().deletionSuccess) {
      library().deleted.merge(deletions);
    }
    NSError* const error = newError(library().deletionError, userCancelled);
    completionHandler(library().deletionSuccess ? YES : NO, error);
    [error release];
  });
}
@end

@implementation PHChangeRequest
@end

@implementation PHAssetChangeRequest
+ (void)deleteAssets:(id<NSFastEnumeration>)assets {
  std::set<std::string> asked;
  std::string list = [static_cast<id>(assets) isKindOfClass:[PHFetchResult class]] ? "result" : "";
  for (PHAsset* const asset in assets) {
    asked.insert(asset->described_->localIdentifier);
    list += " " + asset->described_->localIdentifier;
  }
  called("deleteAssets:", list);
  deletions = std::move(asked);
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
  const tests::DescribedResource described = *resource->described_;
  called("requestDataForAssetResource:options:dataReceivedHandler:completionHandler:",
         described.originalFilename);
  const bool isAvailable = !described.isInCloud || [options isNetworkAccessAllowed];
  const auto chunks = isAvailable ? described.chunks : std::vector<std::string>();
  stand_in::answer(^{
    for (const std::string& chunk : chunks) {
      // Foundation's init would make another kind of data of it.
      StandInData* const data = [StandInData alloc];
      data->bytes_ = chunk;
      dataReceivedHandler(data);
      [data release];
    }
    NSError* const error =
        newError(isAvailable ? described.error : "It is in the cloud", networkAccessRequired);
    completionHandler(error);
    [error release];
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

int CC_SHA256_Update(CC_SHA256_CTX* context, const void* data, CC_LONG length) {
  @autoreleasepool {
    called("CC_SHA256_Update", std::to_string(length));
  }
  // What is longer is there to be counted.
  constexpr CC_LONG longest = 1 << 20;
  return length > longest ? 1 : SHA256_Update(context, data, length);
}

/// As there: the thread that the process began with is let go, the main queue's work runs on
/// another like any queue's, and no queue has an autorelease pool. Both live for ever.
struct StandInQueue : stand_in::Queue {};

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
