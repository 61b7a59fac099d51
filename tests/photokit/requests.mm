#include "tests/photokit/requests.h"

#include "dispatch/dispatcher.h"
#include "platform/system_platform.h"
#include "protocol/response_encoder.h"

namespace tests {

std::string ask(const protocol::Request& request) {
  const auto platform = platform::makeSystemPlatform();
  return protocol::encode(dispatch::response(request, *platform)).value_or("not encoded");
}

stand_in::Library smallLibrary() {
  using enum photos::AssetResourceType;
  stand_in::Library library;
  library.userLibraryAlbum = "ALBUM/L0/040";
  library.assets = {{.localIdentifier = "V/L0/001",
                     .creationDate = 7,
                     .mediaType = photos::AssetMediaType::video},
                    {.localIdentifier = "undated"},
                    {.localIdentifier = "A/L0/001",
                     .creationDate = 5.5,
                     .modificationDate = 6,
                     .resources = {{photo, "IMG_0001.CR2", {"ab", "", "c"}},
                                   {pairedVideo, "IMG_0001.MOV", {"video"}, true}}},
                    {.localIdentifier = "H", .creationDate = 1}};
  library.hidden = {"H"};
  return library;
}

std::vector<protocol::Request> everyCommand(const std::filesystem::path& destination) {
  const std::string photo = "A/L0/001";
  return {{.command = "authorize"},
          {.command = "discover", .cutoff = 7, .includeVideos = false},
          {.command = "estimate", .assetID = photo, .photoKitResourceType = 9},
          {.command = "export",
           .assetID = photo,
           .photoKitResourceType = 1,
           .destination = destination.string()},
          {.command = "open", .assetID = photo},
          {.command = "reclaim", .assetIDs = {{"H", photo}}}};
}

}  // namespace tests
