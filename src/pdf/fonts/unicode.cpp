#include "pdf/fonts/unicode.h"

#include <cstddef>

namespace zopra::pdf {
namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;

std::uint32_t byteAt(std::string_view bytes, std::size_t i) {
  return static_cast<unsigned char>(bytes[i]);
}

}  // namespace

std::vector<std::uint32_t> utf16be(std::string_view bytes) {
  std::vector<std::uint32_t> out;
  out.reserve(bytes.size() / 2);
  std::size_t i = 0;
  while (i + 1 < bytes.size()) {
    const std::uint32_t unit = (byteAt(bytes, i) << 8) | byteAt(bytes, i + 1);
    i += 2;
    if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < bytes.size()) {
      const std::uint32_t low = (byteAt(bytes, i) << 8) | byteAt(bytes, i + 1);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        out.push_back(0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
        i += 2;
        continue;
      }
    }
    // Unpaired surrogates pass through unchanged.
    out.push_back(unit);
  }
  return out;
}

std::vector<std::uint32_t> decodeUtf8(std::string_view bytes, bool* ok) {
  std::vector<std::uint32_t> out;
  out.reserve(bytes.size());
  bool wellFormed = true;
  std::size_t i = 0;
  while (i < bytes.size()) {
    const std::uint32_t lead = byteAt(bytes, i);
    if (lead < 0x80) {
      out.push_back(lead);
      ++i;
      continue;
    }
    std::size_t length = 0;
    std::uint32_t value = 0;
    std::uint32_t smallest = 0;
    if (lead >= 0xC0 && lead <= 0xDF) {
      length = 2;
      value = lead & 0x1F;
      smallest = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      length = 3;
      value = lead & 0x0F;
      smallest = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF7) {
      length = 4;
      value = lead & 0x07;
      smallest = 0x10000;
    } else {
      // A stray continuation byte or a lead byte no valid sequence uses.
      out.push_back(kReplacement);
      wellFormed = false;
      ++i;
      continue;
    }
    if (length > bytes.size() - i) {
      out.push_back(kReplacement);
      wellFormed = false;
      break;
    }
    std::size_t consumed = 1;
    while (consumed < length && (byteAt(bytes, i + consumed) & 0xC0) == 0x80) {
      value = (value << 6) | (byteAt(bytes, i + consumed) & 0x3F);
      ++consumed;
    }
    // A broken sequence resumes at the byte that broke it.
    i += consumed;
    if (consumed < length || value < smallest || value > 0x10FFFF ||
        (value >= 0xD800 && value <= 0xDFFF)) {
      out.push_back(kReplacement);
      wellFormed = false;
      continue;
    }
    out.push_back(value);
  }
  if (ok) *ok = wellFormed;
  return out;
}

std::string encodeUtf8(std::uint32_t codePoint) {
  std::string out;
  if (codePoint <= 0x7F) {
    out += static_cast<char>(codePoint);
  } else if (codePoint <= 0x7FF) {
    out += static_cast<char>(0xC0 | (codePoint >> 6));
    out += static_cast<char>(0x80 | (codePoint & 0x3F));
  } else if (codePoint <= 0xFFFF) {
    // Surrogate values are encoded like any other three-byte value.
    out += static_cast<char>(0xE0 | (codePoint >> 12));
    out += static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (codePoint & 0x3F));
  } else if (codePoint <= 0x10FFFF) {
    out += static_cast<char>(0xF0 | (codePoint >> 18));
    out += static_cast<char>(0x80 | ((codePoint >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (codePoint & 0x3F));
  }
  return out;
}

std::string encodeUtf8(const std::vector<std::uint32_t>& codePoints) {
  std::string out;
  out.reserve(codePoints.size());
  for (std::uint32_t codePoint : codePoints) out += encodeUtf8(codePoint);
  return out;
}

std::size_t asciiLetterCount(std::string_view text) {
  std::size_t count = 0;
  for (char c : text) count += isAsciiLetter(static_cast<unsigned char>(c));
  return count;
}

}  // namespace zopra::pdf
