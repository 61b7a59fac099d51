#include "protocol/response_encoder.h"

#include <algorithm>
#include <array>
#include <boost/json/serializer.hpp>
#include <boost/json/value.hpp>
#include <cmath>
#include <string_view>
#include <utility>

namespace protocol {
namespace {

/// Puts a JSON text together, compactly. A page has thousands of values: they are written as they
/// come, without a document in memory before; how each looks is the JSON library's.
class Writer {
 public:
  Writer() { text_.reserve(roomForMostAnswers); }

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

  void value(bool boolean) { text_ += boolean ? "true" : "false"; }
  void value(std::int64_t number) { text_ += std::to_string(number); }

  /// As a number that reads back as the same double: whole seconds as an integer.
  void value(double date) {
    constexpr double exactUpTo = 9007199254740992;  // 2 to the power of 53
    if (std::trunc(date) == date && std::abs(date) <= exactUpTo) {
      value(static_cast<std::int64_t>(date));
      return;
    }
    const boost::json::value json(date);
    serializer_.reset(&json);
    append();
  }

  void value(std::string_view string) {
    serializer_.reset(string);
    append();
  }

  /// What the JSON library makes of a value, with each solidus escaped, which it leaves out.
  void append() {
    std::array<char, 256> piece;  // not cleared: that would cost more than a short text
    while (!serializer_.done()) {
      std::string_view rest = serializer_.read(piece.data(), piece.size());
      for (std::size_t solidus; (solidus = rest.find('/')) != std::string_view::npos;) {
        text_.append(rest, 0, solidus).append("\\/");
        rest.remove_prefix(solidus + 1);
      }
      text_.append(rest);
    }
  }

  static constexpr std::size_t roomForMostAnswers = 512;

  std::string text_;
  boost::json::serializer serializer_;
};

bool isFinite(const AssetSummary& summary) {
  return std::isfinite(summary.createdAt) && std::isfinite(summary.modifiedAt.value_or(0));
}

void write(Writer& writer, const AssetSummary& summary) {
  using enum AssetSummary::CodingKeys;
  writer.field(assetID, summary.assetID);
  writer.field(filename, summary.filename);
  writer.field(createdAt, summary.createdAt);
  writer.field(modifiedAt, summary.modifiedAt);
  writer.field(mediaType, summary.mediaType);
  writer.field(bytes, summary.bytes);
  writer.field(photoKitResourceType, summary.photoKitResourceType);
  writer.field(isRaw, summary.isRaw);
  writer.field(isLivePhotoCompanion, summary.isLivePhotoCompanion);
  writer.field(isLivePhotoImage, summary.isLivePhotoImage);
  writer.field(isCurrentEdit, summary.isCurrentEdit);
}

void write(Writer& writer, const Response& response) {
  using enum Response::CodingKeys;
  writer.field(ok, response.ok);
  writer.field(status, response.status);
  writer.field(error, response.error);
  writer.field(sha256, response.sha256);
  writer.field(bytes, response.bytes);
  if (response.assets) {
    writer.key(stringValue(assets));
    writer.within('[', [&] {
      for (const AssetSummary& summary : *response.assets) {
        writer.within('{', [&] { write(writer, summary); });
      }
    });
  }
  writer.field(nextOffset, response.nextOffset);
}

}  // namespace

std::optional<std::string> encode(const Response& response) {
  if (response.assets && !std::ranges::all_of(*response.assets, isFinite)) {
    return std::nullopt;
  }
  Writer writer;
  writer.within('{', [&] { write(writer, response); });
  return writer.take();
}

}  // namespace protocol
