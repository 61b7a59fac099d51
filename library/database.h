// library.sqlite: opening it, and running statements on it.
//
// One thread at a time. Other processes may read and change the library meanwhile: a statement that
// meets a change of theirs waits for its end.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>
#include <sys/types.h>

#include <cstdint>
#include <expected>
#include <filesystem>
#include <new>
#include <optional>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "photos/platform.h"

namespace library {

using photos::Error;

/// The outcome of an operation that gives no value.
using Result = std::expected<void, Error>;

/// The database file of the library in `folder`.
[[nodiscard]] std::filesystem::path databaseFile(const std::filesystem::path& folder);

/// Which file a path leads to. Another file in its place has another identity.
struct FileIdentity {
  dev_t device{};
  ino_t node{};
  bool operator==(const FileIdentity&) const = default;
};

/// The identity of the file or folder that the path leads to; nothing when there is none.
[[nodiscard]] std::optional<FileIdentity> identityOf(const std::string& path);

class Database {
 public:
  /// Opens the database of the library in `folder` for reading and writing. Fails, and changes no
  /// byte in the folder, when there is none, when it is another application's or of another schema
  /// version, or when it can't be read.
  [[nodiscard]] static std::expected<Database, Error> open(const std::filesystem::path& folder);

  /// Makes an empty database in `folder`, where none is. Until it is switched to WAL mode, a crash
  /// leaves it unusable.
  [[nodiscard]] static std::expected<Database, Error> create(const std::filesystem::path& folder);

  Database(Database&&) noexcept = default;
  Database& operator=(Database&&) = delete;
  ~Database() = default;

  /// Whether any statement has failed so far.
  [[nodiscard]] bool hasFailed() const { return failed_; }

  // `sql` is a string literal of one statement. It is compiled once, and found again by its
  // address. `values` are its parameters; a std::optional without a value is NULL.

  /// Gives the rows of the result to `take`, one by one, as long as it returns true.
  template <class Take, class... Values>
  [[nodiscard]] Result each(const char* sql, Take&& take, const Values&... values) {
    return attempt([&] {
      SQLite::Statement& statement = bound(sql, values...);
      const Reset atTheEnd(statement);
      while (statement.executeStep() && take(statement)) {
      }
    });
  }

  /// All rows of the result, each made by `make`.
  template <class Make, class... Values>
  [[nodiscard]] auto rows(const char* sql, Make&& make, const Values&... values)
      -> std::expected<std::vector<std::invoke_result_t<Make, SQLite::Statement&>>, Error> {
    std::vector<std::invoke_result_t<Make, SQLite::Statement&>> made;
    Result read = each(
        sql,
        [&](SQLite::Statement& row) {
          made.push_back(make(row));
          return true;
        },
        values...);
    if (!read) {
      return std::unexpected(std::move(read.error()));
    }
    return made;
  }

  /// The first row of the result, made by `make`, if there is one.
  template <class Make, class... Values>
  [[nodiscard]] auto row(const char* sql, Make&& make, const Values&... values)
      -> std::expected<std::optional<std::invoke_result_t<Make, SQLite::Statement&>>, Error> {
    std::optional<std::invoke_result_t<Make, SQLite::Statement&>> made;
    Result read = each(
        sql,
        [&](SQLite::Statement& row) {
          made = make(row);
          return false;
        },
        values...);
    if (!read) {
      return std::unexpected(std::move(read.error()));
    }
    return made;
  }

  /// Runs a statement without a result.
  template <class... Values>
  [[nodiscard]] Result run(const char* sql, const Values&... values) {
    return each(sql, [](SQLite::Statement&) { return true; }, values...);
  }

  /// Runs a script of statements without results.
  [[nodiscard]] Result runScript(const char* script);

  /// The row that the last INSERT made, and how many rows the last change touched.
  [[nodiscard]] std::int64_t lastRow() const { return database_.getLastInsertRowid(); }
  [[nodiscard]] int changedRows() const { return database_.getChanges(); }

 private:
  explicit Database(SQLite::Database database) : database_(std::move(database)) {}

  /// Puts a statement back at its start.
  class Reset {
   public:
    explicit Reset(SQLite::Statement& statement) : statement_(statement) {}
    Reset(const Reset&) = delete;
    Reset& operator=(const Reset&) = delete;
    ~Reset() { statement_.tryReset(); }

   private:
    SQLite::Statement& statement_;
  };

  template <class Work>
  Result attempt(Work&& work) {
    try {
      std::forward<Work>(work)();
      return {};
    } catch (const SQLite::Exception& exception) {
      return std::unexpected(failure(exception));
    } catch (const std::bad_alloc&) {
      failed_ = true;
      throw;
    }
  }

  template <class... Values>
  SQLite::Statement& bound(const char* sql, const Values&... values) {
    SQLite::Statement& statement = statements_.try_emplace(sql, database_, sql).first->second;
    int index = 0;  // NOLINT(misc-const-correctness): there may be no values
    (bind(statement, ++index, values), ...);
    return statement;
  }

  template <class Value>
  static void bind(SQLite::Statement& statement, int index, const Value& value) {
    statement.bind(index, value);
  }
  template <class Value>
  static void bind(SQLite::Statement& statement, int index, const std::optional<Value>& value) {
    value ? statement.bind(index, *value) : statement.bind(index);
  }
  static void bind(SQLite::Statement& statement, int index, std::nullopt_t /*none*/) {
    statement.bind(index);
  }

  Error failure(const SQLite::Exception& exception);

  SQLite::Database database_;
  std::unordered_map<const char*, SQLite::Statement> statements_;
  bool failed_ = false;
};

}  // namespace library
