#include "protocol/request_decoder.h"

#include <bitset>
#include <boost/json/basic_parser_impl.hpp>
#include <concepts>
#include <string>
#include <utility>

#include "protocol/json_number.h"

namespace protocol {
namespace {

using Key = Request::CodingKeys;
using boost::json::error_code;
using boost::json::string_view;

struct Null {};

/// A JSON number as it is written: what it is worth depends on the field that takes it.
struct Number {
  std::string_view text;
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
  field = wholeNumber(value.text);
  return field.has_value();
}

bool take(std::optional<double>& field, Number value) {
  field = finiteNumber(value.text);
  return field.has_value();
}

bool take(std::optional<bool>& field, std::same_as<bool> auto value) {
  field = value;
  return true;
}

bool take(auto& /*field*/, auto&& /*value*/) { return false; }

auto withField(Request& request, Key key, auto&& use) {
  switch (key) {
    case Key::command:
      return use(request.command);
    case Key::assetID:
      return use(request.assetID);
    case Key::photoKitResourceType:
      return use(request.photoKitResourceType);
    case Key::assetIDs:
      return use(request.assetIDs);
    case Key::destination:
      return use(request.destination);
    case Key::cutoff:
      return use(request.cutoff);
    case Key::includePhotos:
      return use(request.includePhotos);
    case Key::includeVideos:
      return use(request.includeVideos);
    case Key::offset:
      return use(request.offset);
    case Key::limit:
      return use(request.limit);
  }
  std::unreachable();
}

/// Takes the parser's events. Only the values of the outermost object's known keys, and the
/// elements of a list that is one of them, mean anything; all else only has to be JSON.
class Handler {
 public:
  // What the parser asks of a handler; snake_case is its own.
  static constexpr std::size_t max_object_size = static_cast<std::size_t>(-1);
  static constexpr std::size_t max_array_size = max_object_size;
  static constexpr std::size_t max_key_size = max_object_size;
  static constexpr std::size_t max_string_size = max_object_size;

  bool on_document_begin(error_code& /*error*/) {
    request_ = Request{};
    depth_ = 0;
    isObject_ = false;
    key_.reset();
    inList_ = false;
    present_.reset();
    mismatched_.reset();
    text_.clear();
    return true;
  }
  bool on_document_end(error_code& /*error*/) { return true; }

  bool on_object_begin(error_code& /*error*/) {
    if (depth_ == 0) {
      isObject_ = true;
    } else {
      value(Container{});
    }
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
    if (depth_ == 1) {
      inList_ = false;
    }
    return true;
  }

  bool on_key_part(string_view part, std::size_t /*size*/, error_code& /*error*/) {
    text_.append(part);
    return true;
  }
  bool on_key(string_view part, std::size_t /*size*/, error_code& /*error*/) {
    text_.append(part);
    if (depth_ == 1) {
      key_ = requestKey(text_);
    }
    text_.clear();
    return true;
  }
  bool on_string_part(string_view part, std::size_t /*size*/, error_code& /*error*/) {
    text_.append(part);
    return true;
  }
  bool on_string(string_view part, std::size_t /*size*/, error_code& /*error*/) {
    text_.append(part);
    value(std::move(text_));
    text_.clear();
    return true;
  }
  // The line is one piece in memory, so a number's text arrives whole with its value.
  bool on_number_part(string_view /*part*/, error_code& /*error*/) { return true; }
  bool on_int64(std::int64_t /*value*/, string_view text, error_code& /*error*/) {
    return number(text);
  }
  bool on_uint64(std::uint64_t /*value*/, string_view text, error_code& /*error*/) {
    return number(text);
  }
  bool on_double(double /*value*/, string_view text, error_code& /*error*/) { return number(text); }
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

  /// The request of the document just read.
  std::optional<Request> result() {
    const bool complete = isObject_ && mismatched_.none() && present_.test(index(Key::command));
    return complete ? std::optional(std::move(request_)) : std::nullopt;
  }

 private:
  struct Container {};

  static std::size_t index(Key key) { return static_cast<std::size_t>(key); }

  bool number(string_view text) {
    value(Number{{text.data(), text.size()}});
    return true;
  }

  template <class Value>
  void value(Value&& value) {
    if (inList_) {
      if constexpr (std::same_as<std::remove_cvref_t<Value>, std::string>) {
        if (depth_ == 2) {
          request_.assetIDs->push_back(std::forward<Value>(value));
        }
      } else {
        settle(Key::assetIDs, false);
      }
    } else if (depth_ == 1 && key_) {
      settle(*key_, withField(request_, *key_, [&](auto& field) {
        return take(field, std::forward<Value>(value));
      }));
    }
  }

  /// Of two equal keys the last counts, for better or worse.
  void settle(Key key, bool matches) {
    present_.set(index(key));
    mismatched_.set(index(key), !matches);
  }

  Request request_;
  std::size_t depth_ = 0;
  bool isObject_ = false;
  /// The outermost object's key whose value is being read, if it is one of ours.
  std::optional<Key> key_;
  /// Whether that value is the list of identifiers.
  bool inList_ = false;
  std::bitset<requestKeys.size()> present_;
  std::bitset<requestKeys.size()> mismatched_;
  /// What has come so far of the key or string being read.
  std::string text_;
};

boost::json::parse_options options() {
  boost::json::parse_options options;
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
  error_code error;
  parser_->reset();
  const std::size_t read = parser_->write_some(false, line.data(), line.size(), error);
  if (error || read != line.size()) {
    return std::nullopt;
  }
  return parser_->handler().result();
}

}  // namespace protocol
