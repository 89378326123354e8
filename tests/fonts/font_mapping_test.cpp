// Character codes to Unicode through a font.
#include <gtest/gtest.h>

#include <memory>
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
      {arial, 1, 0x9D, {0x9D}}, {arial, 1, 0xE9, {0xE9}}, {arial, 1, 0xFF, {0xFF}},
      {arial, 1, 0x7F, {0x7F}}, {arial, 1, 0, {0}}, {arial, 2, 256, {}}, {arial, 2, 0x4E00, {}},
      // TeX's Computer Modern fonts place Greek, ligatures and symbols low.
      {roman, 1, 0, {0x0393}}, {roman, 1, 10, {0x03A9}}, {roman, 1, 11, {'f', 'f'}},
      {roman, 1, 12, {'f', 'i'}}, {roman, 1, 14, {'f', 'f', 'i'}}, {roman, 1, 15, {'f', 'f', 'l'}},
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

}  // namespace
}  // namespace zopra::pdf
