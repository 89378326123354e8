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

TEST(FontMap, ToUnicodeAndEncodingTakePrecedence) {
  FontInfo font = simpleFont("Helvetica");
  font.codeToUnicode[65] = 0x0391;
  font.codeToUnicode[66] = 0x0392;
  font.codeToUnicode[67] = 0;  // a zero entry falls through to the fallbacks
  font.toUnicode = std::make_shared<ToUnicodeMap>(compactToUnicodeMap({
      {{1, 65}, {0x0066, 0x0069}},
      {{1, 68}, {}},  // suppresses the code
      {{2, 66}, {0x4E00}},
      {{2, 0x4142}, {0x4E01}},
  }));

  EXPECT_EQ(font.map(1, 65), (CodePoints{0x66, 0x69}));
  // A simple font shows one byte per glyph: a two-byte source code <0042>
  // in its ToUnicode map stands for the byte 0x42.
  EXPECT_EQ(font.map(1, 66), (CodePoints{0x4E00}));
  EXPECT_EQ(font.map(2, 66), (CodePoints{0x4E00}));
  EXPECT_EQ(font.map(1, 67), (CodePoints{67}));
  EXPECT_TRUE(font.map(1, 68).empty());
}

TEST(FontMap, CompositeFontsHaveNoFallback) {
  FontInfo font = simpleFont("ABCDEF+CMR10");
  font.composite = true;
  font.codeLengths = {2};
  font.codeToUnicode[0x0102] = 0x3042;
  EXPECT_EQ(font.map(2, 0x0102), (CodePoints{0x3042}));
  EXPECT_TRUE(font.map(2, 65).empty());
  EXPECT_TRUE(font.map(2, 11).empty());
  EXPECT_TRUE(font.map(2, 0x93).empty());
}

TEST(FontMap, SimpleFontFallbacks) {
  const FontInfo font = simpleFont("Arial");
  EXPECT_EQ(font.map(1, 65), (CodePoints{65}));
  EXPECT_EQ(font.map(1, 32), (CodePoints{32}));
  EXPECT_EQ(font.map(1, 126), (CodePoints{126}));
  EXPECT_EQ(font.map(1, 0x80), (CodePoints{0x20AC}));
  EXPECT_EQ(font.map(1, 0x93), (CodePoints{0x201C}));
  EXPECT_EQ(font.map(1, 0x9F), (CodePoints{0x0178}));
  // Codes Windows-1252 leaves undefined are read as Latin-1.
  for (std::uint32_t code : {0x81u, 0x8Du, 0x8Fu, 0x90u, 0x9Du}) {
    EXPECT_EQ(font.map(1, code), (CodePoints{code})) << code;
  }
  EXPECT_EQ(font.map(1, 0xE9), (CodePoints{0xE9}));
  EXPECT_EQ(font.map(1, 0xFF), (CodePoints{0xFF}));
  EXPECT_EQ(font.map(1, 0x7F), (CodePoints{0x7F}));
  EXPECT_EQ(font.map(1, 9), (CodePoints{9}));
  EXPECT_EQ(font.map(1, 0), (CodePoints{0}));
  EXPECT_TRUE(font.map(2, 256).empty());
  EXPECT_TRUE(font.map(2, 0x4E00).empty());
}

TEST(FontMap, ComputerModernFonts) {
  const FontInfo roman = simpleFont("ABCDEF+CMR10");
  EXPECT_EQ(roman.map(1, 0), (CodePoints{0x0393}));
  EXPECT_EQ(roman.map(1, 10), (CodePoints{0x03A9}));
  EXPECT_EQ(roman.map(1, 11), (CodePoints{'f', 'f'}));
  EXPECT_EQ(roman.map(1, 12), (CodePoints{'f', 'i'}));
  EXPECT_EQ(roman.map(1, 14), (CodePoints{'f', 'f', 'i'}));
  EXPECT_EQ(roman.map(1, 15), (CodePoints{'f', 'f', 'l'}));
  EXPECT_EQ(roman.map(1, 16), (CodePoints{0x0131}));
  EXPECT_EQ(roman.map(1, 25), (CodePoints{0x00DF}));
  EXPECT_EQ(roman.map(1, 31), (CodePoints{0x00D8}));
  EXPECT_EQ(roman.map(1, 65), (CodePoints{65}));

  EXPECT_EQ(simpleFont("CMBX12").map(1, 13), (CodePoints{'f', 'l'}));
  EXPECT_EQ(simpleFont("XYZABC+CMTI8").map(1, 1), (CodePoints{0x0394}));
  EXPECT_EQ(simpleFont("CMTT10").map(1, 18), (CodePoints{0x0060}));

  const FontInfo symbols = simpleFont("ABCDEF+CMSY10");
  EXPECT_EQ(symbols.map(1, 0), (CodePoints{0x2212}));
  EXPECT_EQ(symbols.map(1, 2), (CodePoints{0x00D7}));
  EXPECT_EQ(symbols.map(1, 15), (CodePoints{0x2022}));
  EXPECT_EQ(symbols.map(1, 16), (CodePoints{16}));

  // Without a TeX font name, control codes stay themselves.
  EXPECT_EQ(simpleFont("Times-Roman").map(1, 11), (CodePoints{11}));
}

TEST(FontNextCode, MixedOneAndTwoByteRanges) {
  // A Shift-JIS-like code space: ASCII and half-width katakana take one
  // byte, the kanji lead bytes start two-byte codes.
  FontInfo font;
  font.composite = true;
  font.codeLengths = {2, 1};
  font.codeSpace = {{1, 0x00, 0x80}, {2, 0x8140, 0x9FFC}, {1, 0xA0, 0xDF},
                    {2, 0xE040, 0xFCFC}, {1, 0xFD, 0xFF}};
  const std::string_view bytes("A\x82\xA0\xB1\xE0\x40\xFE\xFC\xFD\x82", 10);

  std::size_t position = 0;
  std::uint32_t length = 0;
  std::vector<std::pair<std::uint32_t, std::uint32_t>> codes;
  while (position < bytes.size()) {
    const std::uint32_t code = font.nextCode(bytes, position, length);
    codes.emplace_back(length, code);
  }
  const std::vector<std::pair<std::uint32_t, std::uint32_t>> expected = {
      {1, 0x41}, {2, 0x82A0}, {1, 0xB1}, {2, 0xE040}, {1, 0xFE},
      // No range holds 0xFC or 0xFCFD: the first code length applies.
      {2, 0xFCFD},
      // A lead byte at the end takes what is left.
      {1, 0x82}};
  EXPECT_EQ(codes, expected);
  EXPECT_EQ(position, bytes.size());
}

TEST(FontNextCode, WithoutCodeSpace) {
  FontInfo composite;
  composite.composite = true;
  composite.codeLengths = {2};
  const std::string_view bytes("\x01\x02\x03", 3);
  std::size_t position = 0;
  std::uint32_t length = 0;
  EXPECT_EQ(composite.nextCode(bytes, position, length), 0x0102u);
  EXPECT_EQ(length, 2u);
  EXPECT_EQ(composite.nextCode(bytes, position, length), 0x03u);
  EXPECT_EQ(length, 1u);
  EXPECT_EQ(position, 3u);

  const FontInfo simple;
  position = 1;
  EXPECT_EQ(simple.nextCode(bytes, position, length), 0x02u);
  EXPECT_EQ(length, 1u);
  EXPECT_EQ(position, 2u);

  // A four-byte range wins only when the shorter lengths match nothing.
  FontInfo wide;
  wide.codeSpace = {{4, 0x00010000, 0x0001FFFF}, {1, 0x20, 0x7E}};
  const std::string_view utf32("\x00\x01\xF6\x00Z", 5);
  position = 0;
  EXPECT_EQ(wide.nextCode(utf32, position, length), 0x1F600u);
  EXPECT_EQ(length, 4u);
  EXPECT_EQ(wide.nextCode(utf32, position, length), static_cast<std::uint32_t>('Z'));
  EXPECT_EQ(length, 1u);
}

}  // namespace
}  // namespace zopra::pdf
