#include "sim/synthetic.h"

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "library/local_identifier.h"
#include "photos/platform.h"
#include "sim/message.h"
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

/// What has been made so far.
struct Made {
  std::int64_t assets = 0;
  std::int64_t resources = 0;
  std::int64_t bytes = 0;
};

library::Asset makeAsset(Chance& chance, bool isVideo, bool isEdited) {
  const auto high = chance.bits();
  const auto taken =
      firstMillisecond + static_cast<std::int64_t>(chance.below(15 * millisecondsInYear));
  const auto changed = taken + (isEdited ? chance.between(60'000, 864'000'000) : 0);
  return {.localIdentifier = library::localIdentifier(high, chance.bits()),
          .mediaType =
              static_cast<std::int64_t>(isVideo ? AssetMediaType::video : AssetMediaType::image),
          .creationDate = static_cast<double>(taken) / 1000,
          .modificationDate = static_cast<double>(changed) / 1000};
}

using Parts = std::vector<std::pair<AssetResourceType, std::string>>;

Parts partsOfVideo(const std::string& name, bool isEdited) {
  Parts parts{{AssetResourceType::video, name + ".MOV"}};
  if (isEdited) {
    parts.emplace_back(AssetResourceType::adjustmentData, "Adjustments.plist");
    parts.emplace_back(AssetResourceType::fullSizeVideo, "FullSizeRender.mov");
  }
  return parts;
}

Parts partsOfImage(const std::string& name, bool isRaw, bool isLive, bool isEdited) {
  Parts parts{{AssetResourceType::photo, name + ".JPG"}};
  if (isRaw) {
    parts.emplace_back(AssetResourceType::alternatePhoto, name + ".DNG");
  }
  if (isLive) {
    parts.emplace_back(AssetResourceType::pairedVideo, name + ".MOV");
  }
  if (isEdited) {
    parts.emplace_back(AssetResourceType::adjustmentData, "Adjustments.plist");
    parts.emplace_back(AssetResourceType::fullSizePhoto, "FullSizeRender.jpg");
  }
  if (isEdited && isLive) {
    parts.emplace_back(AssetResourceType::fullSizePairedVideo, "FullSizeRender.mov");
  }
  return parts;
}

Result addAsset(library::Library& library, Chance& chance, std::int64_t bytesPerResource,
                Made& made) {
  const auto kind = chance.below(50);  // 5 of 50 are videos, 1 is RAW + JPEG
  const bool isVideo = kind < 5;
  const bool isEdited = chance.oneIn(20);
  const bool isLive = chance.oneIn(5);
  const std::string name = cameraName(made.assets++);
  const auto asset = library.addAsset(makeAsset(chance, isVideo, isEdited));
  Result added = asset ? Result() : std::unexpected(asset.error());
  for (const auto& [type, filename] :
       isVideo ? partsOfVideo(name, isEdited) : partsOfImage(name, kind == 5, isLive, isEdited)) {
    const auto size = bytesPerResource / 2 + chance.between(0, bytesPerResource + 1);
    ++made.resources;
    made.bytes += size;
    if (added) {
      added = library.addResource(*asset, {.type = static_cast<std::int64_t>(type),
                                           .originalFilename = filename,
                                           .content = {.size = size}});
    }
  }
  return added;
}

}  // namespace

Result makeSyntheticLibrary(const std::filesystem::path& place, std::int64_t count,
                            std::int64_t bytesPerResource) {
  const library::Settings settings{
      .authorizationStatus = static_cast<std::int64_t>(photos::AuthorizationStatus::authorized),
      .userLibraryAlbum = library::localIdentifier(0, 0)};
  Made made;
  const auto fill = [&](library::Library& library, const auto&) {
    Chance chance;
    Result added;
    while (added && made.assets < count) {
      added = addAsset(library, chance, bytesPerResource, made);
    }
    return added;
  };
  Result done = makeLibrary(place, settings, fill);
  if (done) {
    say("made " + counted(made.assets, "asset") + " with " + counted(made.resources, "resource") +
        " of " + counted(made.bytes, "byte") + " in all");
  }
  return done;
}

}  // namespace sim
