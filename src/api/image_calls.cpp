// Images of a page: each call lists the page's drawn images again and then
// answers for one of them with its stored (still encoded) bytes.
#include <cstdint>
#include <cstring>
#include <string_view>

#include "api/loader.h"
#include "api/status.h"
#include "zopra_document_loader.h"

using zopra::api::guarded;
using zopra::api::statusFor;
using zopra::pdf::Bytes;
using zopra::pdf::Document;
using zopra::pdf::Error;
using zopra::pdf::Object;
using zopra::pdf::Value;

namespace {

bool usable(const ZOPRADocumentLoader* loader, const void* out, uint32_t page) {
  return loader && out && loader->opened && page < loader->document.pages.size();
}

// Lists the page's images into the handle and finds image `index`. Returns
// the status to give back when the image cannot be had.
int32_t findImage(ZOPRADocumentLoader* loader, uint32_t page, uint32_t index,
                  const Object*& image) {
  Error kind = loader->document.extractImages(page, loader->imageObjects);
  if (kind != Error::None) return statusFor(kind);
  if (index >= loader->imageObjects.size()) return ZOPRA_STATUS_INVALID_ARGUMENT;
  image = loader->document.object(loader->imageObjects[index]);
  return image ? ZOPRA_STATUS_SUCCESS : ZOPRA_STATUS_INVALID_ARGUMENT;
}

uint32_t formatOfFilter(std::string_view name, uint32_t current) {
  if (name == "DCTDecode") return ZOPRA_IMAGE_FORMAT_JPEG;
  if (name == "JPXDecode") return ZOPRA_IMAGE_FORMAT_JPEG2000;
  return current;
}

// The format named by the image's filters; with a chain such as
// [/FlateDecode /DCTDecode] the last image filter decides.
uint32_t imageFormat(const Document& document, const Object& image) {
  uint32_t format = ZOPRA_IMAGE_FORMAT_UNKNOWN;
  const Value* filter = document.dictionaryValue(&image.value, "Filter");
  if (!filter) return format;
  if (filter->isName()) return formatOfFilter(filter->text, format);
  if (!filter->isArray()) return format;
  for (const Value& element : filter->array) {
    const Value* resolved = document.resolve(&element);
    if (resolved && resolved->isName()) format = formatOfFilter(resolved->text, format);
  }
  return format;
}

}  // namespace

extern "C" {

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetImageCount(ZOPRADocumentLoader* loader,
                                                                  uint32_t* count,
                                                                  uint32_t page) {
  if (!usable(loader, count, page)) return ZOPRA_STATUS_INVALID_ARGUMENT;
  return guarded([&] {
    Error kind = loader->document.extractImages(page, loader->imageObjects);
    if (kind != Error::None) return statusFor(kind);
    *count = static_cast<uint32_t>(loader->imageObjects.size());
    return ZOPRA_STATUS_SUCCESS;
  });
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetImageFormat(ZOPRADocumentLoader* loader,
                                                                   uint32_t* format,
                                                                   uint32_t page, uint32_t index) {
  if (!usable(loader, format, page)) return ZOPRA_STATUS_INVALID_ARGUMENT;
  return guarded([&] {
    const Object* image = nullptr;
    int32_t status = findImage(loader, page, index, image);
    if (status != ZOPRA_STATUS_SUCCESS) return status;
    *format = imageFormat(loader->document, *image);
    return ZOPRA_STATUS_SUCCESS;
  });
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetImageBufferSize(
    ZOPRADocumentLoader* loader, uint32_t* size, uint32_t page, uint32_t index) {
  if (!usable(loader, size, page)) return ZOPRA_STATUS_INVALID_ARGUMENT;
  return guarded([&] {
    const Object* image = nullptr;
    int32_t status = findImage(loader, page, index, image);
    if (status != ZOPRA_STATUS_SUCCESS) return status;
    Bytes stored = loader->document.storedStream(*image);
    if (stored.size() > UINT32_MAX) return ZOPRA_STATUS_MEMORY_INSUFFICIENT;
    *size = static_cast<uint32_t>(stored.size());
    return ZOPRA_STATUS_SUCCESS;
  });
}

ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetImageBuffer(ZOPRADocumentLoader* loader,
                                                                   uint8_t* buffer,
                                                                   uint32_t bufferSize,
                                                                   uint32_t page, uint32_t index) {
  if (!usable(loader, buffer, page)) return ZOPRA_STATUS_INVALID_ARGUMENT;
  return guarded([&] {
    const Object* image = nullptr;
    int32_t status = findImage(loader, page, index, image);
    if (status != ZOPRA_STATUS_SUCCESS) return status;
    Bytes stored = loader->document.storedStream(*image);
    if (stored.size() > bufferSize) return ZOPRA_STATUS_INVALID_ARGUMENT;
    if (!stored.empty()) std::memcpy(buffer, stored.data(), stored.size());
    return ZOPRA_STATUS_SUCCESS;
  });
}

}  // extern "C"
