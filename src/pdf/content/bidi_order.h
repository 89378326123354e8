// Reading order for text drawn right to left.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "pdf/content/text_entry.h"

namespace zopra::pdf {

// A page draws Hebrew or Arabic in visual order, left to right on the page;
// an item collects its glyphs in that order. This turns the item's UTF-8
// text back into logical (reading) order with the Unicode Bidirectional
// Algorithm, mirroring brackets of right-to-left runs. Text without a
// right-to-left character comes back unchanged.
std::string logicalOrder(const std::string& visual);

// The letters of a text by direction, for the line's base direction: a line
// runs right to left when most of its letters do, so a Hebrew line that
// starts with a Latin word is still a Hebrew line. Reading and drawing take
// the same rule, so drawn text reads back as it was given.
struct LetterDirections {
  std::size_t leftToRight = 0;
  std::size_t rightToLeft = 0;
  bool rightToLeftLine() const { return rightToLeft > leftToRight; }
};
LetterDirections letterDirections(const std::vector<std::uint32_t>& text);

// logicalOrder on the text of every item, whose text stands in the order of
// its glyphs on the line (runs placed on the left of an item are put in
// front of its text). Only the text changes: the runs and operator ranges
// that removal and replacement use stay as drawn.
void reorderRightToLeft(std::vector<TextEntry>& entries);

}  // namespace zopra::pdf
