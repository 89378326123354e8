// Blocks of text: paragraphs, headings, list items, table cells, captions
// and code listings, each made of consecutive lines, in reading order.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "pdf/content/graphics_entry.h"
#include "pdf/content/text_entry.h"
#include "pdf/layout/item_geometry.h"
#include "pdf/layout/text_lines.h"

namespace zopra::pdf {

enum class BlockKind : std::int32_t { Paragraph = 0, Heading = 1, ListItem = 2, TableCell = 3, Caption = 4, Code = 5 };
enum class BlockAlignment : std::int32_t { Left = 0, Center = 1, Right = 2, Justified = 3 };

struct TextBlock {
  // Top to bottom.
  std::vector<TextLine> lines;
  // The union of the lines' glyph boxes, page space.
  ItemBox box;
  BlockKind kind = BlockKind::Paragraph;
  BlockAlignment alignment = BlockAlignment::Left;
  // The shown size of most of its text, and the distance between its
  // baselines (the median; 1.2 em for a block of one line).
  double size = 0;
  double leading = 0;
  // The style most of its text is set in (null when its font has none),
  // and the item that shows the longest stretch of it.
  std::shared_ptr<const FontStyle> style;
  std::uint32_t styleItem = 0;
  // Code listings and columns of figures keep their lines as they are:
  // their text joins them by a line feed, and new text keeps its breaks.
  bool keepsLines = false;
  // Lines joined (see joinLines), ligatures spelled out (joined by a line
  // feed when it keeps its lines).
  std::string text;
};

// Upright items a page may have before the rest become one block per line:
// the grouping below compares nearby lines only, but a page of hundreds of
// thousands of glyph items is a picture, not prose.
inline constexpr std::size_t kMaxLayoutItems = 20000;

// The page's blocks in reading order: blocks that span the middle of the
// text area (titles, full-width paragraphs) cut the page into bands; within
// a band the left column is read top to bottom before the right one.
std::vector<TextBlock> textBlocks(const std::vector<TextEntry>& items, const std::vector<GraphicsEntry>& graphics,
                                  std::size_t budget = kMaxLayoutItems);

}  // namespace zopra::pdf
