// Where an extracted text item sits on its page and how large it shows.
#pragma once

#include "pdf/content/text_entry.h"

namespace zopra::pdf {

// An upright rectangle in page space by its corners.
struct ItemBox {
  double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
};

// The item's box in page space: its baseline from start to end, raised by
// its font's ascent and lowered by its descent (0.8 and -0.2 em when the
// font does not tell) along the item's vertical axis.
ItemBox itemBox(const TextEntry& item);

// The font size as the page shows it, in PDF units (points): the font size
// times the height of one text-space unit across the baseline, which the
// item's matrix (text matrix times CTM) gives.
double shownSize(const TextEntry& item);

}  // namespace zopra::pdf
