#include "sim/recently_deleted.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/value.hpp>
#include <iostream>
#include <set>
#include <utility>

#include "platform/local/library_writer.h"
#include "sim/existing_library.h"

namespace sim {
namespace {

using boost::json::array;
using boost::json::object;
using platform::local::NewAsset;
using platform::local::NewResource;

object described(const NewAsset& asset) {
  object result{{"localIdentifier", asset.localIdentifier}, {"mediaType", asset.mediaType}};
  if (asset.creationDate) {
    result["creationDate"] = *asset.creationDate;
  }
  if (asset.modificationDate) {
    result["modificationDate"] = *asset.modificationDate;
  }
  array& resources = result["resources"].emplace_array();
  for (const NewResource& resource : asset.resources) {
    resources.push_back(object{{"type", resource.type},
                               {"originalFilename", resource.originalFilename},
                               {"size", resource.content.size}});
  }
  return result;
}

}  // namespace

std::optional<Error> printRecentlyDeleted(const std::filesystem::path& library) {
  auto writer = openLibrary(library);
  if (!writer) {
    return std::move(writer.error());
  }
  auto error = writer->forEachRecentlyDeleted(
      [](const NewAsset& asset) { std::cout << boost::json::serialize(described(asset)) << '\n'; });
  return error ? error : outputFailure();
}

std::optional<Error> restore(const std::filesystem::path& library,
                             std::span<const std::string> localIdentifiers) {
  auto writer = openLibrary(library);
  if (!writer) {
    return std::move(writer.error());
  }
  return writer->transaction([&]() -> std::optional<Error> {
    for (const std::string& identifier :
         std::set<std::string>(localIdentifiers.begin(), localIdentifiers.end())) {
      const auto isRestored = writer->restore(identifier);
      if (!isRestored) {
        return isRestored.error();
      }
      if (!*isRestored) {
        return failure(library, "“" + identifier + "” is not in Recently Deleted",
                       "see photos-sim recently-deleted; nothing was put back");
      }
    }
    return std::nullopt;
  });
}

}  // namespace sim
