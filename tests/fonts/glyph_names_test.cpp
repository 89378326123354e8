#include <gtest/gtest.h>

#include "pdf/fonts/glyph_names.h"

namespace zopra::pdf {
namespace {

TEST(GlyphNames, UniAndUNames) {
  EXPECT_EQ(glyphNameToUnicode("uni20AC"), 0x20ACu);
  EXPECT_EQ(glyphNameToUnicode("uni00e9"), 0xE9u);
  EXPECT_EQ(glyphNameToUnicode("uni00410042"), 0x41u);
  EXPECT_EQ(glyphNameToUnicode("u1F600"), 0x1F600u);
  EXPECT_EQ(glyphNameToUnicode("u10FFFF"), 0x10FFFFu);
  EXPECT_EQ(glyphNameToUnicode("u110000"), 0u);
  EXPECT_EQ(glyphNameToUnicode("u0041FFFFFFFFFFFF0041"), 0u);
  EXPECT_EQ(glyphNameToUnicode("uniXYZW"), 0u);
  // The u form needs at least five characters.
  EXPECT_EQ(glyphNameToUnicode("u20AC"), 0x20ACu);
  EXPECT_EQ(glyphNameToUnicode("u20A"), 0u);
  // A capital U is not the u form but an unknown capital name.
  EXPECT_EQ(glyphNameToUnicode("U20AC"), static_cast<std::uint32_t>('U'));
}

TEST(GlyphNames, TableAndFallbacks) {
  EXPECT_EQ(glyphNameToUnicode("A"), 0x41u);
  EXPECT_EQ(glyphNameToUnicode("z"), 0x7Au);
  EXPECT_EQ(glyphNameToUnicode("quotedblleft"), 0x201Cu);
  EXPECT_EQ(glyphNameToUnicode("fi"), 0xFB01u);
  EXPECT_EQ(glyphNameToUnicode("ffl"), 0xFB04u);
  EXPECT_EQ(glyphNameToUnicode("Delta"), 0x394u);
  EXPECT_EQ(glyphNameToUnicode("a19"), 0x2713u);
  EXPECT_EQ(glyphNameToUnicode("space"), 0x20u);
  EXPECT_EQ(glyphNameToUnicode("comma"), 0x2Cu);
  EXPECT_EQ(glyphNameToUnicode("grave"), 0x60u);
  EXPECT_EQ(glyphNameToUnicode("Eacute"), static_cast<std::uint32_t>('E'));
  EXPECT_EQ(glyphNameToUnicode("eacute"), 0u);
  EXPECT_EQ(glyphNameToUnicode(""), 0u);
  EXPECT_EQ(glyphNameToUnicode(".notdef"), 0u);
}

TEST(GlyphNames, SuffixesAreRemoved) {
  EXPECT_EQ(glyphNameToUnicode("a.sc"), static_cast<std::uint32_t>('a'));
  EXPECT_EQ(glyphNameToUnicode("ampersand.alt.2"), 0x26u);
  EXPECT_EQ(glyphNameToUnicode("parenleftbig"), 0x28u);
  EXPECT_EQ(glyphNameToUnicode("parenrightBigg"), 0x29u);
  EXPECT_EQ(glyphNameToUnicode("bracketleftbigg"), 0x5Bu);
  EXPECT_EQ(glyphNameToUnicode("summationdisplay"), 0x2211u);
  EXPECT_EQ(glyphNameToUnicode("integraltext"), 0x222Bu);
  EXPECT_EQ(glyphNameToUnicode("summationdisplay.sc"), 0x2211u);
  // Only one "script" goes, leaving an unknown name.
  EXPECT_EQ(glyphNameToUnicode("alphascript"), 0x3B1u);
  EXPECT_EQ(glyphNameToUnicode("alphascriptscript"), 0u);
  // A name no longer than the suffix keeps it.
  EXPECT_EQ(glyphNameToUnicode("text"), 0u);
  EXPECT_EQ(glyphNameToUnicode("Big"), static_cast<std::uint32_t>('B'));
  // Removing the suffix can leave a single character.
  EXPECT_EQ(glyphNameToUnicode("xbig"), static_cast<std::uint32_t>('x'));
}

}  // namespace
}  // namespace zopra::pdf
