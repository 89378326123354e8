// Page text: the item cache of the last extraction, and the whole page as one
// string through a size-then-copy protocol.
#include <cstring>
#include <vector>

#include "api/loader.h"
#include "api/status.h"
#include "zopra_document_loader.h"

using zopra::api::guarded;
using zopra::api::statusFor;
using zopra::pdf::Error;
using zopra::pdf::TextEntry;

namespace {

bool pageInRange(const ZOPRADocumentLoader* loader, uint32_t page) {
  return page < loader->document.pages.size();
}

}  // namespace

namespace zopra::api {

int32_t extractPageText(ZOPRADocumentLoader* loader, uint32_t page,
                        std::vector<zopra::pdf::GraphicsEntry>* graphics) {
  if (!loader || !loader->opened || page >= loader->document.pages.size()) {
    return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  // Cleared first: an extraction that runs out of memory leaves part of the
  // new page in the cache, which must not pass for the previous page's items.
  loader->textExtracted = false;
  ++loader->extraction;
  loader->unremovedText.clear();
  return guarded([&] {
    Error kind = loader->document.extractText(page, loader->textEntries, nullptr, graphics);
    loader->textExtracted = kind == Error::None;
    loader->extractedPage = page;
    return statusFor(kind);
  });
}

}  // namespace zopra::api

extern "C" {

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderExtractPageText(ZOPRADocumentLoader* loader,
                                                                    uint32_t page) {
  return zopra::api::extractPageText(loader, page, nullptr);
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetPageTextCount(ZOPRADocumentLoader* loader,
                                                                     uint32_t* count,
                                                                     uint32_t page) {
  if (!loader || !count || !loader->opened || !loader->textExtracted ||
      page != loader->extractedPage) {
    return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  *count = static_cast<uint32_t>(loader->textEntries.size());
  return ZOPRA_STATUS_SUCCESS;
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetText(ZOPRADocumentLoader* loader,
                                                            ZOPRADocumentLoaderTextInfo* info,
                                                            uint32_t index) {
  if (!loader || !info || !loader->opened || index >= loader->textEntries.size()) {
    return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  const TextEntry& entry = loader->textEntries[index];
  info->text = entry.text.c_str();
  info->a = entry.a;
  info->b = entry.b;
  info->c = entry.c;
  info->d = entry.d;
  info->e = entry.e;
  info->f = entry.f;
  info->fontSize = entry.fontSize;
  info->horizontalScaling = entry.horizontalScale;
  info->width = entry.width;
  info->leading = entry.leading;
  return ZOPRA_STATUS_SUCCESS;
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetPageTextSize(ZOPRADocumentLoader* loader,
                                                                    uint32_t* size, uint32_t page) {
  if (!loader || !size || !loader->opened || !pageInRange(loader, page)) {
    return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  return guarded([&] {
    std::vector<TextEntry> entries;
    Error kind = loader->document.extractText(page, entries, nullptr);
    if (kind != Error::None) return statusFor(kind);
    loader->pageText.clear();
    for (const TextEntry& entry : entries) {
      loader->pageText += entry.text;
      loader->pageText += '\n';
    }
    if (loader->pageText.size() >= UINT32_MAX) return ZOPRA_STATUS_MEMORY_INSUFFICIENT;
    *size = static_cast<uint32_t>(loader->pageText.size() + 1);
    return ZOPRA_STATUS_SUCCESS;
  });
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetPageText(ZOPRADocumentLoader* loader,
                                                                char* buffer, uint32_t bufferSize) {
  if (!loader || !buffer || !loader->opened ||
      static_cast<uint64_t>(bufferSize) < loader->pageText.size() + 1) {
    return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  std::memcpy(buffer, loader->pageText.data(), loader->pageText.size());
  buffer[loader->pageText.size()] = '\0';
  return ZOPRA_STATUS_SUCCESS;
}

}  // extern "C"
