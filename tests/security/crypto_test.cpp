// Known-answer tests of the hash and cipher primitives against the published
// vectors (RFC 1321, FIPS 180-4, FIPS 197, NIST SP 800-38A, RFC 6229).
#include "pdf/security/crypto.h"

#include <gtest/gtest.h>

#include <array>
#include <string>


namespace zopra::pdf {
namespace {

Bytes text(const std::string& s) { return Bytes(s.begin(), s.end()); }

// Hex digits to bytes; spaces are ignored.
Bytes hex(const std::string& digits) {
  std::string compact;
  for (char c : digits) {
    if (c != ' ') compact += c;
  }
  auto nibble = [](char c) {
    return static_cast<std::uint8_t>(c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10);
  };
  Bytes out;
  for (std::size_t i = 0; i + 1 < compact.size(); i += 2) {
    out.push_back(static_cast<std::uint8_t>(nibble(compact[i]) << 4 | nibble(compact[i + 1])));
  }
  return out;
}

std::array<std::uint8_t, 16> ivOf(const std::string& digits) {
  Bytes raw = hex(digits);
  std::array<std::uint8_t, 16> iv{};
  for (std::size_t i = 0; i < 16 && i < raw.size(); ++i) iv[i] = raw[i];
  return iv;
}

TEST(CryptoTest, KnownAnswers) {
  const Bytes abc = text("abc");
  const Bytes twoBlock = text(
      "abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqrlmnopqrsmnopqrstnopqrstu");
  const std::pair<Bytes, const char*> digests[] = {
      {md5(text("")), "d41d8cd98f00b204e9800998ecf8427e"},
      {md5(abc), "900150983cd24fb0d6963f7d28e17f72"},
      {md5(text("12345678901234567890123456789012345678901234567890123456789012345678901234567890")),
       "57edf4a22be3c955ac49da2e2107b67a"},
      {sha256(abc), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
      {sha256(text("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq")),
       "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
      {sha512(abc, true), "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7cc2358baeca134c825a7"},
      {sha512(twoBlock, true),
       "09330c33f71147e83d192fc782cd1b4753111b173b3b05d22fa08086e3b0f712fcc7c71a557e2db966c3e9fa91746039"},
      {sha512(twoBlock, false),
       "8e959b75dae313da8cf4f72814fc143f8f7779c6eb9f7fa17299aeadb6889018501d289e4900f7e4331b99dec4b5433ac7d329eeb6dd26545e96e55b874be909"},
      // RFC 6229: the first bytes of the key stream.
      {rc4(hex("0102030405"), Bytes(16, 0)), "b2396305f03dc027ccc3524a0a1118a8"},
      {rc4(hex("0102030405060708090a0b0c0d0e0f10"), Bytes(16, 0)), "9ac7cc9a609d1ef7b2932899cde41b97"},
      // FIPS 197 appendix C: single blocks (CBC with a zero IV is one ECB block).
      {aesCbc(hex("000102030405060708090a0b0c0d0e0f"), hex("00112233445566778899aabbccddeeff"), {}, false, false),
       "69c4e0d86a7b0430d8cdb78070b4c55a"},
      {aesCbc(hex("000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f"),
              hex("8ea2b7ca516745bfeafc49904b496089"), {}, true, false),
       "00112233445566778899aabbccddeeff"},
  };
  for (const auto& [actual, expected] : digests) EXPECT_EQ(actual, hex(expected)) << expected;

  // SP 800-38A F.2.1 to F.2.6: CBC-AES128 and CBC-AES256, both directions.
  const auto iv = ivOf("000102030405060708090a0b0c0d0e0f");
  const Bytes plain =
      hex("6bc1bee22e409f96e93d7e117393172a ae2d8a571e03ac9c9eb76fac45af8e51"
          "30c81c46a35ce411e5fbc1191a0a52ef f69f2445df4f9b17ad2b417be66c3710");
  const std::pair<Bytes, Bytes> keysAndCiphers[] = {
      {hex("2b7e151628aed2a6abf7158809cf4f3c"),
       hex("7649abac8119b246cee98e9b12e9197d 5086cb9b507219ee95db113a917678b2"
           "73bed6b8e3c1743b7116e69e22229516 3ff1caa1681fac09120eca307586e1a7")},
      {hex("603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4"),
       hex("f58c4c04d6e5f1ba779eabfb5f7bfbd6 9cfc4e967edb808d679f777bc6702c7d"
           "39f23369a9d9bacfa530e26304231461 b2eb05e2c39be9fcda6c19078c6a9d1b")},
  };
  for (const auto& [key, cipher] : keysAndCiphers) {
    EXPECT_EQ(aesCbc(key, plain, iv, false, false), cipher);
    EXPECT_EQ(aesCbc(key, cipher, iv, true, false), plain);
  }
}

}  // namespace
}  // namespace zopra::pdf
