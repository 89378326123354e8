// Blocks of a page (paragraphs, headings, list items, cells, captions) and
// new text flowed over them.
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "api/loader.h"
#include "api/status.h"
#include "pdf/layout/block_flow.h"
#include "pdf/layout/text_blocks.h"
#include "pdf/layout/text_room.h"
#include "zopra_document_loader.h"

using zopra::api::guarded;
using zopra::api::statusFor;
using zopra::pdf::Error;
using zopra::pdf::TextBlock;

namespace {

bool blocksReady(const ZOPRADocumentLoader* loader) {
  return loader && loader->opened && loader->textExtracted && loader->blocksExtraction == loader->extraction &&
         loader->blocksExtraction != 0;
}

}  // namespace

extern "C" {

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderExtractPageBlocks(ZOPRADocumentLoader* loader, uint32_t page,
                                                                      uint32_t* count) {
  if (!loader || !count) return ZOPRA_STATUS_INVALID_ARGUMENT;
  // Text and graphics from one run of the page's content; a page that fails
  // so (the two together over the page's budget) is run for each alone.
  const int32_t extracted = zopra::api::extractPageText(loader, page, &loader->blockGraphics);
  if (extracted != ZOPRA_STATUS_SUCCESS) {
    const int32_t alone = zopraDocumentLoaderExtractPageText(loader, page);
    if (alone != ZOPRA_STATUS_SUCCESS) return alone;
  }
  return guarded([&] {
    loader->blocks.clear();
    if (extracted != ZOPRA_STATUS_SUCCESS) {
      const Error kind = loader->document.extractGraphics(page, 0.0, loader->blockGraphics);
      if (kind != Error::None) {
        loader->textExtracted = false;
        return statusFor(kind);
      }
    }
    loader->blocks = zopra::pdf::textBlocks(loader->textEntries, loader->blockGraphics);
    loader->blockRules = zopra::pdf::pageRules(loader->blockGraphics);
    loader->blocksExtraction = loader->extraction;
    *count = static_cast<uint32_t>(loader->blocks.size());
    return ZOPRA_STATUS_SUCCESS;
  });
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetBlock(ZOPRADocumentLoader* loader, uint32_t index,
                                                             ZOPRADocumentLoaderBlockInfo* info) {
  if (!info || !blocksReady(loader) || index >= loader->blocks.size()) return ZOPRA_STATUS_INVALID_ARGUMENT;
  const TextBlock& block = loader->blocks[index];
  info->text = block.text.c_str();
  info->x0 = block.box.x0;
  info->y0 = block.box.y0;
  info->x1 = block.box.x1;
  info->y1 = block.box.y1;
  info->kind = static_cast<int32_t>(block.kind);
  info->alignment = static_cast<int32_t>(block.alignment);
  info->shownSize = block.size;
  info->leading = block.leading;
  info->lineCount = static_cast<uint32_t>(block.lines.size());
  uint32_t items = 0;
  for (const auto& line : block.lines) items += static_cast<uint32_t>(line.items.size());
  info->itemCount = items;
  info->fontName = block.style ? block.style->name.c_str() : "";
  info->bold = block.style && block.style->bold ? 1 : 0;
  info->italic = block.style && block.style->italic ? 1 : 0;
  info->styleItem = block.styleItem;
  return ZOPRA_STATUS_SUCCESS;
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetBlockItems(ZOPRADocumentLoader* loader, uint32_t index,
                                                                  uint32_t* items, uint32_t capacity,
                                                                  uint32_t* count) {
  if (!count || (!items && capacity > 0) || !blocksReady(loader) || index >= loader->blocks.size()) {
    return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  uint32_t n = 0;
  for (const auto& line : loader->blocks[index].lines) {
    for (uint32_t item : line.items) {
      if (n < capacity) items[n] = item;
      ++n;
    }
  }
  *count = n;
  return ZOPRA_STATUS_SUCCESS;
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderFlowBlockA(ZOPRADocumentLoader* loader, uint32_t index,
                                                               const char* text,
                                                               const char* const* fontPaths, uint32_t fontCount,
                                                               double minimumShownSize,
                                                               ZOPRADocumentLoaderBlockFlow* flow) {
  if (!text || text[0] == '\0' || !blocksReady(loader) || index >= loader->blocks.size() ||
      !std::isfinite(minimumShownSize) || minimumShownSize < 0) {
    return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  return guarded([&] {
    std::vector<std::string> chain;
    if (!zopra::api::copyFontChain(fontPaths, fontCount, chain)) return ZOPRA_STATUS_INVALID_ARGUMENT;
    const auto& page = loader->document.pages[loader->extractedPage];
    const zopra::pdf::Rectangle pageBox = zopra::pdf::unrotatedPageBox(page);
    if (loader->roomExtraction != loader->extraction || loader->textRoom.size() != loader->textEntries.size()) {
      loader->textRoom = zopra::pdf::textRoom(loader->textEntries, loader->blockGraphics, pageBox);
      loader->roomExtraction = loader->extraction;
    }
    zopra::pdf::FlowPage context;
    context.items = &loader->textEntries;
    context.blocks = &loader->blocks;
    context.graphics = &loader->blockGraphics;
    context.room = &loader->textRoom;
    context.pageBox = pageBox;
    context.rules = &loader->blockRules;
    zopra::pdf::BlockFlow result;
    const Error kind = zopra::pdf::flowBlock(loader->document, loader->extractedPage, context, index, text,
                                             chain, minimumShownSize, result);
    if (kind != Error::None) return statusFor(kind);
    if (flow) {
      flow->linesUsed = result.linesUsed;
      flow->blockLines = result.blockLines;
      flow->shownSize = result.shownSize;
      flow->scale = result.scale;
      flow->overflows = result.overflows ? 1 : 0;
      flow->missingCharacters = result.missingCharacters;
      flow->x0 = result.box.x0;
      flow->y0 = result.box.y0;
      flow->x1 = result.box.x1;
      flow->y1 = result.box.y1;
    }
    return ZOPRA_STATUS_SUCCESS;
  });
}

}  // extern "C"
