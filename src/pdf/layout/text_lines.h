// Lines of text: the items of a page that share a baseline and follow each
// other without a column-sized gap or a rule between them.
#pragma once

#include <cstdint>
#include <vector>

#include "pdf/content/text_entry.h"
#include "pdf/layout/page_rules.h"

namespace zopra::pdf {

struct TextLine {
  // Item indices, left to right.
  std::vector<std::uint32_t> items;
  // Page-space extent of the baseline and of the glyph boxes.
  double left = 0, right = 0;
  double baseline = 0;
  double bottom = 0, top = 0;
  // The shown size of most of the line's text (by length).
  double size = 0;
  // Upright text running left to right; any other item is a line alone.
  bool upright = true;
};

// True for an item whose baseline runs left to right along the page's x
// axis, its glyphs upright.
bool uprightItem(const TextEntry& item);

// The page's lines, top to bottom, then left to right. Items in any other
// direction, and every item past the first `budget` upright ones, make a
// line each.
std::vector<TextLine> textLines(const std::vector<TextEntry>& items, const PageRules& rules,
                                std::size_t budget);

}  // namespace zopra::pdf
