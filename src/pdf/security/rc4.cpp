// RC4 stream cipher.
#include <array>
#include <cstdint>
#include <utility>

#include "pdf/security/crypto.h"

namespace zopra::pdf {

Bytes rc4(const Bytes& key, const Bytes& data) {
  // An empty key has no keystream; the data passes through unchanged.
  if (key.empty()) return data;
  std::array<std::uint8_t, 256> s{};
  for (std::size_t i = 0; i < s.size(); ++i) s[i] = static_cast<std::uint8_t>(i);
  std::uint8_t j = 0;
  for (std::size_t i = 0; i < s.size(); ++i) {
    j = static_cast<std::uint8_t>(j + s[i] + key[i % key.size()]);
    std::swap(s[i], s[j]);
  }
  Bytes out(data.size());
  std::uint8_t x = 0;
  std::uint8_t y = 0;
  for (std::size_t n = 0; n < data.size(); ++n) {
    x = static_cast<std::uint8_t>(x + 1);
    y = static_cast<std::uint8_t>(y + s[x]);
    std::swap(s[x], s[y]);
    out[n] = static_cast<std::uint8_t>(data[n] ^ s[static_cast<std::uint8_t>(s[x] + s[y])]);
  }
  return out;
}

}  // namespace zopra::pdf
