#include "support/true_type_builder.h"

namespace zopra::test::font {

std::string be16(std::initializer_list<std::uint32_t> values) {
  std::string out;
  for (std::uint32_t v : values) out += {static_cast<char>(v >> 8), static_cast<char>(v)};
  return out;
}
std::string be32(std::initializer_list<std::uint32_t> values) {
  std::string out;
  for (std::uint32_t v : values) out += be16({v >> 16, v & 0xFFFF});
  return out;
}
std::string zeros(std::size_t count) { return std::string(count, '\0'); }
std::uint32_t size32(std::size_t size) { return static_cast<std::uint32_t>(size); }

pdf::Bytes fontFile(const std::vector<Table>& tables, std::uint32_t version) {
  std::string out = be32({version}) + be16({size32(tables.size()), 0, 0, 0});
  std::uint32_t offset = size32(12 + 16 * tables.size());
  for (const Table& table : tables) {
    out += table.tag + be32({0, offset, size32(table.data.size())});
    offset += size32(table.data.size());
  }
  for (const Table& table : tables) out += table.data;
  return pdf::Bytes(out.begin(), out.end());
}

std::string head(std::uint32_t unitsPerEm) {
  return zeros(18) + be16({unitsPerEm}) + zeros(16) + be16({0xFF00, 0xFE00, 0x0800, 0x0700}) + zeros(10);
}
std::string hhea(std::uint32_t metricCount) {
  return be16({0, 0, 1900, 0xFF9C}) + zeros(26) + be16({metricCount});
}
std::string maxp(std::uint32_t glyphCount) { return be32({0x5000}) + be16({glyphCount}); }
std::string hmtx(const std::vector<std::uint32_t>& advances) {
  std::string out;
  for (std::uint32_t advance : advances) out += be16({advance, 0});
  return out;
}

std::string format4(const std::vector<Segment>& segments) {
  const std::uint32_t count = size32(segments.size());
  std::string ends, starts, deltas, rangeOffsets, glyphArray;
  for (std::uint32_t k = 0; k < count; ++k) {
    const Segment& s = segments[k];
    ends += be16({s.end});
    starts += be16({s.start});
    deltas += be16({s.delta});
    // idRangeOffset counts from its own entry to the segment's first glyph.
    rangeOffsets += be16({s.glyphs.empty() ? 0 : 2 * (count - k) + size32(glyphArray.size())});
    for (std::uint32_t g : s.glyphs) glyphArray += be16({g});
  }
  return be16({4, 0, 0, 2 * count, 0, 0, 0}) + ends + be16({0}) + starts + deltas + rangeOffsets +
         glyphArray;
}

std::string format12(const std::vector<Group>& groups) {
  std::string out =
      be16({12, 0}) + be32({size32(16 + 12 * groups.size()), 0, size32(groups.size())});
  for (const Group& g : groups) out += be32({g.start, g.end, g.glyph});
  return out;
}

std::string cmap(const std::vector<Subtable>& subtables) {
  std::string records = be16({0, size32(subtables.size())}), data;
  for (const Subtable& s : subtables) {
    records +=
        be16({s.platform, s.encoding}) + be32({size32(4 + 8 * subtables.size() + data.size())});
    data += s.data;
  }
  return records + data;
}

}  // namespace zopra::test::font
