// Stands in for the part of CommonCrypto that the helper uses.
#pragma once

#include <openssl/sha.h>

#include <cstdint>

using CC_LONG = std::uint32_t;
using CC_SHA256_CTX = SHA256_CTX;

extern "C" {
int CC_SHA256_Init(CC_SHA256_CTX* context);
int CC_SHA256_Update(CC_SHA256_CTX* context, const void* data, CC_LONG length);
int CC_SHA256_Final(unsigned char* digest, CC_SHA256_CTX* context);
}
