// Stands in for the part of CommonCrypto that the helper uses.
#pragma once

#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/sha.h>

#include <cstdint>

#define CC_SHA256_Init SHA256_Init
#define CC_SHA256_Final SHA256_Final

using CC_LONG = std::uint32_t;
using CC_SHA256_CTX = SHA256_CTX;

extern "C" int CC_SHA256_Update(CC_SHA256_CTX* context, const void* data, CC_LONG length);
