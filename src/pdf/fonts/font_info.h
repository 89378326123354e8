// The description of a font that text extraction needs: how shown strings are
// cut into character codes, what each code means in Unicode, and glyph widths.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zopra::pdf {

struct CodeSpaceRange {
  std::uint32_t byteLength = 1;
  std::uint32_t low = 0;
  std::uint32_t high = 0;
};

struct FontInfo {
  // "Subtype" is Type0.
  bool composite = false;
  // "BaseFont" as written; empty when absent.
  std::string baseFont;
  // "Encoding" when it is a Name.
  std::string encodingName;
  // The encoding named a predefined CMap whose table was loaded.
  bool predefinedCMap = false;
  // Byte lengths a code may have; the first is used when no range matches.
  std::vector<std::uint32_t> codeLengths{1};
  // Code space ranges from a predefined CMap or the ToUnicode CMap; empty
  // means every code has the length codeLengths.front().
  std::vector<CodeSpaceRange> codeSpace;
  // ToUnicode: (byte length, code) -> code points; an empty target suppresses the code.
  std::map<std::pair<std::uint32_t, std::uint32_t>, std::vector<std::uint32_t>> toUnicode;
  // Encoding, Differences, embedded Type 1 encoding or predefined CMap: code -> code point.
  std::map<std::uint32_t, std::uint32_t> codeToUnicode;
  // Explicit widths in thousandths of an em.
  std::map<std::uint32_t, double> widths;
  double defaultWidth = 0;
  // Width of the space glyph, computed once by the interpreter; negative until then.
  double spaceWidth = -1;

  // The Unicode text of one code (byteLength is how many bytes it occupied).
  std::vector<std::uint32_t> map(std::uint32_t byteLength, std::uint32_t code) const;
  // The code's width from the table, else the default width.
  double width(std::uint32_t code) const;
  // Cuts the next code from `bytes` at `position` (which must be below the
  // size), advances `position` past it and reports its byte length.
  std::uint32_t nextCode(std::string_view bytes, std::size_t& position,
                         std::uint32_t& byteLength) const;
};

}  // namespace zopra::pdf
