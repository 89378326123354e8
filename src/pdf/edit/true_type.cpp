#include "pdf/edit/true_type.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "pdf/model/error.h"
#include "pdf/write/value_writer.h"

namespace zopra::pdf {
namespace {

constexpr std::uint32_t kVersionTrueType = 0x00010000;
constexpr std::uint32_t kVersionApple = 0x74727565;  // "true"

[[noreturn]] void fail(const char* message) { throw Exception(Error::Format, message); }

// Offsets are 64-bit so that a 32-bit table offset plus a field position can
// never wrap around and pass the bounds check.
std::uint16_t read16(const Bytes& data, std::uint64_t offset) {
  if (offset > data.size() || data.size() - offset < 2) fail("truncated TrueType font");
  return static_cast<std::uint16_t>((data[offset] << 8) | data[offset + 1]);
}

std::uint32_t read32(const Bytes& data, std::uint64_t offset) {
  if (offset > data.size() || data.size() - offset < 4) fail("truncated TrueType font");
  return (std::uint32_t{data[offset]} << 24) | (std::uint32_t{data[offset + 1]} << 16) |
         (std::uint32_t{data[offset + 2]} << 8) | std::uint32_t{data[offset + 3]};
}

std::int16_t readSigned16(const Bytes& data, std::uint64_t offset) {
  return static_cast<std::int16_t>(read16(data, offset));
}

// Tag -> offset of the table; the length is only needed for validation.
using TableDirectory = std::map<std::string, std::uint32_t>;

TableDirectory readTableDirectory(const Bytes& data) {
  TableDirectory tables;
  const std::uint16_t count = read16(data, 4);
  for (std::uint64_t i = 0; i < count; ++i) {
    const std::uint64_t record = 12 + 16 * i;
    if (record + 16 > data.size()) fail("truncated TrueType table directory");
    const std::uint32_t offset = read32(data, record + 8);
    const std::uint32_t length = read32(data, record + 12);
    if (offset > data.size() || length > data.size() - offset) fail("invalid TrueType table");
    // A repeated tag keeps its later record.
    tables[std::string(data.begin() + record, data.begin() + record + 4)] = offset;
  }
  return tables;
}

std::uint64_t findTable(const TableDirectory& tables, const std::string& tag) {
  const auto found = tables.find(tag);
  if (found == tables.end()) throw Exception(Error::Format, "missing TrueType " + tag + " table");
  return found->second;
}

// Preference among Unicode subtables; 0 means not usable.
int cmapScore(std::uint16_t format, std::uint16_t platform, std::uint16_t encoding) {
  if (format == 12) {
    if (platform == 3 && encoding == 10) return 5;
    if (platform == 0) return 4;
  } else if (format == 4) {
    if (platform == 3 && (encoding == 1 || encoding == 10)) return 3;
    if (platform == 0) return 2;
  }
  return 0;
}

std::uint16_t glyphFormat4(const Bytes& data, std::uint64_t table, std::uint32_t codepoint) {
  if (codepoint > 0xFFFF) return 0;
  std::uint64_t segCountX2 = read16(data, table + 6);
  if (segCountX2 < 2) return 0;
  segCountX2 &= ~std::uint64_t{1};
  // The first segment whose end code reaches the code point: end codes
  // ascend, so a binary search finds it (fonts have thousands of segments).
  std::uint64_t low = 0;
  std::uint64_t high = segCountX2 / 2;
  while (low < high) {
    const std::uint64_t middle = (low + high) / 2;
    if (read16(data, table + 14 + 2 * middle) < codepoint) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  const std::uint64_t position = 2 * low;
  if (position == segCountX2) return 0;
  const std::uint32_t start = read16(data, table + 16 + segCountX2 + position);
  if (start > codepoint) return 0;
  const std::uint32_t delta = read16(data, table + 16 + 2 * segCountX2 + position);
  const std::uint64_t rangeEntry = table + 16 + 3 * segCountX2 + position;
  const std::uint32_t rangeOffset = read16(data, rangeEntry);
  if (rangeOffset == 0) return static_cast<std::uint16_t>(codepoint + delta);
  // The range offset counts from its own entry in the idRangeOffset array.
  const std::uint32_t glyph = read16(data, rangeEntry + rangeOffset + 2 * (codepoint - start));
  if (glyph == 0) return 0;
  return static_cast<std::uint16_t>(glyph + delta);
}

std::uint16_t glyphFormat12(const Bytes& data, std::uint64_t table, std::uint32_t codepoint) {
  const std::uint32_t groups = read32(data, table + 12);
  std::uint64_t low = 0;
  std::uint64_t high = groups;
  while (low < high) {
    const std::uint64_t middle = (low + high) / 2;
    const std::uint64_t group = table + 16 + 12 * middle;
    const std::uint32_t start = read32(data, group);
    const std::uint32_t end = read32(data, group + 4);
    if (start <= codepoint && end >= codepoint) {
      // Glyph indices are 16-bit: the cast keeps the sum modulo 65536.
      return static_cast<std::uint16_t>(codepoint - start + read32(data, group + 8));
    }
    if (start <= codepoint) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return 0;
}

// PostScript names are at most 63 characters long.
constexpr std::size_t kMaxNameLength = 63;
constexpr std::uint16_t kPostScriptNameId = 6;

// The PostScript name (name 6) of the name table at `table`: the Windows or
// Unicode record (UTF-16BE) before the Macintosh one (one byte a
// character). Only the characters of a PDF name are kept. A damaged table
// gives "" rather than refusing a font that draws well.
std::string readPostScriptName(const Bytes& data, std::uint64_t table) {
  try {
    const std::uint16_t count = read16(data, table + 2);
    const std::uint64_t strings = table + read16(data, table + 4);
    int bestScore = 0;
    std::string best;
    for (std::uint64_t i = 0; i < count; ++i) {
      const std::uint64_t record = table + 6 + 12 * i;
      const std::uint16_t platform = read16(data, record);
      if (read16(data, record + 6) != kPostScriptNameId) continue;
      const int score = platform == 3 ? 3 : platform == 0 ? 2 : platform == 1 ? 1 : 0;
      if (score <= bestScore) continue;
      const std::uint64_t length = read16(data, record + 8);
      const std::uint64_t start = strings + read16(data, record + 10);
      if (start > data.size() || length > data.size() - start) continue;
      const std::uint64_t step = platform == 1 ? 1 : 2;
      std::string name;
      for (std::uint64_t k = 0; k + step <= length && name.size() < kMaxNameLength; k += step) {
        const std::uint32_t c = step == 1 ? data[start + k] : read16(data, start + k);
        // Only characters a PDF name takes without # escapes.
        if (c <= 0xFF && !nameNeedsEscape(static_cast<unsigned char>(c))) name.push_back(static_cast<char>(c));
      }
      if (name.empty()) continue;
      bestScore = score;
      best = std::move(name);
    }
    return best;
  } catch (const Exception&) {
    return {};
  }
}

}  // namespace

TrueType::TrueType(Bytes data) : bytes(std::move(data)) {
  if (bytes.size() < 12) fail("invalid TrueType font");
  const std::uint32_t version = read32(bytes, 0);
  if (version != kVersionTrueType && version != kVersionApple) {
    fail("only TrueType outlines are supported");
  }

  const TableDirectory tables = readTableDirectory(bytes);
  const std::uint64_t head = findTable(tables, "head");
  const std::uint64_t hhea = findTable(tables, "hhea");
  const std::uint64_t maxp = findTable(tables, "maxp");
  const std::uint64_t hmtx = findTable(tables, "hmtx");
  const std::uint64_t cmap = findTable(tables, "cmap");

  unitsPerEm = read16(bytes, head + 18);
  xMin = readSigned16(bytes, head + 36);
  yMin = readSigned16(bytes, head + 38);
  xMax = readSigned16(bytes, head + 40);
  yMax = readSigned16(bytes, head + 42);
  ascender = readSigned16(bytes, hhea + 4);
  descender = readSigned16(bytes, hhea + 6);
  const std::uint16_t metricCount = read16(bytes, hhea + 34);
  const std::uint16_t glyphCount = read16(bytes, maxp + 4);
  if (metricCount == 0 || glyphCount == 0) fail("invalid TrueType metrics");

  // Fonts may store fewer full metrics than glyphs; the glyphs after the last
  // one share its advance.
  advances.reserve(glyphCount);
  const std::uint64_t fullMetrics = std::min(glyphCount, metricCount);
  for (std::uint64_t i = 0; i < fullMetrics; ++i) advances.push_back(read16(bytes, hmtx + 4 * i));
  const std::uint16_t lastAdvance = advances.back();
  advances.resize(glyphCount, lastAdvance);

  const std::uint16_t subtableCount = read16(bytes, cmap + 2);
  int bestScore = 0;
  for (std::uint64_t i = 0; i < subtableCount; ++i) {
    const std::uint64_t record = cmap + 4 + 8 * i;
    const std::uint16_t platform = read16(bytes, record);
    const std::uint16_t encoding = read16(bytes, record + 2);
    const std::uint64_t subtable = cmap + read32(bytes, record + 4);
    const std::uint16_t format = read16(bytes, subtable);
    const int score = cmapScore(format, platform, encoding);
    if (score > bestScore) {
      bestScore = score;
      cmapOffset_ = subtable;
      cmapFormat_ = format;
    }
  }
  if (bestScore == 0) fail("TrueType font has no supported Unicode cmap");

  const auto name = tables.find("name");
  if (name != tables.end()) postScriptName = readPostScriptName(bytes, name->second);
}

std::uint16_t TrueType::glyph(std::uint32_t codepoint) const {
  if (codepoint <= 0xFFFF && !known_.empty() && known_[codepoint] != 0) {
    return static_cast<std::uint16_t>(known_[codepoint] - 1);
  }
  std::uint16_t found = 0;
  if (cmapFormat_ == 4) found = glyphFormat4(bytes, cmapOffset_, codepoint);
  if (cmapFormat_ == 12) found = glyphFormat12(bytes, cmapOffset_, codepoint);
  if (codepoint <= 0xFFFF) {
    if (known_.empty()) known_.assign(0x10000, 0);
    known_[codepoint] = std::uint32_t{found} + 1;
  }
  return found;
}

}  // namespace zopra::pdf
