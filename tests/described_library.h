// A library in words that every backend's tests understand.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "photos/platform.h"

namespace tests {

struct DescribedResource {
  photos::AssetResourceType type{};
  std::string originalFilename;
  /// What is delivered, one after the other.
  std::vector<std::string> chunks = {};
  /// What the delivery ends with behind its chunks.
  std::optional<std::string> error = {};
};

struct DescribedAsset {
  std::string localIdentifier;
  std::optional<photos::Date> creationDate = {};
  photos::AssetMediaType mediaType = photos::AssetMediaType::image;
  std::optional<photos::Date> modificationDate = {};
  std::vector<DescribedResource> resources = {};
};

struct DescribedLibrary {
  /// In the order that equal dates keep.
  std::vector<DescribedAsset> assets = {};
  std::optional<std::string> userLibraryAlbum = {};
  photos::AuthorizationStatus authorizationStatus = photos::AuthorizationStatus::authorized;
  /// What a deletion ends with. Without success nothing is deleted.
  bool deletionSuccess = true;
  std::optional<std::string> deletionError = {};
};

}  // namespace tests
