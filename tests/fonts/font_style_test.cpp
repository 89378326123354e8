// The style of a font as text items carry it, read from a table of font
// dictionaries with and without descriptors.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "pdf/content/text_entry.h"
#include "support/load_helpers.h"
#include "support/pdf_builder.h"

namespace zopra::pdf {
namespace {

struct StyleCase {
  // The font dictionary's entries after /Type /Font.
  std::string font;
  std::string name;
  // Letters b, i, s, f for bold, italic, serif and fixed pitch; '-' for not.
  std::string flags;
  double ascent = 0.8;
  double descent = -0.2;
};

const std::vector<StyleCase> kCases = {
    // Standard 14 names, no descriptor.
    {"/Subtype /Type1 /BaseFont /Times-BoldItalic", "Times-BoldItalic", "bis-"},
    {"/Subtype /Type1 /BaseFont /Helvetica-Oblique", "Helvetica-Oblique", "-i--"},
    {"/Subtype /Type1 /BaseFont /Courier", "Courier", "--sf"},
    {"/Subtype /Type1 /BaseFont /Times-Roman", "Times-Roman", "--s-"},
    // Subset tags go; style fragments after ',' and '-', TeX prefixes.
    {"/Subtype /TrueType /BaseFont /ABCDEF+Arial,Bold", "Arial,Bold", "b---"},
    {"/Subtype /Type1 /BaseFont /KQXZPA+MinionPro-It", "MinionPro-It", "-is-"},
    {"/Subtype /Type1 /BaseFont /ABCDEF+CMTT10", "CMTT10", "--sf"},
    {"/Subtype /Type1 /BaseFont /ABCDEF+CMBX12", "CMBX12", "b-s-"},
    {"/Subtype /TrueType /BaseFont /Abcdef+DejaVuSansMono", "Abcdef+DejaVuSansMono", "---f"},
    {"/Subtype /TrueType /BaseFont /MonotypeCorsiva", "MonotypeCorsiva", "----"},
    // URW clones of the standard fonts: Medi is their bold, Ital their italic.
    {"/Subtype /Type1 /BaseFont /TACTGM+NimbusRomNo9L-Medi", "NimbusRomNo9L-Medi", "b-s-"},
    {"/Subtype /Type1 /BaseFont /NimbusSanL-ReguItal", "NimbusSanL-ReguItal", "-i--"},
    {"/Subtype /Type1 /BaseFont /NimbusMonL-Regu", "NimbusMonL-Regu", "--sf"},
    // A name that is not UTF-8 is read as Latin-1.
    {"/Subtype /Type1 /BaseFont /Caf#e9-Semibold", "Caf\xC3\xA9-Semibold", "b---"},
    // The descriptor speaks where the name is silent: flags, weight, angle,
    // ascent and descent (a positive descent is a depth).
    {"/Subtype /Type1 /BaseFont /QWERTY+F1 /FontDescriptor << /Flags 65 /Ascent 0 /Descent 0 >>",
     "F1", "-i-f"},
    {"/Subtype /TrueType /BaseFont /ABCDEF+Body /FontDescriptor << /Flags 34 /FontWeight 700 "
     "/Ascent 727 /Descent -227 >>",
     "Body", "b-s-", 0.727, -0.227},
    {"/Subtype /TrueType /BaseFont /ABCDEF+DejaVuSans /FontDescriptor << /Flags 262178 "
     "/ItalicAngle -11 /Ascent 928 /Descent 236 >>",
     "DejaVuSans", "bi--", 0.928, -0.236},
    {"/Subtype /TrueType /FontDescriptor << /Flags 32 /FontWeight 400 /ItalicAngle 0 >>", "", "----"},
    // A composite font reads its descriptor from the descendant.
    {"/Subtype /Type0 /BaseFont /ABCDEF+NotoSerifCJK /Encoding /Identity-H /ToUnicode 9 0 R "
     "/DescendantFonts [<< /Subtype /CIDFontType2 /FontDescriptor << /Flags 4 /FontWeight 600 "
     "/Ascent 1069 /Descent -293 >> >>]",
     "NotoSerifCJK", "b-s-", 1.069, -0.293},
};

TEST(FontStyle, ReadFromFontDictionaries) {
  test::PdfBuilder b;
  std::string fonts;
  std::string content;
  for (std::size_t i = 0; i < kCases.size(); ++i) {
    std::uint32_t number = 10 + static_cast<std::uint32_t>(i);
    b.object(number, "<< /Type /Font " + kCases[i].font + " >>");
    fonts += "/F" + std::to_string(i) + " " + std::to_string(number) + " 0 R ";
    bool composite = kCases[i].font.find("Type0") != std::string::npos;
    content += "BT /F" + std::to_string(i) + " 10 Tf 72 " + std::to_string(700 - 20 * i) + " Td " +
               (composite ? "<0041>" : "(A)") + " Tj ET\n";
  }
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
  b.object(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 4 0 R "
              "/Resources << /Font << " + fonts + ">> >> >>");
  b.stream(4, "", content);
  b.stream(9, "", "1 begincodespacerange <0000> <FFFF> endcodespacerange\n"
                  "1 beginbfchar <0041> <0041> endbfchar\n");
  b.finishWithTable("/Root 1 0 R");
  test::Loaded doc = test::loadBuilder(b, "font-styles.pdf");
  ASSERT_EQ(doc.result, Error::None);

  std::vector<TextEntry> items;
  ASSERT_EQ(doc->extractText(0, items, nullptr), Error::None);
  ASSERT_EQ(items.size(), kCases.size());
  for (std::size_t i = 0; i < kCases.size(); ++i) {
    SCOPED_TRACE(kCases[i].font);
    ASSERT_TRUE(items[i].style);
    const FontStyle& style = *items[i].style;
    std::string flags = {style.bold ? 'b' : '-', style.italic ? 'i' : '-', style.serif ? 's' : '-',
                         style.fixedPitch ? 'f' : '-'};
    EXPECT_EQ(style.name, kCases[i].name);
    EXPECT_EQ(flags, kCases[i].flags);
    EXPECT_NEAR(style.ascent, kCases[i].ascent, 1e-9);
    EXPECT_NEAR(style.descent, kCases[i].descent, 1e-9);
  }
}

}  // namespace
}  // namespace zopra::pdf
