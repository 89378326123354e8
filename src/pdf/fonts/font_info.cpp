#include "pdf/fonts/font_info.h"

#include <algorithm>

#include "pdf/fonts/code_tables.h"

namespace zopra::pdf {

namespace {

bool contains(const std::string& text, std::string_view part) {
  return text.find(part) != std::string::npos;
}

bool isComputerModernText(const std::string& baseFont) {
  return contains(baseFont, "CMR") || contains(baseFont, "CMBX") ||
         contains(baseFont, "CMTI") || contains(baseFont, "CMTT");
}

bool isUndefinedInWinAnsi(std::uint32_t code) {
  return code == 129 || code == 141 || code == 143 || code == 144 || code == 157;
}

std::uint32_t bigEndian(std::string_view bytes, std::size_t position, std::size_t count) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < count; ++i) {
    value = (value << 8) | static_cast<unsigned char>(bytes[position + i]);
  }
  return value;
}

}  // namespace

std::vector<std::uint32_t> FontInfo::map(std::uint32_t byteLength, std::uint32_t code) const {
  // An explicit ToUnicode entry wins, and an empty one deliberately hides the code.
  if (auto it = toUnicode.find({byteLength, code}); it != toUnicode.end()) {
    return it->second;
  }
  if (auto it = codeToUnicode.find(code); it != codeToUnicode.end() && it->second != 0) {
    return {it->second};
  }
  // Composite fonts address glyphs by CID; guessing from the code is meaningless.
  if (composite) return {};
  if (code <= 15 && contains(baseFont, "CMSY")) {
    return {computerModernSymbols[code]};
  }
  if (code >= 32 && code <= 126) return {code};
  if (code < 32 && isComputerModernText(baseFont)) {
    return computerModernRoman()[code];
  }
  if (code >= 128 && code <= 159 && !isUndefinedInWinAnsi(code)) {
    return {winAnsi[code - 128]};
  }
  if (code <= 255) return {code};
  return {};
}

double FontInfo::width(std::uint32_t code) const {
  auto it = widths.find(code);
  return it == widths.end() ? defaultWidth : it->second;
}

std::uint32_t FontInfo::nextCode(std::string_view bytes, std::size_t& position,
                                 std::uint32_t& byteLength) const {
  if (position >= bytes.size()) {
    byteLength = 0;
    return 0;
  }
  const std::size_t remaining = bytes.size() - position;
  std::size_t take = 0;
  for (std::size_t length = 1; length <= 4 && length <= remaining && take == 0; ++length) {
    const std::uint32_t value = bigEndian(bytes, position, length);
    const bool matched =
        std::any_of(codeSpace.begin(), codeSpace.end(), [&](const CodeSpaceRange& range) {
          return range.byteLength == length && range.low <= value && value <= range.high;
        });
    if (matched) take = length;
  }
  if (take == 0) {
    // Without a matching range the font's nominal code length applies; it is
    // clamped to 1..4 so that a bad length can neither stall nor overflow.
    std::size_t nominal = codeLengths.empty() ? 1 : codeLengths.front();
    nominal = std::clamp<std::size_t>(nominal, 1, 4);
    take = std::min(nominal, remaining);
  }
  const std::uint32_t code = bigEndian(bytes, position, take);
  position += take;
  byteLength = static_cast<std::uint32_t>(take);
  return code;
}

}  // namespace zopra::pdf
