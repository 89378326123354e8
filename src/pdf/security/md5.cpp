// MD5 (RFC 1321).
#include <array>
#include <cmath>
#include <cstdint>

#include "pdf/security/crypto.h"

namespace zopra::pdf {

namespace {

// The additive constants are floor(|sin(i + 1)| * 2^32), built on first use.
const std::array<std::uint32_t, 64>& md5Constants() {
  static const std::array<std::uint32_t, 64> table = [] {
    std::array<std::uint32_t, 64> values{};
    for (std::size_t i = 0; i < values.size(); ++i) {
      values[i] = static_cast<std::uint32_t>(
          std::floor(std::fabs(std::sin(static_cast<double>(i + 1))) * 4294967296.0));
    }
    return values;
  }();
  return table;
}

// clang-format off
constexpr std::array<std::uint32_t, 64> kShifts = {
    7, 12, 17, 22, 7, 12, 17, 22, 7, 12, 17, 22, 7, 12, 17, 22,
    5,  9, 14, 20, 5,  9, 14, 20, 5,  9, 14, 20, 5,  9, 14, 20,
    4, 11, 16, 23, 4, 11, 16, 23, 4, 11, 16, 23, 4, 11, 16, 23,
    6, 10, 15, 21, 6, 10, 15, 21, 6, 10, 15, 21, 6, 10, 15, 21};
// clang-format on

std::uint32_t rotateLeft(std::uint32_t value, std::uint32_t count) {
  return (value << count) | (value >> (32 - count));
}

void md5Block(std::array<std::uint32_t, 4>& state, const std::uint8_t* block) {
  const auto& k = md5Constants();
  std::array<std::uint32_t, 16> m{};
  for (std::size_t i = 0; i < 16; ++i) {
    m[i] = static_cast<std::uint32_t>(block[i * 4]) |
           (static_cast<std::uint32_t>(block[i * 4 + 1]) << 8) |
           (static_cast<std::uint32_t>(block[i * 4 + 2]) << 16) |
           (static_cast<std::uint32_t>(block[i * 4 + 3]) << 24);
  }
  std::uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
  for (std::uint32_t i = 0; i < 64; ++i) {
    std::uint32_t f = 0;
    std::uint32_t g = 0;
    if (i < 16) {
      f = (b & c) | (~b & d);
      g = i;
    } else if (i < 32) {
      f = (d & b) | (~d & c);
      g = (5 * i + 1) % 16;
    } else if (i < 48) {
      f = b ^ c ^ d;
      g = (3 * i + 5) % 16;
    } else {
      f = c ^ (b | ~d);
      g = (7 * i) % 16;
    }
    std::uint32_t next = d;
    d = c;
    c = b;
    b = b + rotateLeft(a + f + k[i] + m[g], kShifts[i]);
    a = next;
  }
  state[0] += a;
  state[1] += b;
  state[2] += c;
  state[3] += d;
}

}  // namespace

Bytes md5(const Bytes& data) {
  std::array<std::uint32_t, 4> state = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
  std::size_t whole = data.size() - data.size() % 64;
  for (std::size_t offset = 0; offset < whole; offset += 64) md5Block(state, data.data() + offset);

  // Final blocks: the remainder, 0x80, zeros, then the bit length little-endian.
  Bytes tail(data.begin() + static_cast<std::ptrdiff_t>(whole), data.end());
  tail.push_back(0x80);
  while (tail.size() % 64 != 56) tail.push_back(0);
  std::uint64_t bits = static_cast<std::uint64_t>(data.size()) * 8;
  for (int i = 0; i < 8; ++i) tail.push_back(static_cast<std::uint8_t>(bits >> (8 * i)));
  for (std::size_t offset = 0; offset < tail.size(); offset += 64)
    md5Block(state, tail.data() + offset);

  Bytes digest;
  digest.reserve(16);
  for (std::uint32_t word : state) {
    for (int i = 0; i < 4; ++i) digest.push_back(static_cast<std::uint8_t>(word >> (8 * i)));
  }
  return digest;
}

}  // namespace zopra::pdf
