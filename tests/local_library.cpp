#include "tests/local_library.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "library/library.h"
#include "library/originals.h"
#include "platform/local/local_platform.h"
#include "tests/temporary_folder.h"

namespace tests {

using library::Result;

namespace {

Result addDescribed(library::Library& library, const std::filesystem::path& folder,
                    const DescribedAsset& described) {
  const auto originals = library::Originals::lock(folder);
  const auto row = library.addAsset({.localIdentifier = described.localIdentifier,
                                     .mediaType = std::to_underlying(described.mediaType),
                                     .creationDate = described.creationDate,
                                     .modificationDate = described.modificationDate});
  Result added = row ? Result() : std::unexpected(row.error());
  for (const DescribedResource& each : described.resources) {
    library::Resource resource{.type = std::to_underlying(each.type),
                               .originalFilename = each.originalFilename};
    std::string text;
    for (const std::string& chunk : each.chunks) {
      text += chunk;
      resource.chunks.push_back(static_cast<std::int64_t>(chunk.size()));
    }
    resource.content = originals.value().store(text).value();
    if (each.error) {
      resource.failure = {.afterBytes = resource.content.size, .error = *each.error};
    }
    added = added ? library.addResource(*row, resource) : added;
  }
  return added;
}

}  // namespace

void makeLibrary(const std::filesystem::path& folder, const DescribedLibrary& described) {
  std::filesystem::create_directories(folder);
  const library::Settings settings{
      .authorizationStatus = std::to_underlying(described.authorizationStatus),
      .promptAnswer = std::to_underlying(described.promptAnswer),
      .userLibraryAlbum = described.userLibraryAlbum,
      .deletionSuccess = described.deletionSuccess,
      .deletionError = described.deletionError};
  const Result made = library::Library::make(folder, settings, [&](library::Library& library) {
    Result added;
    for (auto asset = described.assets.begin(); added && asset != described.assets.end(); ++asset) {
      added = addDescribed(library, folder, *asset);
    }
    return added;
  });
  ASSERT_TRUE(made) << made.error().localizedDescription;
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
