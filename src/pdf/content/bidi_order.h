// Reading order for text drawn right to left.
#pragma once

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

// logicalOrder on the text of every item, whose text stands in the order of
// its glyphs on the line (runs placed on the left of an item are put in
// front of its text). Only the text changes: the runs and operator ranges
// that removal and replacement use stay as drawn.
void reorderRightToLeft(std::vector<TextEntry>& entries);

}  // namespace zopra::pdf
