#include "pdf/fonts/font_builder.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "pdf/fonts/glyph_names.h"
#include "pdf/fonts/unicode.h"
#include "support/load_helpers.h"

namespace zopra::pdf {
namespace {

using CodePoints = std::vector<std::uint32_t>;

Value number(double value) { return Value::Number(value); }
Value name(std::string text) { return Value::Name(std::move(text)); }
Value reference(std::uint32_t objectNumber) { return Value::Reference(objectNumber, 0); }

class FontDocument {
 public:
  void put(std::uint32_t objectNumber, Value value) { test::putObject(document, objectNumber, std::move(value)); }

  void putStream(std::uint32_t objectNumber, const std::string& data) {
    put(objectNumber, Value::Dictionary({{"Length", number(static_cast<double>(data.size()))}}));
    Object& target = document.objects[objectNumber];
    target.isStream = true;
    target.data = Bytes(data.begin(), data.end());
  }

  FontInfo build(ValueDictionary font) {
    Value value = Value::Dictionary(std::move(font));
    return buildFont(document, &value);
  }

  Document document;
};

// The ToUnicode target of one source code; fails the test when it is absent.
CodePoints target(const FontInfo& font, std::uint32_t byteLength, std::uint32_t code) {
  const ToUnicodeMap::Entry* entry = font.toUnicode ? font.toUnicode->find(byteLength, code) : nullptr;
  EXPECT_NE(entry, nullptr) << byteLength << " " << code;
  return entry ? font.toUnicode->target(*entry) : CodePoints{};
}

TEST(FontBuilder, NonDictionariesAndCompositeWithoutDescendants) {
  // A font that is missing reads as a simple font; a Type0 font without
  // descendants has two-byte codes of the default width.
  FontDocument doc;
  Value missing = reference(42);
  EXPECT_EQ(buildFont(doc.document, &missing).codeLengths, (std::vector<std::uint32_t>{1}));
  doc.put(5, Value::Dictionary({{"Subtype", name("Type0")},
                                {"BaseFont", name("ABCDEF+Mincho")},
                                {"Encoding", name("NoSuchCMap-H")}}));
  Value fontReference = reference(5);
  FontInfo font = buildFont(doc.document, &fontReference);
  EXPECT_TRUE(font.composite);
  EXPECT_EQ(font.baseFont, "ABCDEF+Mincho");
  EXPECT_EQ(font.encodingName, "NoSuchCMap-H");
  EXPECT_FALSE(font.predefined);
  EXPECT_EQ(font.codeLengths, (std::vector<std::uint32_t>{2}));
  EXPECT_TRUE(font.widths.empty());
  EXPECT_DOUBLE_EQ(font.width(7), 1000);

  // An object that cannot be loaded counts as missing instead of failing the font.
  Object& broken = doc.document.objects[9];
  broken.number = 9;
  broken.offset = 12345;
  FontInfo tolerant;
  EXPECT_NO_THROW(tolerant = doc.build({{"Subtype", name("Type1")},
                                        {"FontDescriptor", reference(9)},
                                        {"Widths", reference(9)}}));
  EXPECT_FALSE(tolerant.composite);
  EXPECT_TRUE(tolerant.widths.empty());
}

TEST(FontBuilder, SimpleFontWidths) {
  FontDocument doc;
  doc.put(3, Value::Array({number(500), name("x"), reference(4)}));
  doc.put(4, number(600));
  doc.put(6, Value::Dictionary({{"MissingWidth", number(250)}}));
  FontInfo font = doc.build({{"Subtype", name("TrueType")},
                             {"FirstChar", number(65.7)},
                             {"Widths", reference(3)},
                             {"FontDescriptor", reference(6)}});
  EXPECT_EQ(font.widths.codes(), (std::map<std::uint32_t, double>{{65, 500}, {67, 600}}));
  EXPECT_DOUBLE_EQ(font.width(66), 250);

  FontInfo noDescriptor = doc.build({{"Widths", Value::Array({number(1), number(2)})}});
  EXPECT_EQ(noDescriptor.widths.codes(), (std::map<std::uint32_t, double>{{0, 1}, {1, 2}}));
  EXPECT_DOUBLE_EQ(noDescriptor.width(5), 0);
}

TEST(FontBuilder, CompositeWidths) {
  FontDocument doc;
  doc.put(7, Value::Array({number(100), number(200)}));
  doc.put(8, Value::Dictionary({
                 {"Subtype", name("CIDFontType2")},
                 {"DW", number(700)},
                 {"W", Value::Array({number(1), reference(7), number(10), number(12), number(300),
                                     name("junk"), number(20), Value::Array({number(5)}),
                                     number(30), number(29), number(9), number(40)})},
             }));
  FontInfo font = doc.build({{"Subtype", name("Type0")},
                             {"DescendantFonts", Value::Array({reference(8)})},
                             {"Widths", Value::Array({number(999)})}});
  EXPECT_EQ(font.widths.codes(), (std::map<std::uint32_t, double>{
                             {1, 100}, {2, 200}, {10, 300}, {11, 300}, {12, 300}, {20, 5}}));
  EXPECT_DOUBLE_EQ(font.width(13), 700);

  // Huge ranges cost one entry each, however many codes they cover.
  ValueArray hostile;
  for (int i = 0; i < 64; ++i) {
    hostile.push_back(number(i * 65536.0));
    hostile.push_back(number(4294967295.0));
    hostile.push_back(number(3));
  }
  doc.put(8, Value::Dictionary({{"W", Value::Array(hostile)}}));
  FontInfo bounded = doc.build({{"Subtype", name("Type0")},
                                {"DescendantFonts", Value::Array({reference(8)})}});
  EXPECT_LE(bounded.widths.rangeCount(), 64u);
  EXPECT_DOUBLE_EQ(bounded.width(65535), 3);
  EXPECT_DOUBLE_EQ(bounded.width(65536), 3);
  EXPECT_DOUBLE_EQ(bounded.width(0xFFFFFFFF), 3);
}

const char* const kToUnicode =
    "/CIDInit /ProcSet findresource begin\n"
    "12 dict begin begincmap\n"
    "1 begincodespacerange <00> <80> endcodespacerange\n"
    "2 begincodespacerange\n<8140> <9FFC>\n<E040> <FFFF>\nendcodespacerange\n"
    "2 beginbfchar\n<01> <0041>\n<02> <00410042>\nendbfchar\n"
    "1 beginbfchar <03> <> endbfchar\n"
    "beginbfchar <04> <0058> endbfchar\n"
    "/x beginbfchar <05> <0058> endbfchar\n"
    "0 beginbfrange <06> <07> <0058> endbfrange\n"
    "3 beginbfrange\n"
    "<10> <12> <0061>\n"
    "<8140> <8142> [<0030> <D83DDE00>]\n"
    "<20> <21> <00FF>\n"
    "<30> <2F> <0041>\n"
    "endbfrange\n"
    "1 beginbfrange <40> <41> <> endbfrange\n"
    "endcmap CMapName currentdict /CMap defineresource pop end end\n";

TEST(FontBuilder, ToUnicodeMaps) {
  FontDocument doc;
  doc.putStream(11, kToUnicode);
  FontInfo font = doc.build({{"Subtype", name("Type0")}, {"ToUnicode", reference(11)}});
  // Code lengths longest first; the ranges as declared.
  EXPECT_EQ(font.codeLengths, (std::vector<std::uint32_t>{2, 1}));
  std::vector<std::uint32_t> ranges;
  for (const auto& range : font.codeSpace) ranges.insert(ranges.end(), {range.byteLength, range.low, range.high});
  EXPECT_EQ(ranges, (std::vector<std::uint32_t>{1, 0, 0x80, 2, 0x8140, 0x9FFC, 2, 0xE040, 0xFFFF}));
  // Blocks with a wrong or missing count still count; reversed ranges and
  // ranges past the last byte are dropped.
  std::vector<std::pair<std::uint32_t, std::uint32_t>> keys;
  for (const auto& entry : font.toUnicode->entries) keys.emplace_back(entry.byteLength, entry.code);
  EXPECT_EQ(keys, (std::vector<std::pair<std::uint32_t, std::uint32_t>>{
                      {1, 0x01}, {1, 0x02}, {1, 0x03}, {1, 0x10}, {1, 0x11}, {1, 0x12},
                      {1, 0x20}, {1, 0x21}, {1, 0x40}, {1, 0x41}, {2, 0x8140}, {2, 0x8141}}));
  const std::pair<std::pair<std::uint32_t, std::uint32_t>, CodePoints> targets[] = {
      {{1, 0x01}, {0x41}}, {{1, 0x02}, {0x41, 0x42}}, {{1, 0x03}, {}}, {{1, 0x12}, {0x63}},
      {{2, 0x8140}, {0x30}}, {{2, 0x8141}, {0x1F600}}, {{1, 0x21}, {0x100}}, {{1, 0x41}, {}},
  };
  for (const auto& [key, expected] : targets) EXPECT_EQ(target(font, key.first, key.second), expected) << key.second;

  // A simple font always shows single bytes, whatever its CMap declares; a
  // two-byte source code below 256 is read as the byte it stands for.
  doc.putStream(12, "1 begincodespacerange <0000> <FFFF> endcodespacerange\n"
                    "1 beginbfchar <008b> <0041> endbfchar\n");
  FontInfo simple = doc.build({{"ToUnicode", reference(12)}});
  EXPECT_EQ(simple.codeLengths, (std::vector<std::uint32_t>{1}));
  EXPECT_TRUE(simple.codeSpace.empty());
  EXPECT_EQ(simple.map(1, 0x8b), CodePoints{0x41});
}

TEST(FontBuilder, HostileToUnicodeRangesStayBounded) {
  std::string cmap = "64 beginbfrange\n";
  for (int i = 0; i < 64; ++i) {
    char line[64];
    std::snprintf(line, sizeof line, "<%08X> <FFFFFFFF> <0041>\n", static_cast<unsigned>(i) << 16);
    cmap += line;
  }
  cmap += "endbfrange\n1 beginbfchar <00000001> <0042> endbfchar\n";
  FontDocument doc;
  doc.putStream(11, cmap);
  FontInfo font = doc.build({{"Subtype", Value::Name("Type0")}, {"ToUnicode", reference(11)}});
  EXPECT_GT(font.toUnicode->entries.size(), 65536u);
  EXPECT_LE(font.toUnicode->entries.size(), 1u << 17);
  EXPECT_NE(font.toUnicode->find(4, 0x0000FFFF), nullptr);
  EXPECT_NE(font.toUnicode->find(4, 0x00010000), nullptr);
  EXPECT_EQ(font.toUnicode->find(4, 0x00200000), nullptr);
  // Codes already in the full map can still be redefined.
  EXPECT_EQ(target(font, 4, 1), CodePoints{0x42});
}

TEST(FontBuilder, DifferencesAndType1BuiltInEncoding) {
  FontDocument doc;
  doc.put(20, Value::Dictionary({{"Type", name("Encoding")},
                                 {"Differences", Value::Array({number(32), name("space"), name("a"),
                                                               Value::String("?"), number(66),
                                                               name("Z")})}}));
  doc.putStream(21,
                "%!PS-AdobeFont-1.0: Test 001.000\n"
                "/Encoding 256 array\n"
                "0 1 255 {1 index exch /.notdef put} for\n"
                "dup 65 /A put\n"
                "dup 66 /Bee put\n"
                "dup 300 /x put\n"
                "dup 67 /C put\n"
                "readonly def\n"
                "currentfile eexec\n"
                "dup 68 /D put\n");
  doc.put(22, Value::Dictionary({{"FontFile", reference(21)}}));
  FontInfo font = doc.build({{"Subtype", name("Type1")},
                             {"Encoding", reference(20)},
                             {"FontDescriptor", reference(22)}});
  std::vector<std::uint32_t> codes;
  for (const auto& [code, codePoint] : font.codeToUnicode) codes.push_back(code);
  EXPECT_EQ(codes, (std::vector<std::uint32_t>{32, 33, 65, 66, 67}));
  EXPECT_EQ(font.codeToUnicode.at(33), glyphNameToUnicode("a"));
  EXPECT_EQ(font.codeToUnicode.at(66), glyphNameToUnicode("Z"));
  EXPECT_EQ(font.codeToUnicode.at(67), glyphNameToUnicode("C"));
  EXPECT_TRUE(font.encodingName.empty());
}

}  // namespace
}  // namespace zopra::pdf

namespace zopra::pdf {
namespace {

// Decodes a shown string the way text extraction does: codes cut by the
// font's code space, each mapped to Unicode.
CodePoints readString(const FontInfo& font, const std::string& bytes) {
  CodePoints text;
  std::size_t position = 0;
  while (position < bytes.size()) {
    std::uint32_t length = 0;
    std::uint32_t code = font.nextCode(bytes, position, length);
    for (std::uint32_t point : font.map(length, code)) text.push_back(point);
  }
  return text;
}

TEST(FontBuilder, PredefinedCMapsCutAndMapCodes) {
  FontDocument doc;
  auto composite = [&doc](const char* encoding) {
    return doc.build({{"Subtype", name("Type0")}, {"Encoding", name(encoding)}});
  };
  // Shift-JIS mixes one-byte ASCII and half-width katakana with two-byte codes.
  FontInfo sjis = composite("90ms-RKSJ-H");
  EXPECT_TRUE(sjis.predefined);
  EXPECT_EQ(readString(sjis, "A\x82\xA0\xB1" "B"), (CodePoints{0x41, 0x3042, 0xFF71, 0x42}));
  // EUC: two-byte kana, one-byte ASCII.
  FontInfo euc = composite("EUC-H");
  EXPECT_EQ(readString(euc, "\xA4\xA2x"), (CodePoints{0x3042, 0x78}));
  // UCS-2 codes are the Unicode values; Identity maps CIDs.
  EXPECT_EQ(readString(composite("UniJIS-UCS2-H"), std::string("\x30\x42\x00\x41", 4)),
            (CodePoints{0x3042, 0x41}));
  EXPECT_EQ(readString(composite("Identity-V"), std::string("\x00\x02\x00\x01", 4)),
            (CodePoints{0x21, 0xA0}));
  // A composite font whose CMap is not built in gives no text at all.
  EXPECT_TRUE(readString(composite("UniGB-UCS2-H"), std::string("\x30\x42", 2)).empty());

  // Identity-H strings are cut into two-byte codes even when the ToUnicode
  // CMap declares a one-byte code space.
  doc.putStream(30, "1 begincodespacerange <00> <FF> endcodespacerange\n"
                    "2 beginbfchar <0048> <0048> <0069> <0069> endbfchar\n");
  FontInfo identity = doc.build({{"Subtype", name("Type0")}, {"Encoding", name("Identity-H")},
                                 {"ToUnicode", reference(30)}});
  EXPECT_EQ(readString(identity, std::string("\x00\x48\x00\x69", 4)), (CodePoints{'H', 'i'}));

  // Fonts that use a predefined CMap look codes up in the compiled-in table
  // instead of copying its thousands of entries.
  EXPECT_LT(identity.memory(), 4096u);
}

}  // namespace
}  // namespace zopra::pdf
