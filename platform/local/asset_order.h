// The library's assets in fetch order, packed so that walking past one costs a byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <limits>
#include <optional>
#include <vector>

#include "library/database.h"
#include "photos/platform.h"

namespace platform::local {

/// Assets with a creation date come first, by date, equal dates by row; then those without. The
/// order is read in growing pieces, as far as it is asked for. It does not notice changes of the
/// database: its owner clears it then.
class AssetOrder {
 public:
  void clear() { *this = {}; }

  /// Reads one more piece; false when everything has been read.
  [[nodiscard]] std::expected<bool, photos::Error> readMore(library::Database& database);

  /// How many assets have been read.
  [[nodiscard]] std::size_t size() const { return rows_.size(); }

  /// How many of them are dated earlier than `before`. These come first.
  [[nodiscard]] std::size_t sizeBefore(photos::Date before) const;

  /// From `index` on, up to `end`: passes over the assets that `filter` admits, counting `skipped`
  /// down, and returns the index of the first one at which it is 0 already; `end` when there is
  /// none.
  [[nodiscard]] std::size_t walk(const photos::AssetFilter& filter, std::size_t index,
                                 std::size_t end, std::uint64_t& skipped) const;

  /// The asset's row in the database, and its creation date.
  [[nodiscard]] std::int64_t row(std::size_t index) const { return rows_[index]; }
  [[nodiscard]] std::optional<photos::Date> date(std::size_t index) const {
    return index < dates_.size() ? std::optional(dates_[index]) : std::nullopt;
  }

 private:
  std::expected<std::size_t, photos::Error> readDated(library::Database& database);
  std::expected<std::size_t, photos::Error> readUndated(library::Database& database);
  void append(std::int64_t row, std::int64_t mediaType);

  std::vector<std::int64_t> rows_;
  /// One bit is set in each, so that a walk compares many at a time.
  std::vector<std::uint8_t> mediaTypes_;
  /// Those of the assets with a date.
  std::vector<photos::Date> dates_;
  bool datedAreRead_ = false;
  bool undatedAreRead_ = false;
};

}  // namespace platform::local
