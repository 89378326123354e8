// Hash and cipher primitives of the standard security handler. Internal to the
// engine; declared here so the known-answer tests can reach them.
#pragma once

#include <array>
#include <cstdint>

#include "pdf/model/value.h"

namespace zopra::pdf {

// 16-byte MD5 digest.
Bytes md5(const Bytes& data);
// RC4 keystream XOR data; the key must hold at least one byte.
Bytes rc4(const Bytes& key, const Bytes& data);
// 32-byte SHA-256 digest.
Bytes sha256(const Bytes& data);
// 64-byte SHA-512 digest, or with `sha384` the 48-byte SHA-384 digest.
Bytes sha512(const Bytes& data, bool sha384);

// AES-128 or AES-256 (16- or 32-byte key) in CBC mode. The data length must be
// a multiple of 16; nothing is padded when encrypting. When decrypting with
// `removePadding`, a trailing PKCS#7-style pad is checked and removed. Failures
// throw Exception(Error::Encryption).
Bytes aesCbc(const Bytes& key, const Bytes& data, const std::array<std::uint8_t, 16>& iv,
             bool decrypt, bool removePadding);
std::uint8_t aesSbox(std::uint8_t x);
std::uint8_t aesInverseSbox(std::uint8_t x);

}  // namespace zopra::pdf
