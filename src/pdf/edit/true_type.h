// A small, strict reader of the TrueType font files used to draw new text.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pdf/model/value.h"

namespace zopra::pdf {

// Reads only what drawing needs: the global metrics, the advance width of
// every glyph and a Unicode character map. Outlines are never looked at,
// because the whole file is embedded unchanged. Any structural fault throws
// Exception(Error::Format, ...) from the constructor, so a constructed reader
// is always usable.
class TrueType {
 public:
  explicit TrueType(Bytes data);

  // Glyph index of a Unicode code point, 0 when the font has none. Throws
  // "truncated TrueType font" when the character map runs past the file.
  std::uint16_t glyph(std::uint32_t codepoint) const;

  Bytes bytes;  // the font file, kept whole for embedding
  std::uint16_t unitsPerEm = 1000;
  std::int16_t xMin = 0;
  std::int16_t yMin = 0;
  std::int16_t xMax = 0;
  std::int16_t yMax = 0;
  std::int16_t ascender = 0;
  std::int16_t descender = 0;
  std::vector<std::uint16_t> advances;  // font units, one per glyph
  // The font's PostScript name (name table, name 6) cut to the characters
  // of a PDF name, at most 63; "" when the font has none.
  std::string postScriptName;

 private:
  std::uint64_t cmapOffset_ = 0;  // chosen subtable, from the start of the file
  std::uint16_t cmapFormat_ = 0;  // 4 or 12
  // Glyphs of the Basic Multilingual Plane looked up so far, as glyph + 1
  // (0: not yet). Drawing looks up every character of every text; the
  // character map's search reads the file's bytes each time. A reader
  // belongs to one document, used by one thread at a time.
  mutable std::vector<std::uint32_t> known_;
};

}  // namespace zopra::pdf
