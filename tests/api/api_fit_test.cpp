// Fitting, alignment and font chains through the public header, on
// hand-made pages. Each drawn text is found again by our own extraction of
// the written file (its start, end and size); pdftotext and pdffonts judge
// the font chains.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "support/pdf_builder.h"
#include "support/test_files.h"
#include "zopra_document_loader.h"

namespace {

const char* const kDejaVu = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
const char* const kGothic = "/usr/share/fonts/opentype/ipafont-gothic/ipag.ttf";

using Handle = std::unique_ptr<ZOPRADocumentLoader, void (*)(ZOPRADocumentLoader*)>;

Handle opened(const std::string& path) {
  ZOPRADocumentLoader* created = nullptr;
  EXPECT_EQ(zopraDocumentLoaderCreate(&created), ZOPRA_STATUS_SUCCESS);
  Handle handle(created, zopraDocumentLoaderDestroy);
  EXPECT_EQ(zopraDocumentLoaderOpenFileA(handle.get(), path.c_str()), ZOPRA_STATUS_SUCCESS);
  EXPECT_EQ(zopraDocumentLoaderExtractPageText(handle.get(), 0), ZOPRA_STATUS_SUCCESS);
  return handle;
}

std::string pageFile(const std::string& name, const std::string& content) {
  zopra::test::PdfBuilder builder = zopra::test::PdfBuilder::simple({content});
  builder.finishWithTable("/Root 1 0 R");
  return zopra::test::writeTempFile(name + ".pdf", builder.bytes());
}

// The first item of the current extraction with this text.
bool findItem(ZOPRADocumentLoader* loader, const std::string& text, uint32_t& index,
              ZOPRADocumentLoaderTextInfo& info) {
  uint32_t count = 0;
  EXPECT_EQ(zopraDocumentLoaderGetPageTextCount(loader, &count, 0), ZOPRA_STATUS_SUCCESS);
  for (index = 0; index < count; ++index) {
    EXPECT_EQ(zopraDocumentLoaderGetText(loader, &info, index), ZOPRA_STATUS_SUCCESS);
    if (text == info.text) return true;
  }
  return false;
}

// Page x of an item's start and end.
double startOf(const ZOPRADocumentLoaderTextInfo& info) { return info.e; }
double endOf(const ZOPRADocumentLoaderTextInfo& info) { return info.e + info.width * std::hypot(info.a, info.b); }

// Helvetica 10 widths: "Qty" 15.56, "12" 11.12, "Annual Report" (18) 121.0.
const std::string kBody = "(Lorem ipsum dolor sit amet, consectetur) Tj";

struct FitCase {
  std::string name;
  std::string content;
  std::string item;
  std::string text;
  double minimum;
  int32_t alignment;
  // Expected font size of the fit; 0: smaller than the item's, to fill the room.
  double size;
  bool overflows;
};

TEST(ApiFit, SizesAndStartsOnHandMadePages) {
  if (!std::filesystem::exists(kDejaVu)) GTEST_SKIP() << "fonts-dejavu-core is not installed";
  const std::string twoColumns = "BT /F1 10 Tf 72 700 Td " + kBody + " 0 -12 Td " + kBody + " 0 -12 Td (end.) Tj ET " +
                                 "BT /F1 10 Tf 320 700 Td " + kBody + " 0 -12 Td " + kBody + " ET";
  const std::vector<FitCase> cases = {
      // A neighbour on the line limits the room: shrunk to fill it.
      {"neighbour", "BT /F1 10 Tf 72 700 Td (Name) Tj 100 0 Td (Value) Tj ET", "Name",
       "Vollst\xC3\xA4ndiger Name des Kunden", 0, ZOPRA_ALIGNMENT_LEFT, 0, false},
      // ... but never below the minimum in points.
      {"minimum", "BT /F1 10 Tf 72 700 Td (Name) Tj 100 0 Td (Value) Tj ET", "Name",
       "Vollst\xC3\xA4ndiger Name des Kunden und seiner Familie", 8, ZOPRA_ALIGNMENT_LEFT, 8, true},
      // A short text right of a rule keeps its size.
      {"rule", "300 650 m 300 750 l S BT /F1 10 Tf 72 700 Td (Label) Tj ET", "Label", "Etikett", 0,
       ZOPRA_ALIGNMENT_LEFT, 10, false},
      // A longer one is stopped by the rule.
      {"rule long", "300 650 m 300 750 l S BT /F1 10 Tf 72 700 Td (Label) Tj ET", "Label",
       "Eine sehr lange Beschriftung, die bis zur Linie reicht", 0, ZOPRA_ALIGNMENT_LEFT, 0, false},
      // The last line of the left column stops at the column's edge.
      {"two columns", twoColumns, "end.", "das Ende des Absatzes, l\xC3\xA4nger als die Spalte breit ist", 0,
       ZOPRA_ALIGNMENT_LEFT, 0, false},
      // Centred in a table cell: the centre stays.
      {"table cell",
       "72 600 100 20 re 172 600 100 20 re S BT /F1 10 Tf 114.22 606 Td (Qty) Tj 102.22 0 Td (12) Tj ET", "Qty",
       "Menge", 0, ZOPRA_ALIGNMENT_CENTER, 10, false},
      // A title centred on the page over left-aligned body text.
      {"centred title", "BT /F1 18 Tf 245.5 750 Td (Annual Report) Tj ET BT /F1 10 Tf 72 700 Td " + kBody + " ET",
       "Annual Report", "Jahresbericht des Vorstands", 0, ZOPRA_ALIGNMENT_CENTER, 18, false},
      // Right-aligned amounts keep their right edge.
      {"right column",
       "BT /F1 10 Tf 72 700 Td (Total) Tj 300 0 Td (1,234.00) Tj ET BT /F1 10 Tf 72 688 Td (Tax) Tj 313.9 0 Td "
       "(56.00) Tj ET",
       "56.00", "7,5", 0, ZOPRA_ALIGNMENT_RIGHT, 10, false},
      // Text set at 1 Tf in a scaled space: the minimum counts in points.
      {"scaled", "q 10 0 0 10 0 0 cm BT /F1 1 Tf 7.2 70 Td (Name) Tj 10 0 Td (Value) Tj ET Q", "Name",
       "Vollst\xC3\xA4ndiger Name des Kunden und seiner Familie", 4, ZOPRA_ALIGNMENT_LEFT, 0.4, true},
  };
  const char* chain[] = {kDejaVu};
  for (const FitCase& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string input = pageFile("fit-" + c.name, c.content);
    const std::string output = zopra::test::tempDirectory() + "/fit-" + c.name + "-out.pdf";
    Handle handle = opened(input);
    ZOPRADocumentLoader* loader = handle.get();
    uint32_t index = 0;
    ZOPRADocumentLoaderTextInfo item{};
    ASSERT_TRUE(findItem(loader, c.item, index, item));
    const double itemStart = startOf(item), itemEnd = endOf(item);
    double room = 0;
    ASSERT_EQ(zopraDocumentLoaderGetTextRoom(loader, index, &room), ZOPRA_STATUS_SUCCESS);
    int32_t alignment = -1;
    ASSERT_EQ(zopraDocumentLoaderGetTextAlignment(loader, index, &alignment), ZOPRA_STATUS_SUCCESS);
    EXPECT_EQ(alignment, c.alignment);
    ASSERT_EQ(zopraDocumentLoaderRemoveOriginalTextByIndex(loader, 0, &index, 1), ZOPRA_STATUS_SUCCESS);
    ZOPRADocumentLoaderTextFit fit{};
    ASSERT_EQ(zopraDocumentLoaderFitTextA(loader, c.text.c_str(), 0, index, chain, 1, c.minimum, &fit),
              ZOPRA_STATUS_SUCCESS);
    EXPECT_EQ(fit.alignment, c.alignment);
    EXPECT_EQ(fit.overflows, c.overflows ? 1 : 0);
    EXPECT_DOUBLE_EQ(fit.room, room);
    if (c.size > 0) {
      EXPECT_NEAR(fit.fontSize, c.size, 1e-9);
    } else {
      EXPECT_LT(fit.fontSize, item.fontSize);
      EXPECT_NEAR(fit.width, room, 1e-6 * room);
    }
    ASSERT_EQ(zopraDocumentLoaderDrawText(loader), ZOPRA_STATUS_SUCCESS);
    ASSERT_EQ(zopraDocumentLoaderWriteDocumentA(loader, output.c_str()), ZOPRA_STATUS_SUCCESS);

    Handle reread = opened(output);
    ZOPRADocumentLoaderTextInfo drawn{};
    uint32_t drawnIndex = 0;
    ASSERT_TRUE(findItem(reread.get(), c.text, drawnIndex, drawn));
    EXPECT_NEAR(drawn.fontSize, fit.fontSize, 1e-4);
    EXPECT_NEAR(drawn.f, item.f, 1e-3);
    const double tolerance = 0.05;
    switch (c.alignment) {
      case ZOPRA_ALIGNMENT_LEFT:
        EXPECT_NEAR(startOf(drawn), itemStart, tolerance);
        EXPECT_LE(endOf(drawn), itemStart + (c.overflows ? 1e9 : room * std::hypot(item.a, item.b) + tolerance));
        break;
      case ZOPRA_ALIGNMENT_CENTER:
        EXPECT_NEAR(startOf(drawn) + endOf(drawn), itemStart + itemEnd, 2 * tolerance);
        break;
      default:
        EXPECT_NEAR(endOf(drawn), itemEnd, tolerance);
        break;
    }
  }
}

TEST(ApiFit, FontChainsCoverScriptsAndCountWhatIsMissing) {
  if (!std::filesystem::exists(kDejaVu) || !std::filesystem::exists(kGothic)) {
    GTEST_SKIP() << "fonts-dejavu-core and fonts-ipafont-gothic are needed";
  }
  // Latin, Greek, Cyrillic and Japanese; U+10FFFD is in no font.
  const std::string mixed = "Stra\xC3\x9F" "e \xCE\x91\xCE\xB8\xCE\xAE\xCE\xBD\xCE\xB1 "
                            "\xD0\x9C\xD0\xBE\xD1\x81\xD0\xBA\xD0\xB2\xD0\xB0 \xE6\x9D\xB1\xE4\xBA\xAC\xE9\xA7\x85";
  const struct {
    std::vector<const char*> chain;
    std::string text;
    uint32_t missing;
    bool readsBack;
  } cases[] = {
      {{kDejaVu, kGothic}, mixed, 0, true},
      // DejaVu Sans has no kanji: three characters missing.
      {{kDejaVu}, mixed, 3, false},
      {{kDejaVu, kGothic}, mixed + " \xF4\x8F\xBF\xBD", 1, false},
  };
  const std::string input = pageFile("chain", "BT /F1 12 Tf 72 700 Td (Placeholder) Tj ET");
  for (const auto& c : cases) {
    SCOPED_TRACE(c.chain.size());
    Handle handle = opened(input);
    ZOPRADocumentLoader* loader = handle.get();
    const uint32_t first = 0;
    ASSERT_EQ(zopraDocumentLoaderRemoveOriginalTextByIndex(loader, 0, &first, 1), ZOPRA_STATUS_SUCCESS);
    ASSERT_EQ(zopraDocumentLoaderSetTextChainA(loader, c.text.c_str(), 0, 0, c.chain.data(),
                                               static_cast<uint32_t>(c.chain.size()), 12, 1),
              ZOPRA_STATUS_SUCCESS);
    uint32_t missing = 99;
    ASSERT_EQ(zopraDocumentLoaderGetMissingCharacterCount(loader, &missing), ZOPRA_STATUS_SUCCESS);
    EXPECT_EQ(missing, c.missing);
    ZOPRADocumentLoaderTextFit fit{};
    ASSERT_EQ(zopraDocumentLoaderFitTextA(loader, c.text.c_str(), 0, 0, c.chain.data(),
                                          static_cast<uint32_t>(c.chain.size()), 0, &fit),
              ZOPRA_STATUS_SUCCESS);
    EXPECT_EQ(fit.missingCharacters, c.missing);
    ASSERT_EQ(zopraDocumentLoaderDrawText(loader), ZOPRA_STATUS_SUCCESS);
    const std::string output = zopra::test::tempDirectory() + "/chain-out.pdf";
    ASSERT_EQ(zopraDocumentLoaderWriteDocumentCompactA(loader, output.c_str(), 0xF), ZOPRA_STATUS_SUCCESS);
    if (zopra::test::haveProgram("pdftotext") && c.readsBack) {
      const std::string text = zopra::test::tempDirectory() + "/chain-out.txt";
      ASSERT_EQ(zopra::test::run("pdftotext '" + output + "' '" + text + "'"), 0);
      EXPECT_EQ(zopra::test::readFile(text).substr(0, c.text.size()), c.text);
    }
    if (zopra::test::haveProgram("pdffonts")) {
      // Each font of a run, subset and named after its PostScript name.
      const std::string fonts = zopra::test::tempDirectory() + "/chain-fonts.txt";
      ASSERT_EQ(zopra::test::run("pdffonts '" + output + "' > '" + fonts + "'"), 0);
      const std::string listed = zopra::test::readFile(fonts);
      EXPECT_NE(listed.find("+DejaVuSans "), std::string::npos) << listed;
      EXPECT_EQ(listed.find("+IPAGothic ") != std::string::npos, c.chain.size() == 2 && c.missing < 2) << listed;
      EXPECT_EQ(listed.find("ZopraEmbedded"), std::string::npos) << listed;
    }
  }
}

// Items that no fitting can make sense of get a status, never a hang.
TEST(ApiFit, HostileItemsEndWithAStatus) {
  if (!std::filesystem::exists(kDejaVu)) GTEST_SKIP() << "fonts-dejavu-core is not installed";
  const std::string input = pageFile(
      "fit-hostile",
      "BT /F1 10 Tf 0 0 0 0 72 700 Tm (Zero) Tj ET BT /F1 10 Tf 0 1 -1 0 300 300 Tm (Up) Tj ET "
      "BT /F1 -10 Tf 72 600 Td (Negative) Tj ET BT /F1 1e-30 Tf 72 500 Td (Tiny) Tj ET "
      "BT /F1 10 Tf 1e30 0 0 1e30 72 400 Tm (Huge) Tj ET BT /F1 10 Tf 0 Tz 72 300 Td (Flat) Tj ET "
      "BT /F1 10 Tf 1 0 0 1 72 200 Tm 1e30 Tc (Spaced) Tj ET");
  Handle handle = opened(input);
  ZOPRADocumentLoader* loader = handle.get();
  uint32_t count = 0;
  ASSERT_EQ(zopraDocumentLoaderGetPageTextCount(loader, &count, 0), ZOPRA_STATUS_SUCCESS);
  ASSERT_GE(count, 5u);
  const char* chain[] = {kDejaVu};
  for (uint32_t index = 0; index < count; ++index) {
    SCOPED_TRACE(index);
    ZOPRADocumentLoaderTextFit fit{};
    const int32_t status = zopraDocumentLoaderFitTextA(
        loader, "A rather long replacement text for a hostile item", 0, index, chain, 1, 6, &fit);
    EXPECT_TRUE(status == ZOPRA_STATUS_SUCCESS || status == ZOPRA_STATUS_INVALID_ARGUMENT) << status;
    if (status == ZOPRA_STATUS_SUCCESS) {
      EXPECT_GT(fit.fontSize, 0);
      EXPECT_TRUE(std::isfinite(fit.offset));
      EXPECT_EQ(zopraDocumentLoaderDrawText(loader), ZOPRA_STATUS_SUCCESS);
    }
  }
}

}  // namespace
