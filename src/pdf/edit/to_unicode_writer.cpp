// The ToUnicode CMap written for an embedded font: two-byte glyph codes
// (Identity-H) to UTF-16 text.
#include <cstdint>
#include <map>
#include <string>

#include "pdf/edit/text_drawing.h"

namespace zopra::pdf {

namespace {

// Readers accept at most 100 entries between beginbfchar and endbfchar.
constexpr std::size_t kBlockSize = 100;

void appendHex16(std::string& out, std::uint32_t unit) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  for (int shift = 12; shift >= 0; shift -= 4) out += kDigits[(unit >> shift) & 0xF];
}

void appendUtf16(std::string& out, std::uint32_t codePoint) {
  if (codePoint < 0x10000) {
    appendHex16(out, codePoint);
    return;
  }
  appendHex16(out, 0xD800 + ((codePoint - 0x10000) >> 10));
  appendHex16(out, 0xDC00 + (codePoint & 0x3FF));
}

}  // namespace

std::string makeToUnicode(const std::map<std::uint16_t, std::uint32_t>& glyphToUnicode) {
  std::string out =
      "/CIDInit /ProcSet findresource begin\n12 dict begin\nbegincmap\n"
      "/CIDSystemInfo << /Registry (Adobe) /Ordering (UCS) /Supplement 0 >> def\n"
      "/CMapName /ZopraToUnicode def\n/CMapType 2 def\n"
      "1 begincodespacerange\n<0000> <FFFF>\nendcodespacerange\n";
  auto entry = glyphToUnicode.begin();
  std::size_t left = glyphToUnicode.size();
  while (left > 0) {
    const std::size_t count = left < kBlockSize ? left : kBlockSize;
    out += std::to_string(count) + " beginbfchar\n";
    for (std::size_t i = 0; i < count; ++i, ++entry) {
      out += '<';
      appendHex16(out, entry->first);
      out += "> <";
      appendUtf16(out, entry->second);
      out += ">\n";
    }
    out += "endbfchar\n";
    left -= count;
  }
  out += "endcmap\nCMapName currentdict /CMap defineresource pop\nend\nend\n";
  return out;
}

}  // namespace zopra::pdf
