#include "sim/json_reader.h"

#include <algorithm>
#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/parse.hpp>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace sim {
namespace {

namespace json = boost::json;

// Follows the parser through the text for what a parsed value no longer shows: keys that stand
// twice, and the digits of numbers. It keeps for each open object or list where it stands.
class TextChecker {
 public:
  static constexpr std::size_t max_object_size = static_cast<std::size_t>(-1);
  static constexpr std::size_t max_array_size = static_cast<std::size_t>(-1);
  static constexpr std::size_t max_key_size = static_cast<std::size_t>(-1);
  static constexpr std::size_t max_string_size = static_cast<std::size_t>(-1);

  [[nodiscard]] const std::optional<std::string>& duplicate() const { return duplicate_; }

  /// All numbers that are no integers, in the text's order, correctly rounded.
  [[nodiscard]] const std::vector<double>& doubles() const { return doubles_; }

  bool on_document_begin(json::error_code&) { return true; }
  bool on_document_end(json::error_code&) { return true; }
  bool on_object_begin(json::error_code&) { return open(false); }
  bool on_object_end(std::size_t, json::error_code&) { return closed(); }
  bool on_array_begin(json::error_code&) { return open(true); }
  bool on_array_end(std::size_t, json::error_code&) { return closed(); }
  bool on_key_part(json::string_view part, std::size_t, json::error_code&) {
    key_.append(part.data(), part.size());
    return true;
  }
  bool on_key(json::string_view part, std::size_t, json::error_code& error) {
    key_.append(part.data(), part.size());
    Level& level = levels_.back();
    level.key = std::exchange(key_, {});
    if (level.keys.insert(level.key).second) {
      return true;
    }
    duplicate_ = place();
    error = json::error::syntax;
    return false;
  }
  bool on_string_part(json::string_view, std::size_t, json::error_code&) { return true; }
  bool on_string(json::string_view, std::size_t, json::error_code&) { return passed(); }
  bool on_number_part(json::string_view, json::error_code&) { return true; }
  bool on_int64(std::int64_t, json::string_view, json::error_code&) { return passed(); }
  bool on_uint64(std::uint64_t, json::string_view, json::error_code&) { return passed(); }
  bool on_double(double, json::string_view text, json::error_code&) {
    doubles_.push_back(std::strtod(std::string(text).c_str(), nullptr));
    return passed();
  }
  bool on_bool(bool, json::error_code&) { return passed(); }
  bool on_null(json::error_code&) { return passed(); }
  bool on_comment_part(json::string_view, json::error_code&) { return true; }
  bool on_comment(json::string_view, json::error_code&) { return true; }

 private:
  struct Level {
    bool isArray;
    std::size_t index;
    std::string key;
    std::set<std::string> keys;
  };

  bool open(bool isArray) {
    levels_.push_back({isArray, 0, {}, {}});
    return true;
  }
  bool closed() {
    levels_.pop_back();
    return passed();
  }
  bool passed() {
    if (!levels_.empty()) {
      ++levels_.back().index;
    }
    return true;
  }
  [[nodiscard]] std::string place() const {
    std::string path;
    for (const Level& level : levels_) {
      if (level.isArray) {
        path += "[" + std::to_string(level.index) + "]";
      } else {
        path += (path.empty() ? "" : ".") + level.key;
      }
    }
    return path;
  }

  std::vector<Level> levels_;
  std::string key_;
  std::optional<std::string> duplicate_;
  std::vector<double> doubles_;
};

// Puts the exact numbers, which come in the text's order, in place of the parser's own.
void makeExact(json::value& value, std::vector<double>::const_iterator& exact) {
  if (value.is_double()) {
    value = *exact++;
  } else if (value.is_array()) {
    for (json::value& element : value.get_array()) {
      makeExact(element, exact);
    }
  } else if (value.is_object()) {
    for (auto& member : value.get_object()) {
      makeExact(member.value(), exact);
    }
  }
}

}  // namespace

std::expected<json::value, std::string> parseJSON(std::string_view text) {
  json::basic_parser<TextChecker> parser{json::parse_options()};
  json::error_code error;
  const std::size_t read = parser.write_some(false, text.data(), text.size(), error);
  if (const auto& duplicate = parser.handler().duplicate()) {
    return std::unexpected(*duplicate + ": stands here twice");
  }
  if (!error && read < text.size()) {
    error = json::error::extra_data;
  }
  if (error) {
    const auto line =
        std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(read), '\n');
    return std::unexpected("line " + std::to_string(line + 1) + ": no valid JSON, " +
                           error.message());
  }
  json::value value = json::parse(text, error);
  if (error) {
    return std::unexpected(error.message());
  }
  auto exact = parser.handler().doubles().begin();
  makeExact(value, exact);
  return value;
}

}  // namespace sim
