#include "platform/local/asset_order.h"

#include <algorithm>

namespace platform::local {
namespace {

constexpr std::uint8_t datedImage = 1;
constexpr std::uint8_t datedVideo = 2;

std::uint8_t kind(photos::AssetMediaType type) {
  switch (type) {
    case photos::AssetMediaType::image:
      return datedImage;
    case photos::AssetMediaType::video:
      return datedVideo;
    default:
      return 0;
  }
}

}  // namespace

AssetOrder::AssetOrder(SQLite::Database& database)
    : undatedPiece_(database,
                    "SELECT creationDate, id, mediaType FROM asset "
                    "WHERE recentlyDeleted = 0 AND creationDate IS NULL AND id > ?2 "
                    "ORDER BY id LIMIT ?3"),
      datedPiece_(database,
                  "SELECT creationDate, id, mediaType FROM asset "
                  "WHERE recentlyDeleted = 0 AND (creationDate, id) > (?1, ?2) "
                  "ORDER BY creationDate, id LIMIT ?3") {}

void AssetOrder::clear() {
  reading_ = Reading::undated;
  undated_ = 0;
  lastDate_ = noDate;
  lastRow_ = noRow;
  kinds_.clear();
  dates_.clear();
  rows_.clear();
}

std::size_t AssetOrder::end(const std::optional<photos::Date>& before) const {
  if (!before) {
    return rows_.size();
  }
  const auto dated = dates_.begin() + static_cast<std::ptrdiff_t>(undated_);
  return static_cast<std::size_t>(std::lower_bound(dated, dates_.end(), *before) - dates_.begin());
}

bool AssetOrder::readMore(const std::optional<photos::Date>& before) {
  if (before && end(before) < rows_.size()) {
    return false;
  }
  const std::size_t had = rows_.size();
  if (reading_ == Reading::undated) {
    undated_ += read(undatedPiece_);
    if (rows_.size() == had) {
      reading_ = Reading::dated;
      lastRow_ = noRow;
    }
  }
  if (reading_ == Reading::dated && read(datedPiece_) == 0) {
    reading_ = Reading::done;
  }
  return rows_.size() > had;
}

std::size_t AssetOrder::firstDated() {
  while (reading_ == Reading::undated && readMore(std::nullopt)) {
  }
  return undated_;
}

std::size_t AssetOrder::walk(const photos::AssetFilter& filter, std::size_t index, std::size_t end,
                             std::uint64_t& skipped) const {
  const auto wanted = static_cast<std::uint8_t>((filter.images ? datedImage : 0) |
                                                (filter.videos ? datedVideo : 0));
  const auto isWanted = [wanted](std::uint8_t kind) { return (kind & wanted) != 0; };
  // Whole blocks first: a count that fits a byte takes no branch and sixteen assets at a time.
  constexpr std::size_t blockSize = 128;
  for (; index < end && end - index >= blockSize; index += blockSize) {
    std::uint8_t met = 0;
    for (std::size_t offset = 0; offset < blockSize; ++offset) {
      met = static_cast<std::uint8_t>(met + (isWanted(kinds_[index + offset]) ? 1 : 0));
    }
    if (met > skipped) {
      break;
    }
    skipped -= met;
  }
  for (; index < end; ++index) {
    if (isWanted(kinds_[index])) {
      if (skipped == 0) {
        return index;
      }
      --skipped;
    }
  }
  return end;
}

std::size_t AssetOrder::read(SQLite::Statement& piece) {
  constexpr std::size_t smallestPiece = 1024;
  piece.bind(1, lastDate_);
  piece.bind(2, lastRow_);
  piece.bind(3, static_cast<std::int64_t>(std::max(smallestPiece, rows_.size())));
  std::size_t count = 0;
  for (; piece.executeStep(); ++count) {
    const bool isDated = !piece.isColumnNull(0);
    lastDate_ = isDated ? piece.getColumn(0).getDouble() : noDate;
    lastRow_ = piece.getColumn(1).getInt64();
    const auto type = static_cast<photos::AssetMediaType>(piece.getColumn(2).getInt64());
    dates_.push_back(lastDate_);
    kinds_.push_back(isDated ? kind(type) : std::uint8_t{0});
    rows_.push_back(lastRow_);
  }
  piece.reset();
  return count;
}

}  // namespace platform::local
