// What the handlers rely on, whatever is behind the seam. A backend's tests instantiate this suite
// with a way to make a platform of a described library, and build with platform_contract.cpp:
//
//   INSTANTIATE_TEST_SUITE_P(Local, PlatformContract, testing::Values(makeLocalPlatform));
#pragma once

#include <gtest/gtest.h>

#include <memory>
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

using MakePlatform = std::shared_ptr<photos::Platform> (*)(const DescribedLibrary&);

class PlatformContract : public testing::TestWithParam<MakePlatform> {};

}  // namespace tests
