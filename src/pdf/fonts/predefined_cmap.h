// Built-in Adobe-Japan1 CMaps: character code to Unicode, compiled in.
#pragma once

#include <cstdint>
#include <string>

#include "pdf/fonts/font_info.h"

namespace zopra::pdf {

struct CMapEntry {
  // 1, 2 or 4; 255 marks the terminator entry (code and code point 0xFFFFFFFF).
  std::uint32_t byteLength;
  std::uint32_t code;
  std::uint32_t codePoint;
};

struct PredefinedCMapTable;

// The table of a predefined CMap name ("-H"/"-V" share one table), or null.
const CMapEntry* predefinedCMap(const std::string& name);
// The whole record of that table (entries, their count, code space), or null.
const PredefinedCMapTable* findPredefinedCMap(const std::string& name);
// The code point the table gives `code` (of the shortest byte length that
// has it), or 0. A binary search in the compiled-in table: fonts that use a
// predefined CMap do not copy it.
std::uint32_t predefinedCodePoint(const PredefinedCMapTable& table, std::uint32_t code);

// The code space ranges of the same CMap, ending with an entry whose byte
// length is 255; null when the name is unknown.
const CodeSpaceRange* predefinedCodeSpace(const std::string& name);

}  // namespace zopra::pdf
