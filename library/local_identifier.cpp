#include "library/local_identifier.h"

#include <random>
#include <string_view>

namespace library {
namespace {

void appendHexadecimal(std::string& text, std::uint64_t bits, unsigned digits) {
  constexpr std::string_view alphabet = "0123456789ABCDEF";
  while (digits > 0) {
    --digits;
    text += alphabet[(bits >> (4 * digits)) & 0xF];
  }
}

}  // namespace

std::string localIdentifier(std::uint64_t high, std::uint64_t low) {
  std::string text;
  appendHexadecimal(text, high >> 32, 8);
  text += '-';
  appendHexadecimal(text, high >> 16, 4);
  text += '-';
  appendHexadecimal(text, high, 4);
  text += '-';
  appendHexadecimal(text, low >> 48, 4);
  text += '-';
  appendHexadecimal(text, low, 12);
  return text + "/L0/001";
}

std::string randomLocalIdentifier() {
  std::random_device source;
  const auto bits = [&source] { return (std::uint64_t{source()} << 32) | source(); };
  const std::uint64_t high = bits();
  return localIdentifier(high, bits());
}

}  // namespace library
