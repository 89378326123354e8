// Room for new text: how far text written at an item's place may run along
// the item's baseline before it meets something on the page.
#pragma once

#include <vector>

#include "pdf/content/graphics_entry.h"
#include "pdf/content/text_entry.h"
#include "pdf/model/geometry.h"
#include "pdf/model/page.h"

namespace zopra::pdf {

// The page box in the page's own space (before its rotation is applied).
Rectangle unrotatedPageBox(const Page& page);

// One value per item, in the units of the item's width (TextEntry::width),
// never below that width. For text running left to right along the page's
// x axis (upright or mirrored) the room reaches from the item's start to the
// nearest of:
// - the next text to its right whose box crosses the item's baseline band,
//   less a word space;
// - a vertical rule, or the left edge of a box or image to its right, or the
//   right edge of a box or image the item sits in, crossing the band, less
//   a small gap;
// - the right edge of the column: the item's own end when it ends flush
//   with the text line just above or just below it that lies over it (a
//   full line of a justified column), else the farther right end of those
//   two lines, when that is past the item's end;
// - the page's text margin: the rightmost end of the page's text, or, for
//   the item that reaches farthest itself, the page box less the page's left
//   text margin.
// Items in any other direction (rotated, vertical or right to left) keep
// their own width. Throws an Exception (Error::Format) when a page holds
// so many overlapping items and graphics that the work would be unbounded.
std::vector<double> textRoom(const std::vector<TextEntry>& items,
                             const std::vector<GraphicsEntry>& graphics, const Rectangle& pageBox);

}  // namespace zopra::pdf
