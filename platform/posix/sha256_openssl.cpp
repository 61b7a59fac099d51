#include <openssl/evp.h>

#include "platform/posix/sha256.h"

namespace platform::posix {
namespace {

class OpenSSLSHA256 : public photos::SHA256 {
 public:
  OpenSSLSHA256() : context_(EVP_MD_CTX_new()) {
    EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr);
  }

  void update(std::span<const std::byte> bytes) override {
    EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size());
  }

  [[nodiscard]] photos::SHA256Digest finalize() override {
    photos::SHA256Digest digest{};
    EVP_DigestFinal_ex(context_.get(), reinterpret_cast<unsigned char*>(digest.data()), nullptr);
    return digest;
  }

 private:
  struct Free {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
  };
  std::unique_ptr<EVP_MD_CTX, Free> context_;
};

}  // namespace

std::unique_ptr<photos::SHA256> makeSHA256() { return std::make_unique<OpenSSLSHA256>(); }

}  // namespace platform::posix
