// Graphics of a page: one extraction fills the handle's cache, the other
// calls count and copy its entries.
#include <cstdint>

#include "api/loader.h"
#include "api/status.h"
#include "zopra_document_loader.h"

using zopra::api::guarded;
using zopra::api::statusFor;
using zopra::pdf::Color;
using zopra::pdf::GraphicsEntry;

namespace {

// Kinds the record knows; anything else is reported as no colour.
uint32_t colorType(const Color& color) {
  return color.kind >= 1 && color.kind <= 3 ? color.kind : 0;
}

void copyGraphics(ZOPRADocumentLoaderGraphicsInfo& info, const GraphicsEntry& entry) {
  info.type = entry.type == GraphicsEntry::kImage ? 1 : 0;
  info.x = entry.bounds.x;
  info.y = entry.bounds.y;
  info.width = entry.bounds.width;
  info.height = entry.bounds.height;
  info.startX = entry.start.first;
  info.startY = entry.start.second;
  info.endX = entry.end.first;
  info.endY = entry.end.second;
  info.clipX = entry.clip.x;
  info.clipY = entry.clip.y;
  info.clipWidth = entry.clip.width;
  info.clipHeight = entry.clip.height;
  info.isLine = entry.isLine ? 1 : 0;
  info.closed = entry.closed ? 1 : 0;
  info.stroke = entry.stroke ? 1 : 0;
  info.fill = entry.fill ? 1 : 0;
  info.lineWidth = entry.lineWidth;
  info.fillColorType = colorType(entry.fillColor);
  info.strokeColorType = colorType(entry.strokeColor);
  for (int i = 0; i < 4; ++i) {
    info.fillColor[i] = entry.fillColor.components[i];
    info.strokeColor[i] = entry.strokeColor.components[i];
  }
  info.objectNumber = entry.objectNumber;
}

}  // namespace

extern "C" {

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderExtractPageGraphics(
    ZOPRADocumentLoader* loader, uint32_t page, double minimumSize) {
  // Written so that a NaN size is refused along with negative ones.
  if (!loader || !loader->opened || !(minimumSize >= 0.0) ||
      page >= loader->document.pages.size()) {
    return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  return guarded([&] {
    return statusFor(loader->document.extractGraphics(page, minimumSize, loader->graphicsEntries));
  });
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetPageGraphicsCount(
    ZOPRADocumentLoader* loader, uint32_t* count, uint32_t page) {
  if (!loader || !count || !loader->opened || page >= loader->document.pages.size()) {
    return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  // The cache belongs to the last extraction, whichever page it was for.
  *count = static_cast<uint32_t>(loader->graphicsEntries.size());
  return ZOPRA_STATUS_SUCCESS;
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetGraphics(
    ZOPRADocumentLoader* loader, ZOPRADocumentLoaderGraphicsInfo* info, uint32_t index) {
  if (!loader || !info || !loader->opened || index >= loader->graphicsEntries.size()) {
    return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  copyGraphics(*info, loader->graphicsEntries[index]);
  return ZOPRA_STATUS_SUCCESS;
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetGraphicsArray(
    ZOPRADocumentLoader* loader, ZOPRADocumentLoaderGraphicsInfo* infos, uint32_t count,
    uint32_t start) {
  if (!loader || !infos || !loader->opened ||
      static_cast<uint64_t>(start) + count > loader->graphicsEntries.size()) {
    return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  for (uint32_t i = 0; i < count; ++i) copyGraphics(infos[i], loader->graphicsEntries[start + i]);
  return ZOPRA_STATUS_SUCCESS;
}

}  // extern "C"
