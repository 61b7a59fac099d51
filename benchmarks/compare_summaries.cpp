// Tells whether the helper's pages and a dump of the database hold the same summaries in the same
// order. Line by line, in little memory.
// Usage: compare_summaries PAGES DUMP
// PAGES: the answers of all "discover" requests; DUMP: what `sqlite3 -json` printed.

#include <algorithm>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <cmath>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>

namespace {

using boost::json::object;
using boost::json::value;

/// The next row of the dump: one on each line, in "[...,\n...]".
value nextRow(std::istream& dump) {
  std::string line;
  std::getline(dump, line);
  std::string_view row = line;
  row.remove_prefix(row.starts_with('[') ? 1 : 0);
  row.remove_suffix(row.ends_with(',') || row.ends_with(']') ? 1 : 0);
  return row.empty() ? value() : boost::json::parse({row.data(), row.size()});
}

/// SQLite has no truth values, and writes numbers in its own way.
bool isSame(const value& ours, const value& theirs) {
  if (ours.is_bool()) {
    return theirs == value(ours.get_bool() ? 1 : 0);
  }
  if (ours.is_number() && theirs.is_number()) {
    const auto number = theirs.to_number<double>();
    return std::abs(ours.to_number<double>() - number) <= 1e-14 * std::abs(number);
  }
  return ours == theirs;
}

/// A field that holds nothing has no key in a summary.
bool isSame(const object& summary, const object& row) {
  std::size_t fields = 0;
  for (const auto& [key, theirs] : row) {
    if (!theirs.is_null()) {
      const value* const ours = summary.if_contains(key);
      if (ours == nullptr || !isSame(*ours, theirs)) {
        return false;
      }
      ++fields;
    }
  }
  return fields == summary.size();
}

/// How many summaries were compared; -1 when two are not the same.
std::int64_t compare(std::istream& pages, std::istream& dump) {
  std::int64_t compared = 0;
  for (std::string line; std::getline(pages, line);) {
    const value page = boost::json::parse(line);
    for (const value& summary : page.at("assets").as_array()) {
      const value row = nextRow(dump);
      if (!row.is_object() || !isSame(summary.as_object(), row.get_object())) {
        std::cerr << "not the same:\n" << summary << '\n' << row << '\n';
        return -1;
      }
      ++compared;
    }
  }
  if (const value row = nextRow(dump); !row.is_null()) {
    std::cerr << "only in the dump:\n" << row << '\n';
    return -1;
  }
  return compared;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) {
    return EXIT_FAILURE;
  }
  try {
    std::ifstream pages(arguments[1]);
    std::ifstream dump(arguments[2]);
    return compare(pages, dump) > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
  } catch (const std::exception& exception) {
    std::cerr << "compare_summaries: " << exception.what() << '\n';
    return EXIT_FAILURE;
  }
}
