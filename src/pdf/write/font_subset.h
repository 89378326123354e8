// What the compact writer does to the TrueType fonts that drawing embedded:
// keep only the glyphs drawn, and name the result as PDF names subsets.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "pdf/model/value.h"

namespace zopra::pdf {

// The font with only `glyphs` (and .notdef, and the glyphs composite glyphs
// are built from) left in it; every other glyph keeps its index but has no
// outline, so glyph indices in content streams, W arrays and ToUnicode maps
// stay valid. `unicodes` are the characters drawn, kept in the subset's
// character map. Nothing when the subsetter refuses the font.
std::optional<Bytes> subsetTrueType(const Bytes& font, const std::set<std::uint16_t>& glyphs,
                                    const std::set<std::uint32_t>& unicodes);

// Six upper-case letters derived from `seed`, the tag that marks a font
// file as a subset ("ABCDEF+Name").
std::string subsetTag(const std::string& seed);

}  // namespace zopra::pdf
