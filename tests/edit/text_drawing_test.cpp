// Drawing new text: measuring with a font file, the content stream, the
// embedded font's objects shared between drawings, and the page's content
// and resources afterwards.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "pdf/content/text_entry.h"
#include "pdf/edit/text_drawing.h"
#include "pdf/edit/true_type.h"
#include "support/load_helpers.h"
#include "support/test_files.h"
#include "support/true_type_builder.h"

namespace zopra::pdf {
namespace {

using namespace test::font;

std::string writeFont(const std::string& name, const Bytes& font) {
  return test::writeTempFile(name, std::string(font.begin(), font.end()));
}

// 1000 units per em; 'A', 'B', 'C' are glyphs 1 to 3 with advances 500, 600
// and 700, the space glyph 4 with 250 (left out with `space` false).
Bytes abcFont(bool space = true) {
  std::vector<Segment> segments;
  if (space) segments.push_back({0x20, 0x20, (4 - 0x20) & 0xFFFF, {}});
  segments.push_back({0x41, 0x43, (1 - 0x41) & 0xFFFF, {}});
  segments.push_back({0xFFFF, 0xFFFF, 1, {}});
  return fontFile({{"head", head(1000)},
                   {"hhea", hhea(5)},
                   {"maxp", maxp(5)},
                   {"hmtx", hmtx({1000, 500, 600, 700, 250})},
                   {"cmap", cmap({{3, 1, format4(segments)}})}});
}

// 'D' and 'E' as glyphs 1 and 2 (advances 800, 900), with a name table
// whose PostScript names (name 6) are `names`, as (platform, text) pairs:
// platform 1 strings one byte a character, the others UTF-16BE.
Bytes deFont(const std::vector<std::pair<std::uint32_t, std::string>>& names) {
  std::string records, strings;
  for (const auto& [platform, text] : names) {
    std::string encoded;
    for (char c : text) encoded += platform == 1 ? std::string(1, c) : be16({static_cast<unsigned char>(c)});
    records += be16({platform, platform == 1 ? 0u : 1u, 0, 6, size32(encoded.size()), size32(strings.size())});
    strings += encoded;
  }
  const std::uint32_t count = size32(names.size());
  const std::string name = be16({0, count, 6 + 12 * count}) + records + strings;
  return fontFile({{"head", head(1000)},
                   {"hhea", hhea(3)},
                   {"maxp", maxp(3)},
                   {"hmtx", hmtx({1000, 800, 900})},
                   {"cmap", cmap({{3, 1, format4({{0x44, 0x45, (1 - 0x44) & 0xFFFF, {}}, {0xFFFF, 0xFFFF, 1, {}}})}})},
                   {"name", name}});
}

// Three pages sharing the resources of their parent: the first with three
// content streams behind an indirect array, the second with one stream, the
// third without content.
test::Loaded threePages() {
  test::PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [3 0 R 4 0 R 5 0 R] /Count 3 "
              "/Resources << /Font << /F1 20 0 R >> >> >>");
  b.object(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 6 0 R >>");
  b.object(4, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 7 0 R >>");
  b.object(5, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] >>");
  b.object(6, "[8 0 R 9 0 R 10 0 R]");
  b.stream(7, "", "BT /F1 10 Tf 72 700 Td (Hello) Tj ET");
  b.stream(8, "", "1 0 0 rg");
  b.stream(9, "", "2 0 0 2 0 0 cm");
  b.stream(10, "", "BT /F1 10 Tf 72 300 Td (World) Tj ET");
  b.object(20, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  b.finishWithTable("/Root 1 0 R");
  return test::loadBuilder(b, "drawing.pdf");
}

Document::DrawState prepared(Document& document, const std::string& text, const std::string& fontPath,
                             double x = 72, double y = 500) {
  Document::DrawState state;
  state.text = text;
  state.fontPath = fontPath;
  state.fontSize = 10;
  state.matrix = {1, 0, 0, 1, x, y};
  EXPECT_EQ(document.prepareText(state), Error::None) << document.errorMessage;
  return state;
}

std::string streamText(Document& document, const Value& reference) {
  const Object* object = document.object(reference.objectNumber);
  return object ? std::string(object->data.begin(), object->data.end()) : "(missing)";
}

std::vector<std::string> itemTexts(Document& document, std::uint32_t page) {
  std::vector<TextEntry> entries;
  EXPECT_EQ(document.extractText(page, entries, nullptr), Error::None) << document.errorMessage;
  std::vector<std::string> texts;
  for (const TextEntry& entry : entries) texts.push_back(entry.text);
  return texts;
}

TEST(TextDrawing, MeasuresAndSubstitutesMissingCharacters) {
  const std::string withSpace = writeFont("abc.ttf", abcFont());
  const std::string withoutSpace = writeFont("abc-nospace.ttf", abcFont(false));
  const struct {
    const char* text;
    const std::string& font;
    double charSpacing, wordSpacing, scaling;
    const char* drawn;
    std::vector<std::uint16_t> glyphs;
    double width;
  } cases[] = {
      {"AB", withSpace, 0, 0, 1, "AB", {1, 2}, 11},
      // Word spacing goes with the space only; all of it is scaled.
      {"A B", withSpace, 1, 2, 0.5, "A B", {1, 4, 2}, (6 + 5.5 + 7) * 0.5},
      // Missing characters (one of them beyond U+FFFF) become spaces ...
      {"A\xC3\xA9" "B\xF0\x9F\x98\x80", withSpace, 0, 0, 1, "A B ", {1, 4, 2, 4}, 16},
      // ... or go when the font has no space either.
      {"A\xC3\xA9" "B", withoutSpace, 0, 0, 1, "AB", {1, 2}, 11},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    Document document;
    Document::DrawState state;
    state.text = c.text;
    state.fontPath = c.font;
    state.fontSize = 10;
    state.charSpacing = c.charSpacing;
    state.wordSpacing = c.wordSpacing;
    state.horizontalScaling = c.scaling;
    ASSERT_EQ(document.prepareText(state), Error::None) << document.errorMessage;
    EXPECT_EQ(state.text, c.drawn);
    EXPECT_EQ(state.glyphs, c.glyphs);
    EXPECT_DOUBLE_EQ(state.width, c.width);
    EXPECT_EQ(state.font->bytes, c.font == withSpace ? abcFont() : abcFont(false));
  }
}

// Hebrew and Arabic go on the line in visual order, brackets mirrored and
// Arabic letters joined, each glyph named by the character it shows; the
// page reads back in reading order.
TEST(TextDrawing, RightToLeftTextIsDrawnInVisualOrder) {
  const std::string dejaVu = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
  if (!std::filesystem::exists(dejaVu)) GTEST_SKIP() << "no " << dejaVu;
  const struct {
    const char* text;
    std::vector<std::uint32_t> named;  // left to right
    std::uint32_t firstShown;          // the character whose glyph comes first
  } cases[] = {
      {"\u05E9\u05DC\u05D5\u05DD (\u05D0) 12",
       {'1', '2', ' ', '(', 0x05D0, ')', ' ', 0x05DD, 0x05D5, 0x05DC, 0x05E9}, '1'},
      // "Salam": the meem stands alone on the left (the alef before it
      // joins to nothing after it), in its isolated form.
      {"\u0633\u0644\u0627\u0645", {0x0645, 0x0627, 0x0644, 0x0633}, 0xFEE1},
      {"Hello (world)", {'H', 'e', 'l', 'l', 'o', ' ', '(', 'w', 'o', 'r', 'l', 'd', ')'}, 'H'},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    auto loaded = threePages();
    ASSERT_EQ(loaded.result, Error::None);
    Document& document = *loaded.document;
    const Document::DrawState state = prepared(document, c.text, dejaVu);
    EXPECT_EQ(state.codePoints, c.named);
    EXPECT_EQ(state.text, c.text);
    ASSERT_FALSE(state.glyphs.empty());
    EXPECT_EQ(state.glyphs.front(), state.font->glyph(c.firstShown));
    ASSERT_EQ(document.drawText(1, state), Error::None);
    EXPECT_EQ(itemTexts(document, 1), (std::vector<std::string>{"Hello", c.text}));
  }
}

TEST(TextDrawing, PreparingFailures) {
  Bytes otto = abcFont();
  otto[0] = 'O', otto[1] = 'T', otto[2] = 'T', otto[3] = 'O';
  const struct {
    std::string text, fontPath;
    Error kind;
    const char* message;
  } cases[] = {
      {"A\xC0\x80", writeFont("abc.ttf", abcFont()), Error::InvalidArgument, "(none)"},
      {"A", test::tempDirectory() + "/missing.ttf", Error::Io, "failed to open font"},
      {"A", test::writeTempFile("empty.ttf", ""), Error::Format, "empty font"},
      {"A", writeFont("otto.ttf", otto), Error::Format, "only TrueType outlines are supported"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fontPath);
    Document document;
    document.errorMessage = "(none)";
    // What an earlier text left stays when the new one is refused.
    Document::DrawState state = prepared(document, "B", writeFont("abc.ttf", abcFont()));
    state.text = c.text;
    state.fontPath = c.fontPath;
    EXPECT_EQ(document.prepareText(state), c.kind);
    EXPECT_EQ(document.errorMessage, c.message);
    EXPECT_EQ(state.glyphs, (std::vector<std::uint16_t>{2}));
  }
}

TEST(TextDrawing, TextsInOneFontShareItAndPagesAreWrappedOnce) {
  const std::string fontPath = writeFont("abc.ttf", abcFont());
  auto loaded = threePages();
  ASSERT_EQ(loaded.result, Error::None);
  Document& document = *loaded.document;
  const Document::DrawState ab = prepared(document, "AB", fontPath, 72, 500);
  const Document::DrawState ca = prepared(document, "CA", fontPath, 72, 400);
  const auto contents = [&](std::uint32_t page) {
    std::vector<std::uint32_t> streams;
    for (const Value& element : document.pageDictionary(document.pages[page])->find("Contents")->array) {
      streams.push_back(element.objectNumber);
    }
    return streams;
  };

  ASSERT_EQ(document.drawText(1, ab), Error::None);
  // Extraction builds and caches the font; a later drawing in the same font
  // widens its W array and ToUnicode map, and must be read with them.
  EXPECT_EQ(itemTexts(document, 1), (std::vector<std::string>{"Hello", "AB"}));
  ASSERT_EQ(document.drawText(1, ca), Error::None);
  EXPECT_EQ(itemTexts(document, 1), (std::vector<std::string>{"Hello", "AB", "CA"}));
  ASSERT_EQ(document.drawText(0, ab), Error::None);
  ASSERT_EQ(document.drawText(0, ca), Error::None);

  // One Type0 font covering both texts' glyphs, under one name on both pages.
  ASSERT_EQ(document.embeddedFonts.size(), 1u);
  const Document::EmbeddedFont& font = document.embeddedFonts.at(fontPath);
  const Value* widths = document.object(font.descendantObject)->value.find("W");
  std::vector<double> flat;
  for (const Value& v : widths->array) flat.push_back(v.isArray() ? v.array.at(0).number : v.number);
  EXPECT_EQ(flat, (std::vector<double>{1, 500, 2, 600, 3, 700}));
  const std::string map = makeToUnicode({{1, 'A'}, {2, 'B'}, {3, 'C'}});
  EXPECT_EQ(streamText(document, Value::Reference(font.toUnicodeObject, 0)), map);
  for (std::uint32_t page : {0u, 1u}) {
    const Value* fonts = document.dictionaryValue(document.pages[page].resources.get(), "Font");
    ASSERT_TRUE(fonts && fonts->find("ZDL0")) << page;
    EXPECT_EQ(fonts->find("ZDL0")->objectNumber, font.type0Object);
    EXPECT_TRUE(fonts->find("F1"));  // the inherited resources were copied
  }
  // The parent's shared resources, and the page that inherits them, are unchanged.
  EXPECT_FALSE(document.dictionaryValue(document.pages[2].resources.get(), "Font")->find("ZDL0"));

  // Wrapped once, then each drawing appended.
  const std::vector<std::uint32_t> page0 = contents(0);
  // One stream holds both texts, in one text object: they were drawn in
  // one session. It first closes the q before the page's content; the
  // second text is placed relative to the first and keeps its font.
  ASSERT_EQ(page0.size(), 5u);
  EXPECT_EQ(std::vector<std::uint32_t>(page0.begin() + 1, page0.begin() + 4), (std::vector<std::uint32_t>{8, 9, 10}));
  EXPECT_EQ(streamText(document, Value::Reference(page0[0], 0)), "q\n");
  EXPECT_EQ(streamText(document, Value::Reference(page0[4], 0)),
            "Q\nBT\n72 500 Td\n/ZDL0 10 Tf\n<00010002> Tj\n0 -100 Td\n<00030001> Tj\nET\n");
  const std::vector<std::uint32_t> page1 = contents(1);
  ASSERT_EQ(page1.size(), 3u);
  EXPECT_EQ(page1[1], 7u);
  // The q/Q pair keeps the page's scaling away from the new text.
  std::vector<TextEntry> entries;
  ASSERT_EQ(document.extractText(0, entries, nullptr), Error::None);
  ASSERT_EQ(entries.size(), 3u);
  EXPECT_EQ(entries[0].text, "World");
  EXPECT_EQ(entries[0].a, 2);
  EXPECT_EQ(entries[1].text, "AB");
  EXPECT_EQ(entries[1].a, 1);
  EXPECT_EQ(entries[1].f, 500);
}

TEST(TextDrawing, ARunOfAnEarlierSessionKeepsItsFontName) {
  // A page that already names a font ZDL0 (text drawn into the file before)
  // gets the new font under another name.
  test::PdfBuilder page;
  page.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  page.object(2, "<< /Type /Pages /Kids [4 0 R] /Count 1 >>");
  page.object(3, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  page.object(4, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] "
                 "/Resources << /Font << /ZDL0 3 0 R >> >> /Contents 5 0 R >>");
  page.stream(5, "", "BT /ZDL0 10 Tf 72 700 Td (Old) Tj ET");
  page.finishWithTable("/Root 1 0 R");
  auto document = test::loadBuilder(page, "earlier.pdf");
  ASSERT_EQ(document.result, Error::None);
  const Document::DrawState state = prepared(*document.document, "AB", writeFont("abc.ttf", abcFont()));
  ASSERT_EQ(document->drawText(0, state), Error::None);
  EXPECT_EQ(document->embeddedFonts.begin()->second.resourceName, "ZDL1");
  EXPECT_EQ(itemTexts(*document.document, 0), (std::vector<std::string>{"Old", "AB"}));
}

// One page (or two) whose content is `content`, with a Helvetica F1 and,
// when `zdl0` is set, a Helvetica that an earlier run named ZDL0. `extra`
// adds objects (from number 10).
test::Loaded onePage(const std::string& content, const std::string& contentsEntry = "5 0 R",
                     const std::string& extra = "", bool secondPageWithZdl0 = false) {
  test::PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, secondPageWithZdl0 ? "<< /Type /Pages /Kids [4 0 R 6 0 R] /Count 2 >>"
                                 : "<< /Type /Pages /Kids [4 0 R] /Count 1 >>");
  b.object(3, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  b.object(4, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] "
              "/Resources << /Font << /F1 3 0 R >> >> /Contents " + contentsEntry + " >>");
  b.stream(5, "", content);
  if (secondPageWithZdl0) {
    b.object(6, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] "
                "/Resources << /Font << /ZDL0 3 0 R >> >> /Contents 7 0 R >>");
    b.stream(7, "", "BT /ZDL0 10 Tf 72 700 Td (Old) Tj ET");
  }
  if (!extra.empty()) b.object(10, extra);
  b.finishWithTable("/Root 1 0 R");
  return test::loadBuilder(b, "fault.pdf");
}

TEST(TextDrawing, DrawingAndWritingFaults) {
  const std::string fontPath = writeFont("abc.ttf", abcFont());
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  const struct {
    const char* fault;
    std::function<void()> check;
  } cases[] = {
      {"a font drawn on a page of an earlier file that names another font ZDL0 gets another name there",
       [&] {
         auto loaded = onePage("BT /F1 10 Tf 72 700 Td (Hello) Tj ET", "5 0 R", "", true);
         ASSERT_EQ(loaded.result, Error::None);
         Document& document = *loaded.document;
         const Document::DrawState ab = prepared(document, "AB", fontPath);
         ASSERT_EQ(document.drawText(0, ab), Error::None);  // ZDL0 is free on page 1
         ASSERT_EQ(document.drawText(1, ab), Error::None);
         EXPECT_EQ(itemTexts(document, 1), (std::vector<std::string>{"Old", "AB"}));
         EXPECT_EQ(itemTexts(document, 0), (std::vector<std::string>{"Hello", "AB"}));
       }},
      {"font sizes that are not finite and positive, or absurdly large, are refused",
       [&] {
         Document document;
         for (double size : {0.0, -1.0, nan, inf, -inf, 1e300, 10000.5}) {
           Document::DrawState state;
           state.text = "AB";
           state.fontPath = fontPath;
           state.fontSize = size;
           EXPECT_EQ(document.prepareText(state), Error::InvalidArgument) << size;
           EXPECT_TRUE(state.glyphs.empty()) << size;
         }
         Document::DrawState largest;
         largest.text = "AB";
         largest.fontPath = fontPath;
         largest.fontSize = 10000;
         EXPECT_EQ(document.prepareText(largest), Error::None);
       }},
      {"numbers past 2^53 and far below 1 are written so that readers take them",
       [&] {
         auto loaded = onePage("", "5 0 R", "[10000000000000000000 0.000000000000000000001 -123456789e10]");
         ASSERT_EQ(loaded.result, Error::None);
         Document& document = *loaded.document;
         Object* numbers = document.object(10);
         ASSERT_TRUE(numbers);
         numbers->value = Value::Array({Value::Number(1e19), Value::Number(1e-21), Value::Number(-1.23456789e18)});
         const std::string path = test::tempDirectory() + "/numbers.pdf";
         ASSERT_EQ(document.save(path), Error::None);
         Document reread;
         ASSERT_EQ(reread.load(path), Error::None);
         const Object* back = reread.object(10);
         ASSERT_TRUE(back && back->value.isArray() && back->value.array.size() == 3);
         EXPECT_EQ(back->value.array[0].number, 1e19);
         EXPECT_NEAR(back->value.array[1].number / 1e-21, 1, 1e-9);
         EXPECT_EQ(back->value.array[2].number, -1.23456789e18);
         if (test::haveProgram("qpdf")) {
           EXPECT_EQ(test::run("qpdf --check '" + path + "' >/dev/null 2>&1"), 0);
         }
       }},
      {"content that leaves q open (with a cm, and a q inside inline image data) is closed before new text",
       [&] {
         auto loaded = onePage("q q 0.5 0 0 0.5 0 0 cm BI /W 2 /H 1 /CS /G /BPC 8 ID qq EI "
                               "BT /F1 10 Tf 72 700 Td (Hello) Tj ET");
         ASSERT_EQ(loaded.result, Error::None);
         Document& document = *loaded.document;
         ASSERT_EQ(document.drawText(0, prepared(document, "AB", fontPath, 72, 500)), Error::None);
         std::vector<TextEntry> entries;
         ASSERT_EQ(document.extractText(0, entries, nullptr), Error::None);
         ASSERT_EQ(entries.size(), 2u);
         EXPECT_EQ(entries[0].a, 0.5);
         EXPECT_EQ(entries[1].text, "AB");
         EXPECT_EQ(entries[1].a, 1);
         EXPECT_EQ(entries[1].f, 500);
       }},
      {"a Contents that refers to an array object is flattened, not nested",
       [&] {
         for (const char* array : {"[]", "[5 0 R]"}) {
           auto loaded = onePage("BT /F1 10 Tf 72 700 Td (Hello) Tj ET", "10 0 R", array);
           ASSERT_EQ(loaded.result, Error::None);
           Document& document = *loaded.document;
           ASSERT_EQ(document.drawText(0, prepared(document, "AB", fontPath)), Error::None);
           for (std::uint32_t stream : document.pageContentObjects(document.pages[0])) {
             EXPECT_TRUE(document.object(stream)->isStream) << array << ' ' << stream;
           }
           const Value* contents = document.pageDictionary(document.pages[0])->find("Contents");
           ASSERT_TRUE(contents);
           const ValueArray elements = contents->isArray() ? contents->array : ValueArray{*contents};
           for (const Value& element : elements) {
             EXPECT_TRUE(element.isReference() && document.object(element.objectNumber)->isStream) << array;
           }
         }
       }},
      {"texts drawn on a page share one stream until the document is written",
       [&] {
         auto loaded = onePage("BT /F1 10 Tf 72 700 Td (Hello) Tj ET");
         ASSERT_EQ(loaded.result, Error::None);
         Document& document = *loaded.document;
         ASSERT_EQ(document.drawText(0, prepared(document, "AB", fontPath, 72, 500)), Error::None);
         ASSERT_EQ(document.drawText(0, prepared(document, "AB", fontPath, 72, 400)), Error::None);
         const std::size_t before = document.pageContentObjects(document.pages[0]).size();
         ASSERT_EQ(document.save(test::tempDirectory() + "/session.pdf"), Error::None);
         ASSERT_EQ(document.drawText(0, prepared(document, "AB", fontPath, 72, 300)), Error::None);
         EXPECT_EQ(document.pageContentObjects(document.pages[0]).size(), before + 1);
         EXPECT_EQ(itemTexts(document, 0), (std::vector<std::string>{"Hello", "AB", "AB", "AB"}));
       }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    c.check();
  }
}

TEST(TextDrawing, ChainsDrawRunsInFontsNamedAfterTheirPostScriptNames) {
  const std::string abc = writeFont("abc.ttf", abcFont());
  const struct {
    std::vector<std::pair<std::uint32_t, std::string>> names;
    std::string baseFont;
  } cases[] = {
      // The Windows name before the Macintosh one, cut to PDF name characters.
      {{{1, "MacName"}, {3, "Sans-Bold (Test)/1"}}, "Sans-BoldTest1"},
      {{{1, "MacName"}}, "MacName"},
      // No usable name: the file name without its extension.
      {{{3, " ()"}}, "de-font"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.baseFont);
    auto loaded = threePages();
    ASSERT_EQ(loaded.result, Error::None);
    Document& document = *loaded.document;
    const std::string de = writeFont("de-font.ttf", deFont(c.names));
    Document::DrawState state;
    state.text = "ADBE\xE2\x82\xAC";  // the euro sign is in neither font
    state.fontPaths = {abc, de};
    state.fontSize = 10;
    state.matrix = {1, 0, 0, 1, 72, 500};
    ASSERT_EQ(document.prepareText(state), Error::None) << document.errorMessage;
    EXPECT_EQ(state.fontIndices, (std::vector<std::uint8_t>{0, 1, 0, 1, 0}));
    EXPECT_EQ(state.glyphs, (std::vector<std::uint16_t>{1, 1, 2, 2, 4}));
    EXPECT_EQ(state.missingCharacters, 1u);
    EXPECT_DOUBLE_EQ(state.width, 5 + 8 + 6 + 9 + 2.5);
    ASSERT_EQ(document.drawText(1, state), Error::None);
    EXPECT_EQ(itemTexts(document, 1), (std::vector<std::string>{"Hello", "ADBE"}));
    const Document::EmbeddedFont& second = document.embeddedFonts.at(de);
    EXPECT_EQ(second.baseFont, c.baseFont);
    EXPECT_EQ(document.embeddedFonts.at(abc).baseFont, "abc");
    EXPECT_EQ(document.object(second.type0Object)->value.find("BaseFont")->text, c.baseFont);
    EXPECT_EQ(document.object(second.descriptorObject)->value.find("FontName")->text, c.baseFont);
    const std::vector<std::uint32_t> streams = [&] {
      std::vector<std::uint32_t> numbers;
      for (const Value& v : document.pageDictionary(document.pages[1])->find("Contents")->array) {
        numbers.push_back(v.objectNumber);
      }
      return numbers;
    }();
    EXPECT_NE(streamText(document, Value::Reference(streams.back(), 0))
                  .find("<0001> Tj\n/ZDL1 10 Tf\n<0001> Tj\n/ZDL0 10 Tf\n<0002> Tj\n/ZDL1 10 Tf\n<0002> Tj\n"
                        "/ZDL0 10 Tf\n<0004> Tj\nET"),
              std::string::npos);
  }
}

}  // namespace
}  // namespace zopra::pdf
