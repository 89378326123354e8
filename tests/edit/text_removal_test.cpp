// Text removal: the scanner's rewrite of content, and removal of chosen items
// from whole pages, where nothing but the chosen glyphs may move or vanish.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "pdf/content/text_entry.h"
#include "pdf/edit/text_removal.h"
#include "support/load_helpers.h"

namespace zopra::pdf {
namespace {

std::string removeAll(std::string content) {
  removeTjOperator(content, TjParseState::Outside, nullptr);
  return content;
}

TEST(TextRemoval, ScannerRemovesTextOperatorsInsideTextObjects) {
  struct Case {
    const char* content;
    const char* expected;
  };
  const Case cases[] = {
      {"BT /F1 12 Tf 1 0 0 1 5 5 Tm (Hi) Tj ET", "BT /F1 12 Tf 1 0 0 1 5 5 Tm  ET"},
      {"BT [(A) -120 (B)] TJ ET", "BT  ET"},
      {"BT 2 TL (a) ' 1 2 (b) \" ET", "BT 2 TL  1 2  ET"},
      // Escapes and nested parentheses stay inside the string.
      {"BT (a\\) b (c) d) Tj (e\\\\) Tj ET", "BT   ET"},
      {"BT [(x\\]) (y(z)) ] TJ ET", "BT  ET"},
      // Outside BT ... ET nothing is taken, not even a "BT" after data.
      {"(out) Tj q BT (in) Tj ET (after) Tj", "(out) Tj q BT  ET (after) Tj"},
      {"/Im1 Do 3BT (x) Tj ET", "/Im1 Do 3BT (x) Tj ET"},
      // A tab is not white space for the scanner: no text object, no operator.
      {"\tBT (x) Tj ET", "\tBT (x) Tj ET"},
      {"BT (x)\tTj ET", "BT (x)\tTj ET"},
      // ET must stand alone. A string without its operator is kept, and so
      // is the string after it: the byte that ends a false start is copied
      // without being looked at again.
      {"BT (a) (b) Tj xET (c) Tj ET (d) Tj", "BT (a) (b) Tj xET  ET (d) Tj"},
      // A string still open at the end is dropped with the operator's bytes.
      {"BT (open", "BT "},
  };
  for (const Case& c : cases) EXPECT_EQ(removeAll(c.content), c.expected) << c.content;
}

// One page whose font F1 gives every glyph 500 units, code 1 included, and
// maps code 1 to no text at all.
test::Loaded page(const std::string& content,
                  const std::vector<std::pair<std::uint32_t, std::string>>& extra = {},
                  const std::string& resources = "") {
  test::PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [3 0 R 9 0 R] >>");
  b.object(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 4 0 R "
              "/Resources << /Font << /F1 5 0 R >> " + resources + " >> >>");
  b.stream(4, "", content);
  std::string widths;
  for (int i = 0; i < 256; ++i) widths += "500 ";
  b.object(5, "<< /Type /Font /Subtype /Type1 /BaseFont /Mono /FirstChar 0 /LastChar 255 /Widths [" + widths +
                  "] /ToUnicode 6 0 R >>");
  b.stream(6, "", "1 begincodespacerange <00> <FF> endcodespacerange\n"
                  "1 beginbfchar <01> <> endbfchar\n");
  b.object(9, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 4 0 R "
              "/Resources << /Font << /F1 5 0 R >> " + resources + " >> >>");
  for (const auto& [number, body] : extra) b.object(number, body);
  b.finishWithTable("/Root 1 0 R");
  return test::loadBuilder(b, "removal.pdf");
}

struct Item {
  std::string text;
  double e, f;
  bool operator==(const Item&) const = default;
};

std::vector<Item> items(Document& document, std::uint32_t pageIndex,
                        std::vector<TextEntry>* entries = nullptr) {
  std::vector<TextEntry> extracted;
  EXPECT_EQ(document.extractText(pageIndex, extracted, nullptr), Error::None) << document.errorMessage;
  std::vector<Item> out;
  for (const TextEntry& entry : extracted) out.push_back({entry.text, entry.e, entry.f});
  if (entries) *entries = std::move(extracted);
  return out;
}

TEST(TextRemoval, ChosenItemsGoAndEverythingElseKeepsItsPlace) {
  // Two items in one TJ and one after it on the same line, then two lines. "A?B" holds a
  // glyph without text: its advance counts in the adjustment that replaces
  // the string, or "C" and "D" would move left.
  auto loaded = page("BT /F1 10 Tf 1 0 0 1 100 700 Tm [(A\x01" "B) -3000 (C)] TJ [-3000] TJ (D) Tj ET\n"
                     "BT /F1 10 Tf 20 TL 1 0 0 1 100 600 Tm (E) ' 1 0 (F) \" ET");
  ASSERT_EQ(loaded.result, Error::None);
  std::vector<TextEntry> entries;
  std::vector<Item> before = items(*loaded.document, 0, &entries);
  ASSERT_EQ(before.size(), 5u);
  ASSERT_EQ(before[0].text, "AB");
  std::set<std::uint32_t> chosen{0, 3};
  ASSERT_EQ(loaded->removeText(0, &chosen, entries, 1), Error::None);
  std::vector<Item> after = items(*loaded.document, 0);
  EXPECT_EQ(after, (std::vector<Item>{before[1], before[2], before[4]}));
  // The other page shares the content stream and keeps all its text.
  EXPECT_EQ(items(*loaded.document, 1), before);

  // A second removal with the same items adds to the first.
  std::set<std::uint32_t> more{1, 4};
  ASSERT_EQ(loaded->removeText(0, &more, entries, 1), Error::None);
  EXPECT_EQ(items(*loaded.document, 0), (std::vector<Item>{before[2]}));
}

TEST(TextRemoval, ATextObjectSpanningContentStreams) {
  test::PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [3 0 R] >>");
  b.object(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents [4 0 R 6 0 R 7 0 R] "
              "/Resources << /Font << /F1 5 0 R >> >> >>");
  b.stream(4, "", "BT /F1 10 Tf 14 TL 1 0 0 1 72 700 Tm (one) Tj");
  b.object(5, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  b.stream(6, "", "(two) ' ET");
  b.stream(7, "", "BT /F1 10 Tf 1 0 0 1 72 600 Tm (three) Tj ET");
  b.finishWithTable("/Root 1 0 R");
  test::Loaded loaded = test::loadBuilder(b, "streams.pdf");
  ASSERT_EQ(loaded.result, Error::None);
  std::vector<TextEntry> entries;
  std::vector<Item> before = items(*loaded.document, 0, &entries);
  ASSERT_EQ(before.size(), 3u);
  std::set<std::uint32_t> chosen{1};
  ASSERT_EQ(loaded->removeText(0, &chosen, entries, 1), Error::None);
  EXPECT_EQ(items(*loaded.document, 0), (std::vector<Item>{before[0], before[2]}));
}

TEST(TextRemoval, FormsAreCopiedAndDrawnTwiceOnlyGoWithBothDrawings) {
  std::string form = "<< /Type /XObject /Subtype /Form /BBox [0 0 500 500] /Resources << /Font << /F1 5 0 R >> >> "
                     "/Length 38 >>\nstream\nBT /F1 10 Tf 1 0 0 1 0 0 Tm (F) Tj ET\nendstream";
  auto loaded = page("q 1 0 0 1 100 100 cm /Fm Do Q q 1 0 0 1 300 300 cm /Fm Do Q "
                     "BT /F1 10 Tf 1 0 0 1 50 50 Tm (P) Tj ET",
                     {{7, form}}, "/XObject << /Fm 7 0 R >>");
  ASSERT_EQ(loaded.result, Error::None);
  std::vector<TextEntry> entries;
  std::vector<Item> before = items(*loaded.document, 0, &entries);
  ASSERT_EQ(before.size(), 3u);
  std::set<std::uint32_t> first{0};
  ASSERT_EQ(loaded->removeText(0, &first, entries, 1), Error::None);
  EXPECT_EQ(items(*loaded.document, 0), before);
  std::set<std::uint32_t> both{0, 1};
  ASSERT_EQ(loaded->removeText(0, &both, entries, 1), Error::None);
  EXPECT_EQ(items(*loaded.document, 0), (std::vector<Item>{before[2]}));
  // The other page draws the original form.
  EXPECT_EQ(items(*loaded.document, 1), before);
}

TEST(TextRemoval, ContentTheScannerCannotFollowIsNeverTouched) {
  // Each string on a line of its own; the odd ones written in ways the
  // removal scanner does not take for text operators. Removing any one item
  // leaves every other item where it was.
  const char* forms[] = {"BT /F1 10 Tf 1 0 0 1 72 %d Tm (s%d) Tj ET\n",
                         "BT/F1 10 Tf 1 0 0 1 72 %d Tm (s%d) Tj ET\n",
                         "BT /F1 10 Tf 1 0 0 1 72 %d Tm [(s%d)] TJ ET\n",
                         "1 0 0 1 72 %d Tm (s%d) Tj\n",
                         "BT /F1 10 Tf 1 0 0 1 72 %d Tm (s%d)\tTj ET\n",
                         "BT /F1 10 Tf 1 0 0 1 72 %d Tm 7 Tj (s%d) Tj ET\n",
                         "\tBT /F1 10 Tf 1 0 0 1 72 %d Tm (s%d) Tj ET\n"};
  std::string content;
  char line[128];
  int n = 0;
  for (int round = 0; round < 2; ++round) {
    for (const char* form : forms) {
      std::snprintf(line, sizeof line, form, 700 - 20 * n, n);
      content += line;
      ++n;
    }
  }
  auto loaded = page(content);
  ASSERT_EQ(loaded.result, Error::None);
  std::vector<TextEntry> entries;
  std::vector<Item> before = items(*loaded.document, 0, &entries);
  ASSERT_EQ(before.size(), static_cast<std::size_t>(n));
  for (std::uint32_t k = 0; k < before.size(); ++k) {
    auto fresh = page(content);
    std::vector<TextEntry> freshEntries;
    items(*fresh.document, 0, &freshEntries);
    std::set<std::uint32_t> chosen{k};
    ASSERT_EQ(fresh->removeText(0, &chosen, freshEntries, 1), Error::None);
    std::vector<Item> after = items(*fresh.document, 0);
    std::vector<Item> others = before;
    others.erase(others.begin() + k);
    // The plain forms, TJ, and the string after "7 Tj" go; the others stay.
    bool removable = k % 7 == 0 || k % 7 == 2 || k % 7 == 5;
    EXPECT_EQ(after, removable ? others : before) << "removing item " << k;
  }
}

}  // namespace
}  // namespace zopra::pdf
