// The library's objects and their fetches.
#import <Photos/Photos.h>

#include <algorithm>
#include <type_traits>
#include <utility>

#include "tests/photokit/stand_in.h"

using stand_in::called;
using stand_in::library;
using tests::DescribedAsset;

// NOLINTBEGIN(bugprone-macro-parentheses): it is a whole method.
/// A property, which is nil when the test wants it so.
#define PROPERTY(type, name, value)                                \
  -(type)name {                                                    \
    return called(#name) ? std::type_identity_t<type>() : (value); \
  }
// NOLINTEND(bugprone-macro-parentheses)

namespace {

PHFetchResult* newResult(Class kind) {
  PHFetchResult* const result = [[[PHFetchResult alloc] init] autorelease];
  result->kind_ = kind;
  return result;
}

NSDate* date(const std::optional<double>& seconds) {
  return seconds ? [NSDate dateWithTimeIntervalSince1970:*seconds] : nil;
}

std::string description(PHFetchOptions* options) {
  std::string text = options == nil ? "nil" : stand_in::text([[options predicate] predicateFormat]);
  for (NSSortDescriptor* const order in [options sortDescriptors]) {
    text += ", " + stand_in::text([order key]) + ([order ascending] ? " ascending" : " descending");
  }
  return text;
}

/// What has no date passes no predicate.
bool passes(NSPredicate* predicate, const DescribedAsset& asset) {
  return predicate == nil ||
         (asset.creationDate &&
          [predicate evaluateWithObject:[NSDictionary dictionaryWithObject:date(asset.creationDate)
                                                                    forKey:@"creationDate"]]);
}

/// Those of the identifiers, if there are any; in the order of their dates, if the options have
/// one. Equal dates keep the library's order.
PHFetchResult* fetched(NSArray* identifiers, PHFetchOptions* options) {
  PHFetchResult* const result = newResult([PHAsset class]);
  for (const DescribedAsset& asset : library().assets) {
    NSString* const identifier = stand_in::string(asset.localIdentifier);
    if ((identifiers == nil || [identifiers containsObject:identifier]) &&
        !library().deleted.contains(asset.localIdentifier) && passes([options predicate], asset)) {
      result->objects_.push_back(&asset);
    }
  }
  if ([options sortDescriptors] != nil) {
    std::ranges::sort(result->objects_, {}, [](const DescribedAsset* asset) {
      return std::pair(asset->creationDate, asset);
    });
  }
  return result;
}

}  // namespace

@implementation PHFetchOptions
@synthesize predicate = predicate_;
@synthesize sortDescriptors = sortDescriptors_;
- (void)dealloc {
  [predicate_ release];
  [sortDescriptors_ release];
  [super dealloc];
}
@end

@implementation PHFetchResult
PROPERTY(NSUInteger, count, objects_.size())
- (void)dealloc {
  [StandInTemporary leave];
  [super dealloc];
}
/// Objects are there from when they are asked for.
- (id)fault:(NSUInteger)index {
  if (index >= objects_.size()) {
    [NSException raise:NSRangeException format:@"%lu is beyond the result's count", index];
  }
  PHObject* const object = [[[kind_ alloc] init] autorelease];
  object->described_ = objects_.at(index);
  return object;
}
- (id)objectAtIndex:(NSUInteger)index {
  return called("objectAtIndex:", std::to_string(index)) ? nil : [self fault:index];
}
- (id)firstObject {
  return called("firstObject") || objects_.empty() ? nil : [self fault:0];
}
@end

@implementation PHObject
PROPERTY(NSString*, localIdentifier, stand_in::string(described_->localIdentifier))
@end

@implementation PHAsset
PROPERTY(PHAssetMediaType, mediaType, PHAssetMediaType{std::to_underlying(described_->mediaType)})
PROPERTY(NSDate*, creationDate, date(described_->creationDate))
PROPERTY(NSDate*, modificationDate, date(described_->modificationDate))
+ (PHFetchResult*)fetchAssetsWithOptions:(PHFetchOptions*)options {
  return called("fetchAssetsWithOptions:", description(options)) ? nil : fetched(nil, options);
}
+ (PHFetchResult*)fetchAssetsWithLocalIdentifiers:(NSArray*)identifiers
                                          options:(PHFetchOptions*)options {
  const std::string list = stand_in::text([identifiers componentsJoinedByString:@" "]);
  return called("fetchAssetsWithLocalIdentifiers:options:", list + " " + description(options))
             ? nil
             : fetched(identifiers, options);
}
@end

@implementation PHAssetCollection
+ (PHFetchResult*)fetchAssetCollectionsWithType:(PHAssetCollectionType)type
                                        subtype:(PHAssetCollectionSubtype)subtype
                                        options:(PHFetchOptions*)options {
  const std::string numbers = std::to_string(type) + " " + std::to_string(subtype);
  // A collection is told by its identifier alone, as an asset of no other content.
  static DescribedAsset album;
  PHFetchResult* const result = newResult(self);
  if (library().userLibraryAlbum) {
    album.localIdentifier = *library().userLibraryAlbum;
    result->objects_ = {&album};
  }
  return called("fetchAssetCollectionsWithType:subtype:options:",
                numbers + " " + description(options))
             ? nil
             : result;
}
@end

@implementation PHAssetResource
PROPERTY(PHAssetResourceType, type, PHAssetResourceType{std::to_underlying(described_->type)})
PROPERTY(NSString*, originalFilename, stand_in::string(described_->originalFilename))
+ (NSArray*)assetResourcesForAsset:(PHAsset*)owner {
  NSMutableArray* const list = [NSMutableArray array];
  for (const tests::DescribedResource& described : owner->described_->resources) {
    PHAssetResource* const resource = [[[self alloc] init] autorelease];
    resource->described_ = &described;
    [list addObject:resource];
  }
  return called("assetResourcesForAsset:", owner->described_->localIdentifier) ? nil : list;
}
@end
