// Libraries as a person describes them, in a JSON file: settings, assets, resources, and what goes
// wrong with them. docs/photos-sim.md explains the keys.
#pragma once

#include <boost/describe.hpp>
#include <cstdint>
#include <expected>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "library/library.h"
#include "sim/json_reader.h"

namespace sim {

using library::Error;
using library::Result;

using Count = IntegerWithin<0, std::numeric_limits<std::int64_t>::max()>;
using ChunkLength = IntegerWithin<0, library::longestChunk>;
using Pace = IntegerWithin<1, std::numeric_limits<std::int64_t>::max()>;

/// A number from 0 to library::longestDelay.
struct Delay {
  double seconds = 0;
};

/// The value true.
struct True {};

// The keys of a description are the members' names. What may be missing is a std::optional.

struct DescribedFailure {
  std::optional<Count> afterBytes;
  /// Exactly one of these three.
  std::optional<std::string> error;
  std::optional<True> stall;
  std::optional<True> crash;
};
BOOST_DESCRIBE_STRUCT(DescribedFailure, (), (afterBytes, error, stall, crash))

struct DescribedResource {
  std::int64_t type = 0;
  std::string originalFilename;
  /// Exactly one of these three. A file is relative to the description.
  std::optional<std::string> file;
  std::optional<std::string> text;
  std::optional<Count> size;
  std::optional<bool> cloud;
  std::optional<std::vector<ChunkLength>> chunks;
  std::optional<Delay> delay;
  std::optional<Pace> bytesPerSecond;
  std::optional<DescribedFailure> failure;
};
BOOST_DESCRIBE_STRUCT(DescribedResource, (),
                      (type, originalFilename, file, text, size, cloud, chunks, delay,
                       bytesPerSecond, failure))

struct DescribedAsset {
  std::optional<std::string> localIdentifier;
  std::optional<std::int64_t> mediaType;
  std::optional<Nullable<double>> creationDate;
  std::optional<Nullable<double>> modificationDate;
  std::optional<std::vector<DescribedResource>> resources;
};
BOOST_DESCRIBE_STRUCT(DescribedAsset, (),
                      (localIdentifier, mediaType, creationDate, modificationDate, resources))

struct DescribedDeletion {
  bool success = true;
  std::optional<std::string> error;
  std::optional<Delay> delay;
  std::optional<library::DeletionCrash> crash;
};
BOOST_DESCRIBE_STRUCT(DescribedDeletion, (), (success, error, delay, crash))

/// true, false or "system".
struct OpensURLs {
  std::optional<bool> answer;
};

struct Description {
  std::optional<std::int64_t> authorization;
  std::optional<std::int64_t> promptAnswer;
  std::optional<Delay> promptDelay;
  std::optional<Nullable<std::string>> userLibraryAlbum;
  std::optional<OpensURLs> opensURLs;
  std::optional<DescribedDeletion> deletion;
  std::optional<bool> networkReachable;
  std::optional<std::vector<DescribedAsset>> assets;
};
BOOST_DESCRIBE_STRUCT(Description, (),
                      (authorization, promptAnswer, promptDelay, userLibraryAlbum, opensURLs,
                       deletion, networkReachable, assets))

/// Reads and checks the whole description, the files it names included. A failure names the place
/// of a fault: "FILE: assets[3].resources[0].type: expected an integer".
[[nodiscard]] std::expected<Description, Error> readDescription(const std::filesystem::path& file);

/// Makes the library that `description`, which was read from `file`, describes: all or nothing.
[[nodiscard]] Result makeDescribedLibrary(const std::filesystem::path& place,
                                          const Description& description,
                                          const std::filesystem::path& file);

}  // namespace sim
