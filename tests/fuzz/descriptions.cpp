// Descriptions for photos-sim: what is accepted is made and answers as described; what is refused
// is refused with its place; neither leaves anything else.
#include <algorithm>
#include <boost/json/serialize.hpp>
#include <fstream>
#include <iterator>
#include <set>

#include "sim/description.h"
#include "tests/fuzz/target.h"

namespace {

namespace fs = std::filesystem;
namespace json = boost::json;
using Assets = std::vector<sim::DescribedAsset>;
using Resources = std::vector<sim::DescribedResource>;
using fuzz::require;

/// Whether the files that it names are sure to be in the scratch folder. Others may be endless.
bool isInScratch(const sim::DescribedAsset& asset) {
  return std::ranges::all_of(asset.resources.value_or(Resources()), [](const auto& resource) {
    return !resource.file || !resource.file->contains('/');
  });
}

void checkResource(fuzz::Helper& helper, const std::string& identifier,
                   const sim::DescribedResource& resource, bool networkReachable) {
  const std::uint64_t size = resource.file   ? fs::file_size(fuzz::scratch() / *resource.file)
                             : resource.text ? resource.text->size()
                                             : static_cast<std::uint64_t>(resource.size->value);
  const bool isAwaited = resource.delay.value_or(sim::Delay()).seconds == 0 &&
                         !resource.bytesPerSecond && (!resource.failure || resource.failure->error);
  if (size > fuzz::ConfinedPlatform::mostZeros || !isAwaited) {
    return;
  }
  const bool isThere = networkReachable || !resource.cloud.value_or(false);
  for (const char* command : {"estimate", "export"}) {
    const json::object answer =
        helper.answer(json::serialize(json::object{{"command", command},
                                                   {"assetID", identifier},
                                                   {"photoKitResourceType", resource.type},
                                                   {"destination", "copy"}}));
    const bool succeeds = isThere && !resource.failure;
    require(answer.at("ok") == succeeds, "a resource is delivered, or fails, as described");
    require(!succeeds || answer.at("bytes") == size, "a resource has its size");
  }
}

void checkLibrary(fuzz::Helper& helper, const sim::Description& description) {
  std::size_t listed = 0;
  for (const auto& asset : description.assets.value_or(Assets())) {
    const std::int64_t mediaType = asset.mediaType.value_or(1);
    const bool isListed = (mediaType == 1 || mediaType == 2) && asset.creationDate &&
                          asset.creationDate->value.has_value();
    std::set<std::int64_t> types;
    for (const auto& resource : asset.resources.value_or(Resources())) {
      const std::set<std::int64_t> listedTypes = {1, 2, 4, 5, 6, 9, 10};
      listed += isListed && listedTypes.contains(resource.type) ? 1U : 0U;
      // Of two of one type the first counts.
      if (types.insert(resource.type).second && asset.localIdentifier) {
        checkResource(helper, *asset.localIdentifier, resource,
                      description.networkReachable.value_or(true));
      }
    }
  }
  const json::object page = helper.answer(R"({"command":"discover","limit":500})");
  require(page.at("assets").as_array().size() == listed || page.contains("nextOffset"),
          "all that is described is listed");
}

}  // namespace

const std::vector<std::string> fuzz::seeds = {
    R"({"assets": [{"localIdentifier": "A"}, {"localIdentifier": "A"}]})",
    R"({"assets": [{"resources": [{"type": 1, "originalFilename": "", "file": "none"}]}]})",
    R"({"networkReachable": false, "assets": [
      {"localIdentifier": "\u0000/", "mediaType": 2, "creationDate": 1e308, "resources": [
        {"type": 2, "originalFilename": "a.MOV", "file": "description.json", "chunks": [0, 1]},
        {"type": 9, "originalFilename": "b.MOV", "size": 300, "cloud": true},
        {"type": 4, "originalFilename": "c", "size": 9, "delay": 1e4, "bytesPerSecond": 1},
        {"type": 6, "originalFilename": "d", "text": "d", "failure": {"crash": true}},
        {"type": 5, "originalFilename": "", "text": "abc", "failure": {"error": "no"}}]}]})",
};

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fs::path place = fuzz::scratch() / "Library";
  const fs::path file = fuzz::scratch() / "description.json";
  std::ofstream(file, std::ios::binary) << std::string(data, data + size);
  auto description = sim::readDescription(file);
  if (!description) {
    require(description.error().localizedDescription.starts_with(file.string() + ": "),
            "a fault is told with its place");
  } else if (std::ranges::all_of(description->assets.value_or(Assets()), isInScratch)) {
    // Without access nothing of it could be seen.
    description->authorization = 3;
    require(sim::makeDescribedLibrary(place, *description, file).has_value(),
            "what is accepted can be made");
    fuzz::Helper helper(place);
    checkLibrary(helper, *description);
    fs::remove_all(place);
  }
  fs::remove(file);
  require(std::distance(fs::directory_iterator(fuzz::scratch()), {}) <= 1,
          "nothing but the exports is left");
  return 0;
}
