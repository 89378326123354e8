#include "pdf/fonts/font_info.h"

#include <algorithm>

#include "pdf/fonts/code_tables.h"
#include "pdf/fonts/predefined_cmap.h"
#include "pdf/fonts/unicode.h"

namespace zopra::pdf {

namespace {

bool contains(const std::string& text, std::string_view part) {
  return text.find(part) != std::string::npos;
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

// Every code one byte long: no code space ranges and a nominal length of 1
// (nextCode clamps a length of 0 to 1).
bool oneByteCodes(const FontInfo& font) {
  return font.codeSpace.empty() && (font.codeLengths.empty() || font.codeLengths.front() <= 1);
}

}  // namespace

const ToUnicodeMap::Entry* ToUnicodeMap::find(std::uint32_t byteLength, std::uint32_t code) const {
  auto it = std::lower_bound(entries.begin(), entries.end(), std::make_pair(byteLength, code),
                             [](const Entry& entry, const std::pair<std::uint32_t, std::uint32_t>& key) {
                               return std::make_pair(entry.byteLength, entry.code) < key;
                             });
  if (it == entries.end() || it->byteLength != byteLength || it->code != code) return nullptr;
  return &*it;
}

std::vector<std::uint32_t> ToUnicodeMap::target(const Entry& entry) const {
  auto begin = points.begin() + entry.offset;
  return std::vector<std::uint32_t>(begin, begin + entry.count);
}

std::size_t ToUnicodeMap::memory() const {
  return sizeof(*this) + entries.capacity() * sizeof(Entry) + points.capacity() * sizeof(std::uint32_t) +
         codeSpace.capacity() * sizeof(CodeSpaceRange);
}

void FontInfo::setBaseFont(std::string name) {
  baseFont = std::move(name);
  computerModernSymbols = contains(baseFont, "CMSY");
  computerModernText = contains(baseFont, "CMR") || contains(baseFont, "CMBX") ||
                       contains(baseFont, "CMTI") || contains(baseFont, "CMTT");
  narrowSpace = false;
  for (std::string_view fragment :
       {"MS-PGothic", "Meiryo", "CMBX", "CMTI", "CMTT", "CMSS", "CMMI", "CMSY", "CMEX"}) {
    if (contains(baseFont, fragment)) narrowSpace = true;
  }
  spaceFallback = contains(baseFont, "XCharter") ? 0.1 : contains(baseFont, "NimbusRom") ? 0.15 : 0.25;
}

std::vector<std::uint32_t> FontInfo::map(std::uint32_t byteLength, std::uint32_t code) const {
  // An explicit ToUnicode entry wins, and an empty one deliberately hides the code.
  if (toUnicode) {
    if (const ToUnicodeMap::Entry* entry = toUnicode->find(byteLength, code)) {
      return toUnicode->target(*entry);
    }
    // Simple fonts always show one byte per glyph, yet some producers write
    // their ToUnicode source codes with two bytes (<008b>): those stand for
    // the single byte.
    if (!composite && byteLength == 1) {
      for (std::uint32_t length : {2u, 3u, 4u}) {
        if (const ToUnicodeMap::Entry* entry = toUnicode->find(length, code)) {
          return toUnicode->target(*entry);
        }
      }
    }
  }
  if (predefined) {
    if (std::uint32_t point = predefinedCodePoint(*predefined, code)) return {point};
  }
  if (auto it = codeToUnicode.find(code); it != codeToUnicode.end() && it->second != 0) {
    return {it->second};
  }
  // Composite fonts address glyphs by CID; guessing from the code is meaningless.
  if (composite) return {};
  if (code <= 15 && computerModernSymbols) return {zopra::pdf::computerModernSymbols[code]};
  if (code >= 32 && code <= 126) return {code};
  if (code < 32 && computerModernText) return computerModernRoman()[code];
  if (code >= 128 && code <= 159 && !isUndefinedInWinAnsi(code)) {
    return {winAnsi[code - 128]};
  }
  if (code <= 255) return {code};
  return {};
}

double FontInfo::width(std::uint32_t code) const {
  const double* found = widths.find(code);
  return found ? *found : defaultWidth;
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

const ByteCodes* FontInfo::byteCodes() const {
  if (byteCodesTried_) return byteCodes_.get();
  byteCodesTried_ = true;
  if (!oneByteCodes(*this)) return nullptr;
  auto table = std::make_shared<ByteCodes>();
  for (std::uint32_t code = 0; code < 256; ++code) {
    table->start[code] = static_cast<std::uint32_t>(table->text.size());
    table->widths[code] = width(code);
    std::vector<std::uint32_t> points = map(1, code);
    table->shown[code] = !points.empty();
    // As item text crosses the C interface: a lone surrogate or a value past
    // U+10FFFF becomes U+FFFD.
    for (std::uint32_t point : points) {
      if ((point >= 0xD800 && point <= 0xDFFF) || point > 0x10FFFF) point = 0xFFFD;
      table->text += encodeUtf8(point);
    }
  }
  table->start[256] = static_cast<std::uint32_t>(table->text.size());
  byteCodes_ = std::move(table);
  return byteCodes_.get();
}

std::size_t FontInfo::memory() const {
  // Map nodes cost about three pointers and a colour besides their payload.
  constexpr std::size_t kNode = 48;
  return sizeof(*this) + baseFont.capacity() + encodingName.capacity() +
         codeSpace.capacity() * sizeof(CodeSpaceRange) + codeToUnicode.size() * kNode +
         widths.rangeCount() * (kNode + 16) + (style ? sizeof(FontStyle) + style->name.capacity() : 0) +
         (oneByteCodes(*this) ? sizeof(ByteCodes) + 512 : 0);
}

}  // namespace zopra::pdf
