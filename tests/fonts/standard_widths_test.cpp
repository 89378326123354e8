#include <gtest/gtest.h>

#include <string>

#include "pdf/fonts/standard_widths.h"

namespace zopra::pdf {
namespace {

FontInfo standardFont(const std::string& name) {
  FontInfo font;
  font.setBaseFont(name);
  applyStandard14Widths(font);
  return font;
}

TEST(StandardWidths, TimesAndHelveticaMetrics) {
  const FontInfo roman = standardFont("Times-Roman");
  const double romanStart[] = {250, 333, 408, 500, 500, 833, 778, 180, 333, 333};
  for (std::uint32_t i = 0; i < 10; ++i) EXPECT_EQ(roman.width(32 + i), romanStart[i]) << i;
  EXPECT_EQ(roman.widths.codes().size(), 95u);
  EXPECT_EQ(roman.width(126), 541);
  EXPECT_EQ(roman.width(31), 0);
  EXPECT_EQ(roman.width(127), 0);

  const FontInfo bold = standardFont("Times-Bold");
  EXPECT_EQ(bold.width('%'), 1000);
  EXPECT_EQ(bold.width('A'), 722);
  EXPECT_EQ(bold.width('W'), 1000);
  EXPECT_EQ(bold.width('m'), 833);
  EXPECT_EQ(bold.width('\''), 278);

  EXPECT_EQ(standardFont("Times-Italic").width('\''), 214);
  EXPECT_EQ(standardFont("Times-BoldItalic").width('@'), 832);

  const FontInfo helvetica = standardFont("Helvetica");
  EXPECT_EQ(helvetica.width(' '), 278);
  EXPECT_EQ(helvetica.width('@'), 1015);
  EXPECT_EQ(helvetica.width('i'), 222);
  EXPECT_EQ(helvetica.width('`'), 333);
  EXPECT_EQ(helvetica.width('~'), 584);
  EXPECT_EQ(standardFont("Helvetica-Oblique").widths.codes(), helvetica.widths.codes());

  const FontInfo helveticaBold = standardFont("Helvetica-Bold");
  EXPECT_EQ(helveticaBold.width('!'), 333);
  EXPECT_EQ(helveticaBold.width('\''), 238);
  EXPECT_EQ(helveticaBold.width('i'), 278);
  const FontInfo boldOblique = standardFont("Helvetica-BoldOblique");
  EXPECT_EQ(boldOblique.widths.codes(), helveticaBold.widths.codes());
  EXPECT_EQ(boldOblique.widths.codes().size(), 95u);
}

TEST(StandardWidths, ExplicitWidthsAndOtherFonts) {
  FontInfo courier;
  courier.setBaseFont("Courier");
  courier.widths.set(65, 700);
  applyStandard14Widths(courier);
  EXPECT_EQ(courier.width(65), 700);
  EXPECT_EQ(courier.width(66), 600);
  EXPECT_EQ(courier.width(32), 600);
  EXPECT_EQ(courier.width(200), 600);  // the default width
  EXPECT_EQ(standardFont("Courier-BoldOblique").width(126), 600);

  FontInfo times;
  times.setBaseFont("Times-Roman");
  times.widths.set(65, 100);
  times.widths.set(200, 450);
  applyStandard14Widths(times);
  EXPECT_EQ(times.width(65), 100);
  EXPECT_EQ(times.width(66), 667);
  EXPECT_EQ(times.width(200), 450);
  EXPECT_EQ(times.defaultWidth, 0);

  // Only the exact standard names qualify.
  EXPECT_TRUE(standardFont("ABCDEF+Helvetica").widths.empty());
  EXPECT_TRUE(standardFont("Arial").widths.empty());
  EXPECT_TRUE(standardFont("").widths.empty());
  EXPECT_EQ(standardFont("CourierNew").defaultWidth, 0);
}

}  // namespace
}  // namespace zopra::pdf
