// The library's objects as handlers see them. A value counts as missing when the framework raises
// an exception instead of giving it, and when the object is nil.
#pragma once

#import <Photos/Photos.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "photos/platform.h"
#include "platform/photokit/attempt.h"
#include "platform/photokit/retained.h"

namespace platform::photokit {

class PhotoKitAsset : public photos::Asset {
 public:
  explicit PhotoKitAsset(Retained<PHAsset> asset) : asset_(std::move(asset)) {}

  [[nodiscard]] PHAsset* get() const { return asset_.get(); }

  [[nodiscard]] std::string localIdentifier() const override;
  [[nodiscard]] photos::AssetMediaType mediaType() const override;
  [[nodiscard]] std::optional<photos::Date> creationDate() const override;
  [[nodiscard]] std::optional<photos::Date> modificationDate() const override;

 private:
  Retained<PHAsset> asset_;
};

class PhotoKitResource : public photos::AssetResource {
 public:
  /// Reads the type at once, since it decides which resource a request means. Lets the framework's
  /// exception out.
  explicit PhotoKitResource(Retained<PHAssetResource> resource)
      : resource_(std::move(resource)), type_{[resource_.get() type]} {}

  [[nodiscard]] PHAssetResource* get() const { return resource_.get(); }

  [[nodiscard]] photos::AssetResourceType type() const override { return type_; }
  [[nodiscard]] std::string originalFilename() const override;

 private:
  Retained<PHAssetResource> resource_;
  photos::AssetResourceType type_;
};

class PhotoKitCollection : public photos::AssetCollection {
 public:
  explicit PhotoKitCollection(Retained<PHAssetCollection> collection)
      : collection_(std::move(collection)) {}

  [[nodiscard]] std::string localIdentifier() const override;

 private:
  Retained<PHAssetCollection> collection_;
};

/// A fetch result of `Native` objects, each wrapped as it is asked for; nil is an empty one.
template <class Base, class Object, class Wrapper, class Native>
class PhotoKitFetchResult : public Base {
 public:
  explicit PhotoKitFetchResult(Retained<PHFetchResult<Native*>> result)
      : result_(std::move(result)) {}

  [[nodiscard]] PHFetchResult<Native*>* get() const { return result_.get(); }

  [[nodiscard]] std::size_t count() override {
    return attempt(std::size_t{0}, [this] { return std::size_t{[result_.get() count]}; });
  }

  [[nodiscard]] std::unique_ptr<Object> objectAtIndex(std::size_t index) override {
    return std::make_unique<Wrapper>(attempt(Retained<Native>(), [this, index] {
      return Retained<Native>([result_.get() objectAtIndex:index]);
    }));
  }

  [[nodiscard]] std::unique_ptr<Object> firstObject() override {
    Retained<Native> first = attempt(
        Retained<Native>(), [this] { return Retained<Native>([result_.get() firstObject]); });
    return first ? std::make_unique<Wrapper>(std::move(first)) : nullptr;
  }

 private:
  Retained<PHFetchResult<Native*>> result_;
};

using PhotoKitCollections =
    PhotoKitFetchResult<photos::AssetCollectionFetchResult, photos::AssetCollection,
                        PhotoKitCollection, PHAssetCollection>;

class PhotoKitAssets
    : public PhotoKitFetchResult<photos::AssetFetchResult, photos::Asset, PhotoKitAsset, PHAsset> {
 public:
  using PhotoKitFetchResult::PhotoKitFetchResult;

  /// Reads no more of an asset than the filter needs. An asset that can't be read is passed over.
  [[nodiscard]] std::optional<std::size_t> indexOfAsset(const photos::AssetFilter& filter,
                                                        std::size_t index,
                                                        std::uint64_t skipped) override;
};

using Resources = std::vector<std::unique_ptr<photos::AssetResource>>;

/// The asset's resources, in the library's order; none when any of them can't be had.
[[nodiscard]] Resources resourcesOf(PHAsset* asset);

}  // namespace platform::photokit
