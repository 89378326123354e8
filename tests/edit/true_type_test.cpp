#include "pdf/edit/true_type.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "pdf/model/error.h"
#include "support/test_files.h"
#include "support/true_type_builder.h"

namespace zopra::pdf {
namespace {

using namespace test::font;

// A valid font of 4 glyphs mapping 'A'..'C' to 1..3, cmap last in the file.
std::vector<Table> tables(
    std::string cmapData = cmap({{3, 1,
                                  format4({{0x41, 0x43, 0xFFC0, {}}, {0xFFFF, 0xFFFF, 1, {}}})}})) {
  return {{"head", head()},
          {"hhea", hhea(2)},
          {"maxp", maxp(4)},
          {"hmtx", hmtx({500, 600})},
          {"cmap", std::move(cmapData)}};
}

// tables() with one table's data replaced and that table moved to the end.
Bytes lastReplaced(const std::string& tag, const std::string& data) {
  std::vector<Table> list = tables();
  std::erase_if(list, [&](const Table& t) { return t.tag == tag; });
  list.push_back({tag, data});
  return fontFile(list);
}

Bytes without(std::initializer_list<std::string> tags) {
  std::vector<Table> list = tables();
  for (const std::string& tag : tags)
    std::erase_if(list, [&](const Table& t) { return t.tag == tag; });
  return fontFile(list);
}

std::string loadError(const Bytes& file) {
  try {
    TrueType font(file);
  } catch (const Exception& e) {
    EXPECT_EQ(e.kind(), Error::Format);
    return e.message();
  }
  return "(loaded)";
}

TEST(TrueType, StructuralFaults) {
  Bytes shortDirectory = fontFile({});
  shortDirectory[5] = 1;  // one table record, one byte short of it
  shortDirectory.resize(27);
  const auto cmapLength = [](std::uint8_t length) {
    Bytes file = fontFile(tables());
    file[12 + 16 * 4 + 15] = length;
    return file;
  };
  const std::size_t cmapSize = tables().back().data.size();
  std::string farSubtable = cmap({{3, 1, format4({})}});
  farSubtable[8] = 0x7F;
  const struct {
    const char* name;
    Bytes file;
    std::string message;
  } cases[] = {
      {"short", Bytes(11, 0), "invalid TrueType font"},
      {"OTTO", fontFile(tables(), 0x4F54544F), "only TrueType outlines are supported"},
      {"true", fontFile(tables(), 0x74727565), "(loaded)"},
      {"directory", shortDirectory, "truncated TrueType table directory"},
      {"exact end", cmapLength(static_cast<std::uint8_t>(cmapSize)), "(loaded)"},
      {"past end", cmapLength(static_cast<std::uint8_t>(cmapSize + 1)), "invalid TrueType table"},
      {"head", without({"head"}), "missing TrueType head table"},
      {"hhea", without({"hhea"}), "missing TrueType hhea table"},
      {"maxp", without({"maxp"}), "missing TrueType maxp table"},
      {"hmtx", without({"hmtx"}), "missing TrueType hmtx table"},
      {"cmap", without({"cmap"}), "missing TrueType cmap table"},
      {"head field", lastReplaced("head", head().substr(0, 43)), "truncated TrueType font"},
      {"hmtx short", lastReplaced("hmtx", hmtx({500})), "truncated TrueType font"},
      {"no metrics", lastReplaced("hhea", hhea(0)), "invalid TrueType metrics"},
      {"no glyphs", lastReplaced("maxp", maxp(0)), "invalid TrueType metrics"},
      {"no cmaps", fontFile(tables(cmap({}))), "TrueType font has no supported Unicode cmap"},
      {"unusable cmaps",
       fontFile(tables(cmap({{1, 0, format4({})}, {3, 1, format12({})}, {3, 0, format4({})}}))),
       "TrueType font has no supported Unicode cmap"},
      {"subtable past end", fontFile(tables(farSubtable)), "truncated TrueType font"},
  };
  for (const auto& c : cases) EXPECT_EQ(loadError(c.file), c.message) << c.name;
}

// ---- A real font, judged by fontTools -------------------------------------

std::string fontToolsPython() {
  for (const char* python : {"python3", "/usr/bin/python3"}) {
    if (test::run(std::string(python) + " -c 'import fontTools' >/dev/null 2>&1") == 0)
      return python;
  }
  return "";
}

// Every code point of each font's Unicode map, a sample of code points it
// lacks, the metrics and every advance width, as fontTools reads them.
TEST(TrueType, RealFontsAgreeWithFontTools) {
  const std::string python = fontToolsPython();
  if (python.empty()) GTEST_SKIP() << "python3 with fontTools is not available";
  const std::string script = test::writeTempFile(
      "true_type_oracle.py",
      "import sys\nfrom fontTools.ttLib import TTFont\nf = TTFont(sys.argv[1])\n"
      "h, hh = f['head'], f['hhea']\n"
      "print(h.unitsPerEm, h.xMin, h.yMin, h.xMax, h.yMax, hh.ascent, hh.descent, f['maxp'].numGlyphs)\n"
      "print(' '.join(str(f['hmtx'][n][0]) for n in f.getGlyphOrder()))\n"
      "m = f.getBestCmap()\n"
      "absent = [c for c in range(0, 0x110000, 251) if c not in m]\n"
      "print(len(m) + len(absent))\n"
      "for c, n in sorted(m.items()): print(c, f.getGlyphID(n))\n"
      "for c in absent: print(c, 0)\n");
  const std::vector<std::string> fonts = {
      "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf",          // formats 4 and 12, astral planes
      "/usr/share/fonts/truetype/dejavu/DejaVuSerif-Bold.ttf",
      "/usr/share/fonts/truetype/liberation/LiberationSans-Regular.ttf",
      "/usr/share/fonts/truetype/liberation/LiberationSerif-Italic.ttf",
      "/usr/share/fonts/truetype/liberation/LiberationMono-Regular.ttf",
  };
  std::size_t checked = 0;
  for (const std::string& path : fonts) {
    if (!std::filesystem::exists(path)) continue;  // fonts-dejavu-core, fonts-liberation
    SCOPED_TRACE(path);
    const std::string outPath = test::tempDirectory() + "/true_type_oracle.txt";
    ASSERT_EQ(test::run(python + " " + script + " " + path + " > " + outPath), 0);
    std::istringstream oracle(test::readFile(outPath));
    const std::string file = test::readFile(path);
    const TrueType font(Bytes(file.begin(), file.end()));
    std::vector<long> metrics(8);
    for (long& value : metrics) oracle >> value;
    ASSERT_TRUE(oracle);
    EXPECT_EQ(metrics, (std::vector<long>{font.unitsPerEm, font.xMin, font.yMin, font.xMax, font.yMax,
                                          font.ascender, font.descender,
                                          static_cast<long>(font.advances.size())}))
        << "units per em, bbox, ascender, descender, glyph count";
    std::vector<std::uint16_t> advances(static_cast<std::size_t>(metrics[7]));
    for (std::uint16_t& advance : advances) oracle >> advance;
    EXPECT_EQ(font.advances, advances);
    std::size_t entries = 0;
    oracle >> entries;
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < entries; ++i) {
      std::uint32_t codepoint = 0;
      std::uint16_t glyph = 0;
      oracle >> codepoint >> glyph;
      ASSERT_TRUE(oracle);
      if (font.glyph(codepoint) != glyph && ++wrong <= 5) {
        ADD_FAILURE() << "U+" << std::hex << codepoint << std::dec << ": " << font.glyph(codepoint)
                      << " instead of " << glyph;
      }
    }
    EXPECT_EQ(wrong, 0u) << "of " << entries << " code points";
    ++checked;
  }
  if (checked == 0) GTEST_SKIP() << "neither fonts-dejavu-core nor fonts-liberation is installed";
  const std::string dejaVu = test::readFile(fonts[0]);
  if (!dejaVu.empty()) {
    // The astral lookup really goes through the format 12 subtable.
    EXPECT_NE(TrueType(Bytes(dejaVu.begin(), dejaVu.end())).glyph(0x10300), 0);
  }
}

}  // namespace
}  // namespace zopra::pdf
