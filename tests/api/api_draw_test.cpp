// The replacement cycle through the public header, judged by independent
// tools: fontTools measures the text, pdftotext reads it back, pdffonts
// finds the embedded font with its ToUnicode map, qpdf checks the file and
// ghostscript renders the new text where the old one was.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "support/pdf_builder.h"
#include "support/test_files.h"
#include "zopra_document_loader.h"

namespace {

const char* const kDejaVu = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
// "Grüße, Welt – Ωμέγα"
const char* const kNewText = "Gr\xC3\xBC\xC3\x9F" "e, Welt \xE2\x80\x93 \xCE\xA9\xCE\xBC\xCE\xAD\xCE\xB3\xCE\xB1";

// Dark pixels in the box [x0, x1) x [y0, y1) of PDF space (origin lower left, 792 high).
int darkPixels(const zopra::test::GreyImage& grey, double x0, double x1, double y0, double y1) {
  int dark = 0;
  for (int row = static_cast<int>(792 - y1); row < static_cast<int>(792 - y0); ++row) {
    for (int column = static_cast<int>(x0); column < static_cast<int>(x1); ++column) {
      const std::size_t at = static_cast<std::size_t>(row) * static_cast<std::size_t>(grey.width) +
                             static_cast<std::size_t>(column);
      if (at < grey.pixels.size() && grey.pixels[at] < 128) ++dark;
    }
  }
  return dark;
}

TEST(ApiDraw, ReplacedTextIsEmbeddedReadBackAndDrawn) {
  if (!std::filesystem::exists(kDejaVu)) GTEST_SKIP() << "fonts-dejavu-core is not installed";
  zopra::test::PdfBuilder builder = zopra::test::PdfBuilder::simple(
      {"0 0 1 rg BT /F1 24 Tf 72 700 Td (Hello world) Tj ET BT /F1 12 Tf 5 Tw 72 650 Td (Second line) Tj ET"});
  builder.finishWithTable("/Root 1 0 R");
  const std::string input = zopra::test::writeTempFile("draw-input.pdf", builder.bytes());
  const std::string removed = zopra::test::tempDirectory() + "/draw-removed.pdf";
  const std::string drawn = zopra::test::tempDirectory() + "/draw-drawn.pdf";
  ZOPRADocumentLoader* created = nullptr;
  ASSERT_EQ(zopraDocumentLoaderCreate(&created), ZOPRA_STATUS_SUCCESS);
  const std::unique_ptr<ZOPRADocumentLoader, void (*)(ZOPRADocumentLoader*)> handle(created,
                                                                                     zopraDocumentLoaderDestroy);
  ZOPRADocumentLoader* loader = handle.get();
  ASSERT_EQ(zopraDocumentLoaderOpenFileA(loader, input.c_str()), ZOPRA_STATUS_SUCCESS);
  ASSERT_EQ(zopraDocumentLoaderExtractPageText(loader, 0), ZOPRA_STATUS_SUCCESS);
  ZOPRADocumentLoaderTextInfo info{};
  ASSERT_EQ(zopraDocumentLoaderGetText(loader, &info, 0), ZOPRA_STATUS_SUCCESS);
  ASSERT_STREQ(info.text, "Hello world");
  const uint32_t first = 0;
  ASSERT_EQ(zopraDocumentLoaderRemoveOriginalTextByIndex(loader, 0, &first, 1), ZOPRA_STATUS_SUCCESS);
  ASSERT_EQ(zopraDocumentLoaderWriteDocumentA(loader, removed.c_str()), ZOPRA_STATUS_SUCCESS);
  ASSERT_EQ(zopraDocumentLoaderSetTextA(loader, kNewText, 0, 0, kDejaVu, info.fontSize, info.horizontalScaling),
            ZOPRA_STATUS_SUCCESS);
  double width = 0;
  ASSERT_EQ(zopraDocumentLoaderGetTextWidth(loader, &width), ZOPRA_STATUS_SUCCESS);
  ASSERT_EQ(zopraDocumentLoaderDrawText(loader), ZOPRA_STATUS_SUCCESS);
  // A text set at the second item and moved twice: the moves add up. It
  // keeps the item's word spacing, which reads back in its width.
  ASSERT_EQ(zopraDocumentLoaderSetTextA(loader, "Moved text", 0, 1, kDejaVu, 12, 1), ZOPRA_STATUS_SUCCESS);
  double movedWidth = 0;
  ASSERT_EQ(zopraDocumentLoaderGetTextWidth(loader, &movedWidth), ZOPRA_STATUS_SUCCESS);
  ASSERT_EQ(zopraDocumentLoaderMoveText(loader, 30, -20), ZOPRA_STATUS_SUCCESS);
  ASSERT_EQ(zopraDocumentLoaderMoveText(loader, 20, 0), ZOPRA_STATUS_SUCCESS);
  ASSERT_EQ(zopraDocumentLoaderDrawText(loader), ZOPRA_STATUS_SUCCESS);
  ASSERT_EQ(zopraDocumentLoaderWriteDocumentA(loader, drawn.c_str()), ZOPRA_STATUS_SUCCESS);
  // Read back, the new item is as wide as measured: the font's W array holds
  // the advances scaled from the font's units to 1000 per em.
  ASSERT_EQ(zopraDocumentLoaderOpenFileA(loader, drawn.c_str()), ZOPRA_STATUS_SUCCESS);
  ASSERT_EQ(zopraDocumentLoaderExtractPageText(loader, 0), ZOPRA_STATUS_SUCCESS);
  uint32_t items = 0;
  ASSERT_EQ(zopraDocumentLoaderGetPageTextCount(loader, &items, 0), ZOPRA_STATUS_SUCCESS);
  ASSERT_EQ(zopraDocumentLoaderGetText(loader, &info, items - 1), ZOPRA_STATUS_SUCCESS);
  EXPECT_STREQ(info.text, "Moved text");
  EXPECT_NEAR(info.width, movedWidth, 1e-3);
  EXPECT_NEAR(info.e, 72 + 50, 1e-6);
  EXPECT_NEAR(info.f, 650 - 20, 1e-6);
  ASSERT_EQ(zopraDocumentLoaderGetText(loader, &info, items - 2), ZOPRA_STATUS_SUCCESS);
  EXPECT_STREQ(info.text, kNewText);
  EXPECT_NEAR(info.width, width, 1e-6);

  // The width is the advances fontTools reads, at 24 points.
  const std::string python = "/usr/bin/python3";
  if (zopra::test::run(python + " -c 'import fontTools' >/dev/null 2>&1") == 0) {
    const std::string script = zopra::test::writeTempFile(
        "draw_width.py",
        "import sys\nfrom fontTools.ttLib import TTFont\nf = TTFont(sys.argv[1])\nm = f.getBestCmap()\n"
        "print(sum(f['hmtx'][m[ord(c)]][0] for c in sys.argv[2]) / f['head'].unitsPerEm * 24)\n");
    const std::string expected = zopra::test::tempDirectory() + "/draw_width.txt";
    ASSERT_EQ(zopra::test::run(python + " " + script + " " + kDejaVu + " '" + kNewText + "' > " + expected), 0);
    EXPECT_NEAR(width, std::stod(zopra::test::readFile(expected)), 1e-9);
  }
  if (zopra::test::haveProgram("pdftotext")) {
    const std::string text = zopra::test::tempDirectory() + "/draw-drawn.txt";
    ASSERT_EQ(zopra::test::run("pdftotext '" + drawn + "' '" + text + "'"), 0);
    const std::string read = zopra::test::readFile(text);
    EXPECT_NE(read.find(kNewText), std::string::npos) << read;
    EXPECT_NE(read.find("Second line"), std::string::npos) << read;
    EXPECT_EQ(read.find("Hello"), std::string::npos) << read;
  }
  if (zopra::test::haveProgram("pdffonts")) {
    const std::string fonts = zopra::test::tempDirectory() + "/draw-fonts.txt";
    ASSERT_EQ(zopra::test::run("pdffonts '" + drawn + "' > '" + fonts + "'"), 0);
    std::istringstream lines(zopra::test::readFile(fonts));
    std::string line;
    bool found = false;
    while (std::getline(lines, line)) {
      std::istringstream words(line);
      std::string name, type1, type2, encoding, embedded, subset, unicode;
      words >> name >> type1 >> type2 >> encoding >> embedded >> subset >> unicode;
      // The font goes by its PostScript name.
      if (name != "DejaVuSans") continue;
      found = true;
      EXPECT_EQ(type1 + " " + type2 + " " + encoding, "CID TrueType Identity-H");
      EXPECT_EQ(embedded + " " + unicode, "yes yes") << line;
    }
    EXPECT_TRUE(found);
  }
  if (zopra::test::haveProgram("qpdf")) {
    EXPECT_EQ(zopra::test::run("qpdf --check '" + drawn + "' >/dev/null 2>&1"), 0);
  }
  if (zopra::test::haveProgram("gs")) {
    // One pixel per PDF unit.
    const zopra::test::GreyImage before = zopra::test::renderFirstPage(removed, 72);
    const zopra::test::GreyImage after = zopra::test::renderFirstPage(drawn, 72);
    ASSERT_FALSE(before.pixels.empty() || after.pixels.empty());
    // The line of the old text: blank once removed, inked once drawn.
    EXPECT_EQ(darkPixels(before, 72, 72 + width, 695, 720), 0);
    EXPECT_GT(darkPixels(after, 72, 72 + width, 695, 720), 100);
    EXPECT_GT(darkPixels(after, 72, 160, 645, 660), 20);  // "Second line" stays
  }
}

}  // namespace
