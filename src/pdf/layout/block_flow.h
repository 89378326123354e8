// A new text drawn over a block of the page: measured with a TrueType font,
// broken over the block's lines and the free room below it, and drawn.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pdf/content/graphics_entry.h"
#include "pdf/content/text_entry.h"
#include "pdf/layout/page_rules.h"
#include "pdf/layout/text_blocks.h"
#include "pdf/model/document.h"

namespace zopra::pdf {

struct BlockFlow {
  // Lines drawn, and the block's own line count.
  std::uint32_t linesUsed = 0;
  std::uint32_t blockLines = 0;
  // The size as a factor of the block's, and as shown on the page (points).
  double scale = 1;
  double shownSize = 0;
  // Needs more room than there is even at the smallest size: drawn anyway,
  // below the room.
  bool overflows = false;
  // Characters the font has no glyph for (drawn as spaces).
  std::uint32_t missingCharacters = 0;
  // The box of the drawn lines (baseline extent raised by the size, lowered
  // by a quarter of it), page space.
  ItemBox box;
};

// Everything the flow needs to know about the page: its items (those of the
// blocks' indices), blocks, graphics, box, and the room of each item
// (textRoom, for blocks of one line).
struct FlowPage {
  const std::vector<TextEntry>* items = nullptr;
  const std::vector<TextBlock>* blocks = nullptr;
  const std::vector<GraphicsEntry>* graphics = nullptr;
  const std::vector<double>* room = nullptr;
  Rectangle pageBox;
  // pageRules of the graphics, when the caller keeps them; else worked out
  // at each call.
  const PageRules* rules = nullptr;
};

// Draws `text` over block `blockIndex` on page `page` with the font chain
// `fontPaths` (each character from the first font that has it), never smaller than `minimumShownSize` points (0: a fifth of
// the block's size). A block that keeps its lines (code, a column of
// figures) keeps the text's line breaks: each line of the text takes the
// place of the block's line of the same rank.
// Removes nothing: the caller removes the block's items first. InvalidArgument for an empty or invalid text or a block without
// items; otherwise the status of Document::prepareText / drawText.
Error flowBlock(Document& document, std::uint32_t page, const FlowPage& context, std::size_t blockIndex,
                const std::string& text, const std::vector<std::string>& fontPaths, double minimumShownSize,
                BlockFlow& result);

}  // namespace zopra::pdf
