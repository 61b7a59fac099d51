#include "sim/importer.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>

#include "platform/local/local_identifier.h"
#include "sim/capture_date.h"
#include "utf8.h"

namespace sim {
namespace {

namespace fs = std::filesystem;
using photos::AssetResourceType;
using platform::local::NewAsset;
using platform::local::NewResource;

// A library's texts are UTF-8, a file's name may be anything.
std::string textOf(const std::string& name) {
  std::string text;
  utf8::replace_invalid(name.begin(), name.end(), std::back_inserter(text));
  return text;
}

// Why the file's bytes can't be read; nothing when they can.
std::optional<Error> whyUnreadable(const fs::path& file) {
  errno = 0;
  std::ifstream stream(file, std::ios::binary);
  std::vector<char> buffer(std::size_t{1} << 16);
  while (stream.read(buffer.data(), static_cast<std::streamsize>(buffer.size()))) {
  }
  if (stream.eof() && !stream.bad()) {
    return std::nullopt;
  }
  return failure(file, lastSystemError());
}

// The still's own Exif, else that of the photos that belong to it, else the file's date.
std::optional<photos::Date> creationDate(const FolderGroup& group) {
  for (const MediaFile& file : group.media.files) {
    const bool isPhoto = file.type == AssetResourceType::photo ||
                         file.type == AssetResourceType::alternatePhoto ||
                         file.type == AssetResourceType::fullSizePhoto;
    if (isPhoto) {
      if (const auto date = exifCaptureDate(group.folder / file.name)) {
        return date;
      }
    }
  }
  return fileDate(group.folder / group.media.files.front().name);
}

NewAsset newAsset(const FolderGroup& group, std::vector<NewResource> resources) {
  NewAsset asset;
  asset.localIdentifier = platform::local::randomLocalIdentifier();
  asset.mediaType = static_cast<std::int64_t>(group.media.mediaType);
  asset.creationDate = creationDate(group);
  asset.modificationDate = fileDate(group.folder / group.media.files.front().name);
  asset.resources = std::move(resources);
  return asset;
}

}  // namespace

// The group's files as the library holds them now, without those that can't be read; none when the
// photo or video itself is among these.
std::expected<Importer::Resources, Error> Importer::store(const FolderGroup& group) {
  Resources resources;
  for (const MediaFile& file : group.media.files) {
    const fs::path path = group.folder / file.name;
    auto content = library_.storeFile(path);
    if (content) {
      NewResource resource;
      resource.type = static_cast<std::int64_t>(file.type);
      resource.originalFilename = textOf(file.name);
      resource.content = std::move(*content);
      resources.push_back(std::move(resource));
      continue;
    }
    auto reason = whyUnreadable(path);
    if (!reason) {
      return std::unexpected(std::move(content.error()));
    }
    unreadable_.push_back(std::move(*reason));
    if (resources.empty()) {
      for (std::size_t index = 1; index < group.media.files.size(); ++index) {
        unreadable_.push_back(
            failure(group.folder / group.media.files[index].name, "belongs to " + file.name));
      }
      break;
    }
  }
  return resources;
}

std::expected<ImportCount, Error> Importer::addMissing(std::int64_t asset,
                                                       const Resources& resources) {
  ImportCount count;
  for (const NewResource& resource : resources) {
    const auto holder = library_.assetHolding(*resource.content.sha256);
    if (!holder) {
      return std::unexpected(holder.error());
    }
    if (*holder) {
      ++count.held;
    } else if (auto error = library_.addResource(asset, resource)) {
      return std::unexpected(std::move(*error));
    } else {
      ++count.files;
    }
  }
  return count;
}

std::expected<ImportCount, Error> Importer::addRows(const FolderGroup& group, Resources resources) {
  const auto holder = library_.assetHolding(*resources.front().content.sha256);
  if (!holder) {
    return std::unexpected(holder.error());
  }
  if (*holder) {
    return addMissing(**holder, resources);
  }
  const ImportCount count{.assets = 1, .files = resources.size()};
  const auto row = library_.addAsset(newAsset(group, std::move(resources)));
  if (!row) {
    return std::unexpected(row.error());
  }
  return count;
}

std::optional<Error> Importer::add(const FolderGroup& group) {
  auto resources = store(group);
  if (!resources) {
    return std::move(resources.error());
  }
  if (resources->empty()) {
    return std::nullopt;
  }
  ImportCount count;
  auto error = library_.transaction([&]() -> std::optional<Error> {
    auto added = addRows(group, std::move(*resources));
    if (!added) {
      return std::move(added.error());
    }
    count = *added;
    return std::nullopt;
  });
  if (!error) {
    total_.assets += count.assets;
    total_.files += count.files;
    total_.held += count.held;
  }
  return error;
}

}  // namespace sim
