#include "sim/existing_library.h"

#include <utf8.h>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <iostream>
#include <set>
#include <system_error>

#include "protocol/whole_number.h"
#include "sim/message.h"
#include "sim/words.h"

namespace sim {
namespace {

namespace json = boost::json;
using library::Library;

/// As the protocol writes a date: whole seconds as an integer.
json::value number(photos::Date date) {
  const auto whole = protocol::wholeNumber(date);
  return whole ? json::value(*whole) : json::value(date);
}

json::object described(const library::Asset& asset,
                       const std::vector<library::Resource>& resources) {
  json::object result{{"localIdentifier", utf8::replace_invalid(asset.localIdentifier)},
                      {"mediaType", asset.mediaType}};
  if (asset.creationDate) {
    result["creationDate"] = number(*asset.creationDate);
  }
  if (asset.modificationDate) {
    result["modificationDate"] = number(*asset.modificationDate);
  }
  json::array& list = result["resources"].emplace_array();
  for (const library::Resource& resource : resources) {
    list.push_back(
        json::object{{"type", resource.type},
                     {"originalFilename", utf8::replace_invalid(resource.originalFilename)},
                     {"size", resource.content.size}});
  }
  return result;
}

}  // namespace

Result checkLibraryIsThere(const std::filesystem::path& folder) {
  std::error_code error;
  if (std::filesystem::exists(folder / "library.sqlite", error)) {
    return {};
  }
  if (error && error != std::errc::not_a_directory) {
    return std::unexpected(failure(folder, error, "name a library that you may read"));
  }
  return std::unexpected(
      std::filesystem::exists(folder, error)
          ? failure(folder, "is no library", "name one that photos-sim has made")
          : failure(folder, "there is no library", "make one with photos-sim create"));
}

std::expected<Library, Error> openLibrary(const std::filesystem::path& folder) {
  if (const Result there = checkLibraryIsThere(folder); !there) {
    return std::unexpected(there.error());
  }
  auto opened = Library::open(folder);
  if (!opened) {
    return std::unexpected(Error{opened.error().localizedDescription +
                                 "; name a library that photos-sim has made and you may change"});
  }
  return opened;
}

Result printAccess(const std::filesystem::path& folder) {
  auto opened = openLibrary(folder);
  const auto settings = opened ? opened->settings() : std::unexpected(opened.error());
  if (!settings) {
    return std::unexpected(settings.error());
  }
  std::cout << describeStatus(settings->authorizationStatus) << "\nprompt-answer "
            << describeStatus(settings->promptAnswer) << "\n";
  return flushOutput();
}

Result setAccess(const std::filesystem::path& folder, std::optional<std::int64_t> status,
                 std::optional<std::int64_t> promptAnswer) {
  auto opened = openLibrary(folder);
  return opened ? opened->setAccess(status, promptAnswer) : std::unexpected(opened.error());
}

Result printNetwork(const std::filesystem::path& folder) {
  auto opened = openLibrary(folder);
  const auto settings = opened ? opened->settings() : std::unexpected(opened.error());
  if (!settings) {
    return std::unexpected(settings.error());
  }
  std::cout << (settings->networkReachable ? "reachable\n" : "unreachable\n");
  return flushOutput();
}

Result setNetwork(const std::filesystem::path& folder, bool isReachable) {
  auto opened = openLibrary(folder);
  return opened ? opened->setNetworkReachable(isReachable) : std::unexpected(opened.error());
}

Result printRecentlyDeleted(const std::filesystem::path& folder) {
  auto opened = openLibrary(folder);
  if (!opened) {
    return std::unexpected(opened.error());
  }
  const Result read = opened->eachRecentlyDeleted([](const auto& asset, const auto& resources) {
    std::cout << json::serialize(described(asset, resources)) << '\n';
  });
  return read ? flushOutput() : read;
}

Result restore(const std::filesystem::path& folder, std::span<const std::string> localIdentifiers) {
  auto opened = openLibrary(folder);
  if (!opened) {
    return std::unexpected(opened.error());
  }
  return opened->transaction([&]() -> Result {
    for (const std::string& identifier :
         std::set<std::string>(localIdentifiers.begin(), localIdentifiers.end())) {
      const auto isRestored = opened->restore(identifier);
      if (!isRestored) {
        return std::unexpected(isRestored.error());
      }
      if (!*isRestored) {
        return std::unexpected(failure(folder, "“" + identifier + "” is not in Recently Deleted",
                                       "see photos-sim recently-deleted; nothing was put back"));
      }
    }
    return {};
  });
}

}  // namespace sim
