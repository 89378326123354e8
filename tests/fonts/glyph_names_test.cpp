// Glyph names to Unicode, and the built-in widths of the standard fonts.
#include <gtest/gtest.h>

#include <string>

#include "pdf/fonts/glyph_names.h"
#include "pdf/fonts/standard_widths.h"

namespace zopra::pdf {
namespace {

TEST(GlyphNames, ToUnicode) {
  const std::pair<const char*, std::uint32_t> cases[] = {
      // uniXXXX takes the first four digits; uXXXX[XX] up to U+10FFFF.
      {"uni20AC", 0x20AC}, {"uni00e9", 0xE9}, {"uni00410042", 0x41}, {"uniXYZW", 0},
      {"u1F600", 0x1F600}, {"u10FFFF", 0x10FFFF}, {"u110000", 0}, {"u0041FFFFFFFFFFFF0041", 0},
      {"u20AC", 0x20AC}, {"u20A", 0},
      // The glyph list; an unknown capital name falls back to its letter.
      {"A", 0x41}, {"quotedblleft", 0x201C}, {"ffl", 0xFB04}, {"Delta", 0x394}, {"a19", 0x2713},
      {"Eacute", 'E'}, {"U20AC", 'U'}, {"eacute", 0}, {"", 0}, {".notdef", 0},
      // Suffixes go: after a dot, and one of the TeX size suffixes.
      {"a.sc", 'a'}, {"ampersand.alt.2", 0x26}, {"parenleftbig", 0x28}, {"parenrightBigg", 0x29},
      {"summationdisplay.sc", 0x2211}, {"alphascript", 0x3B1}, {"alphascriptscript", 0},
      // A name no longer than the suffix keeps it; one character may remain.
      {"text", 0}, {"Big", 'B'}, {"xbig", 'x'},
  };
  for (const auto& [name, codePoint] : cases) EXPECT_EQ(glyphNameToUnicode(name), codePoint) << name;
}

FontInfo standardFont(const std::string& name) {
  FontInfo font;
  font.setBaseFont(name);
  applyStandard14Widths(font);
  return font;
}

TEST(StandardWidths, BuiltInMetrics) {
  const struct {
    const char* font;
    std::uint32_t code;
    double width;
  } cases[] = {
      {"Times-Roman", '\'', 180}, {"Times-Roman", 31, 0}, {"Times-Roman", 127, 0}, {"Times-Bold", '%', 1000},
      {"Times-Italic", '\'', 214}, {"Times-BoldItalic", '@', 832}, {"Helvetica", '@', 1015},
      {"Helvetica-Oblique", 'i', 222}, {"Helvetica-Bold", '\'', 238}, {"Helvetica-BoldOblique", 'i', 278},
      // Courier: every code, even outside ASCII, through the default width.
      {"Courier", 200, 600}, {"Courier-BoldOblique", 126, 600},
      // Only the exact standard names qualify.
      {"ABCDEF+Helvetica", 'i', 0}, {"Arial", 'i', 0}, {"", 'i', 0}, {"CourierNew", 200, 0},
  };
  for (const auto& c : cases) EXPECT_EQ(standardFont(c.font).width(c.code), c.width) << c.font << " " << c.code;
  EXPECT_EQ(standardFont("Times-Roman").widths.codes().size(), 95u);
  EXPECT_EQ(standardFont("Helvetica-BoldOblique").widths.codes(), standardFont("Helvetica-Bold").widths.codes());

  // Widths the font dictionary gives win over the built-in ones.
  FontInfo times;
  times.setBaseFont("Times-Roman");
  times.widths.set(65, 100);
  times.widths.set(200, 450);
  applyStandard14Widths(times);
  EXPECT_EQ(times.width(65), 100);
  EXPECT_EQ(times.width(66), 667);
  EXPECT_EQ(times.width(200), 450);
}

}  // namespace
}  // namespace zopra::pdf
