// The description of a font that text extraction needs: how shown strings are
// cut into character codes, what each code means in Unicode, and glyph widths.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "pdf/fonts/font_style.h"
#include "pdf/fonts/glyph_widths.h"

namespace zopra::pdf {

struct CodeSpaceRange {
  std::uint32_t byteLength = 1;
  std::uint32_t low = 0;
  std::uint32_t high = 0;
};

struct PredefinedCMapTable;

// A parsed ToUnicode CMap: source codes, with the byte length they were
// written with, to sequences of code points. Shared by every font that names
// the same stream.
struct ToUnicodeMap {
  struct Entry {
    std::uint32_t byteLength;
    std::uint32_t code;
    // The target: `count` code points of `points` from `offset`; an empty
    // target suppresses the code.
    std::uint32_t offset;
    std::uint32_t count;
  };
  // Sorted by (byte length, code); one entry per source code.
  std::vector<Entry> entries;
  std::vector<std::uint32_t> points;
  std::vector<CodeSpaceRange> codeSpace;

  const Entry* find(std::uint32_t byteLength, std::uint32_t code) const;
  std::vector<std::uint32_t> target(const Entry& entry) const;
  // Bytes held, for the caches' budgets.
  std::size_t memory() const;
};

// What each one-byte code of a font shows, worked out once so that long
// runs of text in simple fonts need no lookup per glyph: the item text in
// UTF-8 (as the text runs write it) and the glyph width.
struct ByteCodes {
  std::array<double, 256> widths{};
  // Whether the code shows text at all (it maps to at least one code point).
  std::array<bool, 256> shown{};
  // The text of code c is text[start[c], start[c + 1]).
  std::array<std::uint32_t, 257> start{};
  std::string text;
};

struct FontInfo {
  // "Subtype" is Type0.
  bool composite = false;
  // "BaseFont" as written; empty when absent. Set it with setBaseFont, which
  // also decides the families below.
  std::string baseFont;
  // "Encoding" when it is a Name.
  std::string encodingName;
  // The predefined CMap that the encoding names, or null.
  const PredefinedCMapTable* predefined = nullptr;
  // Byte lengths a code may have; the first is used when no range matches.
  std::vector<std::uint32_t> codeLengths{1};
  // Code space ranges of the encoding CMap (or, for a composite font without
  // a predefined CMap, of its ToUnicode CMap); empty means every code has
  // the length codeLengths.front().
  std::vector<CodeSpaceRange> codeSpace;
  // The ToUnicode CMap, or null.
  std::shared_ptr<const ToUnicodeMap> toUnicode;
  // Encoding Differences or embedded Type 1 encoding: code -> code point.
  std::map<std::uint32_t, std::uint32_t> codeToUnicode;
  // Explicit widths in thousandths of an em.
  GlyphWidths widths;
  double defaultWidth = 0;
  // Name, weight, slant and extent, shared with every item shown in the
  // font; null only for a font value that is not a dictionary.
  std::shared_ptr<const FontStyle> style;
  // Width of the space glyph, computed once by the interpreter; negative until then.
  double spaceWidth = -1;

  // Families of the base font name, decided once rather than searched for
  // in the name at every glyph.
  bool computerModernSymbols = false;  // "CMSY"
  bool computerModernText = false;     // "CMR", "CMBX", "CMTI", "CMTT"
  // The space of a predefined CMap, the Japanese fonts and the TeX families:
  // a tenth of the font size.
  bool narrowSpace = false;
  // The fallback space width as a fraction of the font size.
  double spaceFallback = 0.25;

  void setBaseFont(std::string name);
  // The Unicode text of one code (byteLength is how many bytes it occupied).
  std::vector<std::uint32_t> map(std::uint32_t byteLength, std::uint32_t code) const;
  // The code's width from the table, else the default width.
  double width(std::uint32_t code) const;
  // Cuts the next code from `bytes` at `position` (which must be below the
  // size), advances `position` past it and reports its byte length.
  std::uint32_t nextCode(std::string_view bytes, std::size_t& position,
                         std::uint32_t& byteLength) const;
  // Bytes held by this font alone (a shared ToUnicode map is not counted).
  std::size_t memory() const;
  // The table of every one-byte code, when each code of the font is one
  // byte (no code space ranges, a nominal length of 1); null otherwise.
  // Built on first use from map() and width(): the fields it reads must not
  // change afterwards.
  const ByteCodes* byteCodes() const;

 private:
  mutable std::shared_ptr<const ByteCodes> byteCodes_;
  mutable bool byteCodesTried_ = false;
};

}  // namespace zopra::pdf
