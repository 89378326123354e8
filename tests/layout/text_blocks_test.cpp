// Blocks of hand-made pages (columns, justified paragraphs, a list, a
// ruled table, a table without rules, a shadowed heading, a LaTeX logo, a
// description list, an index, a caption) and
// new text flowed over them, judged by the words poppler finds in the
// written file.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "pdf/content/graphics_entry.h"
#include "pdf/content/text_entry.h"
#include "pdf/layout/block_flow.h"
#include "pdf/layout/block_text.h"
#include "pdf/layout/text_blocks.h"
#include "pdf/layout/text_room.h"
#include "support/load_helpers.h"
#include "support/pdf_builder.h"
#include "support/test_files.h"

namespace zopra::pdf {
namespace {

const char* const kFont = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

struct Page {
  test::Loaded document;
  std::vector<TextEntry> items;
  std::vector<GraphicsEntry> graphics;
  std::vector<TextBlock> blocks;
};

std::unique_ptr<Page> laidOut(test::PdfBuilder& b, const std::string& name) {
  auto page = std::make_unique<Page>();
  b.finishWithTable("/Root 1 0 R");
  page->document = test::loadBuilder(b, name);
  EXPECT_EQ(page->document.result, Error::None);
  EXPECT_EQ(page->document->extractText(0, page->items, nullptr), Error::None);
  EXPECT_EQ(page->document->extractGraphics(0, 0.0, page->graphics), Error::None);
  page->blocks = textBlocks(page->items, page->graphics);
  return page;
}

std::unique_ptr<Page> laidOut(const std::string& content, const std::string& name) {
  test::PdfBuilder b = test::PdfBuilder::simple({content});
  return laidOut(b, name);
}

std::string escaped(const std::string& text) {
  std::string out;
  for (char c : text) {
    if (c == '(' || c == ')' || c == '\\') out += '\\';
    out += c;
  }
  return out;
}

// Lines of Helvetica from (x, y) down, one Tj each, with per-line
// character spacing (none when `spacing` is shorter).
std::string lines(double x, double y, double size, double leading, const std::vector<std::string>& texts,
                  const std::vector<double>& spacing = {}) {
  std::ostringstream out;
  out << "BT /F1 " << size << " Tf " << x << ' ' << y << " Td ";
  for (std::size_t i = 0; i < texts.size(); ++i) {
    if (i > 0) out << "0 " << -leading << " Td ";
    out << (i < spacing.size() ? spacing[i] : 0.0) << " Tc (" << escaped(texts[i]) << ") Tj ";
  }
  out << "0 Tc ET\n";
  return out.str();
}

// The lines justified to `width` by character spacing, all but the last:
// each line's natural width is read from a first layout.
std::string justified(double x, double y, double size, double leading, const std::vector<std::string>& texts,
                      double width) {
  auto plain = laidOut(lines(x, y, size, leading, texts), "justify-measure.pdf");
  std::vector<double> spacing;
  for (std::size_t i = 0; i + 1 < texts.size(); ++i) {
    const TextEntry& item = plain->items.at(i);
    spacing.push_back((width - (item.endX - item.startX)) / static_cast<double>(texts[i].size()));
  }
  return lines(x, y, size, leading, texts, spacing);
}

struct ExpectedBlock {
  BlockKind kind;
  BlockAlignment alignment;
  std::string text;
};

struct PageCase {
  std::string name;
  std::string content;
  std::vector<ExpectedBlock> blocks;
  // The block given new text, a longer and a shorter one (words that are
  // not on the page, so that poppler's words tell them apart).
  std::size_t flowed;
  std::string longer, shorter;
};

std::vector<PageCase> pageCases() {
  using K = BlockKind;
  using A = BlockAlignment;
  return {
      {"two columns and a title",
       lines(200, 720, 18, 22, {"A Study of Columns"}) +
           lines(72, 680, 10, 12, {"Left column words are read", "first from top to the", "bottom of the column."}) +
           lines(330, 680, 10, 12, {"Right column words come", "after all of the left", "column has been read."}),
       {{K::Heading, A::Left, "A Study of Columns"},
        {K::Paragraph, A::Left, "Left column words are read first from top to the bottom of the column."},
        {K::Paragraph, A::Left, "Right column words come after all of the left column has been read."}},
       1,
       "Linke Spaltenwoerter werden zuerst gelesen, von oben nach unten bis zum Ende der Spalte, "
       "und erst danach kommt die rechte Spalte dran.",
       "Linke Spalte zuerst."},
      {"justified paragraph with a hyphen",
       justified(72, 700, 10, 12,
                 {"Translators work on whole paragraphs and", "never on single lines, because a sentence",
                  "runs over several lines and its infor-", "mation moves when it is translated."},
                 240),
       {{K::Paragraph, A::Justified,
         "Translators work on whole paragraphs and never on single lines, because a sentence runs over several "
         "lines and its information moves when it is translated."}},
       0,
       "Uebersetzer arbeiten an ganzen Absaetzen und niemals an einzelnen Zeilen, weil ein Satz ueber mehrere "
       "Zeilen laeuft und seine Information wandert, wenn er uebersetzt wird, manchmal sogar recht weit.",
       "Uebersetzer arbeiten an Absaetzen und nie an Zeilen."},
      {"justified line stretched far",
       "BT /F1 10 Tf 72 700 Td (Translators work on whole paragraphs and) Tj ET\n"
       "BT /F1 10 Tf 72 688 Td (never) Tj 60.57 0 Td (on) Tj 46.67 0 Td (single) Tj 61.67 0 Td (lines) Tj ET\n" +
           lines(72, 676, 10, 12, {"because a sentence runs on."}),
       {{K::Paragraph, A::Justified,
         "Translators work on whole paragraphs and never on single lines because a sentence runs on."}},
       0, "Uebersetzer arbeiten an ganzen Absaetzen und niemals an einzelnen Zeilen, weil ein Satz weiterlaeuft.",
       "Uebersetzer arbeiten an Absaetzen."},
      {"justified line with a wide sentence space",
       "BT /F1 10 Tf 72 700 Td (The least efficient of the code sits) Tj ET\n"
       "BT /F1 10 Tf 72 688 Td (in kernel.) Tj 65.6 0 Td (First,) Tj 35.85 0 Td (the) Tj 27.55 0 Td (user) Tj ET\n" +
           lines(72, 676, 10, 12, {"gives the name of a domain."}),
       {{K::Paragraph, A::Justified,
         "The least efficient of the code sits in kernel. First, the user gives the name of a domain."}},
       0, "Der am wenigsten effiziente Code steht im Kern. Zuerst nennt der Benutzer den Namen einer Domaene.",
       "Der Code steht im Kern."},
      {"list",
       lines(72, 700, 10, 14, {"1. First item of the list", "2. Second item of the list, which runs"}) +
           lines(86, 672, 10, 14, {"over two lines"}) + lines(72, 658, 10, 14, {"3. Third item"}),
       {{K::ListItem, A::Left, "1. First item of the list"},
        {K::ListItem, A::Left, "2. Second item of the list, which runs over two lines"},
        {K::ListItem, A::Left, "3. Third item"}},
       1, "2. Zweiter Punkt der Liste, der ueber zwei Zeilen laeuft und noch etwas laenger wird", "2. Zweiter"},
      {"indented short paragraph, list item with its marker hanging out",
       lines(72, 700, 10, 12, {"The first paragraph runs over two lines", "and ends short."}) +
           lines(86, 676, 10, 12, {"A new one starts."}) + lines(72, 640, 10, 14, {"- same words on both lines"}) +
           lines(78.11, 626, 10, 14, {"same words on both lines"}),
       {{K::Paragraph, A::Justified, "The first paragraph runs over two lines and ends short."},
        {K::Paragraph, A::Left, "A new one starts."},
        {K::ListItem, A::Left, "- same words on both lines same words on both lines"}},
       2, "- Die gleichen Woerter stehen auf beiden Zeilen und noch einige mehr dazu", "- Woerter"},
      {"one-line paragraph between two indented ones",
       lines(72, 700, 10, 12, {"A paragraph that runs over the whole", "width and ends short."}) +
           lines(86, 676, 10, 12, {"A short one."}) +
           lines(86, 664, 10, 12, {"Then another one starts indented and", "goes on at the left edge of the body."}),
       {{K::Paragraph, A::Left, "A paragraph that runs over the whole width and ends short."},
        {K::Paragraph, A::Left, "A short one."},
        {K::Paragraph, A::Justified, "Then another one starts indented and goes on at the left edge of the body."}},
       2, "Dann beginnt ein weiterer Absatz eingerueckt und laeuft am linken Rand weiter, noch ein Stueck", "Dann"},
      {"ruled table",
       "72 600 120 20 re 192 600 120 20 re 72 580 120 20 re 192 580 120 20 re S\n" +
           lines(76, 606, 10, 20, {"Name", "Colour"}) + lines(196, 606, 10, 20, {"Value", "Blue"}),
       {{K::TableCell, A::Left, "Name"},
        {K::TableCell, A::Left, "Value"},
        {K::TableCell, A::Left, "Colour"},
        {K::TableCell, A::Left, "Blue"}},
       2, "Farbe der Oberflaeche und der Kanten", "Farbe"},
      {"table without rules",
       lines(72, 700, 10, 12, {"alpha", "beta", "gamma"}) + lines(200, 700, 10, 12, {"12.5", "3.25", "100.0"}),
       {{K::TableCell, A::Left, "alpha\nbeta\ngamma"}, {K::TableCell, A::Left, "12.5\n3.25\n100.0"}},
       1, "12.50\n3.250\n100.00\n7", "1.5"},
      {"shadowed heading",
       lines(72, 700, 14, 16, {"Shadowed Title"}) + "0.5 g\n" + lines(72.6, 699.4, 14, 16, {"Shadowed Title"}) +
           "0 g\n" + lines(72, 660, 10, 12, {"Body text under the title goes on here."}),
       {{K::Heading, A::Left, "Shadowed Title"}, {K::Paragraph, A::Left, "Body text under the title goes on here."}},
       0, "Schattierter Titel mit mehr Worten", "Titel"},
      {"LaTeX logo with a raised and a lowered letter",
       "BT /F1 10 Tf 72 700 Td (Typeset with L) Tj ET BT /F1 7 Tf 133.8 702.05 Td (A) Tj ET "
       "BT /F1 10 Tf 137.4 700 Td (T) Tj ET BT /F1 10 Tf 142.9 697.85 Td (E) Tj ET "
       "BT /F1 10 Tf 148.4 700 Td (X in lines) Tj ET\n" +
           lines(72, 688, 10, 12, {"of plain text that runs on longer", "here."}),
       {{K::Paragraph, A::Left, "Typeset with LATEX in lines of plain text that runs on longer here."}},
       0, "Gesetzt mit einem Satzprogramm in zwei oder drei Zeilen aus einfachem Text, der laenger wird.",
       "Gesetzt."},
      {"description list with terms in the margin",
       lines(150, 712, 10, 12, {"Commands defined here", "are meant for a future format and for plain", "text."}) +
           lines(150, 676, 10, 12, {"newthing with a name given", "Defines a named thing, counted", "from one and never zero."}) +
           lines(105, 676, 10, 12, {"newthing"}) +
           lines(150, 640, 10, 12, {"newother with a name given", "Defines another thing."}) +
           lines(105.5, 640, 10, 12, {"newother"}),
       {{K::Paragraph, A::Left, "Commands defined here are meant for a future format and for plain text."},
        {K::Paragraph, A::Left,
         "newthing newthing with a name given Defines a named thing, counted from one and never zero."},
        {K::Paragraph, A::Left, "newother newother with a name given Defines another thing."}},
       1, "newthing Bezeichnung Legt ein benanntes Ding an, gezaehlt ab eins und niemals null, mit mehr Worten.",
       "newthing Kurz."},
      {"index with dot leaders",
       lines(72, 700, 10, 12, {"alpha . . . . . . . . . 12", "beta . . . . . . 14, 17,", "Y21, Y30", "gamma . . . . 9"}),
       {{K::TableCell, A::Left, "alpha . . . . . . . . . 12\nbeta . . . . . . 14, 17,\nY21, Y30\ngamma . . . . 9"}},
       0, "Anfang . . . . . 12\nMitte . . . . 14\nEnde . . . 9\nSchluss . . 5", "Anfang . . 12"},
      {"paragraph under a shape whose edge runs through its second line",
       "0.9 g 60 690 500 100 re f 0 g\n" +
           lines(72, 700, 10, 12, {"The first line of a paragraph lies on", "a grey shape whose lower edge runs", "through the second line."}),
       {{K::Paragraph, A::Left,
         "The first line of a paragraph lies on a grey shape whose lower edge runs through the second line."}},
       0, "Die erste Zeile eines Absatzes liegt auf einer grauen Form, deren Kante durch die Zeile laeuft.",
       "Die erste Zeile."},
      {"caption under a figure",
       lines(72, 760, 10, 12, {"A paragraph of body text stands above the", "figure and sets the body size."}) +
           "0.8 g 200 600 200 100 re f 0 g\n" + lines(250, 585, 10, 12, {"Figure 1: A grey box"}),
       {{K::Paragraph, A::Left, "A paragraph of body text stands above the figure and sets the body size."},
        {K::Caption, A::Center, "Figure 1: A grey box"}},
       1, "Abbildung 1: Ein grauer Kasten ohne Rand", "Abb. 1"},
  };
}

TEST(TextBlocks, GroupsHandMadePages) {
  for (const PageCase& c : pageCases()) {
    SCOPED_TRACE(c.name);
    auto page = laidOut(c.content, "blocks.pdf");
    ASSERT_EQ(page->blocks.size(), c.blocks.size());
    for (std::size_t i = 0; i < c.blocks.size(); ++i) {
      SCOPED_TRACE(i);
      EXPECT_EQ(page->blocks[i].text, c.blocks[i].text);
      EXPECT_EQ(page->blocks[i].kind, c.blocks[i].kind);
      EXPECT_EQ(page->blocks[i].alignment, c.blocks[i].alignment);
    }
  }
}

TEST(TextBlocks, JoinsLinesAsAReaderWould) {
  const struct {
    std::vector<std::string> lines;
    std::string text;
  } cases[] = {
      {{"the infor-", "mation"}, "the information"},
      {{"state-of-the-", "art methods"}, "state-of-the-art methods"},
      {{"in 1999-", "2004"}, "in 1999-2004"},
      {{"Anglo-", "Saxon"}, "Anglo-Saxon"},
      {{"e\xEF\xAC\x83" "cient  and", "\xEF\xAC\x82oating"}, "efficient and floating"},
      {{"soft\xC2\xAD", "Hyphen"}, "softHyphen"},
      {{"", "  spaced   out  "}, "spaced out"},
      {{"\xE4\xB8\x8D\xE6\xAD\xA3", "\xE3\x81\xAA\xE3\x83\xA1"}, "\xE4\xB8\x8D\xE6\xAD\xA3\xE3\x81\xAA\xE3\x83\xA1"},
      {{"\xED\x95\x9C\xEA\xB5\xAD", "\xEB\xAC\xB8"}, "\xED\x95\x9C\xEA\xB5\xAD \xEB\xAC\xB8"},
  };
  for (const auto& c : cases) EXPECT_EQ(joinLines(c.lines), c.text);
}

// A word poppler found in the written file: its box with y down the page.
struct Word {
  std::string text;
  double x0, y0, x1, y1;
};

std::vector<Word> popplerWords(const std::string& pdf) {
  const std::string html = pdf + ".html";
  EXPECT_EQ(test::run("pdftotext -bbox '" + pdf + "' '" + html + "'"), 0);
  const std::string page = test::readFile(html);
  std::vector<Word> words;
  for (std::size_t at = page.find("<word "); at != std::string::npos; at = page.find("<word ", at + 1)) {
    const auto number = [&](const std::string& name) {
      return std::stod(page.substr(page.find(name + "=\"", at) + name.size() + 2));
    };
    const std::size_t start = page.find('>', at) + 1;
    words.push_back({page.substr(start, page.find("</word>", start) - start), number("xMin"), number("yMin"),
                     number("xMax"), number("yMax")});
  }
  return words;
}

TEST(TextBlocks, FlowsLongerAndShorterTexts) {
  if (!test::haveProgram("pdftotext")) GTEST_SKIP() << "pdftotext not installed";
  for (const PageCase& c : pageCases()) {
    for (const bool longer : {true, false}) {
      SCOPED_TRACE(c.name + (longer ? ", longer" : ", shorter"));
      auto page = laidOut(c.content, "flow-source.pdf");
      ASSERT_LT(c.flowed, page->blocks.size());
      const TextBlock& block = page->blocks[c.flowed];
      std::set<std::uint32_t> chosen;
      for (const TextLine& line : block.lines) chosen.insert(line.items.begin(), line.items.end());
      ASSERT_EQ(page->document->removeText(0, &chosen, page->items, 1), Error::None);
      const std::vector<double> room = textRoom(page->items, page->graphics, unrotatedPageBox(page->document->pages[0]));
      FlowPage context{&page->items, &page->blocks, &page->graphics, &room, unrotatedPageBox(page->document->pages[0])};
      const std::string& text = longer ? c.longer : c.shorter;
      BlockFlow flow;
      ASSERT_EQ(flowBlock(*page->document.document, 0, context, c.flowed, text, {kFont}, 0, flow), Error::None);
      const std::string pdf = test::tempDirectory() + "/flowed.pdf";
      ASSERT_EQ(page->document->save(pdf), Error::None);

      // Every word of the new text is there, in order line by line, at one
      // height.
      std::istringstream expected(text);
      const std::vector<std::string> wanted{std::istream_iterator<std::string>(expected), {}};
      std::vector<Word> drawn;
      for (const Word& word : popplerWords(pdf)) {
        if (std::find(wanted.begin(), wanted.end(), word.text) != wanted.end()) drawn.push_back(word);
      }
      std::sort(drawn.begin(), drawn.end(), [](const Word& l, const Word& r) {
        return std::lround(l.y1 * 10) != std::lround(r.y1 * 10) ? l.y1 < r.y1 : l.x0 < r.x0;
      });
      std::vector<std::string> found;
      for (const Word& word : drawn) found.push_back(word.text);
      ASSERT_EQ(found, wanted);
      EXPECT_FALSE(flow.overflows);
      if (!longer) {
        EXPECT_EQ(flow.scale, 1);
        EXPECT_LE(flow.linesUsed, block.lines.size());
      }
      std::map<long, std::vector<Word>> rows;  // by baseline, top first
      for (const Word& word : drawn) {
        EXPECT_NEAR(word.y1 - word.y0, drawn[0].y1 - drawn[0].y0, 0.05) << word.text;
        rows[std::lround(word.y1 * 10)].push_back(word);
      }
      EXPECT_EQ(rows.size(), flow.linesUsed);
      // Inside its own room: nothing drawn over another block. Poppler's
      // word boxes reach as far as the font's ascent and descent say, so
      // the middle of each box stands for the word's ink.
      for (const Word& word : drawn) {
        const double middle = 792 - (word.y0 + word.y1) / 2;
        for (std::size_t other = 0; other < page->blocks.size(); ++other) {
          if (other == c.flowed) continue;
          const ItemBox& box = page->blocks[other].box;
          const bool apart = word.x1 <= box.x0 || word.x0 >= box.x1 || middle <= box.y0 || middle >= box.y1;
          EXPECT_TRUE(apart) << word.text << " over block " << other;
        }
        EXPECT_GE(word.x0, block.box.x0 - 0.5);
      }
      // The block's alignment, line by line.
      std::size_t row = 0;
      for (const auto& [key, words] : rows) {
        const double left = words.front().x0, right = words.back().x1;
        const bool last = ++row == rows.size();
        switch (block.alignment) {
          case BlockAlignment::Justified:
            if (!last) {
              // Poppler leaves the character spacing after the last glyph
              // out of the word's box.
              EXPECT_NEAR(right, block.box.x1, 1.5);
            }
            break;
          case BlockAlignment::Center:
            EXPECT_NEAR((left + right) / 2, (block.box.x0 + block.box.x1) / 2, 1.0);
            break;
          default:
            EXPECT_NEAR(left, row == 1 ? block.lines[0].left : block.lines.back().left, 1.0);
            break;
        }
      }
    }
  }
}

// Japanese has no spaces: a line breaks between its characters, never
// before a full stop or comma, and the paragraph keeps its size.
TEST(TextBlocks, FlowsJapaneseBetweenCharacters) {
  const char* const kJapaneseFont = "/usr/share/fonts/opentype/ipafont-gothic/ipag.ttf";
  if (!test::haveProgram("pdftotext") || test::readFile(kJapaneseFont).empty()) {
    GTEST_SKIP() << "pdftotext or the IPA Gothic font not installed";
  }
  auto page = laidOut(lines(72, 700, 10, 12, {"A paragraph of three lines, each of them", "about as long as the one above it, and",
                                              "a last one."}),
                      "japanese-source.pdf");
  ASSERT_EQ(page->blocks.size(), 1u);
  std::set<std::uint32_t> chosen;
  for (const TextLine& line : page->blocks[0].lines) chosen.insert(line.items.begin(), line.items.end());
  ASSERT_EQ(page->document->removeText(0, &chosen, page->items, 1), Error::None);
  const std::vector<double> room = textRoom(page->items, page->graphics, unrotatedPageBox(page->document->pages[0]));
  FlowPage context{&page->items, &page->blocks, &page->graphics, &room, unrotatedPageBox(page->document->pages[0])};
  // "This booklet is free. You may redistribute it and modify it, under the
  // terms of the licence." three times over.
  std::string text;
  for (int k = 0; k < 3; ++k) {
    text += "\xE3\x81\x93\xE3\x81\xAE\xE5\x86\x8A\xE5\xAD\x90\xE3\x81\xAF\xE3\x83\x95\xE3\x83\xAA\xE3\x83\xBC"
            "\xE3\x81\xA7\xE3\x81\x99\xE3\x80\x82\xE5\x86\x8D\xE9\x85\x8D\xE5\xB8\x83\xE3\x80\x81\xE4\xBF\xAE"
            "\xE6\xAD\xA3\xE3\x81\x97\xE3\x81\xA6\xE3\x82\x82\xE3\x81\x8B\xE3\x81\xBE\xE3\x81\x84\xE3\x81\xBE"
            "\xE3\x81\x9B\xE3\x82\x93\xE3\x80\x82";
  }
  BlockFlow flow;
  ASSERT_EQ(flowBlock(*page->document.document, 0, context, 0, text, {kJapaneseFont}, 0, flow), Error::None);
  EXPECT_EQ(flow.scale, 1);
  EXPECT_FALSE(flow.overflows);
  EXPECT_GE(flow.linesUsed, 3u);
  const std::string pdf = test::tempDirectory() + "/japanese.pdf";
  ASSERT_EQ(page->document->save(pdf), Error::None);
  ASSERT_EQ(test::run("pdftotext -enc UTF-8 '" + pdf + "' '" + pdf + ".txt'"), 0);
  std::istringstream shown(test::readFile(pdf + ".txt"));
  std::string line, joined;
  std::size_t count = 0;
  while (std::getline(shown, line)) {
    if (line.empty() || line[0] == '\f') continue;
    ++count;
    EXPECT_NE(line.rfind("\xE3\x80\x82", 0), 0u) << line;  // no line opens with the full stop
    EXPECT_NE(line.rfind("\xE3\x80\x81", 0), 0u) << line;  // nor with the comma
    joined += line;
  }
  EXPECT_EQ(count, flow.linesUsed);
  EXPECT_EQ(joined, text);
}

// A paragraph written a few words per string, with one italic word a
// line, is set in roman; a bold run-in heading starts a paragraph; lines of
// code make one listing, numbered ones too; a URL and a year go on with
// their reference; a line naming code goes on with its paragraph, and so
// does a name in code before a narrow space where a listing's lines start.
TEST(TextBlocks, StyleOfMostTextAndCodeListings) {
  if (!test::haveProgram("pdftotext")) GTEST_SKIP() << "pdftotext not installed";
  test::PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
  b.object(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Resources << /Font << /R 5 0 R "
              "/I 6 0 R /C 7 0 R /B 8 0 R /H 9 0 R >> >> /Contents 4 0 R >>");
  std::string content = "BT 72 700 Td 12 TL\n";
  for (const char* word : {"emphasised", "underlined", "italicised"}) {
    content += std::string("/R 10 Tf (The ) Tj (words ) Tj (of ) Tj (the ) Tj /I 10 Tf (") + word +
               ") Tj /R 10 Tf ( line ) Tj (go ) Tj (on.) Tj T*\n";
  }
  // A bold run-in heading opens a paragraph of body text.
  content += "ET BT /B 10 Tf 72 640 Td (Categories and Subject Terms) Tj ET BT /R 10 Tf 212 640 Td (D.3.4 and the) Tj "
             "-140 -12 Td (flow of new text.) Tj ET\n";
  content += "BT 72 604 Td 12 TL /C 10 Tf (for \\(i = 0; i < n; ++i\\) {) Tj T* (  sum += i;) Tj T* (}) Tj ET";
  // A reference with a URL in a fixed-pitch face and a year on lines of
  // their own is one paragraph, and so is one whose address, broken at its
  // hyphen and after a slash, hangs under a first line that goes on.
  content += "\nBT /R 10 Tf 72 530 Td ([Dte] Domain and Type Enforcement,) Tj ET BT /C 10 Tf 86 518 Td "
             "(http://research-) Tj ET BT /C 10 Tf 86 506 Td (cistw.example.com/) Tj ET BT /R 10 Tf 86 494 Td "
             "(cace/dte.html.) Tj ET";
  content += "\nBT /R 10 Tf 72 460 Td ([Caps] A. Author, Linux Capability) Tj ET BT /R 10 Tf 86 448 Td (FAQ, online at) Tj "
             "ET BT /C 10 Tf 86 436 Td (http://example.org/caps/) Tj ET BT /R 10 Tf 86 424 Td (1998.) Tj ET";
  // A listing with small line numbers and a guard line in another face is
  // one listing, set in its code's face.
  content += "\nBT /H 5 Tf 64 380 Td (1) Tj ET BT /C 10 Tf 72 380 Td (x = 1;) Tj ET BT /H 5 Tf 64 368 Td (2) Tj ET "
             "BT /H 10 Tf 72 368 Td (<guard>) Tj ET BT /H 5 Tf 64 356 Td (3) Tj ET BT /C 10 Tf 72 356 Td (y = 2;) Tj ET";
  // A line of prose naming a function in a fixed-pitch face, whose longest
  // stretch and last word are that face's, goes on with its paragraph.
  content += "\nBT /R 10 Tf 72 320 Td 12 TL (The lookup is affected by the types in two places. First,) Tj T* "
             "(for each element in a pathname,) Tj /C 10 Tf ( lookup_dentry_cached) Tj /R 10 Tf ( calls) Tj /C 10 Tf "
             "( per-) Tj T* (mission) Tj /R 10 Tf ( on the directory that holds it.) Tj ET";
  // A narrow space after a name in a fixed-pitch face, where the lines of
  // a listing further down start, parts nothing when the lines above and
  // below run across it.
  content += "\nBT /R 10 Tf 72 260 Td 12 TL (We can reuse most of the code above to show an end,) Tj ET "
             "BT /C 10 Tf 72 248 Td (aux_show.) Tj ET BT /R 10 Tf 134 248 Td (Also, when it shows an end, it) Tj ET "
             "BT /R 10 Tf 72 236 Td (changes that to the start and does the same.) Tj ET "
             "BT /C 10 Tf 134 200 Td 12 TL (x = 1;) Tj T* (yy = 22;) Tj T* (z = 3;) Tj T* (ww = 44;) Tj T* (v = 5;) Tj ET";
  // A line mostly bold, that ends in the body face, opens its paragraph (a
  // bold caption label, a run-in heading set as one string with its text);
  // a bold line that ends bold is a heading of its own.
  content += "\nBT 72 110 Td 12 TL /B 10 Tf (Closing the loop of the traces we record.) Tj /R 10 Tf ( It ends) Tj T* "
             "(in several ways.) Tj ET BT /B 10 Tf 72 70 Td (A Heading in Bold) Tj ET "
             "BT /R 10 Tf 72 58 Td (Body text follows it.) Tj ET";
  b.stream(4, "", content);
  b.object(5, "<< /Type /Font /Subtype /Type1 /BaseFont /Times-Roman >>");
  b.object(6, "<< /Type /Font /Subtype /Type1 /BaseFont /Times-Italic >>");
  b.object(7, "<< /Type /Font /Subtype /Type1 /BaseFont /Courier >>");
  b.object(8, "<< /Type /Font /Subtype /Type1 /BaseFont /Times-Bold >>");
  b.object(9, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  auto page = laidOut(b, "styles.pdf");
  for (auto& bl : page->blocks) printf("[%s]\n", bl.text.c_str());
  ASSERT_EQ(page->blocks.size(), 12u);
  EXPECT_EQ(page->blocks[9].text, "Closing the loop of the traces we record. It ends in several ways.");
  EXPECT_EQ(page->blocks[9].kind, BlockKind::Paragraph);
  EXPECT_EQ(page->blocks[10].kind, BlockKind::Heading);
  EXPECT_EQ(page->blocks[11].text, "Body text follows it.");
  EXPECT_EQ(page->blocks[3].text, "[Dte] Domain and Type Enforcement, http://research-cistw.example.com/cace/dte.html.");
  EXPECT_EQ(page->blocks[6].kind, BlockKind::Paragraph);
  EXPECT_EQ(page->blocks[6].lines.size(), 3u);
  EXPECT_EQ(page->blocks[7].text,
            "We can reuse most of the code above to show an end, aux_show. Also, when it shows an end, it changes "
            "that to the start and does the same.");
  EXPECT_EQ(page->blocks[8].kind, BlockKind::Code);
  EXPECT_EQ(page->blocks[5].kind, BlockKind::Code);
  EXPECT_EQ(page->blocks[5].lines.size(), 3u);
  ASSERT_TRUE(page->blocks[5].style);
  EXPECT_TRUE(page->blocks[5].style->fixedPitch);
  EXPECT_EQ(page->blocks[4].text, "[Caps] A. Author, Linux Capability FAQ, online at http://example.org/caps/ 1998.");
  const TextBlock& paragraph = page->blocks[0];
  ASSERT_TRUE(paragraph.style);
  EXPECT_FALSE(paragraph.style->italic);
  EXPECT_EQ(page->items.at(paragraph.styleItem).style, paragraph.style);
  EXPECT_EQ(page->blocks[1].kind, BlockKind::Paragraph);
  EXPECT_EQ(page->blocks[1].text, "Categories and Subject Terms D.3.4 and the flow of new text.");
  const TextBlock& code = page->blocks[2];
  EXPECT_EQ(code.kind, BlockKind::Code);
  EXPECT_EQ(code.text, "for (i = 0; i < n; ++i) {\n  sum += i;\n}");

  // New code keeps its breaks and indentation: line k at the start of the
  // listing's line k, lines past the last one below it at its leading from
  // its left edge, an empty line left empty, one size for all.
  std::set<std::uint32_t> chosen;
  for (const TextLine& line : code.lines) chosen.insert(line.items.begin(), line.items.end());
  ASSERT_EQ(page->document->removeText(0, &chosen, page->items, 1), Error::None);
  const std::vector<double> room = textRoom(page->items, page->graphics, unrotatedPageBox(page->document->pages[0]));
  FlowPage context{&page->items, &page->blocks, &page->graphics, &room, unrotatedPageBox(page->document->pages[0])};
  BlockFlow flow;
  ASSERT_EQ(flowBlock(*page->document.document, 0, context, 2, "loop {\n    total += k;\n\nk--;\n}", {kFont}, 0,
                      flow),
            Error::None);
  EXPECT_EQ(flow.linesUsed, 5u);
  EXPECT_EQ(flow.scale, 1);
  const std::string pdf = test::tempDirectory() + "/code.pdf";
  ASSERT_EQ(page->document->save(pdf), Error::None);
  std::map<std::string, Word> words;
  for (const Word& word : popplerWords(pdf)) words.emplace(word.text, word);
  ASSERT_EQ(words.count("loop") + words.count("total") + words.count("k--;") + words.count("}"), 4u);
  const double top = 792 - code.lines[0].baseline;
  EXPECT_NEAR(words["loop"].x0, code.lines[0].left, 0.5);
  EXPECT_GT(words["total"].x0, words["loop"].x0 + 10);
  EXPECT_NEAR(words["k--;"].x0, code.box.x0, 0.5);
  EXPECT_NEAR(words["total"].y1 - words["loop"].y1, code.leading, 2);
  EXPECT_NEAR(words["k--;"].y1 - words["loop"].y1, 3 * code.leading, 2);
  EXPECT_NEAR(words["}"].y1 - words["loop"].y1, 4 * code.leading, 2);
  EXPECT_LT(std::fabs(words["loop"].y1 - top), 4);

  // A web address wider than the reference's lines breaks after a slash,
  // at the block's size, rather than shrinking the whole reference.
  const TextBlock& reference = page->blocks[3];
  chosen.clear();
  for (const TextLine& line : reference.lines) chosen.insert(line.items.begin(), line.items.end());
  ASSERT_EQ(page->document->removeText(0, &chosen, page->items, 2), Error::None);
  BlockFlow address;
  ASSERT_EQ(flowBlock(*page->document.document, 0, context, 3,
                      "[Dte] Typen, http://example.org/cace/typen/erzwingung/dte.html.", {kFont}, 0,
                      address),
            Error::None);
  EXPECT_EQ(address.scale, 1);
  EXPECT_FALSE(address.overflows);
  ASSERT_EQ(page->document->save(pdf), Error::None);
  std::string lines;
  for (const Word& word : popplerWords(pdf)) {
    const bool ours = word.text.find("caps") == std::string::npos;
    if (ours && (word.text.find('/') != std::string::npos || word.text.find(".html") != std::string::npos)) {
      lines += word.text + "|";
    }
  }
  EXPECT_EQ(lines, "http://example.org/cace/|typen/erzwingung/|dte.html.|");
}

}  // namespace
}  // namespace zopra::pdf
