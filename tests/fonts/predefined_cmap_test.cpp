#include "pdf/fonts/predefined_cmap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "pdf/fonts/predefined_cmap_tables.h"

namespace zopra::pdf {
namespace {

std::vector<CMapEntry> entriesOf(const CMapEntry* table) {
  std::vector<CMapEntry> out;
  for (; table->byteLength <= 254; ++table) out.push_back(*table);
  return out;
}

std::optional<std::uint32_t> lookup(const std::string& name, std::uint32_t byteLength,
                                    std::uint32_t code) {
  const CMapEntry* table = predefinedCMap(name);
  if (!table) return std::nullopt;
  for (; table->byteLength <= 254; ++table)
    if (table->byteLength == byteLength && table->code == code) return table->codePoint;
  return std::nullopt;
}

TEST(PredefinedCMap, TellingRows) {
  const auto h = entriesOf(predefinedCMap("H"));
  ASSERT_GE(h.size(), 2u);
  EXPECT_EQ(h[0].byteLength, 2u);
  EXPECT_EQ(h[0].code, 0x2121u);
  EXPECT_EQ(h[0].codePoint, 0x2003u);
  EXPECT_EQ(h[1].code, 0x2122u);
  EXPECT_EQ(h[1].codePoint, 0x3001u);

  const auto identity = entriesOf(predefinedCMap("Identity-H"));
  ASSERT_GE(identity.size(), 2u);
  EXPECT_EQ(identity[0].byteLength, 2u);
  EXPECT_EQ(identity[0].code, 0x0001u);
  EXPECT_EQ(identity[0].codePoint, 0x00A0u);
  EXPECT_EQ(identity[1].code, 0x0002u);
  EXPECT_EQ(identity[1].codePoint, 0x0021u);

  const auto roman = entriesOf(predefinedCMap("Roman"));
  ASSERT_EQ(roman.size(), 95u);
  EXPECT_EQ(roman.front().byteLength, 1u);
  EXPECT_EQ(roman.front().code, 0x20u);
  EXPECT_EQ(roman.front().codePoint, 0x20u);
  EXPECT_EQ(roman.back().byteLength, 1u);
  EXPECT_EQ(roman.back().code, 0x7Eu);
  EXPECT_EQ(roman.back().codePoint, 0x7Eu);
  const CMapEntry& terminator = codeToUtf32TblForEncRoman[roman.size()];
  EXPECT_EQ(terminator.byteLength, 255u);
  EXPECT_EQ(terminator.code, 0xFFFFFFFFu);
  EXPECT_EQ(terminator.codePoint, 0xFFFFFFFFu);

  for (const char* name : {"UniJIS-UTF32-H", "UniJIS2004-UTF32-H", "UniJISX0213-UTF32-H",
                           "UniJISX02132004-UTF32-H"}) {
    const auto entries = entriesOf(predefinedCMap(name));
    ASSERT_FALSE(entries.empty()) << name;
    for (const CMapEntry& entry : entries) ASSERT_EQ(entry.byteLength, 4u) << name;
  }
}

TEST(PredefinedCMap, NamesSelectTables) {
  EXPECT_EQ(predefinedCMap("90ms-RKSJ-V"), predefinedCMap("90ms-RKSJ-H"));
  EXPECT_EQ(predefinedCMap("90ms-RKSJ-H"), codeToUtf32TblForEnc90ms_rksj);
  EXPECT_EQ(predefinedCMap("Identity-V"), codeToUtf32TblForEncIdentity);
  EXPECT_EQ(predefinedCMap("UniJIS-UCS2-HW-H"), codeToUtf32TblForEncUnijis_ucs2_hw);
  EXPECT_EQ(predefinedCMap("UniJIS-UCS2-H"), codeToUtf32TblForEncUnijis_ucs2);
  EXPECT_EQ(predefinedCMap("H"), codeToUtf32TblForEncH);
  EXPECT_EQ(predefinedCMap("WP-Symbol"), codeToUtf32TblForEncWp_Symbol);
  EXPECT_EQ(predefinedCMap("78-EUC-H"), codeToUtf32TblForEnc78_euc);
  for (const char* name : {"V", "-H", "", "UniGB-UCS2-H", "identity-H", "Identity-H-V",
                           "Adobe-Japan1-UCS2", "RKSJ-X"}) {
    EXPECT_EQ(predefinedCMap(name), nullptr) << name;
    EXPECT_EQ(predefinedCodeSpace(name), nullptr) << name;
  }
  EXPECT_EQ(predefinedCMapTableCount, 32u);
  for (std::size_t i = 0; i < predefinedCMapTableCount; ++i) {
    const std::string name = predefinedCMapTables[i].name;
    EXPECT_EQ(predefinedCMap(name + "-V"), predefinedCMapTables[i].entries) << name;
    EXPECT_EQ(predefinedCodeSpace(name + "-H"), predefinedCMapTables[i].codeSpace) << name;
  }
}

TEST(PredefinedCMap, AgreesWithCMapFiles) {
  EXPECT_EQ(lookup("90ms-RKSJ-H", 2, 0x82A0), 0x3042u);  // hiragana a
  EXPECT_EQ(lookup("90ms-RKSJ-H", 1, 0xB1), 0xFF71u);    // half-width katakana a
  EXPECT_EQ(lookup("90ms-RKSJ-H", 2, 0x889F), 0x4E9Cu);
  EXPECT_EQ(lookup("EUC-H", 2, 0xA4A2), 0x3042u);
  EXPECT_EQ(lookup("H", 2, 0x2422), 0x3042u);
  EXPECT_EQ(lookup("UniJIS-UCS2-H", 2, 0x3042), 0x3042u);
  EXPECT_EQ(lookup("UniJIS-UTF8-H", 2, 0xE38182), 0x3042u);
  EXPECT_EQ(lookup("UniJIS-UTF8-H", 1, 0x41), 0x41u);
  EXPECT_EQ(lookup("UniJIS2004-UTF16-H", 4, 0xD840DC0B), 0x2000Bu);
  EXPECT_EQ(lookup("UniJIS-UTF32-H", 4, 0x3042), 0x3042u);
  EXPECT_EQ(entriesOf(predefinedCMap("Hiragana")).front().codePoint, 0xFF61u);
  EXPECT_EQ(entriesOf(predefinedCMap("Katakana")).front().codePoint, 0xFF61u);
  // Codes whose CID has no Unicode value are left out.
  EXPECT_FALSE(lookup("Hiragana", 1, 0x20));
  EXPECT_FALSE(lookup("Hiragana", 1, 0x26));
}

TEST(PredefinedCMap, TablesAreSortedAndInsideTheirCodeSpace) {
  for (std::size_t t = 0; t < predefinedCMapTableCount; ++t) {
    const std::string name = predefinedCMapTables[t].name;
    const bool utf8 = name.find("UTF8") != std::string::npos;
    std::vector<CodeSpaceRange> ranges;
    for (const CodeSpaceRange* r = predefinedCMapTables[t].codeSpace; r->byteLength != 255; ++r)
      ranges.push_back(*r);
    ASSERT_FALSE(ranges.empty()) << name;
    const auto entries = entriesOf(predefinedCMapTables[t].entries);
    ASSERT_FALSE(entries.empty()) << name;
    for (std::size_t i = 0; i < entries.size(); ++i) {
      const CMapEntry& e = entries[i];
      ASSERT_NE(e.codePoint, 0u) << name;
      ASSERT_LE(e.codePoint, 0x10FFFFu) << name;
      if (i > 0) {
        const CMapEntry& p = entries[i - 1];
        ASSERT_TRUE(p.byteLength < e.byteLength ||
                    (p.byteLength == e.byteLength && p.code < e.code))
            << name << " entry " << i;
      }
      bool inside = false;
      for (const CodeSpaceRange& r : ranges)
        inside = inside || ((utf8 || r.byteLength == e.byteLength) && e.code >= r.low &&
                            e.code <= r.high);
      ASSERT_TRUE(inside) << name << " code " << std::hex << e.code;
      if (utf8) {
        ASSERT_EQ(e.byteLength, e.code <= 0x7F ? 1u : 2u) << name;
      }
    }
  }
  const CodeSpaceRange* rksj = predefinedCodeSpace("90ms-RKSJ-V");
  ASSERT_NE(rksj, nullptr);
  bool singleKana = false, doubleByte = false;
  for (; rksj->byteLength != 255; ++rksj) {
    singleKana = singleKana || (rksj->byteLength == 1 && rksj->low == 0xA0 && rksj->high == 0xDF);
    doubleByte = doubleByte || (rksj->byteLength == 2 && rksj->low == 0x8140 && rksj->high == 0x9FFC);
  }
  EXPECT_TRUE(singleKana);
  EXPECT_TRUE(doubleByte);
  // UniJIS-UCS2-HW declares no code space of its own; it inherits its parent's.
  const CodeSpaceRange* hw = predefinedCodeSpace("UniJIS-UCS2-HW-H");
  ASSERT_NE(hw, nullptr);
  EXPECT_EQ(hw->byteLength, 2u);
  EXPECT_EQ(hw->high, 0xD7FFu);
}

}  // namespace
}  // namespace zopra::pdf
