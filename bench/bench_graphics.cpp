// Graphics and images of every page of every PDF of a folder (or of one
// file) through the public C interface, N times over. Two passes:
//   graphics: ExtractPageGraphics of every page, every record copied out;
//   images:   for every page the image count, and each image's format and
//             size (what `zopra-pdf images --list` asks for).
// Reports entries, pages and images per second, peak resident memory and
// whether the peak stays below twice the largest file plus 10 MiB.
//
//   bench_graphics [FOLDER|FILE] [REPEATS]
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
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
  std::uint64_t items = 0;
  double seconds = 0;
};

void readGraphics(ZOPRADocumentLoader* loader, std::uint32_t count, Tally& tally,
                  std::vector<ZOPRADocumentLoaderGraphicsInfo>& records) {
  for (std::uint32_t page = 0; page < count; ++page) {
    std::uint32_t entries = 0;
    if (zopraDocumentLoaderExtractPageGraphics(loader, page, 0.0) != ZOPRA_STATUS_SUCCESS ||
        zopraDocumentLoaderGetPageGraphicsCount(loader, &entries, page) != ZOPRA_STATUS_SUCCESS) {
      ++tally.failedPages;
      continue;
    }
    records.resize(entries);
    if (zopraDocumentLoaderGetGraphicsArray(loader, records.data(), entries, 0) ==
        ZOPRA_STATUS_SUCCESS) {
      ++tally.pages;
      tally.items += entries;
    }
  }
}

void listImages(ZOPRADocumentLoader* loader, std::uint32_t count, Tally& tally) {
  for (std::uint32_t page = 0; page < count; ++page) {
    std::uint32_t images = 0;
    if (zopraDocumentLoaderGetImageCount(loader, &images, page) != ZOPRA_STATUS_SUCCESS) {
      ++tally.failedPages;
      continue;
    }
    ++tally.pages;
    for (std::uint32_t index = 0; index < images; ++index) {
      std::uint32_t format = 0, size = 0;
      if (zopraDocumentLoaderGetImageFormat(loader, &format, page, index) == ZOPRA_STATUS_SUCCESS &&
          zopraDocumentLoaderGetImageBufferSize(loader, &size, page, index) ==
              ZOPRA_STATUS_SUCCESS) {
        ++tally.items;
      }
    }
  }
}

template <typename Pass>
void runPass(ZOPRADocumentLoader* loader, const std::vector<fs::path>& files, long repeats,
             Tally& tally, Pass pass) {
  auto start = std::chrono::steady_clock::now();
  for (long round = 0; round < repeats; ++round) {
    for (const fs::path& path : files) {
      if (zopraDocumentLoaderOpenFileA(loader, path.c_str()) != ZOPRA_STATUS_SUCCESS) {
        ++tally.failed;
        continue;
      }
      ++tally.opened;
      std::uint32_t count = 0;
      zopraDocumentLoaderGetPageCount(loader, &count);
      pass(count);
    }
  }
  tally.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double perSecond(std::uint64_t count, double seconds) {
  return seconds > 0.0 ? static_cast<double>(count) / seconds : 0.0;
}

void report(const char* name, const char* items, const Tally& tally) {
  std::printf("%s: %zu files opened, %zu failed; %llu pages, %llu failed; %llu %s\n", name,
              tally.opened, tally.failed, static_cast<unsigned long long>(tally.pages),
              static_cast<unsigned long long>(tally.failedPages),
              static_cast<unsigned long long>(tally.items), items);
  std::printf("%s: %.3f s, %.1f pages/s, %.1f %s/s\n", name, tally.seconds,
              perSecond(tally.pages, tally.seconds), perSecond(tally.items, tally.seconds), items);
}

}  // namespace

int main(int argc, char** argv) {
  fs::path where = argc > 1 ? fs::path(argv[1]) : fs::path(ZOPRA_DEFAULT_CORPUS);
  long repeats = argc > 2 ? std::strtol(argv[2], nullptr, 10) : 1;
  if (argc > 3 || repeats < 1) {
    std::fprintf(stderr, "usage: bench_graphics [FOLDER|FILE] [REPEATS>=1]\n");
    return 2;
  }
  std::uintmax_t largest = 0;
  std::vector<fs::path> files = zopra::bench::listPdfFilesOrSay("bench_graphics", where, largest);
  if (files.empty()) return 1;
  ZOPRADocumentLoader* loader = nullptr;
  if (zopraDocumentLoaderCreate(&loader) != ZOPRA_STATUS_SUCCESS) return 1;
  std::vector<ZOPRADocumentLoaderGraphicsInfo> records;
  Tally graphics;
  runPass(loader, files, repeats, graphics,
          [&](std::uint32_t count) { readGraphics(loader, count, graphics, records); });
  double graphicsPeakMiB = static_cast<double>(zopra::bench::peakResidentKiB()) / 1024.0;
  Tally images;
  runPass(loader, files, repeats, images,
          [&](std::uint32_t count) { listImages(loader, count, images); });
  zopraDocumentLoaderDestroy(loader);

  double peakMiB = static_cast<double>(zopra::bench::peakResidentKiB()) / 1024.0;
  double largestMiB = static_cast<double>(largest) / (1024.0 * 1024.0);
  double targetMiB = 2.0 * largestMiB + 10.0;
  std::printf("input:           %s, %zu files x %ld rounds\n", where.string().c_str(), files.size(),
              repeats);
  report("graphics", "entries", graphics);
  report("images  ", "images", images);
  std::printf("peak memory:     %.1f MiB after the graphics, %.1f MiB in all\n", graphicsPeakMiB,
              peakMiB);
  std::printf("target:          peak < 2 x largest (%.1f MiB) + 10 MiB = %.1f MiB: %s\n",
              largestMiB, targetMiB, peakMiB < targetMiB ? "met" : "NOT met");
  return 0;
}
