#include "sim/camera_roll.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <initializer_list>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

namespace sim {
namespace {

using photos::AssetMediaType;
using photos::AssetResourceType;

enum class Kind { jpegOrHeic, otherStill, raw, movie, otherVideo, adjustments, unknown };

struct NamedFile {
  std::string name;
  Kind kind;
};

using Files = std::vector<NamedFile>;

struct KnownExtension {
  std::string_view extension;
  Kind kind;
};

constexpr std::array<KnownExtension, 21> knownExtensions{{
    {".jpg", Kind::jpegOrHeic},  {".jpeg", Kind::jpegOrHeic}, {".heic", Kind::jpegOrHeic},
    {".heif", Kind::jpegOrHeic}, {".png", Kind::otherStill},  {".gif", Kind::otherStill},
    {".tif", Kind::otherStill},  {".tiff", Kind::otherStill}, {".webp", Kind::otherStill},
    {".arw", Kind::raw},         {".cr2", Kind::raw},         {".cr3", Kind::raw},
    {".dng", Kind::raw},         {".nef", Kind::raw},         {".orf", Kind::raw},
    {".raf", Kind::raw},         {".rw2", Kind::raw},         {".mov", Kind::movie},
    {".mp4", Kind::otherVideo},  {".m4v", Kind::otherVideo},  {".avi", Kind::otherVideo},
}};

constexpr auto stills = {Kind::jpegOrHeic, Kind::otherStill, Kind::raw};
constexpr auto videos = {Kind::movie, Kind::otherVideo};

std::string lowercase(std::string text) {
  for (char& character : text) {
    if (character >= 'A' && character <= 'Z') {
      character = static_cast<char>(character - 'A' + 'a');
    }
  }
  return text;
}

Kind kindOf(const std::string& name) {
  // "._IMG_1234.JPG" holds what macOS knows about IMG_1234.JPG on a foreign disk, not a photo.
  if (name.starts_with("._")) {
    return Kind::unknown;
  }
  const std::string extension = lowercase(std::filesystem::path(name).extension().string());
  if (extension == ".aae") {
    return Kind::adjustments;
  }
  const auto* const known = std::find_if(
      knownExtensions.begin(), knownExtensions.end(),
      [&](const KnownExtension& candidate) { return candidate.extension == extension; });
  return known == knownExtensions.end() ? Kind::unknown : known->kind;
}

std::string stemOf(const std::string& name) {
  return lowercase(std::filesystem::path(name).stem().string());
}

/// "img_e1234" for "img_1234"; nothing for a name without a number.
std::optional<std::string> stemOfEdit(const std::string& stem) {
  constexpr std::string_view prefix = "img_";
  const std::string number = stem.starts_with(prefix) ? stem.substr(prefix.size()) : "";
  if (number.empty() || number[0] < '0' || number[0] > '9') {
    return std::nullopt;
  }
  return std::string(prefix) + "e" + number;
}

/// Takes a file of the first of these kinds that is there.
std::optional<NamedFile> take(Files& files, std::initializer_list<Kind> kinds) {
  for (const Kind kind : kinds) {
    const auto found = std::find_if(files.begin(), files.end(),
                                    [kind](const NamedFile& file) { return file.kind == kind; });
    if (found != files.end()) {
      NamedFile taken = std::move(*found);
      files.erase(found);
      return taken;
    }
  }
  return std::nullopt;
}

bool addIfAny(MediaGroup& group, AssetResourceType type, std::optional<NamedFile> file) {
  if (file) {
    group.files.push_back({type, std::move(file->name)});
  }
  return file.has_value();
}

MediaGroup groupStill(NamedFile still, Files& files, Files& edits) {
  MediaGroup group{AssetMediaType::image, {{AssetResourceType::photo, std::move(still.name)}}};
  if (still.kind == Kind::jpegOrHeic) {
    addIfAny(group, AssetResourceType::alternatePhoto, take(files, {Kind::raw}));
  }
  const bool live = addIfAny(group, AssetResourceType::pairedVideo, take(files, {Kind::movie}));
  addIfAny(group, AssetResourceType::adjustmentData, take(files, {Kind::adjustments}));
  addIfAny(group, AssetResourceType::fullSizePhoto, take(edits, stills));
  if (live) {
    addIfAny(group, AssetResourceType::fullSizePairedVideo, take(edits, {Kind::movie}));
  }
  return group;
}

MediaGroup groupVideo(NamedFile video, Files& files, Files& edits) {
  MediaGroup group{AssetMediaType::video, {{AssetResourceType::video, std::move(video.name)}}};
  addIfAny(group, AssetResourceType::adjustmentData, take(files, {Kind::adjustments}));
  addIfAny(group, AssetResourceType::fullSizeVideo, take(edits, videos));
  return group;
}

std::optional<MediaGroup> takeGroup(Files& files, Files& edits) {
  if (auto still = take(files, stills)) {
    return groupStill(std::move(*still), files, edits);
  }
  if (auto video = take(files, videos)) {
    return groupVideo(std::move(*video), files, edits);
  }
  return std::nullopt;
}

}  // namespace

GroupedFiles groupFiles(std::vector<std::string> names) {
  std::sort(names.begin(), names.end());
  GroupedFiles grouped;
  std::map<std::string, Files> filesByStem;
  for (std::string& name : names) {
    const Kind kind = kindOf(name);
    if (kind == Kind::unknown) {
      grouped.unknownKind.push_back(std::move(name));
    } else {
      std::string stem = stemOf(name);
      filesByStem[std::move(stem)].push_back({std::move(name), kind});
    }
  }
  // Digits sort before "e": a photo takes its edits before they come up themselves.
  for (auto& [stem, files] : filesByStem) {
    Files none;
    const auto editStem = stemOfEdit(stem);
    const auto edits = editStem ? filesByStem.find(*editStem) : filesByStem.end();
    while (auto group = takeGroup(files, edits == filesByStem.end() ? none : edits->second)) {
      grouped.groups.push_back(std::move(*group));
    }
    for (NamedFile& file : files) {
      grouped.adjustmentsAlone.push_back(std::move(file.name));
    }
  }
  return grouped;
}

}  // namespace sim
