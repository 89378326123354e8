// The loader handle behind the C interface.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pdf/content/graphics_entry.h"
#include "pdf/content/text_entry.h"
#include "pdf/layout/text_alignment.h"
#include "pdf/layout/page_rules.h"
#include "pdf/layout/text_blocks.h"
#include "pdf/model/document.h"

// Named in the global namespace because the C header declares it there.
struct ZOPRADocumentLoader {
  // First, so the handle can be used wherever the engine wants a Document.
  zopra::pdf::Document document;
  // True only while the last open succeeded.
  bool opened = false;
  // Threads the compact write may deflate streams on.
  unsigned writeThreads = 1;
  // True after a successful text extraction of `extractedPage`.
  bool textExtracted = false;
  std::uint32_t extractedPage = 0;
  // Page text built by the last zopraDocumentLoaderGetPageTextSize, without NUL.
  std::string pageText;
  std::vector<zopra::pdf::TextEntry> textEntries;
  // Counts the extractions into textEntries, so that text removal can tell
  // whether the items it is given are those of its earlier removals.
  std::uint64_t extraction = 0;
  // Room of every item of textEntries, worked out by the first room call
  // after the extraction numbered roomExtraction.
  std::vector<double> textRoom;
  // Alignment of every item, worked out with the room.
  std::vector<zopra::pdf::AlignedItem> textAlignment;
  std::uint64_t roomExtraction = 0;
  // Blocks of the page of the last zopraDocumentLoaderExtractPageBlocks,
  // valid while `extraction` is still blocksExtraction, and the page's
  // graphics they were made from.
  std::vector<zopra::pdf::TextBlock> blocks;
  std::vector<zopra::pdf::GraphicsEntry> blockGraphics;
  zopra::pdf::PageRules blockRules;
  std::uint64_t blocksExtraction = 0;
  // Chosen items left on the page by the last removal (item indices).
  std::vector<std::uint32_t> unremovedText;
  // Entries of the last zopraDocumentLoaderExtractPageGraphics, whatever page
  // it was for.
  std::vector<zopra::pdf::GraphicsEntry> graphicsEntries;
  // Images drawn by the page of the last image call.
  std::vector<std::uint32_t> imageObjects;
  // Text set by zopraDocumentLoaderSetTextA, measured and waiting to be
  // drawn on drawPage. It survives a re-open, like the page text.
  zopra::pdf::Document::DrawState drawState;
  std::uint32_t drawPage = 0;
};

namespace zopra::api {

// Fonts a chain may name.
constexpr std::uint32_t kMaxFontChain = 16;

// Copies a caller's font chain: 1 to kMaxFontChain paths, none NULL or
// empty. False (out untouched) otherwise. May throw std::bad_alloc.
bool copyFontChain(const char* const* fontPaths, std::uint32_t fontCount, std::vector<std::string>& out);

// What zopraDocumentLoaderSetTextChainA does (and SetTextA with a chain of
// one): checks the arguments, sets the handle's draw state from item
// `index` and prepares it. A status code; never throws.
std::int32_t setTextChain(ZOPRADocumentLoader* loader, const char* text, std::uint32_t page, std::uint32_t index,
                          const char* const* fontPaths, std::uint32_t fontCount, double fontSize,
                          double horizontalScaling);

// What zopraDocumentLoaderExtractPageText does, also collecting the page's
// graphics from the same run of its content when `graphics` is not null.
std::int32_t extractPageText(ZOPRADocumentLoader* loader, std::uint32_t page,
                             std::vector<pdf::GraphicsEntry>* graphics);

// Works out the room and alignment of every item of the last extraction
// (loader->textRoom, loader->textAlignment) unless done since. The caller
// checks that an extraction succeeded. A status code; throws what the
// layout throws (run it inside guarded).
std::int32_t layOutText(ZOPRADocumentLoader* loader);

}  // namespace zopra::api
