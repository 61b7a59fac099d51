#include "sim/importer.h"

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "library/local_identifier.h"
#include "sim/capture_date.h"
#include "utf8.h"

namespace sim {
namespace {

using photos::AssetResourceType;

/// The still's own Exif, else that of the photos that belong to it, else the file's date.
std::optional<photos::Date> creationDate(const FolderGroup& group) {
  for (const MediaFile& file : group.media.files) {
    const bool isPhoto = file.type == AssetResourceType::photo ||
                         file.type == AssetResourceType::alternatePhoto ||
                         file.type == AssetResourceType::fullSizePhoto;
    const auto date = isPhoto ? exifCaptureDate(group.folder / file.name) : std::nullopt;
    if (date) {
      return date;
    }
  }
  return fileDate(group.folder / group.media.files.front().name);
}

library::Asset newAsset(const FolderGroup& group) {
  return {.localIdentifier = library::randomLocalIdentifier(),
          .mediaType = static_cast<std::int64_t>(group.media.mediaType),
          .creationDate = creationDate(group),
          .modificationDate = fileDate(group.folder / group.media.files.front().name)};
}

}  // namespace

/// Stores the group's files and gives their resources, without the files that can't be read. Gives
/// none when the photo or video itself can't be read.
std::expected<Importer::Resources, Error> Importer::store(const FolderGroup& group) {
  Resources resources;
  for (const MediaFile& file : group.media.files) {
    auto content = originals_.storeFile(group.folder / file.name);
    if (!content && !content.error().isUnreadable) {
      return std::unexpected(std::move(content.error()));
    }
    if (!content) {
      unreadable_.push_back(std::move(content.error()));
      if (!resources.empty()) {
        continue;
      }
      for (const MediaFile& other : std::span(group.media.files).subspan(1)) {
        unreadable_.push_back(failure(group.folder / other.name, "belongs to " + file.name));
      }
      break;
    }
    // A library's texts are UTF-8, a file's name may be anything.
    resources.push_back({.type = static_cast<std::int64_t>(file.type),
                         .originalFilename = utf8::replace_invalid(file.name),
                         .content = std::move(*content)});
  }
  return resources;
}

/// A photo or video that the library holds is not added again; files that belong to it and are new
/// go to the asset that holds it.
Result Importer::addRows(const FolderGroup& group, const Resources& resources, ImportCount& count) {
  const auto holder = library_.rowOfAssetHolding(*resources.front().content.sha256);
  if (!holder) {
    return std::unexpected(holder.error());
  }
  const auto asset = *holder ? **holder : library_.addAsset(newAsset(group));
  if (!asset) {
    return std::unexpected(asset.error());
  }
  count.assets = *holder ? 0 : 1;
  for (const library::Resource& resource : resources) {
    const auto held = library_.rowOfAssetHolding(*resource.content.sha256);
    if (!held) {
      return std::unexpected(held.error());
    }
    if (*holder && *held) {
      ++count.held;
      continue;
    }
    if (Result added = library_.addResource(*asset, resource); !added) {
      return added;
    }
    ++count.files;
  }
  return {};
}

Result Importer::add(const FolderGroup& group) {
  const auto resources = store(group);
  if (!resources) {
    return std::unexpected(resources.error());
  }
  if (resources->empty()) {
    return {};
  }
  ImportCount count;
  Result added =
      library_.transaction([&] { return addRows(group, *resources, count = ImportCount()); });
  if (added) {
    total_.assets += count.assets;
    total_.files += count.files;
    total_.held += count.held;
  }
  return added;
}

}  // namespace sim
