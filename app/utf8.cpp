#include "app/utf8.h"

#include <utf8.h>

#include <algorithm>

namespace app {
namespace {

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

bool isBetween(char byte, unsigned low, unsigned high) {
  const auto value = static_cast<unsigned char>(byte);
  return value >= low && value <= high;
}

/// How many bytes the broken piece at the start of `bytes` has: the longest beginning of a valid
/// character, or one byte (The Unicode Standard, table 3-7 and "U+FFFD substitution of maximal
/// subparts").
std::size_t brokenPieceSize(std::string_view bytes) {
  const auto lead = static_cast<unsigned char>(bytes.front());
  std::size_t continuations = 0;
  if (lead >= 0xE0 && lead <= 0xEF) {
    continuations = 1;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    continuations = 2;
  }
  // The lead byte narrows the second one: no overlong forms, surrogates or values over U+10FFFF.
  unsigned low = 0x80;
  unsigned high = 0xBF;
  switch (lead) {
    case 0xE0:
      low = 0xA0;
      break;
    case 0xED:
      high = 0x9F;
      break;
    case 0xF0:
      low = 0x90;
      break;
    case 0xF4:
      high = 0x8F;
      break;
    default:
      break;
  }
  const std::size_t longest = std::min(bytes.size(), continuations + 1);
  std::size_t size = 1;
  while (size < longest && isBetween(bytes[size], low, high)) {
    ++size;
    low = 0x80;
    high = 0xBF;
  }
  return size;
}

std::size_t validSize(std::string_view bytes) {
  return static_cast<std::size_t>(utf8::find_invalid(bytes.begin(), bytes.end()) - bytes.begin());
}

}  // namespace

Utf8Text::Utf8Text(std::string_view bytes) : view_(bytes) {
  std::size_t valid = validSize(bytes);
  if (valid == bytes.size()) {
    return;
  }
  repaired_.reserve(bytes.size());
  while (valid < bytes.size()) {
    repaired_.append(bytes, 0, valid).append(replacementCharacter);
    bytes.remove_prefix(valid);
    bytes.remove_prefix(brokenPieceSize(bytes));
    valid = validSize(bytes);
  }
  repaired_.append(bytes);
  view_ = repaired_;
}

}  // namespace app
