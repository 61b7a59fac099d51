#include "sim/description.h"

#include <algorithm>
#include <boost/json/parser.hpp>
#include <fstream>
#include <span>
#include <string_view>
#include <system_error>
#include <unordered_map>
#include <utility>

#include "library/local_identifier.h"
#include "library/originals.h"
#include "platform/posix/files.h"
#include "sim/message.h"
#include "sim/new_library.h"

namespace sim {

namespace fs = std::filesystem;
namespace json = boost::json;
using library::DeletionCrash;

std::optional<OpensURLs> valueOf(As<OpensURLs> /*type*/, const json::value& value) {
  if (value.is_bool()) {
    return OpensURLs{.answer = value.get_bool()};
  }
  return value == "system" ? std::optional(OpensURLs()) : std::nullopt;
}

std::string expectation(As<OpensURLs> /*type*/) { return "true, false or \"system\""; }

std::optional<Delay> valueOf(As<Delay> /*type*/, const json::value& value) {
  const auto seconds = valueOf(As<double>(), value);
  return seconds && *seconds >= 0 && *seconds <= library::longestDelay
             ? std::optional(Delay{*seconds})
             : std::nullopt;
}

std::string expectation(As<Delay> /*type*/) { return "a number from 0 to 86400"; }

std::optional<True> valueOf(As<True> /*type*/, const json::value& value) {
  return value == true ? std::optional(True()) : std::nullopt;
}

std::string expectation(As<True> /*type*/) { return "true"; }

std::optional<DeletionCrash> valueOf(As<DeletionCrash> /*type*/, const json::value& value) {
  return value == "before"  ? std::optional(DeletionCrash::before)
         : value == "after" ? std::optional(DeletionCrash::after)
                            : std::nullopt;
}

std::string expectation(As<DeletionCrash> /*type*/) { return "\"before\" or \"after\""; }

namespace {

std::expected<std::string, Error> readText(const fs::path& file) {
  std::string text;
  Result read = platform::posix::readFile(file.string(), [&](std::span<const std::byte> bytes) {
    text.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return true;
  });
  if (!read) {
    return std::unexpected(
        Error{read.error().localizedDescription + "; name a description that you may read"});
  }
  return text;
}

/// The text's one value, or "line 3: " and what is wrong there.
std::expected<json::value, std::string> parseJSON(std::string_view text) {
  json::parser parser;
  boost::system::error_code error;
  const std::size_t parsed = parser.write(text.data(), text.size(), error);
  if (error) {
    const auto line = std::ranges::count(text.substr(0, parsed), '\n') + 1;
    return std::unexpected("line " + std::to_string(line) + ": no valid JSON, " + error.message());
  }
  return parser.release();
}

bool isExactlyOne(const auto&... fields) { return (int{fields.has_value()} + ...) == 1; }

/// What is wrong with a resource although its values have the right types.
std::optional<std::string> faultOf(const DescribedResource& resource, const fs::path& folder) {
  if (!isExactlyOne(resource.file, resource.text, resource.size)) {
    return ": expected exactly one of file, text and size";
  }
  const auto& failure = resource.failure;
  if (failure && !isExactlyOne(failure->error, failure->stall, failure->crash)) {
    return ".failure: expected exactly one of error, stall and crash";
  }
  if (!resource.file) {
    return std::nullopt;
  }
  const fs::path file = folder / *resource.file;
  std::error_code error;
  // A path with a NUL would be cut short there.
  const bool isFile =
      fs::is_regular_file(file, error) && resource.file->find('\0') == std::string::npos;
  return isFile && std::ifstream(file) ? std::nullopt
                                       : std::optional(".file: can't read " + file.string());
}

/// The same for all assets.
std::optional<std::string> faultOf(const std::vector<DescribedAsset>& assets,
                                   const fs::path& folder) {
  std::unordered_map<std::string, std::string> placeOfIdentifier;
  for (std::size_t index = 0; index < assets.size(); ++index) {
    const DescribedAsset& asset = assets[index];
    const std::string place = "assets[" + std::to_string(index) + "]";
    if (asset.localIdentifier) {
      const auto [other, isNew] = placeOfIdentifier.try_emplace(*asset.localIdentifier, place);
      if (!isNew) {
        return place + ".localIdentifier: is that of " + other->second + " already";
      }
    }
    const std::size_t count = asset.resources ? asset.resources->size() : 0;
    for (std::size_t number = 0; number < count; ++number) {
      if (const auto fault = faultOf((*asset.resources)[number], folder)) {
        return place + ".resources[" + std::to_string(number) + "]" + *fault;
      }
    }
  }
  return std::nullopt;
}

library::Settings settingsOf(const Description& description) {
  library::Settings settings = defaultSettings();
  settings.authorizationStatus = description.authorization.value_or(settings.authorizationStatus);
  settings.promptAnswer = description.promptAnswer.value_or(settings.promptAnswer);
  settings.promptDelay = description.promptDelay.value_or(Delay()).seconds;
  if (description.userLibraryAlbum) {
    settings.userLibraryAlbum = description.userLibraryAlbum->value;
  }
  settings.opensURLs = description.opensURLs.value_or(OpensURLs()).answer;
  const DescribedDeletion deletion = description.deletion.value_or(DescribedDeletion());
  settings.deletionSuccess = deletion.success;
  settings.deletionError = deletion.error;
  settings.deletionDelay = deletion.delay.value_or(Delay()).seconds;
  settings.deletionCrash = deletion.crash.value_or(DeletionCrash::none);
  settings.networkReachable = description.networkReachable.value_or(settings.networkReachable);
  return settings;
}

using Failure = library::DeliveryFailure::Kind;

library::Asset assetOf(const DescribedAsset& described) {
  library::Asset asset;
  asset.localIdentifier =
      described.localIdentifier ? *described.localIdentifier : library::randomLocalIdentifier();
  asset.mediaType = described.mediaType.value_or(asset.mediaType);
  asset.creationDate = described.creationDate.value_or(Nullable<double>()).value;
  asset.modificationDate = described.modificationDate.value_or(Nullable<double>()).value;
  return asset;
}

library::Resource resourceOf(const DescribedResource& described) {
  library::Resource resource;
  resource.type = described.type;
  resource.originalFilename = described.originalFilename;
  resource.content.size = described.size.value_or(Count()).value;
  resource.cloud = described.cloud.value_or(false);
  for (const ChunkLength& length : described.chunks.value_or(std::vector<ChunkLength>())) {
    resource.chunks.push_back(length.value);
  }
  resource.delay = described.delay.value_or(Delay()).seconds;
  if (described.bytesPerSecond) {
    resource.bytesPerSecond = described.bytesPerSecond->value;
  }
  if (const auto& failure = described.failure) {
    resource.failure = {.afterBytes = failure->afterBytes.value_or(Count()).value,
                        .kind = failure->stall   ? Failure::stall
                                : failure->crash ? Failure::crash
                                                 : Failure::error,
                        .error = failure->error.value_or("")};
  }
  return resource;
}

Result addResource(library::Library& library, const library::Originals& originals,
                   std::int64_t asset, const DescribedResource& described, const fs::path& folder) {
  library::Resource resource = resourceOf(described);
  if (described.file || described.text) {
    auto stored = described.file ? originals.storeFile(folder / *described.file)
                                 : originals.store(*described.text);
    if (!stored) {
      return std::unexpected(std::move(stored.error()));
    }
    resource.content = std::move(*stored);
  }
  return library.addResource(asset, resource);
}

}  // namespace

std::expected<Description, Error> readDescription(const fs::path& file) {
  const auto text = readText(file);
  if (!text) {
    return std::unexpected(text.error());
  }
  auto document = parseJSON(*text);
  if (!document) {
    return std::unexpected(failure(file, document.error()));
  }
  if (document->is_object()) {
    document->get_object().erase("$schema");  // for editors
  }
  Description description;
  JSONReader reader;
  if (!reader.read(*document, description)) {
    return std::unexpected(failure(file, reader.fault()));
  }
  const auto& assets = description.assets;
  if (const auto fault = assets ? faultOf(*assets, file.parent_path()) : std::nullopt) {
    return std::unexpected(failure(file, *fault));
  }
  return description;
}

Result makeDescribedLibrary(const fs::path& place, const Description& description,
                            const fs::path& file) {
  const auto fill = [&](library::Library& library, const library::Originals& originals) {
    Result added;
    for (const DescribedAsset& described :
         description.assets.value_or(std::vector<DescribedAsset>())) {
      const auto asset = library.addAsset(assetOf(described));
      if (!asset) {
        return Result(std::unexpected(asset.error()));
      }
      for (const DescribedResource& resource :
           described.resources.value_or(std::vector<DescribedResource>())) {
        added = addResource(library, originals, *asset, resource, file.parent_path());
        if (!added) {
          return added;
        }
      }
    }
    return added;
  };
  return makeLibrary(place, settingsOf(description), fill);
}

}  // namespace sim
