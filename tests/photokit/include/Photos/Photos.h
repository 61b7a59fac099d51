// Stands in for the part of PhotoKit that the helper uses: the same declarations, on a library that
// a test describes (stand_in.h). Instance variables are the stand-in's own.
#pragma once

#import <Foundation/Foundation.h>
#include <objc/blocks_runtime.h>

#include <vector>

namespace tests {
struct DescribedAsset;
struct DescribedResource;
}  // namespace tests

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
- (void)performChanges:(void (^)(void))changeBlock
     completionHandler:(void (^)(BOOL success, NSError* error))completionHandler;
@end

@interface PHFetchOptions : NSObject {
  NSPredicate* predicate_;
  NSArray* sortDescriptors_;
}
@property(readwrite, retain) NSPredicate* predicate;
@property(readwrite, copy) NSArray* sortDescriptors;
@end

@interface PHFetchResult<ObjectType> : NSObject <NSFastEnumeration> {
 @public
  Class kind_;
  std::vector<const tests::DescribedAsset*> objects_;
  id enumerated_;
}
@property(readonly) NSUInteger count;
@property(readonly) ObjectType firstObject;
- (ObjectType)objectAtIndex:(NSUInteger)index;
@end

@interface PHObject : NSObject {
 @public
  const tests::DescribedAsset* described_;
}
@property(readonly, copy) NSString* localIdentifier;
@end

@interface PHAsset : PHObject
@property(readonly) PHAssetMediaType mediaType;
@property(readonly) NSDate* creationDate;
@property(readonly) NSDate* modificationDate;
+ (PHFetchResult<PHAsset*>*)fetchAssetsWithOptions:(PHFetchOptions*)options;
+ (PHFetchResult<PHAsset*>*)fetchAssetsWithLocalIdentifiers:(NSArray*)identifiers
                                                    options:(PHFetchOptions*)options;
@end

@interface PHAssetCollection : PHObject
+ (PHFetchResult<PHAssetCollection*>*)fetchAssetCollectionsWithType:(PHAssetCollectionType)type
                                                            subtype:(PHAssetCollectionSubtype)which
                                                            options:(PHFetchOptions*)options;
@end

@interface PHAssetResource : NSObject {
 @public
  const tests::DescribedResource* described_;
}
@property(readonly) PHAssetResourceType type;
@property(readonly, copy) NSString* originalFilename;
+ (NSArray*)assetResourcesForAsset:(PHAsset*)asset;
@end

@interface PHAssetResourceRequestOptions : NSObject {
  BOOL networkAccessAllowed_;
}
@property(readwrite, getter=isNetworkAccessAllowed) BOOL networkAccessAllowed;
@end

@interface PHAssetResourceManager : NSObject
+ (PHAssetResourceManager*)defaultManager;
- (PHAssetResourceDataRequestID)
    requestDataForAssetResource:(PHAssetResource*)resource
                        options:(PHAssetResourceRequestOptions*)options
            dataReceivedHandler:(void (^)(NSData* data))dataReceivedHandler
              completionHandler:(void (^)(NSError* error))completionHandler;
@end

@interface PHAssetChangeRequest : NSObject
+ (void)deleteAssets:(id<NSFastEnumeration>)assets;
@end
