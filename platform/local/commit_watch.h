// Notices commits to an open database without a system call.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>

#include <array>
#include <cstdint>
#include <optional>

namespace platform::local {

/// Looks at the header of the database's WAL index, which every commit, of any process, changes
/// (SQLite, "WAL-mode File Format", section 2.1): what SQLite itself compares to find out whether
/// what it has cached still holds. It is only compared, never interpreted. One thread at a time;
/// the database outlives it.
class CommitWatch {
 public:
  explicit CommitWatch(SQLite::Database& database) : database_(database) {}

  /// The header as it is now: equal to an earlier one as long as nothing has been committed since.
  /// Nothing when the database has no WAL index yet: every answer is then to be read. Of its two
  /// copies this is the one that a commit changes last.
  using Header = std::array<std::uint32_t, 12>;
  [[nodiscard]] std::optional<Header> header();

 private:
  SQLite::Database& database_;
  const volatile std::uint32_t* index_ = nullptr;
};

}  // namespace platform::local
