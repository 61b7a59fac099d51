// The library's objects and their fetches.
#import <Photos/Photos.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "tests/photokit/stand_in.h"

using stand_in::called;
using tests::DescribedAsset;

namespace {

using Objects = std::vector<const DescribedAsset*>;

PHFetchResult* fetched(Class kind, Objects objects) {
  PHFetchResult* const result = [[[PHFetchResult alloc] init] autorelease];
  result->kind_ = kind;
  result->objects_ = std::move(objects);
  return result;
}

NSDate* date(const std::optional<double>& seconds) {
  return seconds ? [NSDate dateWithTimeIntervalSince1970:*seconds] : nil;
}

std::string description(PHFetchOptions* options) {
  if (options == nil) {
    return "nil";
  }
  std::string text = stand_in::text([[options predicate] predicateFormat]);
  for (NSSortDescriptor* const order in [options sortDescriptors]) {
    text += ", " + stand_in::text([order key]) + ([order ascending] ? " ascending" : " descending");
  }
  return text;
}

/// Refuses what the library can't look at, as there. What it can is the stand-in's own choice.
void allow(bool isAllowed) {
  if (!isAllowed) {
    [NSException raise:NSInvalidArgumentException format:@"Unsupported fetch options"];
  }
}

bool passes(NSPredicate* predicate, const DescribedAsset& asset) {
  if (predicate == nil) {
    return true;
  }
  auto* const comparison = static_cast<NSComparisonPredicate*>(predicate);
  allow([[[comparison leftExpression] keyPath] isEqual:@"creationDate"]);
  // Without a date the list ends before it has begun.
  return [predicate
      evaluateWithObject:[NSDictionary dictionaryWithObjectsAndKeys:date(asset.creationDate),
                                                                    @"creationDate", nil]];
}

/// In the order of their dates, and equal ones as the library has them; first those without one,
/// whose place is left open.
Objects matching(PHFetchOptions* options) {
  const stand_in::Library& library = stand_in::library();
  Objects objects;
  for (const DescribedAsset& asset : library.assets) {
    if (!library.hidden.contains(asset.localIdentifier) &&
        !library.deleted.contains(asset.localIdentifier) && passes([options predicate], asset)) {
      objects.push_back(&asset);
    }
  }
  for (NSSortDescriptor* const order in [options sortDescriptors]) {
    allow([[order key] isEqual:@"creationDate"] && [order ascending]);
    std::ranges::sort(objects, {}, [](const DescribedAsset* asset) {
      return std::pair(asset->creationDate, asset);
    });
  }
  return objects;
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
- (void)dealloc {
  [StandInTemporary leave];
  [super dealloc];
}
- (NSUInteger)count {
  called("count");
  return objects_.size();
}
- (id)copyWithZone:(NSZone*)zone {
  return [self retain];
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
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)state
                                  objects:(id*)buffer
                                    count:(NSUInteger)length {
  if (state->state == objects_.size()) {
    return 0;
  }
  enumerated_ = [self fault:state->state++];
  state->itemsPtr = &enumerated_;
  state->mutationsPtr = reinterpret_cast<unsigned long*>(&objects_);
  return 1;
}
@end

@implementation PHObject
- (id)copyWithZone:(NSZone*)zone {
  return [self retain];
}
- (NSString*)localIdentifier {
  return called("localIdentifier") ? nil : stand_in::string(described_->localIdentifier);
}
@end

@implementation PHAsset
+ (PHFetchResult*)fetchAssetsWithOptions:(PHFetchOptions*)options {
  return called("fetchAssetsWithOptions:", description(options)) ? nil
                                                                 : fetched(self, matching(options));
}

+ (PHFetchResult*)fetchAssetsWithLocalIdentifiers:(NSArray*)identifiers
                                          options:(PHFetchOptions*)options {
  const std::string list = stand_in::text([identifiers componentsJoinedByString:@" "]);
  if (called("fetchAssetsWithLocalIdentifiers:options:",
             "[" + list + "] " + description(options))) {
    return nil;
  }
  Objects objects;
  for (const DescribedAsset& asset : stand_in::library().assets) {
    if ([identifiers containsObject:stand_in::string(asset.localIdentifier)] &&
        !stand_in::library().deleted.contains(asset.localIdentifier)) {
      objects.push_back(&asset);
    }
  }
  return fetched(self, std::move(objects));
}

- (PHAssetMediaType)mediaType {
  called("mediaType");
  return PHAssetMediaType{std::to_underlying(described_->mediaType)};
}
- (NSDate*)creationDate {
  return called("creationDate") ? nil : date(described_->creationDate);
}
- (NSDate*)modificationDate {
  return called("modificationDate") ? nil : date(described_->modificationDate);
}
@end

@implementation PHCollection
@end

@implementation PHAssetCollection
+ (PHFetchResult*)fetchAssetCollectionsWithType:(PHAssetCollectionType)type
                                        subtype:(PHAssetCollectionSubtype)subtype
                                        options:(PHFetchOptions*)options {
  if (called("fetchAssetCollectionsWithType:subtype:options:",
             std::to_string(type) + " " + std::to_string(subtype) + " " + description(options))) {
    return nil;
  }
  // A collection is told by its identifier alone, as an asset of no other content.
  static DescribedAsset album;
  album.localIdentifier = stand_in::library().userLibraryAlbum.value_or("");
  return fetched(self, stand_in::library().userLibraryAlbum ? Objects{&album} : Objects{});
}
@end

@implementation PHAssetResource
+ (NSArray*)assetResourcesForAsset:(PHAsset*)owner {
  if (called("assetResourcesForAsset:", owner->described_->localIdentifier)) {
    return nil;
  }
  NSMutableArray* const list = [NSMutableArray array];
  for (const tests::DescribedResource& described : owner->described_->resources) {
    PHAssetResource* const resource = [[[self alloc] init] autorelease];
    resource->described_ = &described;
    [list addObject:resource];
  }
  return list;
}
- (PHAssetResourceType)type {
  called("type");
  return PHAssetResourceType{std::to_underlying(described_->type)};
}
- (NSString*)originalFilename {
  return called("originalFilename") ? nil : stand_in::string(described_->originalFilename);
}
@end
