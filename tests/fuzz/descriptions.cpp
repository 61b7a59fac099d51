// Descriptions for photos-sim: what is accepted is made and can be served; what is refused is
// refused with its place; neither leaves anything else.
#include <algorithm>
#include <fstream>
#include <iterator>

#include "sim/description.h"
#include "tests/fuzz/target.h"

namespace {

namespace fs = std::filesystem;
using Assets = std::vector<sim::DescribedAsset>;
using Resources = std::vector<sim::DescribedResource>;
using fuzz::require;

/// Whether the files that it names are sure to be in the scratch folder. Others may be endless.
bool isInScratch(const sim::DescribedAsset& asset) {
  return std::ranges::all_of(asset.resources.value_or(Resources()), [](const auto& resource) {
    return !resource.file || !resource.file->contains('/');
  });
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
    require(fuzz::Helper(place).answer(R"({"command":"discover","limit":500})").at("ok") == true,
            "what is made can be served");
    fs::remove_all(place);
  }
  fs::remove(file);
  require(std::distance(fs::directory_iterator(fuzz::scratch()), {}) <= 1,
          "nothing but the exports is left");
  return 0;
}
