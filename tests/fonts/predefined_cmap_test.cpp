// The compiled-in CMaps: values checked against the Adobe CMap files, and
// the choice of table by name.
#include "pdf/fonts/predefined_cmap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>


namespace zopra::pdf {
namespace {

std::vector<CMapEntry> entriesOf(const CMapEntry* table) {
  std::vector<CMapEntry> out;
  for (; table && table->byteLength <= 254; ++table) out.push_back(*table);
  return out;
}

std::optional<std::uint32_t> lookup(const std::string& name, std::uint32_t byteLength, std::uint32_t code) {
  for (const CMapEntry& entry : entriesOf(predefinedCMap(name))) {
    if (entry.byteLength == byteLength && entry.code == code) return entry.codePoint;
  }
  return std::nullopt;
}

TEST(PredefinedCMap, AgreesWithCMapFiles) {
  const struct {
    const char* name;
    std::uint32_t byteLength, code;
    std::optional<std::uint32_t> codePoint;
  } cases[] = {
      {"90ms-RKSJ-H", 2, 0x82A0, 0x3042},  // hiragana a
      {"90ms-RKSJ-V", 1, 0xB1, 0xFF71},    // half-width katakana a; -V shares -H's table
      {"EUC-H", 2, 0xA4A2, 0x3042},
      {"H", 2, 0x2422, 0x3042},
      {"Identity-H", 2, 0x0001, 0x00A0},
      {"Identity-V", 2, 0x0002, 0x0021},
      {"UniJIS-UCS2-H", 2, 0x3042, 0x3042},
      {"UniJIS-UTF8-H", 2, 0xE38182, 0x3042},
      {"UniJIS2004-UTF16-H", 4, 0xD840DC0B, 0x2000B},
      {"UniJIS-UTF32-H", 4, 0x3042, 0x3042},
      {"Roman", 1, 0x7E, 0x7E},
      // Codes whose CID has no Unicode value are left out.
      {"Hiragana", 1, 0x20, std::nullopt},
  };
  for (const auto& c : cases) EXPECT_EQ(lookup(c.name, c.byteLength, c.code), c.codePoint) << c.name << " " << c.code;
  EXPECT_EQ(entriesOf(predefinedCMap("Roman")).size(), 95u);
  EXPECT_EQ(entriesOf(predefinedCMap("Katakana")).front().codePoint, 0xFF61u);

  // Only whole known names ending in -H or -V select a table.
  for (const char* name : {"V", "-H", "", "UniGB-UCS2-H", "identity-H", "Identity-H-V", "Adobe-Japan1-UCS2",
                           "RKSJ-X"}) {
    EXPECT_EQ(predefinedCMap(name), nullptr) << name;
    EXPECT_EQ(predefinedCodeSpace(name), nullptr) << name;
  }
}

}  // namespace
}  // namespace zopra::pdf
