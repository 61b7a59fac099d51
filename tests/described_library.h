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
  /// What asking gives while the status is not determined.
  photos::AuthorizationStatus promptAnswer = photos::AuthorizationStatus::authorized;
};

}  // namespace tests
