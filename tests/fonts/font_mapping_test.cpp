// Character codes to Unicode through a font, and the cutting of shown
// strings into codes.
#include <gtest/gtest.h>

#include <memory>
#include <string_view>
#include <vector>

#include "pdf/fonts/font_info.h"
#include "pdf/fonts/tounicode_cmap.h"

namespace zopra::pdf {
namespace {

using CodePoints = std::vector<std::uint32_t>;

FontInfo simpleFont(const std::string& baseFont) {
  FontInfo font;
  font.setBaseFont(baseFont);
  return font;
}

TEST(FontMap, PrecedenceAndFallbacks) {
  // ToUnicode first, then the encoding, then the fallbacks of simple fonts.
  FontInfo mapped = simpleFont("Helvetica");
  mapped.codeToUnicode = {{65, 0x0391}, {66, 0x0392}, {67, 0}};  // a zero entry falls through
  mapped.toUnicode = std::make_shared<ToUnicodeMap>(compactToUnicodeMap({
      {{1, 65}, {0x0066, 0x0069}},
      {{1, 68}, {}},  // suppresses the code
      {{2, 66}, {0x4E00}},  // a simple font reads <0042> as the byte 0x42
      {{2, 0x4142}, {0x4E01}},
  }));
  FontInfo composite = simpleFont("ABCDEF+CMR10");
  composite.composite = true;
  composite.codeLengths = {2};
  composite.codeToUnicode[0x0102] = 0x3042;
  const FontInfo arial = simpleFont("Arial"), roman = simpleFont("ABCDEF+CMR10"),
                 symbols = simpleFont("ABCDEF+CMSY10"), bold = simpleFont("CMBX12"),
                 italic = simpleFont("XYZABC+CMTI8"), typewriter = simpleFont("CMTT10"),
                 times = simpleFont("Times-Roman");
  const struct {
    const FontInfo& font;
    std::uint32_t length, code;
    CodePoints expected;
  } cases[] = {
      {mapped, 1, 65, {0x66, 0x69}}, {mapped, 1, 66, {0x4E00}}, {mapped, 2, 66, {0x4E00}},
      {mapped, 1, 67, {67}}, {mapped, 1, 68, {}},
      // A composite font has no fallback at all.
      {composite, 2, 0x0102, {0x3042}}, {composite, 2, 65, {}}, {composite, 2, 11, {}},
      // Windows-1252, where it defines a character; Latin-1 elsewhere.
      {arial, 1, 65, {65}}, {arial, 1, 0x80, {0x20AC}}, {arial, 1, 0x93, {0x201C}},
      {arial, 1, 0x9F, {0x0178}}, {arial, 1, 0x81, {0x81}}, {arial, 1, 0x8D, {0x8D}},
      {arial, 1, 0x9D, {0x9D}}, {arial, 1, 0xE9, {0xE9}}, {arial, 1, 0xFF, {0xFF}},
      {arial, 1, 0x7F, {0x7F}}, {arial, 1, 0, {0}}, {arial, 2, 256, {}}, {arial, 2, 0x4E00, {}},
      // TeX's Computer Modern fonts place Greek, ligatures and symbols low.
      {roman, 1, 0, {0x0393}}, {roman, 1, 10, {0x03A9}}, {roman, 1, 11, {'f', 'f'}},
      {roman, 1, 12, {'f', 'i'}}, {roman, 1, 14, {'f', 'f', 'i'}}, {roman, 1, 15, {'f', 'f', 'l'}},
      {roman, 1, 16, {0x0131}}, {roman, 1, 25, {0x00DF}}, {roman, 1, 31, {0x00D8}}, {roman, 1, 65, {65}},
      {bold, 1, 13, {'f', 'l'}}, {italic, 1, 1, {0x0394}}, {typewriter, 1, 18, {0x0060}},
      {symbols, 1, 0, {0x2212}}, {symbols, 1, 2, {0x00D7}},
      {symbols, 1, 15, {0x2022}}, {symbols, 1, 16, {16}},
      // Without a TeX font name, control codes stay themselves.
      {times, 1, 11, {11}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.font.map(c.length, c.code), c.expected) << c.font.baseFont << " " << c.length << " " << c.code;
  }
}

std::vector<std::pair<std::uint32_t, std::uint32_t>> cut(const FontInfo& font, std::string_view bytes,
                                                        std::size_t position = 0) {
  std::vector<std::pair<std::uint32_t, std::uint32_t>> codes;
  std::uint32_t length = 0;
  while (position < bytes.size()) {
    const std::uint32_t code = font.nextCode(bytes, position, length);
    codes.emplace_back(length, code);
  }
  return codes;
}

TEST(FontNextCode, CodeSpaces) {
  // A Shift-JIS-like code space: ASCII and half-width katakana take one
  // byte, the kanji lead bytes start two-byte codes.
  FontInfo sjis;
  sjis.composite = true;
  sjis.codeLengths = {2, 1};
  sjis.codeSpace = {{1, 0x00, 0x80}, {2, 0x8140, 0x9FFC}, {1, 0xA0, 0xDF}, {2, 0xE040, 0xFCFC}, {1, 0xFD, 0xFF}};
  EXPECT_EQ(cut(sjis, std::string_view("A\x82\xA0\xB1\xE0\x40\xFE\xFC\xFD\x82", 10)),
            (std::vector<std::pair<std::uint32_t, std::uint32_t>>{
                {1, 0x41}, {2, 0x82A0}, {1, 0xB1}, {2, 0xE040}, {1, 0xFE},
                // No range holds 0xFC or 0xFCFD: the first code length applies.
                {2, 0xFCFD},
                // A lead byte at the end takes what is left.
                {1, 0x82}}));
  // Without a code space: the font's code length, or one byte for simple fonts.
  FontInfo composite;
  composite.composite = true;
  composite.codeLengths = {2};
  EXPECT_EQ(cut(composite, std::string_view("\x01\x02\x03", 3)),
            (std::vector<std::pair<std::uint32_t, std::uint32_t>>{{2, 0x0102}, {1, 0x03}}));
  EXPECT_EQ(cut(FontInfo(), std::string_view("\x01\x02\x03", 3), 1),
            (std::vector<std::pair<std::uint32_t, std::uint32_t>>{{1, 0x02}, {1, 0x03}}));
  // A four-byte range wins only when the shorter lengths match nothing.
  FontInfo wide;
  wide.codeSpace = {{4, 0x00010000, 0x0001FFFF}, {1, 0x20, 0x7E}};
  EXPECT_EQ(cut(wide, std::string_view("\x00\x01\xF6\x00Z", 5)),
            (std::vector<std::pair<std::uint32_t, std::uint32_t>>{{4, 0x1F600}, {1, 'Z'}}));
}

}  // namespace
}  // namespace zopra::pdf
