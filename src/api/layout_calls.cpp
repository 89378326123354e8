// Layout of the extracted items: each item's style and place, the room
// that new text may take at it, and its alignment.
#include <cstdint>
#include <vector>

#include "api/loader.h"
#include "api/status.h"
#include "pdf/layout/item_geometry.h"
#include "pdf/layout/text_alignment.h"
#include "pdf/layout/text_room.h"
#include "zopra_document_loader.h"

using zopra::api::guarded;
using zopra::api::statusFor;
using zopra::pdf::Error;
using zopra::pdf::FontStyle;
using zopra::pdf::GraphicsEntry;
using zopra::pdf::ItemBox;
using zopra::pdf::TextEntry;

namespace zopra::api {

std::int32_t layOutText(ZOPRADocumentLoader* loader) {
  if (loader->roomExtraction == loader->extraction && loader->textRoom.size() == loader->textEntries.size() &&
      loader->textAlignment.size() == loader->textEntries.size()) {
    return ZOPRA_STATUS_SUCCESS;
  }
  // The page's graphics go to a store of this call's own, so the cache of
  // zopraDocumentLoaderExtractPageGraphics stays as the caller left it.
  std::vector<GraphicsEntry> graphics;
  Error kind = loader->document.extractGraphics(loader->extractedPage, 0.0, graphics);
  if (kind != Error::None) return statusFor(kind);
  const auto& page = loader->document.pages[loader->extractedPage];
  const zopra::pdf::Rectangle box = zopra::pdf::unrotatedPageBox(page);
  loader->textRoom = zopra::pdf::textRoom(loader->textEntries, graphics, box);
  loader->textAlignment = zopra::pdf::textAlignment(loader->textEntries, graphics, box);
  loader->roomExtraction = loader->extraction;
  return ZOPRA_STATUS_SUCCESS;
}

}  // namespace zopra::api

extern "C" {

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetTextStyle(ZOPRADocumentLoader* loader,
                                                                 ZOPRADocumentLoaderTextStyle* style,
                                                                 uint32_t index) {
  if (!loader || !style || !loader->opened || index >= loader->textEntries.size()) {
    return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  const TextEntry& entry = loader->textEntries[index];
  static const FontStyle kNoFont;
  const FontStyle& font = entry.style ? *entry.style : kNoFont;
  const ItemBox box = zopra::pdf::itemBox(entry);
  style->fontName = font.name.c_str();
  style->bold = font.bold ? 1 : 0;
  style->italic = font.italic ? 1 : 0;
  style->serif = font.serif ? 1 : 0;
  style->fixedPitch = font.fixedPitch ? 1 : 0;
  style->x0 = box.x0;
  style->y0 = box.y0;
  style->x1 = box.x1;
  style->y1 = box.y1;
  style->shownSize = zopra::pdf::shownSize(entry);
  return ZOPRA_STATUS_SUCCESS;
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetTextRoom(ZOPRADocumentLoader* loader,
                                                                uint32_t index, double* room) {
  if (!loader || !room || !loader->opened || !loader->textExtracted ||
      index >= loader->textEntries.size()) {
    return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  return guarded([&] {
    const int32_t status = zopra::api::layOutText(loader);
    if (status == ZOPRA_STATUS_SUCCESS) *room = loader->textRoom[index];
    return status;
  });
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetTextAlignment(ZOPRADocumentLoader* loader,
                                                                     uint32_t index, int32_t* alignment) {
  if (!loader || !alignment || !loader->opened || !loader->textExtracted ||
      index >= loader->textEntries.size()) {
    return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  return guarded([&] {
    const int32_t status = zopra::api::layOutText(loader);
    if (status == ZOPRA_STATUS_SUCCESS) *alignment = static_cast<int32_t>(loader->textAlignment[index]);
    return status;
  });
}

}  // extern "C"
