// What a local library holds, as plain values. docs/local-library.md explains the columns.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "photos/platform.h"

namespace library {

/// The longest delay, in seconds, that anything can be described with: a day. None is negative.
inline constexpr double longestDelay = 86'400;

/// Whether a deletion ends the process, as SIGKILL would, and when.
enum class DeletionCrash : std::int64_t { none = 0, before = 1, after = 2 };

/// How the library answers.
struct Settings {
  std::int64_t authorizationStatus = 0;
  std::int64_t promptAnswer = 3;
  /// How many seconds the user takes to answer the prompt.
  double promptDelay = 0;
  /// Local identifier of the album of the whole library; nothing: there is none.
  std::optional<std::string> userLibraryAlbum = {};
  /// What opening a URL answers; nothing: the system opens it.
  std::optional<bool> opensURLs = {};
  bool deletionSuccess = true;
  std::optional<std::string> deletionError = {};
  /// How many seconds pass before a deletion.
  double deletionDelay = 0;
  DeletionCrash deletionCrash = DeletionCrash::none;
  bool networkReachable = true;
};

/// Bytes that a library holds: a file under originals/, or, without a digest, `size` zero bytes.
struct Content {
  std::int64_t size = 0;
  std::optional<std::string> sha256 = {};
};

/// Where the delivery of a resource stops, and what happens there.
struct DeliveryFailure {
  enum class Kind : std::int64_t {
    error = 0,  // it completes with `error`
    stall = 1,  // nothing more ever comes
    crash = 2,  // the process ends as SIGKILL would
  };

  std::int64_t afterBytes = 0;
  Kind kind = Kind::error;
  std::string error = {};
};

/// The longest chunk that a resource can be described with: a chunk is held in memory whole.
inline constexpr std::int64_t longestChunk = 1 << 20;

/// What a listing needs of a resource.
struct ResourceRow {
  std::int64_t asset = 0;
  std::int64_t position = 0;
  photos::AssetResourceType type{};
  std::string originalFilename = {};
};

/// All of a resource, apart from its place.
struct Resource {
  std::int64_t type = 0;
  std::string originalFilename = {};
  Content content = {};
  bool cloud = false;
  /// Lengths of the first chunks delivered.
  std::vector<std::int64_t> chunks = {};
  /// How many seconds pass before the first chunk.
  double delay = 0;
  /// How fast it is delivered, above 0; nothing: as fast as it goes.
  std::optional<std::int64_t> bytesPerSecond = {};
  std::optional<DeliveryFailure> failure = {};
};

struct Asset {
  std::string localIdentifier = {};
  std::int64_t mediaType = 1;
  std::optional<photos::Date> creationDate = {};
  std::optional<photos::Date> modificationDate = {};
};

/// An asset in its row, with its resources in order.
struct AssetRow {
  std::int64_t row = 0;
  Asset asset = {};
  std::vector<ResourceRow> resources = {};
};

}  // namespace library
