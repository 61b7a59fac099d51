#include "platform/photokit/photokit_platform.h"

#import <Photos/Photos.h>

#include <utility>

#include "platform/photokit/attempt.h"
#include "platform/photokit/conversions.h"
#include "platform/photokit/library_change.h"
#include "platform/photokit/objects.h"
#include "platform/photokit/resource_delivery.h"
#include "platform/photokit/retained.h"
#include "platform/photokit/url.h"

namespace platform::photokit {
namespace {

using photos::AuthorizationStatus;
using Assets = Retained<PHFetchResult<PHAsset*>>;
using Collections = Retained<PHFetchResult<PHAssetCollection*>>;

PHAccessLevel nativeLevel(photos::AccessLevel level) { return static_cast<PHAccessLevel>(level); }

Retained<PHFetchOptions> nativeOptions(const photos::FetchOptions& options) {
  auto native = Retained<PHFetchOptions>::adopt([[PHFetchOptions alloc] init]);
  if (options.creationDateBefore) {
    NSDate* const date = [NSDate dateWithTimeIntervalSince1970:*options.creationDateBefore];
    [native.get() setPredicate:[NSPredicate predicateWithFormat:@"creationDate < %@", date]];
  }
  const auto byDate =
      Retained<NSSortDescriptor>::adopt([[NSSortDescriptor alloc] initWithKey:@"creationDate"
                                                                    ascending:YES]);
  [native.get() setSortDescriptors:[NSArray arrayWithObject:byDate.get()]];
  return native;
}

}  // namespace

AuthorizationStatus PhotoKitPlatform::authorizationStatus(photos::AccessLevel level) {
  return attempt(AuthorizationStatus::restricted, [=] {
    return AuthorizationStatus{
        [PHPhotoLibrary authorizationStatusForAccessLevel:nativeLevel(level)]};
  });
}

void PhotoKitPlatform::requestAuthorization(photos::AccessLevel level,
                                            AuthorizationHandler handler) {
  @autoreleasepool {
    @try {
      [PHPhotoLibrary requestAuthorizationForAccessLevel:nativeLevel(level)
                                                 handler:^(PHAuthorizationStatus status) {
                                                   @autoreleasepool {
                                                     handler(AuthorizationStatus{status});
                                                   }
                                                 }];
    } @catch (NSException*) {
      handler(AuthorizationStatus::restricted);
    }
  }
}

std::shared_ptr<photos::AssetFetchResult> PhotoKitPlatform::fetchAssets(
    const photos::FetchOptions& options) {
  return std::make_shared<PhotoKitAssets>(attempt(Assets(), [&] {
    return Assets([PHAsset fetchAssetsWithOptions:nativeOptions(options).get()]);
  }));
}

std::shared_ptr<photos::AssetFetchResult> PhotoKitPlatform::fetchAssetsWithLocalIdentifiers(
    std::span<const std::string> identifiers) {
  return std::make_shared<PhotoKitAssets>(attempt(Assets(), [&] {
    const auto list = Retained<NSMutableArray>::adopt(
        [[NSMutableArray alloc] initWithCapacity:identifiers.size()]);
    for (const std::string& identifier : identifiers) {
      if (const Retained<NSString> string = stringOf(identifier)) {
        [list.get() addObject:string.get()];
      }
    }
    return Assets([PHAsset fetchAssetsWithLocalIdentifiers:list.get() options:nil]);
  }));
}

std::shared_ptr<photos::AssetCollectionFetchResult> PhotoKitPlatform::fetchAssetCollections(
    photos::AssetCollectionType type, photos::AssetCollectionSubtype subtype) {
  return std::make_shared<PhotoKitCollections>(attempt(Collections(), [=] {
    return Collections([PHAssetCollection
        fetchAssetCollectionsWithType:static_cast<PHAssetCollectionType>(type)
                              subtype:static_cast<PHAssetCollectionSubtype>(subtype)
                              options:nil]);
  }));
}

std::vector<std::unique_ptr<photos::AssetResource>> PhotoKitPlatform::assetResourcesForAsset(
    const photos::Asset& asset) {
  return resourcesOf(static_cast<const PhotoKitAsset&>(asset).get());
}

void PhotoKitPlatform::requestDataForAssetResource(
    const photos::AssetResource& resource, const photos::AssetResourceRequestOptions& options,
    DataReceivedHandler dataReceivedHandler, CompletionHandler completionHandler) {
  requestData(static_cast<const PhotoKitResource&>(resource).get(), options,
              std::move(dataReceivedHandler), std::move(completionHandler));
}

void PhotoKitPlatform::performChanges(ChangeBlock changeBlock,
                                      ChangeCompletionHandler completionHandler) {
  performChange(std::move(changeBlock), std::move(completionHandler));
}

std::string PhotoKitPlatform::pathExtension(std::string_view filename) const {
  return photokit::pathExtension(filename);
}

std::unique_ptr<photos::URL> PhotoKitPlatform::URLWithString(const std::string& text) {
  return parseURL(text);
}

bool PhotoKitPlatform::openURL(const photos::URL& url) { return openWithWorkspace(url); }

}  // namespace platform::photokit
