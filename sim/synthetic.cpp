#include "sim/synthetic.h"

#include <random>
#include <string>
#include <utility>

#include "platform/local/local_identifier.h"

namespace sim {
namespace {

using photos::AssetMediaType;
using photos::AssetResourceType;
using platform::local::LibraryWriter;
using platform::local::NewAsset;
using platform::local::NewResource;

constexpr std::uint64_t millisecondsInYear = 31'557'600'000;
constexpr std::int64_t firstMillisecond = 1'262'304'000'000;  // 2010-01-01T00:00:00Z

// The engine's numbers are the same everywhere, those of the standard distributions are not.
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

// As cameras count: IMG_0001 to IMG_9999, then again.
std::string cameraName(std::int64_t index) {
  const std::string digits = std::to_string(index % 9999 + 1);
  return "IMG_" + std::string(4 - digits.size(), '0') + digits;
}

void add(NewAsset& asset, AssetResourceType type, std::string name, std::int64_t size) {
  NewResource resource;
  resource.type = static_cast<std::int64_t>(type);
  resource.originalFilename = std::move(name);
  resource.content.size = size;
  asset.resources.push_back(std::move(resource));
}

void setDates(NewAsset& asset, Chance& chance, bool edited) {
  const auto taken =
      firstMillisecond + static_cast<std::int64_t>(chance.below(15 * millisecondsInYear));
  const auto changed = taken + (edited ? chance.between(60'000, 864'000'000) : 0);
  asset.creationDate = static_cast<double>(taken) / 1000;
  asset.modificationDate = static_cast<double>(changed) / 1000;
}

void addVideo(NewAsset& asset, Chance& chance, const std::string& name, bool edited) {
  asset.mediaType = static_cast<std::int64_t>(AssetMediaType::video);
  const auto size = chance.between(5'000'000, 400'000'000);
  add(asset, AssetResourceType::video, name + ".MOV", size);
  if (edited) {
    add(asset, AssetResourceType::adjustmentData, "Adjustments.plist", chance.between(300, 4'000));
    add(asset, AssetResourceType::fullSizeVideo, "FullSizeRender.mov", size / 2);
  }
}

void addImage(NewAsset& asset, Chance& chance, const std::string& name, bool raw, bool edited) {
  asset.mediaType = static_cast<std::int64_t>(AssetMediaType::image);
  const bool live = chance.oneIn(5);
  const auto size = chance.between(1'000'000, 8'000'000);
  const auto movieSize = chance.between(2'000'000, 5'000'000);
  add(asset, AssetResourceType::photo, name + ".JPG", size);
  if (raw) {
    add(asset, AssetResourceType::alternatePhoto, name + ".DNG", size * 5);
  }
  if (live) {
    add(asset, AssetResourceType::pairedVideo, name + ".MOV", movieSize);
  }
  if (edited) {
    add(asset, AssetResourceType::adjustmentData, "Adjustments.plist", chance.between(300, 4'000));
    add(asset, AssetResourceType::fullSizePhoto, "FullSizeRender.jpg", size / 2);
  }
  if (edited && live) {
    add(asset, AssetResourceType::fullSizePairedVideo, "FullSizeRender.mov", movieSize / 2);
  }
}

NewAsset makeAsset(std::int64_t index, Chance& chance) {
  NewAsset asset;
  const auto high = chance.bits();
  asset.localIdentifier = platform::local::localIdentifier(high, chance.bits());
  const auto kind = chance.below(50);  // 5 of 50 are videos, 1 is RAW + JPEG
  const bool edited = chance.oneIn(20);
  setDates(asset, chance, edited);
  if (kind < 5) {
    addVideo(asset, chance, cameraName(index), edited);
  } else {
    addImage(asset, chance, cameraName(index), kind == 5, edited);
  }
  return asset;
}

}  // namespace

platform::local::Settings syntheticSettings() {
  platform::local::Settings settings;
  settings.authorizationStatus = static_cast<std::int64_t>(photos::AuthorizationStatus::authorized);
  settings.userLibraryAlbum = platform::local::localIdentifier(0, 0);
  return settings;
}

std::optional<Error> addSyntheticAssets(LibraryWriter& library, std::int64_t count) {
  return library.transaction([&]() -> std::optional<Error> {
    Chance chance;
    for (std::int64_t index = 0; index < count; ++index) {
      auto row = library.addAsset(makeAsset(index, chance));
      if (!row) {
        return std::move(row.error());
      }
    }
    return std::nullopt;
  });
}

}  // namespace sim
