// Descriptions for photos-sim: what is accepted is made and answers as described; what is refused
// is refused with its place; neither leaves anything else.
#include <algorithm>
#include <boost/json/array.hpp>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "sim/description.h"
#include "tests/fuzz/target.h"

namespace {

namespace fs = std::filesystem;
namespace json = boost::json;
using Assets = std::vector<sim::DescribedAsset>;
using Resources = std::vector<sim::DescribedResource>;
using fuzz::require;

const std::set<std::int64_t> listedTypes = {1, 2, 4, 5, 6, 9, 10};

/// Whether a file that it names is sure to be in the scratch folder. Others may be endless.
bool isInScratch(const sim::DescribedResource& resource) {
  return !resource.file || !resource.file->contains('/');
}

std::int64_t sizeOf(const sim::DescribedResource& resource) {
  return resource.file ? static_cast<std::int64_t>(fs::file_size(fuzz::scratch() / *resource.file))
         : resource.text ? static_cast<std::int64_t>(resource.text->size())
                         : resource.size->value;
}

void checkResource(fuzz::Helper& helper, const std::string& identifier,
                   const sim::DescribedResource& resource, bool networkReachable) {
  const std::int64_t size = sizeOf(resource);
  if (size > fuzz::ConfinedPlatform::mostZeros) {
    return;
  }
  const bool isThere = networkReachable || !resource.cloud.value_or(false);
  const bool succeeds = isThere && !resource.failure;
  for (const char* command : {"estimate", "export"}) {
    const json::object answer = helper.answer({{"command", command},
                                               {"assetID", identifier},
                                               {"photoKitResourceType", resource.type},
                                               {"destination", "copy"}});
    require(answer.at("ok") == succeeds, "a resource is delivered, or fails, as described");
    require(!succeeds || answer.at("bytes") == size, "a resource has its size");
    if (isThere && resource.failure && command == std::string("export")) {
      require(answer.at("error").as_string() ==
                  resource.failure->error.value_or("the resource could not be delivered"),
              "a delivery fails with its error");
    }
  }
}

/// How many summaries the library has on all its pages.
std::size_t discover(fuzz::Helper& helper) {
  std::size_t count = 0;
  json::value next = 0;
  do {
    const json::object page = helper.answer({{"command", "discover"}, {"offset", next}});
    require(page.at("ok") == true, "the assets are listed");
    count += page.at("assets").as_array().size();
    next = page.contains("nextOffset") ? page.at("nextOffset") : nullptr;
  } while (!next.is_null());
  return count;
}

void checkLibrary(fuzz::Helper& helper, const sim::Description& description) {
  std::size_t listed = 0;
  json::array identifiers;
  for (const auto& asset : description.assets.value_or(Assets())) {
    const std::int64_t mediaType = asset.mediaType.value_or(1);
    const bool isListed = (mediaType == 1 || mediaType == 2) && asset.creationDate &&
                          asset.creationDate->value.has_value();
    std::set<std::int64_t> types;
    for (const auto& resource : asset.resources.value_or(Resources())) {
      listed += isListed && listedTypes.contains(resource.type) ? 1U : 0U;
      // Of two of one type the first counts.
      if (types.insert(resource.type).second && asset.localIdentifier) {
        checkResource(helper, *asset.localIdentifier, resource,
                      description.networkReachable.value_or(true));
      }
    }
    if (asset.localIdentifier) {
      identifiers.emplace_back(*asset.localIdentifier);
    }
  }
  require(discover(helper) == listed, "all that is described is listed");
  const bool succeeds = !description.deletion || description.deletion->success;
  const auto reclaimed = helper.answer({{"command", "reclaim"}, {"assetIDs", identifiers}});
  require(reclaimed.at("ok") == (succeeds && !identifiers.empty()), "a deletion ends as described");
}

}  // namespace

const std::vector<std::string> fuzz::seeds = {
    "",
    "{}",
    R"({"assets": [{"localIdentifier": "A"}, {"localIdentifier": "A"}]})",
    R"({"assets": [{"resources": [{"type": 1, "originalFilename": "", "file": "none"}]}]})",
    R"({"deletion": {"success": false}, "networkReachable": false, "assets": [
      {"localIdentifier": "\u0000/", "mediaType": 2, "creationDate": 1e308, "resources": [
        {"type": 2, "originalFilename": "a.MOV", "file": "description.json", "chunks": [0, 1]},
        {"type": 9, "originalFilename": "b.MOV", "size": 300, "cloud": true},
        {"type": 5, "originalFilename": "", "text": "abc", "failure": {"error": "no"}}]}]})",
};

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::emptyExports();
  const fs::path place = fuzz::scratch() / "Library";
  const fs::path file = fuzz::scratch() / "description.json";
  std::ofstream(file, std::ios::binary) << std::string(reinterpret_cast<const char*>(data), size);
  auto description = sim::readDescription(file);
  if (!description) {
    require(description.error().localizedDescription.starts_with(file.string() + ": "),
            "a fault is told with its place");
  } else if (std::ranges::all_of(description->assets.value_or(Assets()), [](const auto& asset) {
               return std::ranges::all_of(asset.resources.value_or(Resources()), isInScratch);
             })) {
    // Without access nothing of it could be seen.
    description->authorization = 3;
    require(sim::makeDescribedLibrary(place, *description, file).has_value(),
            "what is accepted can be made");
    fuzz::Helper helper(place);
    checkLibrary(helper, *description);
    fs::remove_all(place);
  }
  require(std::distance(fs::directory_iterator(fuzz::scratch()), {}) == 2,
          "only the description and the exports are left");
  return 0;
}
