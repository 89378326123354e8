#include "pdf/layout/item_geometry.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace zopra::pdf {

ItemBox itemBox(const TextEntry& item) {
  const FontStyle fallback;
  const FontStyle& style = item.style ? *item.style : fallback;
  // The glyphs' vertical extent runs along (c, d), scaled by the font size.
  const double upX = item.c * item.fontSize;
  const double upY = item.d * item.fontSize;
  ItemBox box{item.startX, item.startY, item.startX, item.startY};
  for (double height : {style.ascent, style.descent}) {
    for (const auto& [x, y] : {std::pair{item.startX, item.startY}, std::pair{item.endX, item.endY}}) {
      const double px = x + height * upX;
      const double py = y + height * upY;
      box.x0 = std::min(box.x0, px);
      box.x1 = std::max(box.x1, px);
      box.y0 = std::min(box.y0, py);
      box.y1 = std::max(box.y1, py);
    }
  }
  return box;
}

double shownSize(const TextEntry& item) {
  const double size = std::fabs(item.fontSize);
  const double along = std::hypot(item.a, item.b);
  // Measured across the baseline, so that a slanted (skewed) matrix does not
  // count its slant as height.
  if (along > 1e-12) return size * std::fabs(item.a * item.d - item.b * item.c) / along;
  return size * std::hypot(item.c, item.d);
}

}  // namespace zopra::pdf
