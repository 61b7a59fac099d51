#include "platform/local/asset_order.h"

#include <algorithm>
#include <cstddef>

namespace platform::local {

using photos::Error;
using Count = std::expected<std::size_t, Error>;

namespace {

/// A bit of its own for each media type from unknown to audio; no bit for any other value.
std::uint8_t bitOf(std::int64_t mediaType) {
  return mediaType >= 0 && mediaType <= 3 ? static_cast<std::uint8_t>(1U << mediaType)
                                          : std::uint8_t{0};
}

}  // namespace

std::expected<bool, Error> AssetOrder::readMore(library::Database& database) {
  if (undatedAreRead_) {
    return false;
  }
  const Count count = datedAreRead_ ? readUndated(database) : readDated(database);
  if (!count) {
    return std::unexpected(count.error());
  }
  undatedAreRead_ = datedAreRead_;
  datedAreRead_ = datedAreRead_ || *count == 0;
  return true;
}

std::size_t AssetOrder::sizeBefore(photos::Date before) const {
  return static_cast<std::size_t>(std::ranges::lower_bound(dates_, before) - dates_.begin());
}

std::size_t AssetOrder::walk(const photos::AssetFilter& filter, std::size_t index, std::size_t end,
                             std::uint64_t& skipped) const {
  const auto at = [this](std::size_t position) {
    return mediaTypes_.begin() + static_cast<std::ptrdiff_t>(position);
  };
  // First the assets with a date, then those without.
  for (const bool isDated : {true, false}) {
    const std::size_t partEnd = isDated ? std::min(end, dates_.size()) : end;
    std::uint8_t admitted = 0;
    for (const std::int64_t type : {0, 1, 2, 3}) {
      const bool isAdmitted =
          filter.admits(photos::AssetMediaType{type}, [isDated] { return isDated; });
      admitted |= isAdmitted ? bitOf(type) : std::uint8_t{0};
    }
    const auto isAdmitted = [admitted](std::uint8_t type) { return (type & admitted) != 0; };
    // The next `skipped` assets can be passed without looking: no more of them can be admitted.
    while (skipped > 0 && index < partEnd) {
      const std::size_t next = index + std::min<std::uint64_t>(skipped, partEnd - index);
      skipped -= static_cast<std::uint64_t>(std::count_if(at(index), at(next), isAdmitted));
      index = next;
    }
    if (index < partEnd) {
      const auto found = std::find_if(at(index), at(partEnd), isAdmitted);
      index = static_cast<std::size_t>(found - mediaTypes_.begin());
    }
    if (index < partEnd) {
      break;
    }
  }
  return index;
}

Count AssetOrder::readDated(library::Database& database) {
  constexpr std::size_t smallestPiece = 1024;
  const std::size_t had = rows_.size();
  const photos::Date last =
      dates_.empty() ? -std::numeric_limits<photos::Date>::infinity() : dates_.back();
  const std::int64_t lastRow =
      rows_.empty() ? std::numeric_limits<std::int64_t>::max() : rows_.back();
  // 9e999 is infinity. Only a damaged or edited database holds it, and it counts as no date.
  const library::Result read = database.each(
      "SELECT id, mediaType, creationDate FROM asset WHERE recentlyDeleted = 0 "
      "AND (creationDate, id) > (?, ?) AND creationDate < 9e999 ORDER BY creationDate, id LIMIT ?",
      [this](SQLite::Statement& row) {
        append(row.getColumn(0).getInt64(), row.getColumn(1).getInt64());
        dates_.push_back(row.getColumn(2).getDouble());
        return true;
      },
      last, lastRow, static_cast<std::int64_t>(std::max(smallestPiece, had)));
  return read ? Count(rows_.size() - had) : std::unexpected(read.error());
}

Count AssetOrder::readUndated(library::Database& database) {
  const std::size_t had = rows_.size();
  const library::Result read = database.each(
      "SELECT id, mediaType FROM asset WHERE recentlyDeleted = 0 AND creationDate IS NULL "
      "ORDER BY id",
      [this](SQLite::Statement& row) {
        append(row.getColumn(0).getInt64(), row.getColumn(1).getInt64());
        return true;
      });
  return read ? Count(rows_.size() - had) : std::unexpected(read.error());
}

void AssetOrder::append(std::int64_t row, std::int64_t mediaType) {
  rows_.push_back(row);
  mediaTypes_.push_back(bitOf(mediaType));
}

}  // namespace platform::local
