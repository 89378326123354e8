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
    loader->unremovedText.clear();
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
    const zopra::pdf::Error result =
        loader->document.removeText(page, &chosen, loader->textEntries, loader->extraction);
    loader->unremovedText = loader->document.textEdits[page].left;
    return statusFor(result);
  });
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetUnremovedTextCount(ZOPRADocumentLoader* loader,
                                                                          uint32_t* count) {
  if (!loader || !loader->opened || !count) return ZOPRA_STATUS_INVALID_ARGUMENT;
  *count = static_cast<uint32_t>(loader->unremovedText.size());
  return ZOPRA_STATUS_SUCCESS;
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetUnremovedText(ZOPRADocumentLoader* loader,
                                                                     uint32_t index, uint32_t* item) {
  if (!loader || !loader->opened || !item || index >= loader->unremovedText.size()) {
    return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  *item = loader->unremovedText[index];
  return ZOPRA_STATUS_SUCCESS;
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderAdoptPageEdits(ZOPRADocumentLoader* target,
                                                                   ZOPRADocumentLoader* source,
                                                                   uint32_t firstPage, uint32_t lastPage) {
  if (!target || !source || !target->opened || !source->opened || target == source) {
    return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  return guarded([&] { return statusFor(target->document.adoptPageEdits(source->document, firstPage, lastPage)); });
}

}  // extern "C"
