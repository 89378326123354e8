// New text: set at the place of an extracted item, measured and drawn.
#include <cmath>
#include <string>
#include <vector>

#include "api/loader.h"
#include "api/status.h"
#include "pdf/edit/text_drawing.h"
#include "zopra_document_loader.h"

using zopra::api::guarded;
using zopra::api::statusFor;
using zopra::pdf::Document;
using zopra::pdf::TextEntry;

namespace zopra::api {

bool copyFontChain(const char* const* fontPaths, std::uint32_t fontCount, std::vector<std::string>& out) {
  if (!fontPaths || fontCount == 0 || fontCount > kMaxFontChain) return false;
  for (std::uint32_t k = 0; k < fontCount; ++k) {
    if (!fontPaths[k] || fontPaths[k][0] == '\0') return false;
  }
  out.assign(fontPaths, fontPaths + fontCount);
  return true;
}

std::int32_t setTextChain(ZOPRADocumentLoader* loader, const char* text, std::uint32_t page, std::uint32_t index,
                          const char* const* fontPaths, std::uint32_t fontCount, double fontSize,
                          double horizontalScaling) {
  return guarded([&] {
    std::vector<std::string> paths;
    if (!copyFontChain(fontPaths, fontCount, paths) || !loader || !text || !loader->opened || text[0] == '\0') {
      return ZOPRA_STATUS_INVALID_ARGUMENT;
    }
    // Sizes that are not finite, not above 0 or absurdly large are refused.
    if (page >= loader->document.pages.size() || !zopra::pdf::validFontSize(fontSize) ||
        index >= loader->textEntries.size()) {
      return ZOPRA_STATUS_INVALID_ARGUMENT;
    }
    // Reset first: after a failure below, nothing is left to measure or draw.
    loader->drawState = Document::DrawState();
    Document::DrawState& state = loader->drawState;
    const TextEntry& entry = loader->textEntries[index];
    state.text = text;
    state.fontPath = paths.front();
    if (paths.size() > 1) state.fontPaths = std::move(paths);
    state.fontSize = fontSize;
    state.horizontalScaling = horizontalScaling;
    state.matrix = {entry.a, entry.b, entry.c, entry.d, entry.e, entry.f};
    state.charSpacing = entry.charSpacing;
    state.wordSpacing = entry.wordSpacing;
    state.fill = entry.fillColor;
    state.page = page;
    loader->drawPage = page;
    return statusFor(loader->document.prepareText(state));
  });
}

}  // namespace zopra::api

extern "C" {

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderSetTextA(ZOPRADocumentLoader* loader, const char* text,
                                                             uint32_t page, uint32_t index,
                                                             const char* fontPath, double fontSize,
                                                             double horizontalScaling) {
  if (!fontPath) return ZOPRA_STATUS_INVALID_ARGUMENT;
  return zopra::api::setTextChain(loader, text, page, index, &fontPath, 1, fontSize, horizontalScaling);
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderSetTextW(ZOPRADocumentLoader*, const wchar_t*, uint32_t,
                                                             uint32_t, const wchar_t*, double, double) {
  return ZOPRA_STATUS_NOT_SUPPORTED;
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetTextWidth(ZOPRADocumentLoader* loader, double* width) {
  if (!loader || !width || !loader->opened || loader->drawState.glyphs.empty()) {
    return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  *width = loader->drawState.width;
  return ZOPRA_STATUS_SUCCESS;
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderMoveText(ZOPRADocumentLoader* loader, double dx, double dy) {
  if (!loader || !loader->opened || loader->drawState.glyphs.empty() || !std::isfinite(dx) || !std::isfinite(dy)) {
    return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  zopra::pdf::moveText(loader->drawState, dx, dy);
  return ZOPRA_STATUS_SUCCESS;
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderDrawText(ZOPRADocumentLoader* loader) {
  if (!loader || !loader->opened || loader->drawState.glyphs.empty()) return ZOPRA_STATUS_INVALID_ARGUMENT;
  return guarded([&] { return statusFor(loader->document.drawText(loader->drawPage, loader->drawState)); });
}

}  // extern "C"
