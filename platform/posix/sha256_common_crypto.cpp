#include <CommonCrypto/CommonDigest.h>

#include <algorithm>
#include <cstddef>

#include "platform/posix/sha256.h"

namespace platform::posix {
namespace {

class CommonCryptoSHA256 : public photos::SHA256 {
 public:
  CommonCryptoSHA256() { CC_SHA256_Init(&context_); }

  void update(std::span<const std::byte> bytes) override {
    // A length is 32 bits wide there.
    constexpr std::size_t longestPiece = std::size_t{1} << 30;
    while (!bytes.empty()) {
      const auto piece = bytes.first(std::min(bytes.size(), longestPiece));
      CC_SHA256_Update(&context_, piece.data(), static_cast<CC_LONG>(piece.size()));
      bytes = bytes.subspan(piece.size());
    }
  }

  [[nodiscard]] photos::SHA256Digest finalize() override {
    photos::SHA256Digest digest{};
    CC_SHA256_Final(reinterpret_cast<unsigned char*>(digest.data()), &context_);
    return digest;
  }

 private:
  CC_SHA256_CTX context_{};
};

}  // namespace

std::unique_ptr<photos::SHA256> makeSHA256() { return std::make_unique<CommonCryptoSHA256>(); }

}  // namespace platform::posix
