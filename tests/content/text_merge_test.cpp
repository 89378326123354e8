// Merge and spacing rules of text items, on synthetic runs whose geometry is
// easy to follow by hand: identity matrices, font size 10, glyphs 500 units wide.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "pdf/content/text_merge.h"
#include "pdf/fonts/unicode.h"

namespace zopra::pdf {
namespace {

using OperatorRecord = std::shared_ptr<const TextSource::Operator>;

OperatorRecord record(std::uint32_t ordinal, std::uint32_t stream = 0) {
  auto op = std::make_shared<TextSource::Operator>();
  op->ordinal = ordinal;
  op->stream = stream;
  op->name = "Tj";
  return op;
}

// A run of `text` starting at (x, y) whose glyphs advance by `advance`.
TextRun makeRun(const std::string& text, double x, double y, double advance, double fontSize = 10,
                OperatorRecord source = nullptr) {
  TextRun run;
  run.matrix = Matrix{1, 0, 0, 1, x, y};
  run.text = text;
  run.metrics.advance = advance;
  run.metrics.hasFirst = true;
  run.metrics.firstCode = static_cast<unsigned char>(text.empty() ? 0 : text[0]);
  run.metrics.firstWidth = 500;
  run.metrics.lastWidth = 500;
  run.fontSize = fontSize;
  run.spaceLength = 1.0;
  run.operatorThreshold = 0.5;
  run.fontName = "F1";
  run.source.source = source ? source : record(0);
  run.operatorIndex = run.source.source->ordinal;
  run.stream = run.source.source->stream;
  run.operatorName = "Tj";
  return run;
}

std::vector<std::string> texts(const std::vector<TextEntry>& entries) {
  std::vector<std::string> out;
  for (const auto& entry : entries) out.push_back(entry.text);
  return out;
}

TEST(TextMerge, GapsMeasuredInSpaceWidthsAndFontSizes) {
  // "Hello" ends at x = 20. The derived space threshold is 500 / 4 x 0.01 = 1.25.
  std::vector<TextEntry> entries;
  appendTextRun(entries, makeRun("Hello", 0, 700, 20));
  appendTextRun(entries, makeRun("world", 25.9, 700, 20));
  EXPECT_EQ(texts(entries), (std::vector<std::string>{"Hello world"}));
  appendTextRun(entries, makeRun("again", 45.9 + 6.1, 700, 20));
  EXPECT_EQ(texts(entries), (std::vector<std::string>{"Hello world", "again"}));

  // Without an ASCII pair the factor is 10 space widths.
  entries.clear();
  appendTextRun(entries, makeRun("caf\xC3\xA9", 0, 700, 20));
  appendTextRun(entries, makeRun("bar", 28, 700, 20));
  EXPECT_EQ(entries.size(), 1u);
  appendTextRun(entries, makeRun("\xC3\xA9t\xC3\xA9", 48 + 10.5, 700, 20));
  EXPECT_EQ(entries.size(), 2u);

  // ASCII gaps above 1.05 x the font size split even with wide spaces.
  entries.clear();
  auto wide = [](TextRun run) {
    run.spaceLength = 3;
    return run;
  };
  appendTextRun(entries, wide(makeRun("one", 0, 700, 20)));
  appendTextRun(entries, wide(makeRun("two", 30.4, 700, 20)));
  ASSERT_EQ(entries.size(), 1u);
  appendTextRun(entries, wide(makeRun("three", 50.4 + 10.6, 700, 20)));
  ASSERT_EQ(entries.size(), 2u);
  // Another font resource splits above 0.75 x the font size.
  TextRun otherFont = wide(makeRun("four", 81 + 8, 700, 20));
  otherFont.fontName = "F2";
  appendTextRun(entries, otherFont);
  EXPECT_EQ(texts(entries), (std::vector<std::string>{"one two", "three", "four"}));

  // An item takes the style of its longest run: "{" from a symbol font
  // opening a line of typewriter text.
  entries.clear();
  TextRun brace = makeRun("{", 0, 700, 5);
  brace.style = std::make_shared<FontStyle>();
  TextRun address = makeRun("mail@example.org", 5, 700, 60);
  auto mono = std::make_shared<FontStyle>();
  mono->fixedPitch = true;
  address.style = mono;
  appendTextRun(entries, brace);
  appendTextRun(entries, address);
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].style, mono);
  // The first run counts too: a long bold label, then a short word in
  // the body face.
  entries.clear();
  TextRun label = makeRun("Closing the loop.", 0, 700, 68);
  auto bold = std::make_shared<FontStyle>();
  bold->bold = true;
  label.style = bold;
  TextRun body = makeRun("It", 71, 700, 8);
  body.style = std::make_shared<FontStyle>();
  appendTextRun(entries, label);
  appendTextRun(entries, body);
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].style, bold);
  EXPECT_EQ(entries[0].styleLength, 17u);
}

TEST(TextMerge, FontSizeAndLineChangesStartNewItems) {
  auto wide = [](TextRun run) {
    run.spaceLength = 5;
    return run;
  };
  std::vector<TextEntry> entries;
  appendTextRun(entries, wide(makeRun("small", 0, 700, 20, 10)));
  // Size 12 against 10 differs by more than 2 %: a gap above half of 12 splits.
  appendTextRun(entries, wide(makeRun("big", 25, 700, 20, 12)));
  ASSERT_EQ(entries.size(), 1u);
  entries.clear();
  appendTextRun(entries, wide(makeRun("small", 0, 700, 20, 10)));
  appendTextRun(entries, wide(makeRun("big", 27, 700, 20, 12)));
  ASSERT_EQ(entries.size(), 2u);

  // A baseline 12 lower is another line; a tiny drift is not.
  entries.clear();
  appendTextRun(entries, makeRun("line", 0, 700, 20));
  appendTextRun(entries, makeRun("drift", 22, 699.995, 20));
  appendTextRun(entries, makeRun("next", 0, 688, 20));
  EXPECT_EQ(texts(entries), (std::vector<std::string>{"line drift", "next"}));
  // Far back on the same baseline (more than 5 font sizes) starts anew.
  appendTextRun(entries, makeRun("back", 20 - 51, 688, 20));
  EXPECT_EQ(entries.size(), 3u);

  // Rotated text: the gap is measured along the run's own direction.
  entries.clear();
  TextRun up = makeRun("up", 100, 100, 20);
  up.matrix = Matrix{0, 1, -1, 0, 100, 100};
  appendTextRun(entries, up);
  TextRun upper = makeRun("wards", 0, 0, 20);
  upper.matrix = Matrix{0, 1, -1, 0, 100, 123};
  appendTextRun(entries, upper);
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].text, "up wards");
  EXPECT_DOUBLE_EQ(entries[0].endY, 143);
  EXPECT_DOUBLE_EQ(entries[0].width, 43);
}

TEST(TextMerge, OverstrikeAndCjkNeighbours) {
  std::vector<TextEntry> entries;
  appendTextRun(entries, makeRun("a/", 0, 700, 10));
  appendTextRun(entries, makeRun(encodeUtf8(0x2208) + "b", 5, 700, 10));
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].text, "a" + encodeUtf8(0x2209) + "b");

  const std::string nihon = "\xE6\x97\xA5\xE6\x9C\xAC";  // U+65E5 U+672C
  const std::string go = "\xE8\xAA\x9E";                  // U+8A9E
  entries.clear();
  appendTextRun(entries, makeRun(nihon, 0, 700, 20));
  appendTextRun(entries, makeRun(go, 23, 700, 10));
  EXPECT_EQ(texts(entries), (std::vector<std::string>{nihon + go}));

  // Latin next to CJK needs a gap of 0.3 x the size instead of 1.25.
  entries.clear();
  appendTextRun(entries, makeRun("abc", 0, 700, 20));
  appendTextRun(entries, makeRun(go, 22.5, 700, 10));
  EXPECT_EQ(entries[0].text, "abc" + go);
  appendTextRun(entries, makeRun("def", 32.5 + 3.5, 700, 20));
  EXPECT_EQ(entries[0].text, "abc" + go + " def");
}

TEST(TextMerge, TrimmedSpacesAndBookkeeping) {
  std::vector<TextEntry> entries;
  TextRun first = makeRun(" Hello", 0, 700, 25, 10, record(0));
  first.rise = 3;
  first.metrics.negativeSpacing = -0.5;
  appendTextRun(entries, first);
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].text, "Hello");
  EXPECT_TRUE(entries[0].leadingSpace);
  EXPECT_DOUBLE_EQ(entries[0].f, 703);
  EXPECT_DOUBLE_EQ(entries[0].startX, -0.5);
  EXPECT_DOUBLE_EQ(entries[0].endX, 25);

  // A space-only run makes no item but marks the previous one, and its
  // glyphs go with it.
  appendTextRun(entries, makeRun("  ", 25, 700, 5, 10, record(1)));
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_TRUE(entries[0].trailingSpace);
  // Touching text after it still gets the space, not before punctuation.
  appendTextRun(entries, makeRun("world", 25, 700, 25, 10, record(2)));
  EXPECT_EQ(entries[0].text, "Hello world");
  EXPECT_FALSE(entries[0].trailingSpace);
  appendTextRun(entries, makeRun("! ", 50, 700, 5, 10, record(3)));
  appendTextRun(entries, makeRun(".", 55, 700, 5, 10, record(4)));
  EXPECT_EQ(entries[0].text, "Hello world!.");

  EXPECT_TRUE(entries[0].rangeValid);
  EXPECT_EQ(entries[0].firstOperator, 0u);
  EXPECT_EQ(entries[0].lastOperator, 4u);
  EXPECT_DOUBLE_EQ(entries[0].width, 60.5);

  // A run from another stream keeps merging but spoils the range.
  appendTextRun(entries, makeRun("form", 62, 700, 20, 10, record(0, 9)));
  EXPECT_EQ(entries[0].text, "Hello world!. form");
  EXPECT_FALSE(entries[0].rangeValid);
  EXPECT_EQ(entries[0].sources.size(), 6u);
}

}  // namespace
}  // namespace zopra::pdf
