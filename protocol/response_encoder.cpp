#include "protocol/response_encoder.h"

#include <utf8.h>

#include <algorithm>
#include <array>
#include <boost/json/serializer.hpp>
#include <boost/json/value.hpp>
#include <cmath>
#include <concepts>
#include <string_view>
#include <utility>
#include <vector>

#include "protocol/whole_number.h"

namespace protocol {
namespace {

namespace json = boost::json;

/// Writes records as JSON text, field by field: a page has thousands, and a document of them would
/// cost more than all the rest.
class Writer {
 public:
  explicit Writer(std::size_t expectedSize) { text_.reserve(expectedSize); }

  template <class Record>
    requires boost::describe::has_describe_members<Record>::value
  void write(const Record& record) {
    char separator = '{';
    auto key = stringValues<Record>.begin();
    boost::mp11::mp_for_each<Fields<Record>>([&](auto field) {
      if (isSet(record.*field.pointer)) {
        text_ += separator;
        text_.append(1, '"').append(*key).append("\":");
        write(record.*field.pointer);
        separator = ',';
      }
      ++key;
    });
    text_ += '}';
  }

  [[nodiscard]] std::string take() { return std::move(text_); }

 private:
  template <class Value>
  static bool isSet(const Value& /*always*/) {
    return true;
  }
  template <class Value>
  static bool isSet(const std::optional<Value>& field) {
    return field.has_value();
  }

  template <class Value>
  void write(const std::optional<Value>& field) {
    write(*field);
  }

  template <class Element>
  void write(const std::vector<Element>& list) {
    text_ += '[';
    for (const Element& element : list) {
      text_.append(&element == list.data() ? "" : ",");
      write(element);
    }
    text_ += ']';
  }

  void write(std::same_as<bool> auto boolean) { text_ += boolean ? "true" : "false"; }

  void write(std::int64_t number) { text_ += std::to_string(number); }

  /// Whole seconds as an integer.
  void write(double date) {
    if (const auto seconds = wholeNumber(date)) {
      write(*seconds);
    } else {
      const json::value value(date);
      serialize(&value);
    }
  }

  /// A library that others have damaged, or a path, may hold bytes that are not UTF-8.
  void write(const std::string& string) {
    if (utf8::is_valid(string)) {
      serialize(json::string_view(string));
    } else {
      serialize(json::string_view(utf8::replace_invalid(string)));
    }
  }

  void serialize(auto value) {
    std::array<char, 512> room;  // NOLINT(cppcoreguidelines-pro-type-member-init): filled next
    serializer_.reset(value);
    while (!serializer_.done()) {
      std::string_view piece = serializer_.read(room.data(), room.size());
      // A solidus is only ever in a string, and the library does not escape it.
      for (std::size_t at = piece.find('/'); at != std::string_view::npos; at = piece.find('/')) {
        text_.append(piece, 0, at).append("\\/");
        piece.remove_prefix(at + 1);
      }
      text_ += piece;
    }
  }

  std::string text_;
  json::serializer serializer_;
};

bool isFinite(const AssetSummary& summary) {
  return std::isfinite(summary.createdAt) && std::isfinite(summary.modifiedAt.value_or(0));
}

}  // namespace

std::optional<std::string> encode(const Response& response) {
  if (response.assets && !std::ranges::all_of(*response.assets, isFinite)) {
    return std::nullopt;
  }
  constexpr std::size_t sizeOfSummary = 320;
  Writer writer((response.assets ? response.assets->size() + 1 : 1) * sizeOfSummary);
  writer.write(response);
  return writer.take();
}

}  // namespace protocol
