#include "sim/synthetic.h"

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "library/local_identifier.h"
#include "photos/platform.h"
#include "sim/new_library.h"

namespace sim {
namespace {

using library::Result;
using photos::AssetMediaType;
using photos::AssetResourceType;

constexpr std::uint64_t millisecondsInYear = 31'557'600'000;
constexpr std::int64_t firstMillisecond = 1'262'304'000'000;  // 2010-01-01T00:00:00Z

/// The engine's numbers are the same everywhere, those of the standard distributions are not.
class Chance {
 public:
  std::uint64_t bits() { return engine_(); }
  std::uint64_t below(std::uint64_t bound) { return engine_() % bound; }
  bool oneIn(std::uint64_t count) { return below(count) == 0; }
  std::int64_t between(std::int64_t low, std::int64_t high) {
    return low + static_cast<std::int64_t>(below(static_cast<std::uint64_t>(high - low)));
  }

 private:
  std::mt19937_64 engine_{209};
};

/// As cameras count: IMG_0001 to IMG_9999, then again.
std::string cameraName(std::int64_t index) {
  const std::string digits = std::to_string(index % 9999 + 1);
  return "IMG_" + std::string(4 - digits.size(), '0') + digits;
}

struct SyntheticAsset {
  library::Asset asset;
  std::vector<library::Resource> resources;

  void add(AssetResourceType type, std::string name, std::int64_t size) {
    resources.push_back({.type = static_cast<std::int64_t>(type),
                         .originalFilename = std::move(name),
                         .content = {.size = size}});
  }
};

void setDates(library::Asset& asset, Chance& chance, bool edited) {
  const auto taken =
      firstMillisecond + static_cast<std::int64_t>(chance.below(15 * millisecondsInYear));
  const auto changed = taken + (edited ? chance.between(60'000, 864'000'000) : 0);
  asset.creationDate = static_cast<double>(taken) / 1000;
  asset.modificationDate = static_cast<double>(changed) / 1000;
}

void addVideo(SyntheticAsset& made, Chance& chance, const std::string& name, bool edited) {
  made.asset.mediaType = static_cast<std::int64_t>(AssetMediaType::video);
  const auto size = chance.between(5'000'000, 400'000'000);
  made.add(AssetResourceType::video, name + ".MOV", size);
  if (edited) {
    made.add(AssetResourceType::adjustmentData, "Adjustments.plist", chance.between(300, 4'000));
    made.add(AssetResourceType::fullSizeVideo, "FullSizeRender.mov", size / 2);
  }
}

void addImage(SyntheticAsset& made, Chance& chance, const std::string& name, bool raw,
              bool edited) {
  const bool live = chance.oneIn(5);
  const auto size = chance.between(1'000'000, 8'000'000);
  const auto movieSize = chance.between(2'000'000, 5'000'000);
  made.add(AssetResourceType::photo, name + ".JPG", size);
  if (raw) {
    made.add(AssetResourceType::alternatePhoto, name + ".DNG", size * 5);
  }
  if (live) {
    made.add(AssetResourceType::pairedVideo, name + ".MOV", movieSize);
  }
  if (edited) {
    made.add(AssetResourceType::adjustmentData, "Adjustments.plist", chance.between(300, 4'000));
    made.add(AssetResourceType::fullSizePhoto, "FullSizeRender.jpg", size / 2);
  }
  if (edited && live) {
    made.add(AssetResourceType::fullSizePairedVideo, "FullSizeRender.mov", movieSize / 2);
  }
}

SyntheticAsset makeAsset(std::int64_t index, Chance& chance) {
  SyntheticAsset made;
  const auto high = chance.bits();
  made.asset.localIdentifier = library::localIdentifier(high, chance.bits());
  const auto kind = chance.below(50);  // 5 of 50 are videos, 1 is RAW + JPEG
  const bool edited = chance.oneIn(20);
  setDates(made.asset, chance, edited);
  if (kind < 5) {
    addVideo(made, chance, cameraName(index), edited);
  } else {
    addImage(made, chance, cameraName(index), kind == 5, edited);
  }
  return made;
}

Result addAssets(library::Library& library, std::int64_t count) {
  Chance chance;
  for (std::int64_t index = 0; index < count; ++index) {
    const SyntheticAsset made = makeAsset(index, chance);
    const auto asset = library.addAsset(made.asset);
    if (!asset) {
      return std::unexpected(asset.error());
    }
    for (const library::Resource& resource : made.resources) {
      if (Result added = library.addResource(*asset, resource); !added) {
        return added;
      }
    }
  }
  return {};
}

}  // namespace

Result makeSyntheticLibrary(const std::filesystem::path& place, std::int64_t count) {
  const library::Settings settings{
      .authorizationStatus = static_cast<std::int64_t>(photos::AuthorizationStatus::authorized),
      .userLibraryAlbum = library::localIdentifier(0, 0)};
  return makeLibrary(place, settings, [count](library::Library& library, const auto&) {
    return addAssets(library, count);
  });
}

}  // namespace sim
