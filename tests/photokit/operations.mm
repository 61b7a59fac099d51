// What the frameworks do: access, the delivery of data, changes, opening, hashing.
#import <AppKit/AppKit.h>
#include <CommonCrypto/CommonDigest.h>
#import <Photos/Photos.h>

#include <utility>

#include "tests/photokit/stand_in.h"

using stand_in::called;
using stand_in::library;

namespace {

/// The assets whose deletion the running change block has asked for.
std::set<std::string> deletions;

/// An error of the caller's own, or nil.
NSError* newError(const std::optional<std::string>& description) {
  @autoreleasepool {
    NSString* const text = stand_in::string(description.value_or(""));
    NSDictionary* const info = [NSDictionary dictionaryWithObject:text
                                                           forKey:NSLocalizedDescriptionKey];
    return description
               ? [[NSError alloc] initWithDomain:@"PHPhotosErrorDomain" code:-1 userInfo:info]
               : nil;
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
    NSError* const error = newError(library().deletionError);
    completionHandler(library().deletionSuccess ? YES : NO, error);
    [error release];
  });
}
@end

@implementation PHAssetChangeRequest
+ (void)deleteAssets:(PHFetchResult*)assets {
  std::set<std::string> asked;
  std::string list;
  for (const tests::DescribedAsset* const asset : assets->objects_) {
    asked.insert(asset->localIdentifier);
    list += (list.empty() ? "" : " ") + asset->localIdentifier;
  }
  called("deleteAssets:", list);
  deletions = std::move(asked);
}
@end

@implementation PHAssetResourceRequestOptions
@synthesize networkAccessAllowed = networkAccessAllowed_;
@end

@implementation PHAssetResourceManager
+ (PHAssetResourceManager*)defaultManager {
  static PHAssetResourceManager* const shared = [[PHAssetResourceManager alloc] init];
  return called("defaultManager") ? nil : shared;
}
- (PHAssetResourceDataRequestID)
    requestDataForAssetResource:(PHAssetResource*)resource
                        options:(PHAssetResourceRequestOptions*)options
            dataReceivedHandler:(void (^)(NSData* data))dataReceivedHandler
              completionHandler:(void (^)(NSError* error))completionHandler {
  const tests::DescribedResource described = *resource->described_;
  called("requestDataForAssetResource:options:dataReceivedHandler:completionHandler:",
         described.originalFilename + ([options isNetworkAccessAllowed] ? " network" : ""));
  stand_in::answer(^{
    for (const std::string& chunk : described.chunks) {
      // Foundation's init would make another kind of data of it.
      StandInData* const data = [StandInData alloc];
      data->bytes_ = chunk;
      dataReceivedHandler(data);
      [data release];
    }
    NSError* const error = newError(described.error);
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
  return called("openURL:", stand_in::text([url absoluteString])) ? NO : YES;
}
@end

int CC_SHA256_Update(CC_SHA256_CTX* context, const void* data, CC_LONG length) {
  @autoreleasepool {
    called("CC_SHA256_Update", std::to_string(length));
  }
  // What is longer is there to be counted.
  constexpr CC_LONG longest = 1 << 26;
  return length > longest ? 1 : SHA256_Update(context, data, length);
}
