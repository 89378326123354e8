// Damaged variants of valid files, and page content that is operator soup,
// must load and extract or fail with an error kind, never crash or hang (the
// sanitizer build turns memory faults into failures).
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "pdf/content/text_entry.h"
#include "support/load_helpers.h"

namespace zopra::pdf {
namespace {

// Loads `bytes`, then extracts and decodes every page; only the engine's
// exception may come out of the lazy object loading.
void loadAndWalk(const std::string& bytes) {
  Document document;
  Error result = document.load(test::writeTempFile("mutant.pdf", bytes));
  ASSERT_LE(static_cast<int>(result), static_cast<int>(Error::Io));
  if (result != Error::None) return;
  for (std::uint32_t page = 0; page < document.pages.size(); ++page) {
    std::vector<TextEntry> entries;
    std::vector<std::uint32_t> images;
    if (document.extractText(page, entries, &images) == Error::None) {
      for (const TextEntry& entry : entries) ASSERT_FALSE(entry.text.empty() || entry.sources.empty());
    }
    try {
      for (std::uint32_t number : document.pageContentObjects(document.pages[page])) {
        if (const Object* content = document.object(number)) document.decodeStream(*content);
      }
    } catch (const Exception&) {
    }
  }
}

std::string mutated(std::mt19937& random, std::string bytes, const std::vector<std::string>& tokens) {
  for (int edits = 1 + static_cast<int>(random() % 4); edits > 0 && !bytes.empty(); --edits) {
    const std::size_t at = random() % bytes.size();
    switch (random() % 4) {
      case 0: bytes[at] = static_cast<char>(random() & 0xFF); break;
      case 1: bytes.erase(at, 1 + random() % 16); break;
      case 2: bytes.insert(at, tokens[random() % tokens.size()]); break;
      default: bytes.insert(at, bytes.substr(random() % bytes.size(), random() % 32)); break;
    }
  }
  return bytes.empty() ? "%PDF-" : bytes;
}

// Text, paths, an inline image, an image and a form that draws itself, fonts
// with widths and a composite font.
const char* kContent =
    "q 1 0 0 1 10 20 cm BT /F1 12 Tf 1.5 Tc 2 Tw 90 Tz 14 TL 72 700 Td (Hello) Tj\n"
    "[(Wor) -120 (ld) 50 <414243>] TJ T* (next) ' 1 2 (quote) \" 0 -14 TD 3 Ts\n"
    "1 0 0 1 72 600 Tm /F2 10 Tf <0041> Tj ET Q 0 0 1 rg 1 0 0 RG 2 w\n"
    "10 10 m 20 20 l 30 30 40 40 50 50 c 1 2 3 4 v 5 6 7 8 y h 0 0 5 5 re W n S f B\n"
    "BI /W 2 /H 2 /BPC 8 /CS /G ID \x01\x02\x03\x04 EI /Im1 Do /Fm1 Do\n";

std::string page(const std::string& content, const std::string& form = "BT /F1 5 Tf (in form) Tj ET /Fm1 Do") {
  test::PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
  b.object(3, "<< /Type /Page /MediaBox [0 0 612 792] /Contents 4 0 R /Resources << "
              "/Font << /F1 5 0 R /F2 6 0 R >> /XObject << /Im1 7 0 R /Fm1 8 0 R >> >> >>");
  b.stream(4, "", content);
  b.object(5, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /FirstChar 32 /Widths [250 300 400] >>");
  b.object(6, "<< /Type /Font /Subtype /Type0 /BaseFont /X /Encoding /Identity-H /DescendantFonts [9 0 R] >>");
  b.stream(7, "/Type /XObject /Subtype /Image /Width 1 /Height 1", "x");
  b.stream(8, "/Type /XObject /Subtype /Form /BBox [0 0 10 10] /Resources << /Font << /F1 5 0 R >> "
              "/XObject << /Fm1 8 0 R >> >>", form);
  b.object(9, "<< /Type /Font /Subtype /CIDFontType2 /W [1 [500 600] 10 20 700] /DW 800 >>");
  b.object(20, "<< /Type /ObjStm /N 1 /First 5 /Length 12 >>\nstream\n30 0 [1 (x)]\nendstream");
  b.finishWithTable("/Root 1 0 R /Info << /Title (t) >>");
  // An update with an indirect Length and a cross-reference stream.
  b.object(10, "<< /Length 11 0 R >>\nstream\nBT ET\nendstream");
  b.object(11, "5");
  b.finishWithXrefStream(21, "/Root 1 0 R");
  return b.bytes();
}

TEST(Mutation, DamagedFiles) {
  const std::string original = page(kContent);
  for (std::size_t length = 0; length < original.size(); length += 7) loadAndWalk(original.substr(0, length));
  std::mt19937 random(12345);
  const std::vector<std::string> tokens = {"<<", ">>", "[", "]", "(", ")", "R", "obj", "endobj", "stream", "0",
                                           "-1", "99999999999", "/Length", "trailer", "xref", "%"};
  for (int round = 0; round < 600; ++round) loadAndWalk(mutated(random, original, tokens));
  // An AES-encrypted copy with bytes damaged all over, strings, streams and
  // the Encrypt dictionary included.
  if (!test::haveProgram("qpdf")) return;
  const std::string plain = test::writeTempFile("mutation-plain.pdf", original);
  const std::string locked = test::tempDirectory() + "/mutation-aes.pdf";
  const int status = test::run("qpdf --compress-streams=n --encrypt '' own 128 --use-aes=y -- '" + plain + "' '" +
                               locked + "' >/dev/null 2>&1");
  ASSERT_TRUE(status == 0 || status == 3);  // 3: success with warnings
  const std::string encrypted = test::readFile(locked);
  for (std::size_t at = 0; at < encrypted.size(); at += 7) {
    std::string damaged = encrypted;
    damaged[at] = static_cast<char>(damaged[at] ^ 0x5A);
    loadAndWalk(damaged);
  }
}

TEST(Mutation, DamagedContentAndOperatorSoup) {
  std::mt19937 random(4242);
  const std::vector<std::string> words = {
      "q", "Q", "cm", "BT", "ET", "Tf", "Tj", "TJ", "'", "\"", "Td", "TD", "T*", "Tm", "Tz", "TL",
      "Tc", "Tw", "Ts", "re", "m", "l", "c", "W", "n", "S", "f", "Do", "BI", "ID", "EI", "/F1",
      "/F2", "/Fm1", "/Im1", "(x)", "<41>", "[", "]", "1", "-3.5", "1e9", "<<", ">>", "%c\n"};
  for (int round = 0; round < 300; ++round) loadAndWalk(page(mutated(random, kContent, words)));
  for (int round = 0; round < 200; ++round) {
    std::string soup;
    for (int i = 0; i < 60; ++i) soup += words[random() % words.size()] + " ";
    loadAndWalk(page(soup, soup));
  }
}

TEST(Mutation, SavesPastTheKeptDepth) {
  // Saves far past the kept depth stay paired with their restores: the text
  // matrix set after them holds, the page-level transformation comes back;
  // a long run of operands before one operator only needs the top ones. A
  // form that saves without restoring leaves the page's state alone.
  std::string saves, restores, operands;
  for (int i = 0; i < 20000; ++i) saves += "q ", restores += "Q ";
  for (int i = 0; i < 200000; ++i) operands += "1 ";
  const std::string cases[][2] = {
      {saves + "2 0 0 2 0 0 cm " + restores + "BT /F1 10 Tf 1 0 0 1 50 60 Tm (deep) Tj ET " + operands + "(last) Tj",
       ""},
      {"q 2 0 0 2 0 0 cm /Fm1 Do Q BT /F1 10 Tf 1 0 0 1 50 60 Tm (after) Tj ET", saves},
  };
  for (const auto& [content, form] : cases) {
    auto loaded = test::loadBytes(page(content, form), "content-deep.pdf");
    ASSERT_EQ(loaded.result, Error::None);
    std::vector<TextEntry> entries;
    ASSERT_EQ(loaded->extractText(0, entries, nullptr), Error::None);
    ASSERT_FALSE(entries.empty());
    EXPECT_DOUBLE_EQ(entries[0].e, 50);
    EXPECT_DOUBLE_EQ(entries[0].f, 60);
  }
}

}  // namespace
}  // namespace zopra::pdf
