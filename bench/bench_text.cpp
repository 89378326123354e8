// Extracts the text of every page of every PDF of a folder (or of one file)
// through the public C interface, N times over, the way a host application
// reads a whole document: the page text as one string per page. Reports pages
// per second, peak resident memory and whether the peak stays below twice the
// largest file plus 10 MiB.
//
//   bench_text [FOLDER|FILE] [REPEATS]
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench_common.h"
#include "zopra_document_loader.h"

namespace {

namespace fs = std::filesystem;

struct Tally {
  std::size_t opened = 0;
  std::size_t failed = 0;
  std::uint64_t pages = 0;
  std::uint64_t failedPages = 0;
  std::uint64_t bytes = 0;
};

void readDocument(ZOPRADocumentLoader* loader, const fs::path& path, Tally& tally,
                  std::string& buffer) {
  if (zopraDocumentLoaderOpenFileA(loader, path.c_str()) != ZOPRA_STATUS_SUCCESS) {
    ++tally.failed;
    return;
  }
  ++tally.opened;
  std::uint32_t count = 0;
  zopraDocumentLoaderGetPageCount(loader, &count);
  for (std::uint32_t page = 0; page < count; ++page) {
    std::uint32_t size = 0;
    if (zopraDocumentLoaderGetPageTextSize(loader, &size, page) != ZOPRA_STATUS_SUCCESS) {
      ++tally.failedPages;
      continue;
    }
    buffer.resize(size);
    if (zopraDocumentLoaderGetPageText(loader, buffer.data(), size) == ZOPRA_STATUS_SUCCESS) {
      ++tally.pages;
      tally.bytes += size - 1;
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  fs::path where = argc > 1 ? fs::path(argv[1]) : fs::path(ZOPRA_DEFAULT_CORPUS);
  long repeats = argc > 2 ? std::strtol(argv[2], nullptr, 10) : 1;
  if (argc > 3 || repeats < 1) {
    std::fprintf(stderr, "usage: bench_text [FOLDER|FILE] [REPEATS>=1]\n");
    return 2;
  }
  std::uintmax_t largest = 0;
  std::vector<fs::path> files = zopra::bench::listPdfFilesOrSay("bench_text", where, largest);
  if (files.empty()) return 1;
  ZOPRADocumentLoader* loader = nullptr;
  if (zopraDocumentLoaderCreate(&loader) != ZOPRA_STATUS_SUCCESS) return 1;
  Tally tally;
  std::string buffer;
  auto start = std::chrono::steady_clock::now();
  for (long round = 0; round < repeats; ++round) {
    for (const fs::path& path : files) readDocument(loader, path, tally, buffer);
  }
  double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  zopraDocumentLoaderDestroy(loader);

  double peakMiB = static_cast<double>(zopra::bench::peakResidentKiB()) / 1024.0;
  double largestMiB = static_cast<double>(largest) / (1024.0 * 1024.0);
  double targetMiB = 2.0 * largestMiB + 10.0;
  std::printf("input:           %s\n", where.string().c_str());
  std::printf("files:           %zu x %ld rounds (%zu opened, %zu failed)\n", files.size(),
              repeats, tally.opened, tally.failed);
  std::printf("pages:           %llu extracted, %llu failed, %llu bytes of text\n",
              static_cast<unsigned long long>(tally.pages),
              static_cast<unsigned long long>(tally.failedPages),
              static_cast<unsigned long long>(tally.bytes));
  std::printf("time:            %.3f s, %.1f pages/s\n", seconds,
              seconds > 0.0 ? static_cast<double>(tally.pages) / seconds : 0.0);
  std::printf("peak memory:     %.1f MiB\n", peakMiB);
  std::printf("target:          peak < 2 x largest (%.1f MiB) + 10 MiB = %.1f MiB: %s\n",
              largestMiB, targetMiB, peakMiB < targetMiB ? "met" : "NOT met");
  return 0;
}
