// Glyph names to Unicode.
#pragma once

#include <cstdint>
#include <string>

namespace zopra::pdf {

// The code point a glyph name stands for, 0 when unknown.
std::uint32_t glyphNameToUnicode(std::string name);

}  // namespace zopra::pdf
