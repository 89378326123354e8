// New text set with a chain of fonts, aligned and fitted to its item's room.
#include <cmath>
#include <cstdint>

#include "api/loader.h"
#include "api/status.h"
#include "pdf/layout/text_fit.h"
#include "zopra_document_loader.h"

using zopra::api::guarded;
using zopra::api::statusFor;
using zopra::pdf::TextEntry;

extern "C" {

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderSetTextChainA(ZOPRADocumentLoader* loader, const char* text,
                                                                  uint32_t page, uint32_t index,
                                                                  const char* const* fontPaths,
                                                                  uint32_t fontCount, double fontSize,
                                                                  double horizontalScaling) {
  return zopra::api::setTextChain(loader, text, page, index, fontPaths, fontCount, fontSize, horizontalScaling);
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetMissingCharacterCount(ZOPRADocumentLoader* loader,
                                                                             uint32_t* count) {
  // A prepared state holds its fonts even when every character was dropped.
  if (!loader || !count || !loader->opened || !loader->drawState.font) return ZOPRA_STATUS_INVALID_ARGUMENT;
  *count = loader->drawState.missingCharacters;
  return ZOPRA_STATUS_SUCCESS;
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderFitTextA(ZOPRADocumentLoader* loader, const char* text,
                                                             uint32_t page, uint32_t index,
                                                             const char* const* fontPaths, uint32_t fontCount,
                                                             double minimumShownSize,
                                                             ZOPRADocumentLoaderTextFit* fit) {
  if (!loader || !loader->opened || !loader->textExtracted || index >= loader->textEntries.size() ||
      !std::isfinite(minimumShownSize) || minimumShownSize < 0) {
    return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  return guarded([&] {
    int32_t status = zopra::api::layOutText(loader);
    if (status != ZOPRA_STATUS_SUCCESS) return status;
    // Copied: the entries stay, but the call below must not depend on it.
    const TextEntry item = loader->textEntries[index];
    const double scaling =
        std::isfinite(item.horizontalScale) && item.horizontalScale != 0 ? item.horizontalScale : 1.0;
    status = zopra::api::setTextChain(loader, text, page, index, fontPaths, fontCount, std::fabs(item.fontSize),
                                      scaling);
    if (status != ZOPRA_STATUS_SUCCESS) return status;
    zopra::pdf::TextFit result;
    const zopra::pdf::Error kind =
        zopra::pdf::fitText(loader->document, loader->drawState, text, item, loader->textRoom[index],
                            loader->textAlignment[index], minimumShownSize, result);
    if (kind != zopra::pdf::Error::None) {
      loader->drawState = zopra::pdf::Document::DrawState();
      return statusFor(kind);
    }
    if (fit) {
      fit->fontSize = result.fontSize;
      fit->shownSize = result.shownSize;
      fit->width = result.width;
      fit->room = result.room;
      fit->offset = result.offset;
      fit->alignment = static_cast<int32_t>(result.alignment);
      fit->missingCharacters = result.missingCharacters;
      fit->overflows = result.overflows ? 1 : 0;
    }
    return ZOPRA_STATUS_SUCCESS;
  });
}

}  // extern "C"
