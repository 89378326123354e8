// Malformed page content never fails or crashes text extraction: random
// mutations of a content stream and random operator soup are interpreted
// without errors (the sanitizer build turns memory faults into failures).
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "pdf/content/text_entry.h"
#include "support/load_helpers.h"

namespace zopra::pdf {
namespace {

const char* kContent =
    "q 1 0 0 1 10 20 cm BT /F1 12 Tf 1.5 Tc 2 Tw 90 Tz 14 TL 72 700 Td (Hello) Tj\n"
    "[(Wor) -120 (ld) 50 <414243>] TJ T* (next) ' 1 2 (quote) \" 0 -14 TD 3 Ts\n"
    "1 0 0 1 72 600 Tm /F2 10 Tf <0041> Tj ET Q 0 0 1 rg 1 0 0 RG 2 w\n"
    "10 10 m 20 20 l 30 30 40 40 50 50 c 1 2 3 4 v 5 6 7 8 y h 0 0 5 5 re W n S f B\n"
    "BI /W 2 /H 2 /BPC 8 /CS /G ID \x01\x02\x03\x04 EI /Im1 Do /Fm1 Do\n";

std::string page(const std::string& content) {
  test::PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
  b.object(3,
           "<< /Type /Page /MediaBox [0 0 612 792] /Contents 4 0 R /Resources << "
           "/Font << /F1 5 0 R /F2 6 0 R >> /XObject << /Im1 7 0 R /Fm1 8 0 R >> >> >>");
  b.stream(4, "", content);
  b.object(5, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /FirstChar 32 "
              "/Widths [250 300 400] >>");
  b.object(6, "<< /Type /Font /Subtype /Type0 /BaseFont /X /Encoding /Identity-H "
              "/DescendantFonts [9 0 R] >>");
  b.stream(7, "/Type /XObject /Subtype /Image /Width 1 /Height 1", "x");
  b.stream(8, "/Type /XObject /Subtype /Form /BBox [0 0 10 10] /Resources << /XObject "
              "<< /Fm1 8 0 R >> >>", "BT /F1 5 Tf (in form) Tj ET /Fm1 Do");
  b.object(9, "<< /Type /Font /Subtype /CIDFontType2 /W [1 [500 600] 10 20 700] /DW 800 >>");
  b.finishWithTable("/Root 1 0 R");
  return b.bytes();
}

void extract(const std::string& content) {
  auto loaded = test::loadBytes(page(content), "content-mutant.pdf");
  ASSERT_EQ(loaded.result, Error::None) << loaded->errorMessage;
  std::vector<TextEntry> entries;
  std::vector<std::uint32_t> images;
  EXPECT_EQ(loaded->extractText(0, entries, &images), Error::None);
  for (const TextEntry& entry : entries) {
    EXPECT_FALSE(entry.text.empty());
    EXPECT_FALSE(entry.sources.empty());
  }
}

TEST(ContentRobustness, OriginalContentReadsAsExpected) {
  auto loaded = test::loadBytes(page(kContent), "content-original.pdf");
  ASSERT_EQ(loaded.result, Error::None);
  std::vector<TextEntry> entries;
  std::vector<std::uint32_t> images;
  ASSERT_EQ(loaded->extractText(0, entries, &images), Error::None);
  EXPECT_EQ(images, (std::vector<std::uint32_t>{7}));
  ASSERT_FALSE(entries.empty());
  EXPECT_EQ(entries[0].text.substr(0, 5), "Hello");
}

TEST(ContentRobustness, MutationsAndOperatorSoup) {
  std::mt19937 random(4242);
  const std::string original = kContent;
  for (int round = 0; round < 300; ++round) {
    std::string content = original;
    int edits = 1 + static_cast<int>(random() % 6);
    for (int i = 0; i < edits && !content.empty(); ++i) {
      std::size_t at = random() % content.size();
      switch (random() % 3) {
        case 0: content[at] = static_cast<char>(random() & 0xFF); break;
        case 1: content.erase(at, 1 + random() % 8); break;
        default: content.insert(at, original.substr(random() % original.size(), random() % 24));
      }
    }
    extract(content);
  }
  const char* words[] = {"q", "Q", "cm", "BT", "ET", "Tf", "Tj", "TJ", "'", "\"", "Td", "TD",
                         "T*", "Tm", "Tz", "TL", "Tc", "Tw", "Ts", "re", "m", "l", "c", "W",
                         "n", "S", "f", "Do", "BI", "ID", "EI", "/F1", "/F2", "/Fm1", "/Im1",
                         "(x)", "<41>", "[", "]", "1", "-3.5", "1e9", "<<", ">>", "%c\n"};
  for (int round = 0; round < 200; ++round) {
    std::string content;
    for (int i = 0; i < 60; ++i) {
      content += words[random() % std::size(words)];
      content += ' ';
    }
    extract(content);
  }
}

TEST(ContentRobustness, DeepSavesAndLongOperandRuns) {
  // Saves far past the kept depth stay paired with their restores: the text
  // matrix set inside survives, the page-level transformation comes back.
  std::string content;
  for (int i = 0; i < 20000; ++i) content += "q ";
  content += "2 0 0 2 0 0 cm ";
  for (int i = 0; i < 20000; ++i) content += "Q ";
  content += "BT /F1 10 Tf 1 0 0 1 50 60 Tm (deep) Tj ET ";
  // A long run of operands before one operator only needs the top ones.
  for (int i = 0; i < 200000; ++i) content += "1 ";
  content += "(last) Tj";
  auto loaded = test::loadBytes(page(content), "content-deep.pdf");
  ASSERT_EQ(loaded.result, Error::None);
  std::vector<TextEntry> entries;
  ASSERT_EQ(loaded->extractText(0, entries, nullptr), Error::None);
  ASSERT_FALSE(entries.empty());
  EXPECT_EQ(entries[0].text.substr(0, 4), "deep");
  EXPECT_DOUBLE_EQ(entries[0].e, 50);
  EXPECT_DOUBLE_EQ(entries[0].f, 60);
}

TEST(ContentRobustness, SavesPastTheLimitInAFormStayInTheForm) {
  // The form saves far past the kept depth and never restores; the page's
  // own Q after it must still restore the page's state.
  test::PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
  b.object(3, "<< /Type /Page /MediaBox [0 0 612 792] /Contents 4 0 R /Resources << "
              "/Font << /F1 5 0 R >> /XObject << /Fm 6 0 R >> >> >>");
  b.stream(4, "", "q 2 0 0 2 0 0 cm /Fm Do Q BT /F1 10 Tf 1 0 0 1 50 60 Tm (after) Tj ET");
  b.object(5, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  std::string saves;
  for (int i = 0; i < 5000; ++i) saves += "q ";
  b.stream(6, "/Type /XObject /Subtype /Form /BBox [0 0 10 10]", saves);
  b.finishWithTable("/Root 1 0 R");
  auto loaded = test::loadBuilder(b, "form-saves.pdf");
  ASSERT_EQ(loaded.result, Error::None);
  std::vector<TextEntry> entries;
  ASSERT_EQ(loaded->extractText(0, entries, nullptr), Error::None);
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_DOUBLE_EQ(entries[0].e, 50);
  EXPECT_DOUBLE_EQ(entries[0].f, 60);
}

}  // namespace
}  // namespace zopra::pdf
