// Writing the open document to a new file.
#include <algorithm>
#include <string>

#include "api/loader.h"
#include "api/status.h"
#include "zopra_document_loader.h"

using zopra::api::guarded;
using zopra::api::statusFor;

extern "C" {

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderWriteDocumentA(ZOPRADocumentLoader* loader,
                                                                   const char* path) {
  if (!loader || !path || !loader->opened || path[0] == '\0') {
    return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  return guarded([&] {
    std::string ownedPath(path);
    return statusFor(loader->document.save(ownedPath));
  });
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderWriteDocumentCompactA(ZOPRADocumentLoader* loader,
                                                                          const char* path, uint32_t flags) {
  if (!loader || !path || !loader->opened || path[0] == '\0' || (flags & ~ZOPRA_COMPACT_ALL) != 0) {
    return ZOPRA_STATUS_INVALID_ARGUMENT;
  }
  return guarded([&] {
    std::string ownedPath(path);
    zopra::pdf::Document::CompactOptions options;
    options.subsetFonts = (flags & ZOPRA_COMPACT_SUBSET_FONTS) != 0;
    options.compressStreams = (flags & ZOPRA_COMPACT_COMPRESS_STREAMS) != 0;
    options.dropUnused = (flags & ZOPRA_COMPACT_DROP_UNUSED) != 0;
    options.objectStreams = (flags & ZOPRA_COMPACT_OBJECT_STREAMS) != 0;
    options.threads = loader->writeThreads;
    return statusFor(loader->document.saveCompact(ownedPath, options));
  });
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderSetWriteThreads(ZOPRADocumentLoader* loader, uint32_t count) {
  if (!loader || count == 0) return ZOPRA_STATUS_INVALID_ARGUMENT;
  loader->writeThreads = std::min<uint32_t>(count, ZOPRA_MAX_WRITE_THREADS);
  return ZOPRA_STATUS_SUCCESS;
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderWriteDocumentW(ZOPRADocumentLoader*,
                                                                   const wchar_t*) {
  return ZOPRA_STATUS_NOT_SUPPORTED;
}

}  // extern "C"
