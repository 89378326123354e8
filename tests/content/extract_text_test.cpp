// Text extraction of whole pages written with the PDF builder.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "pdf/content/content_lexer.h"
#include "pdf/content/text_entry.h"
#include "pdf/fonts/font_builder.h"
#include "support/hostile_files.h"
#include "support/load_helpers.h"
#include "support/pdf_builder.h"

namespace zopra::pdf {
namespace {

using test::PdfBuilder;

std::vector<TextEntry> extract(const PdfBuilder& builder, const std::string& name,
                               std::vector<std::uint32_t>* images = nullptr) {
  test::Loaded loaded = test::loadBuilder(builder, name);
  EXPECT_EQ(loaded.result, Error::None);
  std::vector<TextEntry> entries;
  EXPECT_EQ(loaded->extractText(0, entries, images), Error::None);
  EXPECT_EQ(loaded->extractText(1, entries, images), Error::InvalidArgument);
  return entries;
}

PdfBuilder onePage(const std::string& content) {
  PdfBuilder builder = PdfBuilder::simple({content});
  builder.finishWithTable("/Root 1 0 R");
  return builder;
}

std::vector<std::string> texts(const std::vector<TextEntry>& entries) {
  std::vector<std::string> out;
  for (const auto& entry : entries) out.push_back(entry.text);
  return out;
}

TEST(ExtractText, LinesAndOperatorRanges) {
  // T* and ' move down by the leading; each operator is counted.
  auto entries = extract(onePage("BT /F1 12 Tf 14 TL 72 700 Td (One) Tj T* (Two) Tj (Three) ' ET"), "lines.pdf");
  ASSERT_EQ(texts(entries), (std::vector<std::string>{"One", "Two", "Three"}));
  EXPECT_DOUBLE_EQ(entries[1].f, 686);
  EXPECT_DOUBLE_EQ(entries[2].f, 672);
  EXPECT_EQ(entries[2].firstOperator, 2u);
  EXPECT_EQ(entries[2].operatorName, "'");
}

TEST(ExtractText, KernedArrays) {
  auto entries = extract(
      onePage("BT /F1 12 Tf 72 700 Td [(W) 120 (orld)] TJ ET\n"
              "BT /F1 12 Tf 72 650 Td [(Hello) -400 (there)] TJ ET\n"
              "BT /F1 12 Tf 72 600 Td [(far) -3000 (away)] TJ ET"),
      "kerning.pdf");
  EXPECT_EQ(texts(entries), (std::vector<std::string>{"World", "Hello there", "far", "away"}));
  ASSERT_EQ(entries[0].sources.size(), 2u);
}

// Hebrew and Arabic drawn in visual order (left to right on the page), as
// producers write them, come out in reading order; the runs stay as drawn.
TEST(ExtractText, RightToLeftInReadingOrder) {
  // Codes 0x80 to 0x89 of font F2: shin, lamed, vav, final mem, kaf, ayin,
  // and the Arabic seen, lam, alef, meem.
  const std::string toUnicode =
      "/CIDInit /ProcSet findresource begin 12 dict begin begincmap\n"
      "1 begincodespacerange <00> <FF> endcodespacerange\n"
      "10 beginbfchar <80> <05E9> <81> <05DC> <82> <05D5> <83> <05DD> <84> <05DB> <85> <05E2>\n"
      "<86> <0633> <87> <0644> <88> <0627> <89> <0645> endbfchar\n"
      "endcmap CMapName currentdict /CMap defineresource pop end end";
  PdfBuilder builder = PdfBuilder::simple(
      {"BT /F2 12 Tf 72 700 Td <3F838182842083828180> Tj ET\n"  // "?" mem-lamed-vav-kaf " " mem-vav-lamed-shin
       "BT /F2 12 Tf 72 650 Td [<898887> -20 <86>] TJ ET\n"      // meem alef lam, then seen
       "BT /F2 12 Tf 72 600 Td (Hello <) Tj <83828180> Tj (> world) Tj ET\n"
       "BT /F2 12 Tf 72 550 Td <31323320838281808584> Tj ET\n"  // "123 " then Hebrew
       // A space drawn with no room, then a comma that ends the word on its right.
       "BT /F2 12 Tf 72 500 Td <8382> Tj -3 Tc <20> Tj 0 Tc <2C8180> Tj ET\n"
       // One glyph at a time from the right (F3 gives every glyph 6 points).
       "BT /F3 12 Tf 300 450 Td <80> Tj -6 0 Td <81> Tj -6 0 Td <82> Tj -6 0 Td <83> Tj ET\n"
       // A line drawn a piece at a time from the right, each piece left to
       // right, brackets named by the characters they stand for: "shalom
       // 15(kaf)(4) olam", the brackets and the final word last.
       "BT /F3 12 Tf 300 400 Td <2083828180> Tj -12 0 Td <3135> Tj -24 0 Td [<2829> 0 <8428>] TJ "
       "-6 0 Td <34> Tj -36 0 Td <838182852029> Tj ET"},
      "[0 0 612 792]", "/Font << /F2 20 0 R /F3 22 0 R >>");
  builder.object(20, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /ToUnicode 21 0 R >>");
  std::string widths;
  for (int code = 32; code <= 137; ++code) widths += "500 ";
  builder.object(22, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /ToUnicode 21 0 R /FirstChar 32 "
                     "/LastChar 137 /Widths [" + widths + "] >>");
  builder.stream(21, "", toUnicode);
  builder.finishWithTable("/Root 1 0 R");
  test::Loaded loaded = test::loadBuilder(builder, "right-to-left.pdf");
  ASSERT_EQ(loaded.result, Error::None);
  std::vector<TextEntry> entries;
  ASSERT_EQ(loaded->extractText(0, entries, nullptr), Error::None);
  EXPECT_EQ(texts(entries), (std::vector<std::string>{"שלום כולם?", "سلام", "Hello <שלום> world",
                                                      "כעשלום 123", "של, ום", "שלום", "שלום 15(כ)(4) עולם"}));
  ASSERT_EQ(entries.size(), 7u);
  EXPECT_EQ(entries[1].sources.size(), 2u);
  EXPECT_EQ(entries[1].sources[0].element, 0u);
  EXPECT_EQ(entries[6].e, 222);

  // The Arabic item and the line drawn in pieces are removed by their runs;
  // the others stay.
  const std::set<std::uint32_t> chosen{1, 6};
  ASSERT_EQ(loaded->removeText(0, &chosen, entries, 1), Error::None);
  std::vector<TextEntry> after;
  ASSERT_EQ(loaded->extractText(0, after, nullptr), Error::None);
  EXPECT_EQ(texts(after),
            (std::vector<std::string>{"שלום כולם?", "Hello <שלום> world", "כעשלום 123", "של, ום", "שלום"}));
}

// A content stream whose Flate data is cut short gives the text of what
// inflated; the damage is noted, not reported as a failure.
TEST(ExtractText, DamagedFlateContentGivesItsStart) {
  std::string filler;
  std::uint32_t state = 7;
  for (int i = 0; i < 4000; ++i) {
    state = state * 1103515245u + 12345u;
    filler += (i % 60 == 0 ? "\n% " : "") + std::to_string((state >> 16) % 10);
  }
  std::string content = "BT /F1 12 Tf 72 700 Td (Kept) Tj ET" + filler + "\nBT /F1 12 Tf 72 600 Td (Lost) Tj ET";
  std::string packed = test::deflate(content);
  packed.resize(packed.size() / 2);
  PdfBuilder builder;
  builder.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  builder.object(2, "<< /Type /Pages /Kids [4 0 R] /Count 1 >>");
  builder.object(3, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  builder.object(4, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Resources << /Font << /F1 3 0 R >> >> "
                    "/Contents 20 0 R >>");
  builder.stream(20, "/Filter /FlateDecode", packed);
  builder.finishWithTable("/Root 1 0 R");
  test::Loaded loaded = test::loadBuilder(builder, "damaged-flate.pdf");
  ASSERT_EQ(loaded.result, Error::None) << loaded->errorMessage;
  std::vector<TextEntry> entries;
  ASSERT_EQ(loaded->extractText(0, entries, nullptr), Error::None);
  EXPECT_EQ(texts(entries), std::vector<std::string>{"Kept"});
  EXPECT_NE(loaded->errorMessage.find("damaged Flate stream in object 20"), std::string::npos);
}

TEST(ExtractText, FormsImagesAndInlineImages) {
  PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [4 0 R] /Count 1 >>");
  b.object(3, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  b.object(4,
           "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Resources << /Font << /F1 3 0 R "
           ">> /XObject << /Fm1 6 0 R /Im1 7 0 R >> >> /Contents 5 0 R >>");
  b.stream(5, "",
           "BT /F1 12 Tf 72 700 Td (Page) Tj ET /Fm1 Do /Im1 Do\n"
           "BI /W 2 /H 1 /BPC 8 /CS /G ID \x01( EI\n"
           "BT /F1 12 Tf 72 300 Td (After) Tj ET /Im1 Do");
  // The form draws itself too; that inner drawing is refused.
  b.stream(6, "/Type /XObject /Subtype /Form /BBox [0 0 612 792] /Matrix [1 0 0 1 0 -100]",
           "BT /F1 10 Tf 72 600 Td (Inside) Tj ET /Fm1 Do");
  b.stream(7, "/Type /XObject /Subtype /Image /Width 1 /Height 1 /BitsPerComponent 8 "
              "/ColorSpace /DeviceGray", "x");
  b.finishWithTable("/Root 1 0 R");

  std::vector<std::uint32_t> images;
  auto entries = extract(b, "forms.pdf", &images);
  ASSERT_EQ(texts(entries), (std::vector<std::string>{"Page", "Inside", "After"}));
  EXPECT_DOUBLE_EQ(entries[1].f, 500);
  EXPECT_EQ(entries[1].stream, 6u);
  EXPECT_EQ(entries[1].firstOperator, 0u);
  // The page's counter is not advanced by the form.
  EXPECT_EQ(entries[2].stream, 0u);
  EXPECT_EQ(entries[2].firstOperator, 1u);
  EXPECT_EQ(images, (std::vector<std::uint32_t>{7, 7}));
}

TEST(ExtractText, ItemTextIsAlwaysValidUtf8WithoutNul) {
  // ToUnicode targets that UTF-8 cannot carry: lone surrogates, U+0000, a
  // value past U+10FFFF (from a surrogate pair it cannot come from).
  PdfBuilder b = PdfBuilder::simple({"BT /F2 12 Tf 72 700 Td <01020304> Tj ET"});
  b.stream(20, "", "1 begincodespacerange <00> <FF> endcodespacerange\n"
                   "4 beginbfchar <01> <0041D800> <02> <0000> <03> <DC00> <04> <00420000> endbfchar\n");
  b.object(21, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /ToUnicode 20 0 R >>");
  b.finishWithTable("/Root 1 0 R");
  std::string bytes = b.bytes();
  std::string from = "/F1 3 0 R";
  bytes.replace(bytes.find(from), from.size(), "/F2 21 0 R");
  test::Loaded loaded = test::loadBytes(bytes, "bad-targets.pdf");
  ASSERT_EQ(loaded.result, Error::None);
  std::vector<TextEntry> entries;
  ASSERT_EQ(loaded->extractText(0, entries, nullptr), Error::None);
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].text, "A\xEF\xBF\xBD\xEF\xBF\xBD" "B");
}

TEST(ExtractText, CreatedObjectsAreNotMistakenForCachedMissingFonts) {
  // The page names font 6, which does not exist yet: it reads as the
  // default font. Then object 6 is created as a font that spells A as Z.
  PdfBuilder b = PdfBuilder::simple({"BT /F2 12 Tf 72 700 Td (A) Tj ET"});
  b.finishWithTable("/Root 1 0 R");
  std::string bytes = b.bytes();
  std::string from = "/F1 3 0 R";
  bytes.replace(bytes.find(from), from.size(), "/F2 6 0 R");
  test::Loaded loaded = test::loadBytes(bytes, "late-font.pdf");
  ASSERT_EQ(loaded.result, Error::None);
  ASSERT_EQ(loaded->nextObjectNumber, 6u);
  std::vector<TextEntry> entries;
  ASSERT_EQ(loaded->extractText(0, entries, nullptr), Error::None);
  ASSERT_EQ(texts(entries), (std::vector<std::string>{"A"}));
  Value encoding = Value::Dictionary({{"Differences", Value::Array({Value::Number(65), Value::Name("Z")})}});
  Object& font = loaded->createObject(Value::Dictionary({{"Type", Value::Name("Font")},
                                                         {"Subtype", Value::Name("Type1")},
                                                         {"Encoding", encoding}}));
  ASSERT_EQ(font.number, 6u);
  ASSERT_EQ(loaded->extractText(0, entries, nullptr), Error::None);
  EXPECT_EQ(texts(entries), (std::vector<std::string>{"Z"}));
}

TEST(ExtractText, SavesPastTheKeptDepth) {
  // Saves far past the kept depth stay paired with their restores: the text
  // matrix set after them holds, the page-level transformation comes back;
  // a long run of operands before one operator only needs the top ones. A
  // form that saves without restoring leaves the page's state alone.
  std::string saves, restores, operands;
  for (int i = 0; i < 20000; ++i) saves += "q ", restores += "Q ";
  for (int i = 0; i < 200000; ++i) operands += "1 ";
  const std::pair<std::string, std::string> cases[] = {
      {saves + "2 0 0 2 0 0 cm " + restores + "BT /F1 10 Tf 1 0 0 1 50 60 Tm (deep) Tj ET " + operands + "(last) Tj",
       ""},
      {"q 2 0 0 2 0 0 cm /Fm Do Q BT /F1 10 Tf 1 0 0 1 50 60 Tm (after) Tj ET", saves},
  };
  for (const auto& [content, form] : cases) {
    PdfBuilder b = PdfBuilder::simple({content}, "[0 0 612 792]", "/XObject << /Fm 9 0 R >>");
    b.stream(9, "/Type /XObject /Subtype /Form /BBox [0 0 10 10]", form);
    b.finishWithTable("/Root 1 0 R");
    auto entries = extract(b, "deep-saves.pdf");
    ASSERT_FALSE(entries.empty());
    EXPECT_DOUBLE_EQ(entries[0].e, 50);
    EXPECT_DOUBLE_EQ(entries[0].f, 60);
  }
}

}  // namespace
}  // namespace zopra::pdf
