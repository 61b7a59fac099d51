#include "tests/local_library.h"

#include <string>
#include <utility>

#include "library/library.h"
#include "library/originals.h"
#include "platform/local/local_platform.h"
#include "tests/temporary_folder.h"

namespace tests {
namespace {

library::Resource stored(const DescribedResource& described, const library::Originals& originals) {
  library::Resource resource{.type = std::to_underlying(described.type),
                             .originalFilename = described.originalFilename};
  std::string text;
  for (const std::string& chunk : described.chunks) {
    text += chunk;
    resource.chunks.push_back(static_cast<std::int64_t>(chunk.size()));
  }
  resource.content = originals.store(text).value();
  if (described.error) {
    resource.failure = {.afterBytes = resource.content.size, .error = *described.error};
  }
  return resource;
}

}  // namespace

void makeLibrary(const std::filesystem::path& folder, const DescribedLibrary& described) {
  std::filesystem::create_directories(folder);
  const library::Settings settings{
      .authorizationStatus = std::to_underlying(described.authorizationStatus),
      .userLibraryAlbum = described.userLibraryAlbum,
      .deletionSuccess = described.deletionSuccess,
      .deletionError = described.deletionError};
  const auto fill = [&](library::Library& library) -> library::Result {
    const auto originals = library::Originals::lock(folder);
    for (const DescribedAsset& asset : described.assets) {
      const auto row = library.addAsset({.localIdentifier = asset.localIdentifier,
                                         .mediaType = std::to_underlying(asset.mediaType),
                                         .creationDate = asset.creationDate,
                                         .modificationDate = asset.modificationDate});
      for (const DescribedResource& resource : asset.resources) {
        library.addResource(row.value(), stored(resource, originals.value())).value();
      }
    }
    return {};
  };
  library::Library::make(folder, settings, fill).value();
}

std::shared_ptr<photos::Platform> makeLocalPlatform(const DescribedLibrary& library) {
  struct Served {
    explicit Served(const DescribedLibrary& described) { makeLibrary(folder.path(), described); }
    TemporaryFolder folder;
    platform::local::LocalPlatform platform{folder.path()};
  };
  const auto served = std::make_shared<Served>(library);
  return {served, &served->platform};
}

}  // namespace tests
