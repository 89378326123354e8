// The order in which a reader takes the blocks of a page.
#pragma once

#include <vector>

#include "pdf/layout/text_blocks.h"

namespace zopra::pdf {

// Sorts blocks into reading order. Blocks that cross the middle of the text
// area cut the page into bands, read top to bottom; in a band, blocks wholly
// left of the middle come first, top to bottom, then the others. The cells
// of a table are read row by row, each row left to right.
void sortReadingOrder(std::vector<TextBlock>& blocks);

}  // namespace zopra::pdf
