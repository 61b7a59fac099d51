#include "protocol/response_encoder.h"

#include <array>
#include <boost/json/array.hpp>
#include <boost/json/monotonic_resource.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serializer.hpp>
#include <boost/json/value.hpp>
#include <cmath>
#include <type_traits>

namespace protocol {
namespace {

using boost::json::array;
using boost::json::object;
using boost::json::storage_ptr;
using boost::json::value;

/// A date as a JSON number that reads back as the same double: whole seconds as an integer.
value number(double date) {
  constexpr double exactUpTo = 9007199254740992;  // 2 to the power of 53
  if (std::trunc(date) == date && std::abs(date) <= exactUpTo) {
    return static_cast<std::int64_t>(date);
  }
  return date;
}

void set(object& target, auto key, const auto& fieldValue) {
  target.emplace(stringValue(key), fieldValue);
}

template <class T>
void setIfPresent(object& target, auto key, const std::optional<T>& field) {
  if (field) {
    set(target, key, *field);
  }
}

/// Nothing when a date is not finite.
std::optional<object> encoded(const AssetSummary& summary, const storage_ptr& storage) {
  using enum AssetSummary::CodingKeys;
  if (!std::isfinite(summary.createdAt) || !std::isfinite(summary.modifiedAt.value_or(0))) {
    return std::nullopt;
  }
  object result(assetSummaryKeys.size(), storage);
  set(result, assetID, summary.assetID);
  set(result, filename, summary.filename);
  set(result, createdAt, number(summary.createdAt));
  if (summary.modifiedAt) {
    set(result, modifiedAt, number(*summary.modifiedAt));
  }
  set(result, mediaType, summary.mediaType);
  setIfPresent(result, bytes, summary.bytes);
  set(result, photoKitResourceType, summary.photoKitResourceType);
  set(result, isRaw, summary.isRaw);
  set(result, isLivePhotoCompanion, summary.isLivePhotoCompanion);
  set(result, isLivePhotoImage, summary.isLivePhotoImage);
  set(result, isCurrentEdit, summary.isCurrentEdit);
  return result;
}

/// The text of a JSON value. Compact JSON holds a solidus inside strings only, so that escaping
/// each one, which the JSON library leaves out, needs no look at what surrounds it.
std::string text(const value& json) {
  std::string result;
  std::array<char, 4096> piece;  // not cleared: that would cost more than a short answer
  boost::json::serializer serializer;
  serializer.reset(&json);
  while (!serializer.done()) {
    std::string_view rest = serializer.read(piece.data(), piece.size());
    for (std::size_t solidus; (solidus = rest.find('/')) != std::string_view::npos;) {
      result.append(rest, 0, solidus).append("\\/");
      rest.remove_prefix(solidus + 1);
    }
    result.append(rest);
  }
  return result;
}

}  // namespace

std::optional<std::string> encode(const Response& response) {
  using enum Response::CodingKeys;
  boost::json::monotonic_resource memory;
  object result(&memory);
  set(result, ok, response.ok);
  set(result, status, response.status);
  setIfPresent(result, error, response.error);
  setIfPresent(result, sha256, response.sha256);
  setIfPresent(result, bytes, response.bytes);
  if (response.assets) {
    array list(&memory);
    list.reserve(response.assets->size());
    for (const AssetSummary& summary : *response.assets) {
      std::optional<object> element = encoded(summary, list.storage());
      if (!element) {
        return std::nullopt;
      }
      list.push_back(std::move(*element));
    }
    result.emplace(stringValue(assets), std::move(list));
  }
  setIfPresent(result, nextOffset, response.nextOffset);
  return text(value(std::move(result)));
}

}  // namespace protocol
