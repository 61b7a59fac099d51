// The library's assets in fetch order, packed so that walking past one costs a byte.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "photos/platform.h"

namespace platform::local {

/// Read in growing pieces, and only as far as walks go: first the assets without a creation date,
/// then by date; equal ones in the order of their rows. It holds what the database held when it
/// was cleared, so that its owner clears it when the database has changed. One thread at a time.
/// Reading throws SQLite::Exception and leaves what was read before.
class AssetOrder {
 public:
  explicit AssetOrder(SQLite::Database& database);

  void clear();

  /// The end of the part of the order that is read and earlier than `before`.
  [[nodiscard]] std::size_t end(const std::optional<photos::Date>& before) const;

  /// Reads one more piece, unless nothing earlier than `before` is left; true when it grew.
  bool readMore(const std::optional<photos::Date>& before);

  /// The index of the first dated asset. Reads up to it.
  [[nodiscard]] std::size_t firstDated();

  /// From `index` on, up to `end`: passes over the assets that `filter` stops at, counting
  /// `skipped` down, and returns the index of the first one at which it is 0 already; `end` when
  /// there is none.
  [[nodiscard]] std::size_t walk(const photos::AssetFilter& filter, std::size_t index,
                                 std::size_t end, std::uint64_t& skipped) const;

  [[nodiscard]] std::int64_t row(std::size_t index) const { return rows_[index]; }

  /// The asset's creation date, if it has one.
  [[nodiscard]] std::optional<photos::Date> date(std::size_t index) const {
    return index < undated_ ? std::nullopt : std::optional(dates_[index]);
  }

 private:
  enum class Reading { undated, dated, done };

  /// Before all rows and dates that a library can hold.
  static constexpr std::int64_t noRow = std::numeric_limits<std::int64_t>::min();
  static constexpr photos::Date noDate = -std::numeric_limits<photos::Date>::infinity();

  std::size_t read(SQLite::Statement& piece);

  SQLite::Statement undatedPiece_;
  SQLite::Statement datedPiece_;
  Reading reading_ = Reading::undated;
  std::size_t undated_ = 0;
  /// Where the next piece begins: behind this date and row.
  photos::Date lastDate_ = noDate;
  std::int64_t lastRow_ = noRow;
  /// One bit of what a filter may want, or 0 for an asset that none stops at.
  std::vector<std::uint8_t> kinds_;
  std::vector<photos::Date> dates_;
  std::vector<std::int64_t> rows_;
};

}  // namespace platform::local
