// Alignment of text items: whether an item is centred or right-aligned in
// its table cell, in its column or on the page, so that new text set at its
// place can keep its centre or its right edge.
#pragma once

#include <cstdint>
#include <vector>

#include "pdf/content/graphics_entry.h"
#include "pdf/content/text_entry.h"
#include "pdf/model/geometry.h"

namespace zopra::pdf {

enum class Alignment : std::int32_t { Left = 0, Center = 1, Right = 2 };

// One value per item. Only items that run left to right along the page's x
// axis and stand alone on their line (no other item within a column-sized
// gap on the same baseline) can be other than Left. The first rule that
// applies decides:
// - table cell: the smallest box, or the pair of vertical rules, around
//   the item across its baseline band: centred when the gaps to both sides
//   match, right-aligned when the right gap is small and the left one is not;
// - column: the nearest line above or below that overlaps it: centred when
//   they share a centre but not a start, right-aligned when they share a
//   right end but not a start;
// - page: centred on the page's text area (the extent of its text), not
//   starting at its left edge.
// Throws an Exception (Error::Format) when the page holds so many items and
// graphics that the work would be unbounded.
std::vector<Alignment> textAlignment(const std::vector<TextEntry>& items,
                                     const std::vector<GraphicsEntry>& graphics, const Rectangle& pageBox);

}  // namespace zopra::pdf
