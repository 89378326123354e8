// ASCIIHexDecode and ASCII85Decode.
#include <cstdint>

#include "pdf/filters/filters.h"
#include "pdf/model/error.h"

namespace zopra::pdf {

namespace {

// The white-space bytes both ASCII filters skip: NUL, TAB, LF, FF, CR, SPACE.
bool isFilterWhiteSpace(std::uint8_t byte) {
  return byte == 0 || byte == 9 || byte == 10 || byte == 12 || byte == 13 || byte == 32;
}

// Value of a hexadecimal digit, or -1.
int hexDigitValue(std::uint8_t byte) {
  if (byte >= '0' && byte <= '9') return byte - '0';
  if (byte >= 'a' && byte <= 'f') return byte - 'a' + 10;
  if (byte >= 'A' && byte <= 'F') return byte - 'A' + 10;
  return -1;
}

void appendGroup(Bytes& output, std::uint32_t value, int count, std::size_t limit) {
  checkDecodedSize(output.size() + static_cast<std::size_t>(count), limit);
  for (int i = 0; i < count; ++i) {
    output.push_back(static_cast<std::uint8_t>(value >> (24 - 8 * i)));
  }
}

}  // namespace

Bytes asciiHexDecode(const Bytes& input, std::size_t limit) {
  Bytes output;
  int pending = -1;  // high nibble waiting for its partner
  for (std::uint8_t byte : input) {
    if (byte == '>') break;
    if (isFilterWhiteSpace(byte)) continue;
    int digit = hexDigitValue(byte);
    if (digit < 0) throw Exception(Error::Stream, "invalid ASCIIHex stream");
    if (pending < 0) {
      pending = digit;
      continue;
    }
    checkDecodedSize(output.size() + 1, limit);
    output.push_back(static_cast<std::uint8_t>((pending << 4) | digit));
    pending = -1;
  }
  if (pending >= 0) {
    checkDecodedSize(output.size() + 1, limit);
    output.push_back(static_cast<std::uint8_t>(pending << 4));
  }
  return output;
}

Bytes ascii85Decode(const Bytes& input, std::size_t limit) {
  Bytes output;
  std::uint32_t value = 0;  // wraps modulo 2^32 for over-large groups
  int digits = 0;
  for (std::uint8_t byte : input) {
    if (byte == '~') break;
    if (isFilterWhiteSpace(byte)) continue;
    if (byte == 'z' && digits == 0) {
      appendGroup(output, 0, 4, limit);
      continue;
    }
    if (byte < '!' || byte > 'u') throw Exception(Error::Stream, "invalid ASCII85 stream");
    value = value * 85 + static_cast<std::uint32_t>(byte - '!');
    if (++digits == 5) {
      appendGroup(output, value, 4, limit);
      value = 0;
      digits = 0;
    }
  }
  // A final group of two to four digits is padded with the largest digit and
  // yields one byte fewer than its digit count; a single digit carries no byte.
  if (digits >= 2) {
    int count = digits - 1;
    for (; digits < 5; ++digits) value = value * 85 + 84;
    appendGroup(output, value, count, limit);
  }
  return output;
}

}  // namespace zopra::pdf
