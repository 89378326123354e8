// AES (FIPS 197) with 128- and 256-bit keys in CBC mode.
#include <array>
#include <cstdint>

#include "pdf/model/error.h"
#include "pdf/security/crypto.h"

namespace zopra::pdf {

namespace {

using Block = std::array<std::uint8_t, 16>;
using SboxTable = std::array<std::uint8_t, 256>;

// Multiplication in GF(2^8) modulo x^8 + x^4 + x^3 + x + 1.
std::uint8_t gfMultiply(std::uint8_t a, std::uint8_t b) {
  std::uint8_t product = 0;
  while (b != 0) {
    if (b & 1) product ^= a;
    bool carry = (a & 0x80) != 0;
    a = static_cast<std::uint8_t>(a << 1);
    if (carry) a ^= 0x1B;
    b = static_cast<std::uint8_t>(b >> 1);
  }
  return product;
}

std::uint8_t rotateLeft(std::uint8_t value, int count) {
  return static_cast<std::uint8_t>((value << count) | (value >> (8 - count)));
}

// The S-box values computed by aesSbox, evaluated once on first use: the
// revision 6 password hash runs thousands of AES blocks per document.
const SboxTable& sboxTable() {
  static const SboxTable table = [] {
    SboxTable forward{};
    for (unsigned x = 0; x < 256; ++x) forward[x] = aesSbox(static_cast<std::uint8_t>(x));
    return forward;
  }();
  return table;
}

const SboxTable& inverseSboxTable() {
  static const SboxTable table = [] {
    SboxTable inverse{};
    for (unsigned x = 0; x < 256; ++x)
      inverse[aesSbox(static_cast<std::uint8_t>(x))] = static_cast<std::uint8_t>(x);
    return inverse;
  }();
  return table;
}

// The expanded key: 4 * (rounds + 1) words as bytes, and the round count.
struct KeySchedule {
  std::array<std::uint8_t, 240> bytes{};
  int rounds = 0;
};

KeySchedule expandKey(const Bytes& key, const SboxTable& sbox) {
  KeySchedule schedule;
  const std::size_t nk = key.size() / 4;
  schedule.rounds = static_cast<int>(nk) + 6;
  const std::size_t totalWords = 4 * (static_cast<std::size_t>(schedule.rounds) + 1);
  auto& w = schedule.bytes;
  for (std::size_t i = 0; i < key.size(); ++i) w[i] = key[i];
  std::uint8_t roundConstant = 1;
  for (std::size_t i = nk; i < totalWords; ++i) {
    std::array<std::uint8_t, 4> temp = {w[4 * i - 4], w[4 * i - 3], w[4 * i - 2], w[4 * i - 1]};
    if (i % nk == 0) {
      temp = {static_cast<std::uint8_t>(sbox[temp[1]] ^ roundConstant), sbox[temp[2]],
              sbox[temp[3]], sbox[temp[0]]};
      roundConstant = gfMultiply(roundConstant, 2);
    } else if (nk > 6 && i % nk == 4) {
      for (auto& b : temp) b = sbox[b];
    }
    for (std::size_t j = 0; j < 4; ++j) w[4 * i + j] = w[4 * (i - nk) + j] ^ temp[j];
  }
  return schedule;
}

void addRoundKey(Block& state, const KeySchedule& schedule, int round) {
  for (std::size_t i = 0; i < 16; ++i)
    state[i] ^= schedule.bytes[static_cast<std::size_t>(round) * 16 + i];
}

// State bytes are column-major: byte r + 4c is row r of column c.
void shiftRows(Block& state, bool inverse) {
  Block out{};
  for (std::size_t r = 0; r < 4; ++r) {
    for (std::size_t c = 0; c < 4; ++c) {
      std::size_t source = inverse ? (c + 4 - r) % 4 : (c + r) % 4;
      out[r + 4 * c] = state[r + 4 * source];
    }
  }
  state = out;
}

std::uint8_t xtime(std::uint8_t a) {
  return static_cast<std::uint8_t>((a << 1) ^ ((a & 0x80) ? 0x1B : 0));
}

void mixColumns(Block& state, bool inverse) {
  for (std::size_t c = 0; c < 4; ++c) {
    std::uint8_t* column = state.data() + 4 * c;
    if (inverse) {
      // InvMixColumns = MixColumns after multiplying rows 0/2 and 1/3 by x^2.
      std::uint8_t u = xtime(xtime(static_cast<std::uint8_t>(column[0] ^ column[2])));
      std::uint8_t v = xtime(xtime(static_cast<std::uint8_t>(column[1] ^ column[3])));
      column[0] ^= u;
      column[1] ^= v;
      column[2] ^= u;
      column[3] ^= v;
    }
    std::uint8_t all = column[0] ^ column[1] ^ column[2] ^ column[3];
    std::uint8_t first = column[0];
    for (std::size_t r = 0; r < 4; ++r) {
      std::uint8_t next = r == 3 ? first : column[r + 1];
      column[r] ^=
          static_cast<std::uint8_t>(all ^ xtime(static_cast<std::uint8_t>(column[r] ^ next)));
    }
  }
}

void encryptBlock(Block& state, const KeySchedule& schedule, const SboxTable& sbox) {
  addRoundKey(state, schedule, 0);
  for (int round = 1; round <= schedule.rounds; ++round) {
    for (auto& b : state) b = sbox[b];
    shiftRows(state, false);
    if (round != schedule.rounds) mixColumns(state, false);
    addRoundKey(state, schedule, round);
  }
}

void decryptBlock(Block& state, const KeySchedule& schedule, const SboxTable& inverseSbox) {
  addRoundKey(state, schedule, schedule.rounds);
  for (int round = schedule.rounds - 1; round >= 0; --round) {
    shiftRows(state, true);
    for (auto& b : state) b = inverseSbox[b];
    addRoundKey(state, schedule, round);
    if (round != 0) mixColumns(state, true);
  }
}

}  // namespace

std::uint8_t aesSbox(std::uint8_t x) {
  // Multiplicative inverse as x^254 (0 stays 0), then the affine transformation.
  std::uint8_t inverse = 1;
  std::uint8_t power = x;
  for (unsigned exponent = 254; exponent != 0; exponent >>= 1) {
    if (exponent & 1) inverse = gfMultiply(inverse, power);
    power = gfMultiply(power, power);
  }
  if (x == 0) inverse = 0;
  return static_cast<std::uint8_t>(inverse ^ rotateLeft(inverse, 1) ^ rotateLeft(inverse, 2) ^
                                   rotateLeft(inverse, 3) ^ rotateLeft(inverse, 4) ^ 0x63);
}

std::uint8_t aesInverseSbox(std::uint8_t x) { return inverseSboxTable()[x]; }

Bytes aesCbc(const Bytes& key, const Bytes& data, const std::array<std::uint8_t, 16>& iv,
             bool decrypt, bool removePadding) {
  if (data.size() % 16 != 0) throw Exception(Error::Encryption, "invalid AES ciphertext length");
  if (key.size() != 16 && key.size() != 32) {
    throw Exception(Error::Encryption, "invalid AES key length");
  }
  const SboxTable& sbox = sboxTable();
  const KeySchedule schedule = expandKey(key, sbox);

  Bytes out(data.size());
  Block previous = iv;
  for (std::size_t offset = 0; offset < data.size(); offset += 16) {
    Block block{};
    for (std::size_t i = 0; i < 16; ++i) block[i] = data[offset + i];
    if (decrypt) {
      Block cipherText = block;
      decryptBlock(block, schedule, inverseSboxTable());
      for (std::size_t i = 0; i < 16; ++i) out[offset + i] = block[i] ^ previous[i];
      previous = cipherText;
    } else {
      for (std::size_t i = 0; i < 16; ++i) block[i] ^= previous[i];
      encryptBlock(block, schedule, sbox);
      for (std::size_t i = 0; i < 16; ++i) out[offset + i] = block[i];
      previous = block;
    }
  }

  if (decrypt && removePadding && !out.empty()) {
    std::size_t pad = out.back();
    bool valid = pad >= 1 && pad <= 16 && pad <= out.size();
    for (std::size_t i = 0; valid && i < pad; ++i) valid = out[out.size() - 1 - i] == pad;
    if (!valid) throw Exception(Error::Encryption, "invalid AES padding");
    out.resize(out.size() - pad);
  }
  return out;
}

}  // namespace zopra::pdf
