// Running out of memory in the middle of a page extraction must not leave
// the handle claiming that the previous page's items are still there. The
// allocation failure is forced by replacing operator new for this program
// (the shared library's allocations come here too).
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>
#include <string>

#include "zopra_document_loader.h"

namespace {

bool failLargeAllocations = false;
constexpr std::size_t kLarge = std::size_t{1} << 20;

void* allocate(std::size_t size) {
  if (failLargeAllocations && size >= kLarge) throw std::bad_alloc();
  if (void* block = std::malloc(size == 0 ? 1 : size)) return block;
  throw std::bad_alloc();
}

int failures = 0;

void check(bool condition, const char* what) {
  if (!condition) {
    std::fprintf(stderr, "FAILED: %s\n", what);
    ++failures;
  }
}

// Two pages; the second one's content is a stream of 2 MiB, read into one
// buffer when the page is extracted.
std::string twoPages() {
  std::string big = "BT /F1 12 Tf 72 700 Td (big) Tj ET" + std::string(2 << 20, ' ');
  std::string small = "BT /F1 12 Tf 72 700 Td (small) Tj ET";
  std::string pdf = "%PDF-1.4\n";
  pdf += "1 0 obj << /Type /Catalog /Pages 2 0 R >> endobj\n";
  pdf += "2 0 obj << /Type /Pages /Kids [3 0 R 4 0 R] /Count 2 >> endobj\n";
  pdf += "3 0 obj << /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 5 0 R "
         "/Resources << /Font << /F1 7 0 R >> >> >> endobj\n";
  pdf += "4 0 obj << /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 6 0 R "
         "/Resources << /Font << /F1 7 0 R >> >> >> endobj\n";
  pdf += "5 0 obj << /Length " + std::to_string(small.size()) + " >> stream\n" + small +
         "\nendstream endobj\n";
  pdf += "6 0 obj << /Length " + std::to_string(big.size()) + " >> stream\n" + big +
         "\nendstream endobj\n";
  pdf += "7 0 obj << /Type /Font /Subtype /Type1 /BaseFont /Helvetica >> endobj\n";
  pdf += "trailer << /Root 1 0 R >>\n";
  return pdf;
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return failLargeAllocations && size >= kLarge ? nullptr : std::malloc(size == 0 ? 1 : size);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }
void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }

int main(int argc, char** argv) {
  std::string path = (argc > 1 ? std::string(argv[1]) : std::string(".")) + "/out-of-memory.pdf";
  std::ofstream(path, std::ios::binary) << twoPages();

  ZOPRADocumentLoader* loader = nullptr;
  check(zopraDocumentLoaderCreate(&loader) == ZOPRA_STATUS_SUCCESS, "create");
  check(zopraDocumentLoaderOpenFileA(loader, path.c_str()) == ZOPRA_STATUS_SUCCESS, "open");
  std::uint32_t count = 0;
  check(zopraDocumentLoaderExtractPageText(loader, 0) == ZOPRA_STATUS_SUCCESS, "extract page 1");
  check(zopraDocumentLoaderGetPageTextCount(loader, &count, 0) == ZOPRA_STATUS_SUCCESS && count == 1,
        "page 1 has one item");

  failLargeAllocations = true;
  std::int32_t status = zopraDocumentLoaderExtractPageText(loader, 1);
  failLargeAllocations = false;
  check(status == ZOPRA_STATUS_MEMORY_INSUFFICIENT, "extracting page 2 runs out of memory");
  check(zopraDocumentLoaderGetPageTextCount(loader, &count, 0) == ZOPRA_STATUS_INVALID_ARGUMENT,
        "page 1's items are gone after the failed extraction");
  check(zopraDocumentLoaderGetPageTextCount(loader, &count, 1) == ZOPRA_STATUS_INVALID_ARGUMENT,
        "page 2 has no items after the failed extraction");

  check(zopraDocumentLoaderExtractPageText(loader, 1) == ZOPRA_STATUS_SUCCESS, "extract page 2 again");
  check(zopraDocumentLoaderGetPageTextCount(loader, &count, 1) == ZOPRA_STATUS_SUCCESS && count == 1,
        "page 2 has one item");
  zopraDocumentLoaderDestroy(loader);
  std::remove(path.c_str());
  return failures == 0 ? 0 : 1;
}
