// Writes JSON as it comes.
#pragma once

#include <algorithm>
#include <array>
#include <boost/json/serializer.hpp>
#include <boost/json/value.hpp>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace protocol {

/// Puts a JSON text together, compactly, of values that JSON has: doubles are finite. A page has
/// thousands of values: they are written as they come, without a document in memory before.
class JSONWriter {
 public:
  JSONWriter() { text_.reserve(roomForMostAnswers); }

  [[nodiscard]] std::string take() { return std::move(text_); }

  /// Whatever `writeElements` writes, in brackets: a '{' or a '['.
  void within(char bracket, auto&& writeElements) {
    separate();
    text_ += bracket;
    writeElements();
    text_ += bracket == '{' ? '}' : ']';
  }

  void key(std::string_view name) {
    separate();
    text_.append(1, '"').append(name).append("\":");
  }

  void field(auto key_, const auto& fieldValue) {
    key(stringValue(key_));
    value(fieldValue);
  }

  template <class T>
  void field(auto key_, const std::optional<T>& fieldValue) {
    if (fieldValue) {
      field(key_, *fieldValue);
    }
  }

 private:
  /// A comma, unless this is the first element or a key's value. Texts end in a quotation mark, so
  /// that these marks are never theirs.
  void separate() {
    if (!text_.empty() && text_.back() != '{' && text_.back() != '[' && text_.back() != ':') {
      text_ += ',';
    }
  }

  void value(const char*) = delete;  // would be a bool
  void value(bool boolean) { text_ += boolean ? "true" : "false"; }
  void value(std::int64_t number) { text_ += std::to_string(number); }

  /// As a number that reads back as the same double: whole seconds as an integer.
  void value(double date) {
    constexpr double exactUpTo = 9007199254740992;  // 2 to the power of 53
    if (std::trunc(date) == date && std::abs(date) <= exactUpTo) {
      value(static_cast<std::int64_t>(date));
    } else {
      const boost::json::value json(date);
      serializer_.reset(&json);
      std::array<char, 32> digits;  // no double has more
      text_ += serializer_.read(digits.data(), digits.size());
    }
  }

  void value(std::string_view string) {
    text_ += '"';
    for (;;) {
      const auto escaped = std::ranges::find_if(string, needsEscape);
      text_.append(string.begin(), escaped);
      if (escaped == string.end()) {
        break;
      }
      escape(*escaped);
      string = {escaped + 1, string.end()};
    }
    text_ += '"';
  }

  /// What JSON demands, and the solidus: Foundation's encoder escapes it, and hosts may compare.
  static bool needsEscape(char character) {
    return static_cast<unsigned char>(character) < ' ' || character == '"' || character == '\\' ||
           character == '/';
  }

  void escape(char character) {
    constexpr std::string_view controls = "\b\f\n\r\t";
    constexpr std::string_view letters = "bfnrt";
    constexpr std::string_view digits = "0123456789abcdef";
    text_ += '\\';
    if (const std::size_t index = controls.find(character); index != std::string_view::npos) {
      text_ += letters[index];
    } else if (character >= ' ') {
      text_ += character;
    } else {
      const auto code = static_cast<unsigned char>(character);
      text_.append("u00").append(1, digits[code >> 4]).append(1, digits[code & 0xF]);
    }
  }

  static constexpr std::size_t roomForMostAnswers = 512;

  std::string text_;
  boost::json::serializer serializer_;
};

}  // namespace protocol
