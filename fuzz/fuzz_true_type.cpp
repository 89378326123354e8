// Fuzz target: the input is a TrueType font file. A font that loads must
// answer every glyph lookup, from a glyph index within its table or 0, or
// with the reader's own exception. The glyphs found are then kept in a
// subset, as the compact writer does, which either fails or gives a font.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <set>

#include "pdf/edit/true_type.h"
#include "pdf/model/error.h"
#include "pdf/write/font_subset.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::unique_ptr<zopra::pdf::TrueType> font;
  try {
    font = std::make_unique<zopra::pdf::TrueType>(zopra::pdf::Bytes(data, data + size));
  } catch (const zopra::pdf::Exception&) {
    return 0;
  }
  require(!font->advances.empty() && font->advances.size() <= 65535);
  require(font->bytes.size() == size);
  // The name goes into PDF names as it is: short, printable, no delimiters.
  require(font->postScriptName.size() <= 63);
  for (char c : font->postScriptName) {
    require(c > 0x20 && c < 0x7F && c != '/' && c != '#' && c != '(' && c != ')' && c != '<' && c != '>' &&
            c != '[' && c != ']' && c != '{' && c != '}' && c != '%');
  }
  // A spread of code points: ASCII, Latin, CJK, the last of the BMP, astral
  // ones and values no font can have, plus a few taken from the input.
  std::uint32_t points[] = {0, 32, 65, 0xE9, 0x20AC, 0x4E00, 0xFFFF, 0x10000, 0x1F600, 0x10FFFF, 0xFFFFFFFF, 0, 0, 0};
  for (std::size_t i = 0; i < 3 && i * 4 + 3 < size; ++i) {
    points[11 + i] = static_cast<std::uint32_t>(data[i * 4]) << 24 | data[i * 4 + 1] << 16 |
                     data[i * 4 + 2] << 8 | data[i * 4 + 3];
  }
  std::set<std::uint16_t> glyphs;
  std::set<std::uint32_t> unicodes;
  for (std::uint32_t point : points) {
    try {
      glyphs.insert(font->glyph(point));
      unicodes.insert(point);
    } catch (const zopra::pdf::Exception&) {
    }
  }
  const std::optional<zopra::pdf::Bytes> subset = zopra::pdf::subsetTrueType(font->bytes, glyphs, unicodes);
  require(!subset || !subset->empty());
  return 0;
}
