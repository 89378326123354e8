// Style and room of every text item of every page of a folder (or of one
// file), through the public C interface, beside the page text extraction they
// build on: the share of time that asking for style and room adds to reading
// a page's items.
//
//   bench_layout [FOLDER|FILE] [REPEATS]
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "bench_common.h"
#include "zopra_document_loader.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

struct Tally {
  std::uint64_t pages = 0;
  std::uint64_t items = 0;
  std::uint64_t roomFailures = 0;
  std::uint64_t widened = 0;
  double extractSeconds = 0;
  double layoutSeconds = 0;
};

double since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

void readDocument(ZOPRADocumentLoader* loader, const fs::path& path, Tally& tally) {
  if (zopraDocumentLoaderOpenFileA(loader, path.c_str()) != ZOPRA_STATUS_SUCCESS) return;
  std::uint32_t pages = 0;
  zopraDocumentLoaderGetPageCount(loader, &pages);
  for (std::uint32_t page = 0; page < pages; ++page) {
    Clock::time_point start = Clock::now();
    std::uint32_t count = 0;
    if (zopraDocumentLoaderExtractPageText(loader, page) != ZOPRA_STATUS_SUCCESS ||
        zopraDocumentLoaderGetPageTextCount(loader, &count, page) != ZOPRA_STATUS_SUCCESS) {
      continue;
    }
    std::vector<ZOPRADocumentLoaderTextInfo> infos(count);
    for (std::uint32_t i = 0; i < count; ++i) zopraDocumentLoaderGetText(loader, &infos[i], i);
    tally.extractSeconds += since(start);

    start = Clock::now();
    for (std::uint32_t i = 0; i < count; ++i) {
      ZOPRADocumentLoaderTextStyle style;
      double room = 0;
      zopraDocumentLoaderGetTextStyle(loader, &style, i);
      if (zopraDocumentLoaderGetTextRoom(loader, i, &room) != ZOPRA_STATUS_SUCCESS) {
        ++tally.roomFailures;
      } else if (room > infos[i].width * 1.05) {
        ++tally.widened;
      }
    }
    tally.layoutSeconds += since(start);
    ++tally.pages;
    tally.items += count;
  }
}

}  // namespace

int main(int argc, char** argv) {
  fs::path where = argc > 1 ? fs::path(argv[1]) : fs::path(ZOPRA_DEFAULT_CORPUS);
  long repeats = argc > 2 ? std::strtol(argv[2], nullptr, 10) : 1;
  if (argc > 3 || repeats < 1) {
    std::fprintf(stderr, "usage: bench_layout [FOLDER|FILE] [REPEATS>=1]\n");
    return 2;
  }
  std::uintmax_t largest = 0;
  std::vector<fs::path> files = zopra::bench::listPdfFilesOrSay("bench_layout", where, largest);
  if (files.empty()) return 1;
  ZOPRADocumentLoader* loader = nullptr;
  if (zopraDocumentLoaderCreate(&loader) != ZOPRA_STATUS_SUCCESS) return 1;
  Tally tally;
  for (long round = 0; round < repeats; ++round) {
    for (const fs::path& path : files) readDocument(loader, path, tally);
  }
  zopraDocumentLoaderDestroy(loader);

  std::printf("input:             %s\n", where.string().c_str());
  std::printf("pages, items:      %llu, %llu\n", static_cast<unsigned long long>(tally.pages),
              static_cast<unsigned long long>(tally.items));
  std::printf("items:             %.3f s  (extraction and GetText)\n", tally.extractSeconds);
  std::printf("style and room:    %.3f s  (%.0f %% of the items' time; graphics read once per page)\n",
              tally.layoutSeconds,
              tally.extractSeconds > 0 ? 100.0 * tally.layoutSeconds / tally.extractSeconds : 0.0);
  std::printf("items with more room than 1.05 x their width: %llu; room failures: %llu\n",
              static_cast<unsigned long long>(tally.widened),
              static_cast<unsigned long long>(tally.roomFailures));
  std::printf("peak memory:       %.1f MiB\n",
              static_cast<double>(zopra::bench::peakResidentKiB()) / 1024.0);
  return 0;
}
