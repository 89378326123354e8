// Opens every PDF of a folder through the public C interface and reads the
// page count and every page size, N times over. Reports files per second,
// peak resident memory and whether the peak stays below twice the largest
// file plus 10 MiB.
//
//   bench_open [FOLDER] [REPEATS]
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "bench_common.h"
#include "zopra_document_loader.h"

namespace {

namespace fs = std::filesystem;
using zopra::bench::peakResidentKiB;

struct Tally {
  std::size_t opened = 0;
  std::size_t failed = 0;
  std::uint64_t pages = 0;
};

void readDocument(ZOPRADocumentLoader* loader, const fs::path& path, Tally& tally) {
  if (zopraDocumentLoaderOpenFileA(loader, path.c_str()) != ZOPRA_STATUS_SUCCESS) {
    ++tally.failed;
    return;
  }
  ++tally.opened;
  std::uint32_t count = 0;
  if (zopraDocumentLoaderGetPageCount(loader, &count) != ZOPRA_STATUS_SUCCESS) return;
  for (std::uint32_t page = 0; page < count; ++page) {
    double width = 0.0;
    double height = 0.0;
    std::uint32_t rotation = 0;
    if (zopraDocumentLoaderGetPageSize(loader, &width, &height, &rotation, page) ==
        ZOPRA_STATUS_SUCCESS) {
      ++tally.pages;
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  fs::path folder = argc > 1 ? fs::path(argv[1]) : fs::path(ZOPRA_DEFAULT_CORPUS);
  long repeats = argc > 2 ? std::strtol(argv[2], nullptr, 10) : 3;
  if (argc > 3 || repeats < 1) {
    std::fprintf(stderr, "usage: bench_open [FOLDER] [REPEATS>=1]\n");
    return 2;
  }
  std::uintmax_t largest = 0;
  std::vector<fs::path> files = zopra::bench::listPdfFilesOrSay("bench_open", folder, largest);
  if (files.empty()) return 1;

  ZOPRADocumentLoader* loader = nullptr;
  if (zopraDocumentLoaderCreate(&loader) != ZOPRA_STATUS_SUCCESS) return 1;
  long baselineKiB = peakResidentKiB();
  Tally tally;
  auto start = std::chrono::steady_clock::now();
  for (long round = 0; round < repeats; ++round) {
    for (const fs::path& path : files) readDocument(loader, path, tally);
  }
  double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  zopraDocumentLoaderDestroy(loader);

  long peakKiB = peakResidentKiB();
  double peakMiB = static_cast<double>(peakKiB) / 1024.0;
  double largestMiB = static_cast<double>(largest) / (1024.0 * 1024.0);
  double targetMiB = 2.0 * largestMiB + 10.0;
  std::size_t opens = files.size() * static_cast<std::size_t>(repeats);
  std::printf("folder:          %s\n", folder.string().c_str());
  std::printf("files:           %zu x %ld rounds = %zu opens (%zu ok, %zu failed)\n",
              files.size(), repeats, opens, tally.opened, tally.failed);
  std::printf("pages read:      %llu\n", static_cast<unsigned long long>(tally.pages));
  std::printf("time:            %.3f s, %.1f files/s\n", seconds,
              seconds > 0.0 ? static_cast<double>(opens) / seconds : 0.0);
  std::printf("peak memory:     %.1f MiB (%.1f MiB before the first open)\n", peakMiB,
              static_cast<double>(baselineKiB) / 1024.0);
  std::printf("largest file:    %.1f MiB\n", largestMiB);
  std::printf("target:          peak < 2 x largest + 10 MiB = %.1f MiB: %s\n", targetMiB,
              peakMiB < targetMiB ? "met" : "NOT met");
  return 0;
}
