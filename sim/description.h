// Libraries as a person describes them, in a JSON file: settings, assets, resources, and what goes
// wrong with them. docs/ explains the keys.
//
// A description is read and checked as a whole, files included, before anything is written.
#pragma once

#include <expected>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/local/library_writer.h"
#include "sim/message.h"

namespace sim {

/// Where a resource's bytes come from: a file, a text, or else so many zero bytes.
struct DescribedContent {
  std::optional<std::filesystem::path> file;
  std::optional<std::string> text;
};

struct Description {
  platform::local::Settings settings;
  std::vector<platform::local::NewAsset> assets;
  /// For each asset, for each of its resources. A size is in the resource itself already.
  std::vector<std::vector<DescribedContent>> contents;
};

/// Reads the description. A failure names the place of the first fault in it:
/// "FILE: assets[3].resources[0].type: expected an integer".
std::expected<Description, Error> readDescription(const std::filesystem::path& file);

/// Adds the described assets to the library in one transaction. After a failure none is added.
std::optional<Error> addDescribedAssets(platform::local::LibraryWriter& library,
                                        Description description);

}  // namespace sim
