// The functions of OpenSSL 1.1. Those that replace them need memory, and crash at their first use
// where there is none.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/sha.h>

#include "platform/posix/sha256.h"

namespace platform::posix {
namespace {

class OpenSSLSHA256 : public photos::SHA256 {
 public:
  OpenSSLSHA256() { SHA256_Init(&context_); }

  void update(std::span<const std::byte> bytes) override {
    SHA256_Update(&context_, bytes.data(), bytes.size());
  }

  [[nodiscard]] photos::SHA256Digest finalize() override {
    photos::SHA256Digest digest{};
    SHA256_Final(reinterpret_cast<unsigned char*>(digest.data()), &context_);
    return digest;
  }

 private:
  SHA256_CTX context_{};
};

}  // namespace

std::unique_ptr<photos::SHA256> makeSHA256() { return std::make_unique<OpenSSLSHA256>(); }

}  // namespace platform::posix
