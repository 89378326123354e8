// Writes small TrueType font files for tests: a table directory plus
// hand-made tables, each a few bytes, so that every field is under the
// test's control.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "pdf/model/value.h"

namespace zopra::test::font {

// Big-endian 16- and 32-bit fields.
std::string be16(std::initializer_list<std::uint32_t> values);
std::string be32(std::initializer_list<std::uint32_t> values);
std::string zeros(std::size_t count);
std::uint32_t size32(std::size_t size);

struct Table {
  std::string tag;
  std::string data;
};

// The directory and the tables in the order given.
pdf::Bytes fontFile(const std::vector<Table>& tables, std::uint32_t version = 0x00010000);

// bbox (-256 -512 2048 1792).
std::string head(std::uint32_t unitsPerEm = 2048);
// Ascender 1900, descender -100.
std::string hhea(std::uint32_t metricCount);
std::string maxp(std::uint32_t glyphCount);
// One advance (and a zero left side bearing) per entry.
std::string hmtx(const std::vector<std::uint32_t>& advances);

struct Segment {
  std::uint32_t start, end, delta;
  std::vector<std::uint32_t> glyphs;  // when present, reached through idRangeOffset
};
std::string format4(const std::vector<Segment>& segments);

struct Group {
  std::uint32_t start, end, glyph;
};
std::string format12(const std::vector<Group>& groups);

struct Subtable {
  std::uint32_t platform, encoding;
  std::string data;
};
std::string cmap(const std::vector<Subtable>& subtables);

}  // namespace zopra::test::font
