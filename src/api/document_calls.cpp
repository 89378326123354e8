// Handle lifecycle and page queries.
#include <new>
#include <string>

#include "api/loader.h"
#include "api/status.h"
#include "zopra_document_loader.h"

using zopra::api::guarded;
using zopra::api::statusFor;
using zopra::pdf::Error;
using zopra::pdf::FileBytes;

namespace {

int32_t openFile(ZOPRADocumentLoader* loader, const char* path, FileBytes::Access access) {
  if (!loader || !path) return ZOPRA_STATUS_INVALID_ARGUMENT;
  return guarded([&] {
    std::string ownedPath(path);
    Error kind = loader->document.load(ownedPath, access);
    loader->opened = kind == Error::None;
    loader->textExtracted = false;
    loader->textEntries.clear();
    loader->graphicsEntries.clear();
    loader->imageObjects.clear();
    loader->unremovedText.clear();
    return statusFor(kind);
  });
}

}  // namespace

extern "C" {

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderCreate(ZOPRADocumentLoader** loader) {
  if (!loader) return ZOPRA_STATUS_INVALID_ARGUMENT;
  return guarded([&] {
    *loader = new ZOPRADocumentLoader();
    return ZOPRA_STATUS_SUCCESS;
  });
}

ZOPRA_DOCUMENT_LOADER_API void zopraDocumentLoaderDestroy(ZOPRADocumentLoader* loader) {
  delete loader;
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderOpenFileA(ZOPRADocumentLoader* loader,
                                                              const char* path) {
  return openFile(loader, path, FileBytes::Access::Read);
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderOpenFileMappedA(ZOPRADocumentLoader* loader,
                                                                    const char* path) {
  return openFile(loader, path, FileBytes::Access::Map);
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderOpenFileW(ZOPRADocumentLoader*,
                                                              const wchar_t*) {
  return ZOPRA_STATUS_NOT_SUPPORTED;
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetPageCount(ZOPRADocumentLoader* loader,
                                                                 uint32_t* count) {
  if (!loader || !count || !loader->opened) return ZOPRA_STATUS_INVALID_ARGUMENT;
  *count = static_cast<uint32_t>(loader->document.pages.size());
  return ZOPRA_STATUS_SUCCESS;
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetPageSize(ZOPRADocumentLoader* loader,
                                                                double* width, double* height,
                                                                uint32_t* rotation, uint32_t page) {
  if (!loader || !loader->opened || page >= loader->document.pages.size()) {
    return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  const zopra::pdf::Page& record = loader->document.pages[page];
  if (width) *width = record.width;
  if (height) *height = record.height;
  if (rotation) *rotation = record.rotation;
  return ZOPRA_STATUS_SUCCESS;
}

}  // extern "C"
