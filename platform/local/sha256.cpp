#include "platform/local/sha256.h"

#include <openssl/evp.h>

#include <string_view>

namespace platform::local {
namespace {

class OpenSSLSHA256 : public photos::SHA256 {
 public:
  OpenSSLSHA256() : context_(EVP_MD_CTX_new()) {
    EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr);
  }

  void update(std::span<const std::byte> bytes) override {
    EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size());
  }

  [[nodiscard]] std::array<std::byte, 32> finalize() override {
    std::array<std::byte, 32> digest{};
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

std::string hexadecimal(std::span<const std::byte> bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const std::byte byte : bytes) {
    text += digits[std::to_integer<std::size_t>(byte >> 4)];
    text += digits[std::to_integer<std::size_t>(byte & std::byte{0x0F})];
  }
  return text;
}

}  // namespace platform::local
