// Removing original text from a page.
#include <set>

#include "api/loader.h"
#include "api/status.h"
#include "zopra_document_loader.h"

using zopra::api::guarded;
using zopra::api::statusFor;

extern "C" {

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderRemoveOriginalText(ZOPRADocumentLoader* loader,
                                                                       uint32_t page) {
  if (!loader || !loader->opened || page >= loader->document.pages.size()) {
    return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  return guarded([&] {
    return statusFor(loader->document.removeText(page, nullptr, loader->textEntries));
  });
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderRemoveOriginalTextByIndex(
    ZOPRADocumentLoader* loader, uint32_t page, const uint32_t* indices, uint32_t count) {
  if (!loader || !loader->opened || !loader->textExtracted || page != loader->extractedPage ||
      (!indices && count != 0)) {
    return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  for (uint32_t i = 0; i < count; ++i) {
    if (indices[i] >= loader->textEntries.size()) return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  return guarded([&] {
    std::set<std::uint32_t> chosen(indices, indices + count);
    return statusFor(loader->document.removeText(page, &chosen, loader->textEntries, loader->extraction));
  });
}

}  // extern "C"
