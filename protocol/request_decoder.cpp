#include "protocol/request_decoder.h"

#include <utf8.h>

#include <algorithm>
#include <bitset>
#include <boost/json/basic_parser_impl.hpp>
#include <cmath>
#include <concepts>
#include <cstdlib>
#include <iterator>
#include <string>
#include <utility>

#include "protocol/whole_number.h"

namespace protocol {
namespace {

using boost::json::string_view;
using boost::system::error_code;
using Key = Request::CodingKeys;

constexpr std::size_t fieldCount = stringValues<Request>.size();
constexpr std::size_t longestKey =
    std::ranges::max(stringValues<Request>, {}, &std::string_view::size).size();

struct Null {};
struct Container {};

struct Number {
  /// The nearest double.
  double value = 0;
  /// Its value as an integer, if it is whole and not too large to tell.
  std::optional<std::int64_t> whole = {};
};

// How each type of field takes each kind of value; true when it is of the field's type.

bool take(std::string& field, std::string&& value) {
  field = std::move(value);
  return true;
}

template <class T>
bool take(std::optional<T>& field, Null /*value*/) {
  field.reset();
  return true;
}

bool take(std::optional<std::string>& field, std::string&& value) {
  field = std::move(value);
  return true;
}

bool take(std::optional<std::int64_t>& field, Number value) {
  field = value.whole;
  return field.has_value();
}

bool take(std::optional<double>& field, Number value) {
  field = value.value;
  return std::isfinite(value.value);
}

bool take(std::optional<bool>& field, std::same_as<bool> auto value) {
  field = value;
  return true;
}

bool take(auto& /*field*/, auto&& /*value*/) { return false; }

/// Takes the parser's events. Only the values of the outermost object's known keys, and the
/// elements of a list that is one of them, mean anything; all else only has to be JSON, and is not
/// kept: a line may be as large as memory.
class Handler {
 public:
  // What the parser asks of a handler; snake_case is its own.
  static constexpr std::size_t max_object_size = static_cast<std::size_t>(-1);
  static constexpr std::size_t max_array_size = max_object_size;
  static constexpr std::size_t max_key_size = max_object_size;
  static constexpr std::size_t max_string_size = max_object_size;

  bool on_document_begin(error_code& /*error*/) { return true; }
  bool on_document_end(error_code& /*error*/) { return true; }

  bool on_object_begin(error_code& /*error*/) {
    value(Container{});
    ++depth_;
    return true;
  }
  bool on_object_end(std::size_t /*size*/, error_code& /*error*/) {
    --depth_;
    return true;
  }

  bool on_array_begin(error_code& /*error*/) {
    if (depth_ == 1 && key_ == Key::assetIDs) {
      request_.assetIDs.emplace();
      settle(Key::assetIDs, true);
      inList_ = true;
    } else {
      value(Container{});
    }
    ++depth_;
    return true;
  }
  bool on_array_end(std::size_t /*size*/, error_code& /*error*/) {
    --depth_;
    inList_ = inList_ && depth_ > 1;
    return true;
  }

  bool on_key_part(string_view part, std::size_t size, error_code& /*error*/) {
    collect(part, depth_ == 1 && size <= longestKey);
    return true;
  }
  bool on_key(string_view part, std::size_t size, error_code& /*error*/) {
    collect(part, depth_ == 1 && size <= longestKey);
    if (depth_ == 1) {
      const auto found = std::ranges::find(stringValues<Request>, text_);
      const bool isKnown = size <= longestKey && found != stringValues<Request>.end();
      key_ = isKnown ? std::optional(static_cast<Key>(found - stringValues<Request>.begin()))
                     : std::nullopt;
    }
    text_.clear();
    return true;
  }
  bool on_string_part(string_view part, std::size_t /*size*/, error_code& /*error*/) {
    collect(part, isWanted());
    return true;
  }
  bool on_string(string_view part, std::size_t /*size*/, error_code& /*error*/) {
    if (isWanted()) {
      // A string without escapes comes as one part, straight from the line.
      std::string text = std::exchange(text_, {});
      if (!text.empty()) {
        part = text.append(part);
      }
      value(!utf8::is_valid(part) ? repaired(part)
            : text.empty()        ? std::string(part)
                                  : std::move(text));
    }
    return true;
  }
  // The line is one piece in memory, so a number's text arrives whole with its value.
  bool on_number_part(string_view /*part*/, error_code& /*error*/) { return true; }
  bool on_int64(std::int64_t number, string_view /*text*/, error_code& /*error*/) {
    value(Number{.value = static_cast<double>(number), .whole = number});
    return true;
  }
  bool on_uint64(std::uint64_t number, string_view /*text*/, error_code& /*error*/) {
    value(Number{.value = static_cast<double>(number)});
    return true;
  }
  bool on_double(double /*inexact*/, string_view text, error_code& /*error*/) {
    if (isWanted()) {
      // strtod rounds correctly, which the library's own conversion does not promise; a date that a
      // host sends back must be the very date that it was given. The process never sets a locale.
      const double number = std::strtod(std::string(text).c_str(), nullptr);
      value(Number{.value = number, .whole = wholeNumber(number)});
    }
    return true;
  }
  bool on_bool(bool boolean, error_code& /*error*/) {
    value(boolean);
    return true;
  }
  bool on_null(error_code& /*error*/) {
    value(Null{});
    return true;
  }
  bool on_comment_part(string_view /*part*/, error_code& /*error*/) { return true; }
  bool on_comment(string_view /*part*/, error_code& /*error*/) { return true; }

  /// The request of the document just read. Called once.
  std::optional<Request> takeRequest() {
    return mismatched_.none() ? std::optional(std::move(request_)) : std::nullopt;
  }

 private:
  /// The text with U+FFFD in place of what is not UTF-8.
  static std::string repaired(std::string_view text) {
    constexpr std::size_t sizeOfReplacement = 3;
    std::string repaired;
    // The worst case. While a string grows, its old and its new memory are both held.
    repaired.reserve(sizeOfReplacement * text.size());
    utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(repaired));
    return repaired;
  }

  static std::size_t index(Key key) { return static_cast<std::size_t>(key); }

  /// Whether the value at hand is one of ours, or an element of one.
  [[nodiscard]] bool isWanted() const { return inList_ || (depth_ == 1 && key_); }

  void collect(string_view part, bool isMeant) {
    if (isMeant) {
      text_.append(part);
    }
  }

  template <class Value>
  void value(Value&& value) {
    if (inList_) {
      if constexpr (std::same_as<Value, std::string>) {
        if (depth_ == 2) {
          request_.assetIDs->push_back(std::forward<Value>(value));
        }
      } else {
        settle(Key::assetIDs, false);
      }
    } else if (isWanted()) {
      boost::mp11::mp_with_index<fieldCount>(index(*key_), [&](auto field) {
        constexpr auto member = boost::mp11::mp_at<Fields<Request>, decltype(field)>::pointer;
        settle(*key_, take(request_.*member, std::forward<Value>(value)));
      });
    }
  }

  /// Of two equal keys the last counts, for better or worse.
  void settle(Key key, bool matches) { mismatched_.set(index(key), !matches); }

  Request request_;
  std::size_t depth_ = 0;
  /// The outermost object's key whose value is being read, if it is one of ours.
  std::optional<Key> key_;
  /// Whether that value is the list of identifiers.
  bool inList_ = false;
  /// Fields that have no value of their type: the command, until one comes.
  std::bitset<fieldCount> mismatched_ = 1U << index(Key::command);
  /// What has come so far of the key or string being read.
  std::string text_;
};

class ReleasedAtTheEnd {
 public:
  explicit ReleasedAtTheEnd(Handler& handler) : handler_(handler) {}
  ReleasedAtTheEnd(const ReleasedAtTheEnd&) = delete;
  ReleasedAtTheEnd& operator=(const ReleasedAtTheEnd&) = delete;
  ~ReleasedAtTheEnd() { handler_ = {}; }

 private:
  Handler& handler_;
};

boost::json::parse_options options() {
  boost::json::parse_options options;
  options.allow_invalid_utf8 = true;  // in strings; those that mean anything are repaired
  options.max_depth = 512;
  return options;
}

}  // namespace

class RequestDecoder::Parser : public boost::json::basic_parser<Handler> {
 public:
  Parser() : basic_parser(options()) {}
};

RequestDecoder::RequestDecoder() : parser_(std::make_unique<Parser>()) {}

RequestDecoder::~RequestDecoder() = default;

std::optional<Request> RequestDecoder::decode(std::string_view line) {
  // Nothing is kept, even when there is no memory for all of the line.
  const ReleasedAtTheEnd released(parser_->handler());
  error_code error;
  parser_->reset();
  const std::size_t read = parser_->write_some(false, line.data(), line.size(), error);
  return error || read != line.size() ? std::nullopt : parser_->handler().takeRequest();
}

}  // namespace protocol
