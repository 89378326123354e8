// New text set with a chain of fonts, aligned and fitted to its item's room.
#include <cstdint>

#include "api/loader.h"
#include "api/status.h"
#include "zopra_document_loader.h"

extern "C" {

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderSetTextChainA(ZOPRADocumentLoader*, const char*, uint32_t,
                                                                  uint32_t, const char* const*, uint32_t, double,
                                                                  double) {
  return ZOPRA_STATUS_NOT_SUPPORTED;
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetMissingCharacterCount(ZOPRADocumentLoader*, uint32_t*) {
  return ZOPRA_STATUS_NOT_SUPPORTED;
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetTextAlignment(ZOPRADocumentLoader*, uint32_t, int32_t*) {
  return ZOPRA_STATUS_NOT_SUPPORTED;
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderFitTextA(ZOPRADocumentLoader*, const char*, uint32_t, uint32_t,
                                                             const char* const*, uint32_t, double,
                                                             ZOPRADocumentLoaderTextFit*) {
  return ZOPRA_STATUS_NOT_SUPPORTED;
}

}  // extern "C"
