// The library's objects and their fetches.
#import <Photos/Photos.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <map>
#include <sstream>

#include "tests/photokit/stand_in.h"

using stand_in::called;

namespace {

/// What a fetch result gives by index, made anew each time.
using Objects = std::vector<std::pair<Class, const void*>>;

const Objects& objectsOf(PHFetchResult* result) {
  return *static_cast<const Objects*>(result->objects_);
}

PHFetchResult* fetched(Objects objects) {
  PHFetchResult* const result = [[[PHFetchResult alloc] init] autorelease];
  result->objects_ = new Objects(std::move(objects));
  return result;
}

const stand_in::Asset& asset(PHObject* object) {
  return *static_cast<const stand_in::Asset*>(object->described_);
}

const stand_in::Resource& resource(PHAssetResource* object) {
  return *static_cast<const stand_in::Resource*>(object->described_);
}

NSDate* date(const std::optional<double>& seconds) {
  return seconds ? [NSDate dateWithTimeIntervalSince1970:*seconds] : nil;
}

}  // namespace

/// What predicates and sort descriptors look at.
@interface StandInRecord : NSObject {
 @public
  const stand_in::Asset* asset_;
  NSDate* creationDate_;
}
@property(readonly) NSDate* creationDate;
@end

@implementation StandInRecord
@synthesize creationDate = creationDate_;
- (void)dealloc {
  [creationDate_ release];
  [super dealloc];
}
@end

namespace {

std::string description(PHFetchOptions* options) {
  if (options == nil) {
    return "nil";
  }
  std::ostringstream text;
  text.precision(std::numeric_limits<double>::max_digits10);
  if (auto* const predicate = static_cast<NSComparisonPredicate*>([options predicate])) {
    const bool isLess = [predicate predicateOperatorType] == NSLessThanPredicateOperatorType;
    NSDate* const limit = [[predicate rightExpression] constantValue];
    text << stand_in::text([[predicate leftExpression] keyPath]) << (isLess ? " < " : " ? ")
         << [limit timeIntervalSince1970] << ", ";
  }
  for (NSSortDescriptor* const order in [options sortDescriptors]) {
    text << stand_in::text([order key]) << ([order ascending] ? " ascending" : " descending");
  }
  return text.str();
}

using Records = std::vector<StandInRecord*>;

/// By the sort descriptor, and equal ones as the library has them; first those without the value,
/// whose place is left open.
Records sorted(const Records& records, NSSortDescriptor* order) {
  Records all;
  Records dated;
  for (StandInRecord* const record : records) {
    ([record valueForKey:[order key]] == nil ? all : dated).push_back(record);
  }
  std::ranges::sort(dated, [&](StandInRecord* one, StandInRecord* other) {
    const NSComparisonResult result = [order compareObject:one toObject:other];
    return result == NSOrderedSame ? one->asset_ < other->asset_ : result == NSOrderedAscending;
  });
  std::ranges::copy(dated, std::back_inserter(all));
  return all;
}

std::vector<const stand_in::Asset*> matching(PHFetchOptions* options) {
  Records records;
  for (const stand_in::Asset& asset : stand_in::library().assets) {
    if (!asset.isHidden) {
      StandInRecord* const record = [[[StandInRecord alloc] init] autorelease];
      record->asset_ = &asset;
      record->creationDate_ = [date(asset.creationDate) retain];
      records.push_back(record);
    }
  }
  if (NSPredicate* const predicate = [options predicate]) {
    std::erase_if(records, [&](id record) { return ![predicate evaluateWithObject:record]; });
  }
  for (NSSortDescriptor* const order in [options sortDescriptors]) {
    records = sorted(records, order);
  }
  std::vector<const stand_in::Asset*> assets;
  std::ranges::transform(records, std::back_inserter(assets),
                         [](StandInRecord* record) { return record->asset_; });
  return assets;
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
  delete static_cast<Objects*>(objects_);
  [super dealloc];
}
- (id)copyWithZone:(NSZone*)zone {
  return [self retain];
}
- (NSUInteger)count {
  called("count");
  return objectsOf(self).size();
}
- (id)make:(NSUInteger)index {
  const auto& [kind, described] = objectsOf(self).at(index);
  PHObject* const object = [[[kind alloc] init] autorelease];
  object->described_ = described;
  return object;
}
- (id)objectAtIndex:(NSUInteger)index {
  return called("objectAtIndex:", std::to_string(index)) ? nil : [self make:index];
}
- (id)firstObject {
  return called("firstObject") || objectsOf(self).empty() ? nil : [self make:0];
}
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)state
                                  objects:(id*)buffer
                                    count:(NSUInteger)length {
  if (state->state == objectsOf(self).size()) {
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
  const auto& identifier = asset(self).localIdentifier;
  return called("localIdentifier") || !identifier ? nil : stand_in::string(*identifier);
}
@end

@implementation PHAsset
+ (PHFetchResult*)fetchAssetsWithOptions:(PHFetchOptions*)options {
  const std::string asked = description(options);
  if (called("fetchAssetsWithOptions:", asked)) {
    return nil;
  }
  // What is asked of a library again and again is evaluated once.
  static std::map<std::pair<unsigned, std::string>, std::vector<const stand_in::Asset*>> kept;
  const auto key = std::pair(stand_in::generation(), asked);
  if (!kept.contains(key)) {
    kept[key] = matching(options);
  }
  Objects objects;
  for (const stand_in::Asset* const asset : kept[key]) {
    if (!asset->isDeleted) {
      objects.emplace_back([PHAsset class], asset);
    }
  }
  return fetched(std::move(objects));
}

+ (PHFetchResult*)fetchAssetsWithLocalIdentifiers:(NSArray*)identifiers
                                          options:(PHFetchOptions*)options {
  const std::string list = stand_in::text([identifiers componentsJoinedByString:@" "]);
  if (called("fetchAssetsWithLocalIdentifiers:options:",
             "[" + list + "] " + description(options))) {
    return nil;
  }
  Objects objects;
  for (const stand_in::Asset& asset : stand_in::library().assets) {
    const bool isWanted =
        asset.localIdentifier &&
        [identifiers containsObject:stand_in::string(*asset.localIdentifier)] != NO;
    if (isWanted && !asset.isDeleted) {
      objects.emplace_back([PHAsset class], &asset);
    }
  }
  return fetched(std::move(objects));
}

- (PHAssetMediaType)mediaType {
  called("mediaType");
  return static_cast<PHAssetMediaType>(asset(self).mediaType);
}
- (NSDate*)creationDate {
  return called("creationDate") ? nil : date(asset(self).creationDate);
}
- (NSDate*)modificationDate {
  return called("modificationDate") ? nil : date(asset(self).modificationDate);
}
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
  static stand_in::Asset album;
  album.localIdentifier = stand_in::library().album;
  const bool isKnown = type == PHAssetCollectionTypeSmartAlbum &&
                       subtype == PHAssetCollectionSubtypeSmartAlbumUserLibrary;
  return fetched(isKnown && album.localIdentifier ? Objects{{[PHAssetCollection class], &album}}
                                                  : Objects{});
}
@end

@implementation PHAssetResource
+ (NSArray*)assetResourcesForAsset:(PHAsset*)owner {
  if (called("assetResourcesForAsset:", asset(owner).localIdentifier.value_or("nil"))) {
    return nil;
  }
  NSMutableArray* const list = [NSMutableArray array];
  for (const stand_in::Resource& described : asset(owner).resources) {
    PHAssetResource* const resource = [[[PHAssetResource alloc] init] autorelease];
    resource->described_ = &described;
    [list addObject:resource];
  }
  return list;
}
- (PHAssetResourceType)type {
  called("type");
  return static_cast<PHAssetResourceType>(resource(self).type);
}
- (NSString*)originalFilename {
  const auto& name = resource(self).originalFilename;
  return called("originalFilename") || !name ? nil : stand_in::string(*name);
}
@end
