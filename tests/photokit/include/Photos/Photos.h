// Stands in for the part of PhotoKit that the helper uses: declarations of the same shape, on a
// library that a test describes (stand_in.h). Instance variables are the stand-in's own.
#pragma once

#import <Foundation/Foundation.h>
#include <dispatch/dispatch.h>
#include <objc/blocks_runtime.h>

#include <vector>

namespace tests {
struct DescribedAsset;
struct DescribedResource;
}  // namespace tests

NS_ASSUME_NONNULL_BEGIN

typedef NS_ENUM(NSInteger, PHAccessLevel) { PHAccessLevelReadWrite = 2 };
typedef NS_ENUM(NSInteger, PHAuthorizationStatus) { PHAuthorizationStatusNotDetermined = 0 };
typedef NS_ENUM(NSInteger, PHAssetMediaType) { PHAssetMediaTypeUnknown = 0 };
typedef NS_ENUM(NSInteger, PHAssetResourceType) { PHAssetResourceTypePhoto = 1 };
typedef NS_ENUM(NSInteger, PHAssetCollectionType) { PHAssetCollectionTypeSmartAlbum = 2 };
typedef NS_ENUM(NSInteger, PHAssetCollectionSubtype) {
  PHAssetCollectionSubtypeSmartAlbumUserLibrary = 209,
};
typedef int32_t PHAssetResourceDataRequestID;

@interface PHPhotoLibrary : NSObject
+ (PHPhotoLibrary*)sharedPhotoLibrary;
+ (PHAuthorizationStatus)authorizationStatusForAccessLevel:(PHAccessLevel)level;
+ (void)requestAuthorizationForAccessLevel:(PHAccessLevel)level
                                   handler:(void (^)(PHAuthorizationStatus status))handler;
- (void)performChanges:(dispatch_block_t)changeBlock
     completionHandler:(nullable void (^)(BOOL success, NSError* _Nullable error))completionHandler;
@end

@interface PHFetchOptions : NSObject {
  NSPredicate* predicate_;
  NSArray<NSSortDescriptor*>* sortDescriptors_;
}
@property(nonatomic, strong, nullable) NSPredicate* predicate;
@property(nonatomic, strong, nullable) NSArray<NSSortDescriptor*>* sortDescriptors;
@end

@interface PHFetchResult<__covariant ObjectType> : NSObject {
 @public
  Class kind_;
  std::vector<const tests::DescribedAsset*> objects_;
}
@property(readonly) NSUInteger count;
@property(nonatomic, readonly, nullable) ObjectType firstObject;
- (ObjectType)objectAtIndex:(NSUInteger)index;
@end

@interface PHObject : NSObject {
 @public
  const tests::DescribedAsset* described_;
}
@property(nonatomic, copy, readonly) NSString* localIdentifier;
@end

@interface PHAsset : PHObject
@property(nonatomic, assign, readonly) PHAssetMediaType mediaType;
@property(nonatomic, strong, readonly, nullable) NSDate* creationDate;
@property(nonatomic, strong, readonly, nullable) NSDate* modificationDate;
+ (PHFetchResult<PHAsset*>*)fetchAssetsWithOptions:(nullable PHFetchOptions*)options;
+ (PHFetchResult<PHAsset*>*)fetchAssetsWithLocalIdentifiers:(NSArray<NSString*>*)identifiers
                                                    options:(nullable PHFetchOptions*)options;
@end

@interface PHAssetCollection : PHObject
+ (PHFetchResult<PHAssetCollection*>*)
    fetchAssetCollectionsWithType:(PHAssetCollectionType)type
                          subtype:(PHAssetCollectionSubtype)subtype
                          options:(nullable PHFetchOptions*)options;
@end

@interface PHAssetResource : NSObject {
 @public
  const tests::DescribedResource* described_;
}
@property(nonatomic, assign, readonly) PHAssetResourceType type;
@property(nonatomic, copy, readonly) NSString* originalFilename;
+ (NSArray<PHAssetResource*>*)assetResourcesForAsset:(PHAsset*)asset;
@end

@interface PHAssetResourceRequestOptions : NSObject {
  BOOL networkAccessAllowed_;
}
@property(nonatomic, assign, getter=isNetworkAccessAllowed) BOOL networkAccessAllowed;
@end

@interface PHAssetResourceManager : NSObject
+ (PHAssetResourceManager*)defaultManager;
- (PHAssetResourceDataRequestID)
    requestDataForAssetResource:(PHAssetResource*)resource
                        options:(nullable PHAssetResourceRequestOptions*)options
            dataReceivedHandler:(void (^)(NSData* data))dataReceivedHandler
              completionHandler:(void (^)(NSError* _Nullable error))completionHandler;
@end

@interface PHAssetChangeRequest : NSObject
+ (void)deleteAssets:(PHFetchResult<PHAsset*>*)assets;
@end

NS_ASSUME_NONNULL_END
