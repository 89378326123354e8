// Logical to visual order for drawing, through GNU FriBidi: the same
// algorithm text extraction runs the other way.
#include "pdf/edit/visual_order.h"

#include <fribidi.h>

#include <algorithm>
#include <limits>
#include <numeric>

#include "pdf/content/bidi_order.h"

namespace zopra::pdf {

VisualText visualOrder(const std::vector<std::uint32_t>& logical) {
  VisualText result;
  // Scripts that run right to left start at U+0590 (Hebrew).
  if (std::all_of(logical.begin(), logical.end(), [](std::uint32_t c) { return c < 0x0590; }) ||
      logical.size() > static_cast<std::size_t>(std::numeric_limits<FriBidiStrIndex>::max())) {
    return result;
  }
  const LetterDirections directions = letterDirections(logical);
  if (directions.rightToLeft == 0) return result;
  FriBidiParType base = directions.rightToLeftLine() ? FRIBIDI_PAR_RTL : FRIBIDI_PAR_LTR;
  const auto length = static_cast<FriBidiStrIndex>(logical.size());
  std::vector<FriBidiChar> mirrored(logical.begin(), logical.end());
  std::vector<FriBidiCharType> types(logical.size());
  fribidi_get_bidi_types(mirrored.data(), length, types.data());
  std::vector<FriBidiBracketType> brackets(logical.size());
  fribidi_get_bracket_types(mirrored.data(), length, types.data(), brackets.data());
  std::vector<FriBidiLevel> levels(logical.size());
  if (fribidi_get_par_embedding_levels_ex(types.data(), brackets.data(), length, &base, levels.data()) == 0) {
    return result;
  }
  fribidi_shape_mirroring(levels.data(), length, mirrored.data());
  // Joining forms one for one: the lam-alef ligatures would merge two
  // characters into one glyph.
  std::vector<FriBidiChar> shaped = mirrored;
  std::vector<FriBidiArabicProp> joining(logical.size());
  fribidi_get_joining_types(shaped.data(), length, joining.data());
  fribidi_join_arabic(types.data(), length, levels.data(), joining.data());
  fribidi_shape_arabic(FRIBIDI_FLAG_SHAPE_ARAB_PRES, levels.data(), length, joining.data(), shaped.data());
  std::vector<FriBidiStrIndex> map(logical.size());
  std::iota(map.begin(), map.end(), 0);
  if (fribidi_reorder_line(FRIBIDI_FLAG_REORDER_NSM, types.data(), length, 0, base, levels.data(), nullptr,
                           map.data()) == 0) {
    return result;
  }
  result.shown.resize(logical.size());
  result.named.resize(logical.size());
  for (std::size_t i = 0; i < logical.size(); ++i) {
    const auto from = static_cast<std::size_t>(map[i]);
    result.shown[i] = shaped[from];
    result.named[i] = mirrored[from];
  }
  return result;
}

}  // namespace zopra::pdf
