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

/// What predicates and sort descriptors look at, beside the asset that it is of.
using Record = std::pair<NSDictionary*, const DescribedAsset*>;

/// By the sort descriptor, and equal ones as the library has them; first those without the value,
/// whose place is left open.
void sort(std::vector<Record>& records, NSSortDescriptor* order) {
  const auto hasNone = [&](id values) { return [values valueForKey:[order key]] == nil; };
  const auto isBefore = [&](const Record& one, const Record& other) {
    const NSComparisonResult result = [order compareObject:one.first toObject:other.first];
    return result == NSOrderedSame ? one.second < other.second : result == NSOrderedAscending;
  };
  std::ranges::sort(std::ranges::partition(records, hasNone, &Record::first), isBefore);
}

Objects matching(PHFetchOptions* options) {
  const stand_in::Library& library = stand_in::library();
  if (auto* const predicate = static_cast<NSComparisonPredicate*>([options predicate]);
      predicate != nil && ![[[predicate leftExpression] keyPath] isEqual:@"creationDate"]) {
    [NSException raise:NSInvalidArgumentException format:@"Unsupported predicate"];
  }
  std::vector<Record> records;
  for (const DescribedAsset& asset : library.assets) {
    // Without a date the list ends before it has begun.
    NSDictionary* const values =
        [NSDictionary dictionaryWithObjectsAndKeys:date(asset.creationDate), @"creationDate", nil];
    if (!library.hidden.contains(asset.localIdentifier) &&
        !library.deleted.contains(asset.localIdentifier) &&
        ([options predicate] == nil || [[options predicate] evaluateWithObject:values])) {
      records.emplace_back(values, &asset);
    }
  }
  for (NSSortDescriptor* const order in [options sortDescriptors]) {
    sort(records, order);
  }
  Objects objects;
  std::ranges::transform(records, std::back_inserter(objects), &Record::second);
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
- (id)make:(NSUInteger)index {
  PHObject* const object = [[[kind_ alloc] init] autorelease];
  object->described_ = objects_.at(index);
  return object;
}
- (id)objectAtIndex:(NSUInteger)index {
  return called("objectAtIndex:", std::to_string(index)) ? nil : [self make:index];
}
- (id)firstObject {
  return called("firstObject") || objects_.empty() ? nil : [self make:0];
}
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)state
                                  objects:(id*)buffer
                                    count:(NSUInteger)length {
  if (state->state == objects_.size()) {
    return 0;
  }
  enumerated_ = [self make:state->state++];
  state->itemsPtr = &enumerated_;
  state->mutationsPtr = reinterpret_cast<unsigned long*>(&objects_);
  return 1;
}
@end

@implementation PHObject
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

@implementation PHAssetCollection
+ (PHFetchResult*)fetchAssetCollectionsWithType:(PHAssetCollectionType)type
                                        subtype:(PHAssetCollectionSubtype)which
                                        options:(PHFetchOptions*)options {
  if (called("fetchAssetCollectionsWithType:subtype:options:",
             std::to_string(type) + " " + std::to_string(which) + " " + description(options))) {
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
