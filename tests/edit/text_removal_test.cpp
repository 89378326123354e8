// Text removal over the shapes real content takes: the chosen words go,
// every other string stays where it was, graphics are untouched, and the
// same choices give the same bytes however they are grouped.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "pdf/content/graphics_entry.h"
#include "pdf/content/text_entry.h"
#include "pdf/edit/text_removal.h"
#include "support/load_helpers.h"

namespace zopra::pdf {
namespace {

// Two pages sharing the content streams and the form Fm. F1 is Helvetica,
// F3 a Type 3 font whose glyph space is 100 units to the em and whose
// glyphs A and B are 50 units wide.
test::Loaded document(const std::vector<std::string>& streams, const std::string& form) {
  test::PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [3 0 R 4 0 R] /Count 2 >>");
  std::string contents = "[";
  for (std::size_t i = 0; i < streams.size(); ++i) {
    contents += std::to_string(20 + i) + " 0 R ";
    b.stream(static_cast<std::uint32_t>(20 + i), "", streams[i]);
  }
  contents += "]";
  const std::string page = "/Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents " + contents +
                           " /Resources << /Font << /F1 5 0 R /F3 6 0 R >> /XObject << /Fm 7 0 R >> >>";
  b.object(3, "<< " + page + " >>");
  b.object(4, "<< " + page + " >>");
  b.object(5, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  b.object(6, "<< /Type /Font /Subtype /Type3 /FontMatrix [0.01 0 0 0.01 0 0] /FontBBox [0 0 100 100] "
              "/CharProcs << /A 8 0 R /B 8 0 R >> /Resources << >> /Encoding << /Differences [65 /A /B] >> "
              "/FirstChar 65 /LastChar 66 /Widths [50 50] >>");
  b.stream(7, "/Type /XObject /Subtype /Form /BBox [0 0 612 792] /Resources << /Font << /F1 5 0 R >> >>", form);
  b.stream(8, "", "50 0 0 0 50 100 d1 0 0 50 100 re f");
  b.finishWithTable("/Root 1 0 R");
  return test::loadBuilder(b, "removal.pdf");
}

using StringKey = std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>;  // (stream, ordinal, element)

// Where each string of the chosen items (all when `only` is null) is shown;
// form streams named by their page's copies where `forms` maps them.
std::multimap<StringKey, std::pair<double, double>> strings(const std::vector<TextEntry>& entries,
                                                            const std::set<std::uint32_t>* only,
                                                            const std::map<std::uint32_t, std::uint32_t>& forms) {
  std::multimap<StringKey, std::pair<double, double>> out;
  for (std::uint32_t i = 0; i < entries.size(); ++i) {
    if (only && !only->count(i)) continue;
    for (const TextSource::Run& run : entries[i].sources) {
      auto copy = forms.find(run.source->stream);
      const std::uint32_t stream = copy != forms.end() ? copy->second : run.source->stream;
      out.emplace(StringKey{stream, run.source->ordinal, run.element}, std::make_pair(run.x, run.y));
    }
  }
  return out;
}

std::vector<TextEntry> extract(Document& document, std::uint32_t page) {
  std::vector<TextEntry> entries;
  EXPECT_EQ(document.extractText(page, entries, nullptr), Error::None) << document.errorMessage;
  return entries;
}

std::size_t graphicsCount(Document& document) {
  std::vector<GraphicsEntry> entries;
  EXPECT_EQ(document.extractGraphics(0, 0, entries), Error::None);
  return entries.size();
}

std::vector<std::string> texts(const std::vector<TextEntry>& entries) {
  std::vector<std::string> out;
  for (const TextEntry& entry : entries) out.push_back(entry.text);
  return out;
}

TEST(TextRemoval, EveryContentShapeLosesExactlyTheChosenWords) {
  struct Case {
    const char* name;
    std::vector<std::string> streams;
    std::set<std::string> remove;  // item texts to choose
    bool firstOnly;                 // choose only the first item of each text
    std::vector<std::string> left;  // chosen items the removal must report
  };
  const std::string form = "BT /F1 12 Tf 72 300 Td (Shared) Tj 200 0 Td (Other) Tj ET";
  const Case cases[] = {
      {"BT run into / ( < and [",
       {"BT/F1 12 Tf 72 700 Td(Keep)Tj 100 0 Td(Gone)Tj 100 0 Td<4b656570>Tj ET "
        "BT[(Gone2)]TJ ET BT<476f6e6533>Tj ET"},
       {"Gone", "Gone2", "Gone3"}, false, {}},
      {"tab and form feed",
       {"BT\t/F1 12 Tf\f72 700 Td\t(Gone)\tTj\f200 0 Td (Keep)\fTj\tET"}, {"Gone"}, false, {}},
      {"inline image data holding BT ( ET )",
       {"q 40 0 0 20 300 300 cm BI /W 4 /H 2 /BPC 8 /CS /G ID BT (ET)) EI Q "
        "BT /F1 12 Tf 72 700 Td (Gone) Tj 200 0 Td (Keep) Tj ET 0 0 m 100 100 l S 10 10 50 50 re f"},
       {"Gone"}, false, {}},
      {"comments holding BT",
       {"% BT (Gone) Tj\nBT /F1 12 Tf 72 700 Td (Gone) Tj % ET (x) Tj\n200 0 Td (Keep) Tj ET"}, {"Gone"}, false, {}},
      {"glued ' and \"",
       {"BT /F1 12 Tf 14 TL 72 700 Td(Keep)Tj(Gone)'(Keep2)' 1.5 2(Gone2)\"(Keep3)Tj ET"},
       {"Gone", "Gone2"}, false, {}},
      {"escapes and nesting",
       {"BT /F1 12 Tf 72 700 Td (Go\\)ne \\(x\\) \\\\) Tj 0 -20 Td (K(e)ep) Tj 0 -20 Td (Gone\\0512) Tj ET"},
       {"Go)ne (x) \\", "Gone)2"}, false, {}},
      {"TJ with kerning, part of it chosen",
       {"BT /F1 12 Tf 72 700 Td [(Keep) -3000 (Gone) -3000 (Keep2)] TJ (Tail) Tj ET"}, {"Gone"}, false, {}},
      {"operands and operators across streams",
       {"BT /F1 12 Tf 72 700 Td (Keep)", "Tj 150 0 Td (Gone)", "Tj 100 0 Td (Tail) Tj ET"}, {"Gone"}, false, {}},
      {"a form drawn twice, one drawing chosen",
       {"q 1 0 0 1 0 100 cm /Fm Do Q q 1 0 0 1 0 200 cm /Fm Do Q BT /F1 12 Tf 72 700 Td (Gone) Tj ET"},
       {"Shared", "Gone"}, true, {"Shared"}},
      {"a form drawn twice, both drawings chosen",
       {"q 1 0 0 1 0 100 cm /Fm Do Q q 1 0 0 1 0 200 cm /Fm Do Q BT /F1 12 Tf 72 700 Td (Keep) Tj ET"},
       {"Shared"}, false, {}},
      {"Type 3 font with its FontMatrix",
       {"BT /F3 20 Tf 72 700 Td [(AAB) -3000 (BBA)] TJ (AB) Tj ET"}, {"AAB"}, false, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    test::Loaded loaded = document(c.streams, form);
    ASSERT_EQ(loaded.result, Error::None);
    const std::vector<TextEntry> before = extract(*loaded.document, 0);
    const std::size_t graphics = graphicsCount(*loaded.document);
    std::set<std::uint32_t> chosen;
    std::set<std::string> seen;
    for (std::uint32_t i = 0; i < before.size(); ++i) {
      if (c.remove.count(before[i].text) && (!c.firstOnly || seen.insert(before[i].text).second)) chosen.insert(i);
    }
    ASSERT_FALSE(chosen.empty()) << ::testing::PrintToString(texts(before));
    ASSERT_EQ(loaded->removeText(0, &chosen, before, 1), Error::None) << loaded->errorMessage;

    const PageTextEdits& edits = loaded->textEdits[0];
    std::vector<std::string> left;
    for (std::uint32_t index : edits.left) left.push_back(before[index].text);
    EXPECT_EQ(left, c.left);
    const std::vector<TextEntry> after = extract(*loaded.document, 0);
    std::set<std::uint32_t> kept;
    for (std::uint32_t i = 0; i < before.size(); ++i) {
      if (!chosen.count(i)) kept.insert(i);
    }
    for (std::uint32_t index : edits.left) kept.insert(index);
    // Every string of a kept item is shown where it was; nothing else is.
    const auto expected = strings(before, &kept, edits.forms);
    const auto actual = strings(after, nullptr, {});
    ASSERT_EQ(actual.size(), expected.size()) << ::testing::PrintToString(texts(after));
    for (auto e = expected.begin(), a = actual.begin(); e != expected.end(); ++e, ++a) {
      EXPECT_EQ(a->first, e->first);
      EXPECT_NEAR(a->second.first, e->second.first, 0.5);
      EXPECT_NEAR(a->second.second, e->second.second, 0.5);
    }
    EXPECT_EQ(graphicsCount(*loaded.document), graphics);
    // The other page shares the content and the form, and keeps all of it.
    EXPECT_EQ(texts(extract(*loaded.document, 1)), texts(before));
  }
}

TEST(TextRemoval, Type3AdvancesFollowTheFontMatrix) {
  // Glyphs of 50 units at 0.01 per unit and size 20 advance 10 points each,
  // as readers draw them; the removal's adjustment depends on it.
  test::Loaded loaded = document({"BT /F3 20 Tf 72 700 Td [(AAB) -3000 (BBA)] TJ ET"}, "");
  ASSERT_EQ(loaded.result, Error::None);
  const std::vector<TextEntry> entries = extract(*loaded.document, 0);
  ASSERT_EQ(texts(entries), (std::vector<std::string>{"AAB", "BBA"}));
  EXPECT_NEAR(entries[1].e, 72 + 30 + 60, 1e-9);
}

TEST(TextRemoval, TheSameChoicesGiveTheSameBytesHoweverGrouped) {
  const std::vector<std::string> streams = {
      "BT /F1 12 Tf 14 TL 72 700 Td(A1)Tj 100 0 Td(B2)'(C3)' 1.5 2(D4)\" 0 -20 Td [(E5) -3000 (F6)] TJ ET",
      "q 1 0 0 1 0 100 cm /Fm Do Q"};
  const std::string form = "BT /F1 12 Tf 72 300 Td (G7) Tj 200 0 Td (H8) Tj ET";
  auto removed = [&](const std::vector<std::set<std::uint32_t>>& calls) {
    test::Loaded loaded = document(streams, form);
    EXPECT_EQ(loaded.result, Error::None);
    const std::vector<TextEntry> entries = extract(*loaded.document, 0);
    EXPECT_EQ(entries.size(), 8u) << ::testing::PrintToString(texts(entries));
    for (const std::set<std::uint32_t>& call : calls) {
      EXPECT_EQ(loaded->removeText(0, &call, entries, 7), Error::None);
    }
    const std::string path = test::tempDirectory() + "/grouped.pdf";
    EXPECT_EQ(loaded->save(path), Error::None);
    return test::readFile(path);
  };
  const std::string once = removed({{1, 2, 3, 5, 6}});
  EXPECT_EQ(removed({{1}, {2}, {3}, {5}, {6}}), once);
  EXPECT_EQ(removed({{6, 3}, {5, 1, 2}}), once);
  EXPECT_EQ(removed({{1, 2, 3, 5, 6}, {1, 2, 3, 5, 6}, {2}}), once);
  EXPECT_NE(removed({{1, 2, 3, 5}}), once);

  if (!test::haveProgram("pdftotext")) GTEST_SKIP() << "pdftotext not installed";
  const std::string path = test::writeTempFile("grouped-check.pdf", once);
  ASSERT_EQ(test::run("pdftotext -f 1 -l 1 " + path + " " + path + ".txt"), 0);
  const std::string text = test::readFile(path + ".txt");
  for (const char* word : {"A1", "E5", "H8"}) EXPECT_NE(text.find(word), std::string::npos) << word;
  for (const char* word : {"B2", "C3", "D4", "F6", "G7"}) EXPECT_EQ(text.find(word), std::string::npos) << word;
}

TEST(TextRemoval, RemovedOperatorsKeepOnlyWhatLaterGlyphsNeed) {
  // Strings 10 wide at size 10: an adjustment of -1000 each.
  const RemovedString wide{10, 10, 1};
  using Choices = OperatorChoices;
  const struct {
    const char* name;
    const char* content;
    Choices choices;
    const char* expected;
  } cases[] = {
      {"the sum of the adjustments, where a glyph follows on the line",
       "BT /F1 10 Tf 0 0 Td [(AB) 100 (C)] TJ (D) Tj ET", Choices{{{0, 0, wide}, {0, 2, wide}}},
       "BT /F1 10 Tf 0 0 Td [-1900]TJ (D) Tj ET"},
      {"a line start next: an empty operator keeps the ordinals after it",
       "BT /F1 10 Tf 0 0 Td (AB) Tj 0 -12 Td (D) Tj ET", Choices{{{0, 0, wide}}},
       "BT /F1 10 Tf 0 0 Td []TJ 0 -12 Td (D) Tj ET"},
      {"strings kept: every element stays",
       "BT /F1 10 Tf [(A) -50 (B)] TJ ET", Choices{{{0, 2, wide}}}, "BT /F1 10 Tf [ <41> -50 -1000 ] TJ ET"},
      {"nothing shown after: the operator and the Tf only it used go",
       "BT /F1 10 Tf 0 0 Td (D) Tj /F2 12 Tf 0 -12 Td (AB) Tj ET", Choices{{{1, 0, wide}}},
       "BT /F1 10 Tf 0 0 Td (D) Tj  0 -12 Td  ET"},
      {"Q restores the font set before q",
       "/F1 10 Tf q /F2 10 Tf Q BT (D) Tj (AB) Tj ET", Choices{{{1, 0, wide}}}, "/F1 10 Tf q  Q BT (D) Tj  ET"},
      {"a form drawn may use the font set", "/F1 10 Tf /Fm Do BT (AB) Tj ET", Choices{{{0, 0, wide}}},
       "/F1 10 Tf /Fm Do BT  ET"},
      {"' keeps its line start", "BT /F1 10 Tf 12 TL (AB)' ET", Choices{{{0, 0, wide}}}, "BT  12 TL T* ET"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string content = c.content;
    const Bytes rewritten = rewriteTextOperators({Bytes(content.begin(), content.end())}, &c.choices);
    EXPECT_EQ(std::string(rewritten.begin(), rewritten.end()), c.expected);
  }
}

TEST(TextRemoval, CompactWritingLeavesOutFontsNoTextUses) {
  test::Loaded loaded = document({"BT /F1 12 Tf 72 700 Td (Gone) Tj ET"}, "");
  ASSERT_EQ(loaded.result, Error::None);
  ASSERT_EQ(loaded->removeText(0, nullptr, {}), Error::None);
  const std::string path = test::tempDirectory() + "/unused-fonts.pdf";
  ASSERT_EQ(loaded->saveCompact(path, Document::CompactOptions()), Error::None) << loaded->errorMessage;
  test::Loaded written = test::loadBytes(test::readFile(path), "unused-fonts-read.pdf");
  ASSERT_EQ(written.result, Error::None);
  // The edited page names no font; the other page, untouched, keeps both.
  const auto fonts = [&](std::uint32_t page) {
    const Value* found = written->dictionaryValue(written->pages[page].resources.get(), "Font");
    return found && found->isDictionary() ? found->dictionary.size() : 0;
  };
  EXPECT_EQ(fonts(0), 0u);
  EXPECT_EQ(fonts(1), 2u);
  if (test::haveProgram("qpdf")) {
    EXPECT_EQ(test::run("qpdf --check '" + path + "' >/dev/null 2>&1"), 0);
  }
}

}  // namespace
}  // namespace zopra::pdf
