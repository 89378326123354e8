// Writes every PDF of a folder (or one file) anew through the public C
// interface: once as it is ("rewrite") and once with all text of every page
// removed ("erase"), N times over. Reports files per second, megabytes of
// input per second and the peak resident memory after each, and checks the
// rewrite's peak against three times the largest file plus 10 MiB. (Erasing
// holds the decoded, rewritten content of every page until it is written,
// and writes it uncompressed.)
//
//   bench_write [FOLDER|FILE] [REPEATS]

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
  std::size_t written = 0;
  std::size_t failed = 0;
  std::uintmax_t bytes = 0;
  double seconds = 0;
};

// Opens `path`, optionally removes all text of every page, writes `output`.
void writeDocument(ZOPRADocumentLoader* loader, const fs::path& path, const std::string& output,
                   bool erase, Tally& tally) {
  auto start = std::chrono::steady_clock::now();
  bool ok = zopraDocumentLoaderOpenFileA(loader, path.c_str()) == ZOPRA_STATUS_SUCCESS;
  std::uint32_t pages = 0;
  if (ok && erase && zopraDocumentLoaderGetPageCount(loader, &pages) == ZOPRA_STATUS_SUCCESS) {
    for (std::uint32_t page = 0; page < pages; ++page) zopraDocumentLoaderRemoveOriginalText(loader, page);
  }
  ok = ok && zopraDocumentLoaderWriteDocumentA(loader, output.c_str()) == ZOPRA_STATUS_SUCCESS;
  tally.seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (!ok) {
    ++tally.failed;
    return;
  }
  ++tally.written;
  std::error_code error;
  tally.bytes += fs::file_size(path, error);
}

void print(const char* name, const Tally& tally) {
  double megabytes = static_cast<double>(tally.bytes) / (1024.0 * 1024.0);
  std::printf("%-8s %zu written, %zu failed, %.3f s, %.1f files/s, %.1f MB/s\n", name, tally.written,
              tally.failed, tally.seconds,
              tally.seconds > 0 ? static_cast<double>(tally.written) / tally.seconds : 0.0,
              tally.seconds > 0 ? megabytes / tally.seconds : 0.0);
}

}  // namespace

int main(int argc, char** argv) {
  fs::path where = argc > 1 ? fs::path(argv[1]) : fs::path(ZOPRA_DEFAULT_CORPUS);
  long repeats = argc > 2 ? std::strtol(argv[2], nullptr, 10) : 1;
  if (argc > 3 || repeats < 1) {
    std::fprintf(stderr, "usage: bench_write [FOLDER|FILE] [REPEATS>=1]\n");
    return 2;
  }
  std::uintmax_t largest = 0;
  std::vector<fs::path> files = zopra::bench::listPdfFilesOrSay("bench_write", where, largest);
  if (files.empty()) return 1;
  std::string output = zopra::bench::scratchOutput("zopra-bench-write");
  ZOPRADocumentLoader* loader = nullptr;
  if (zopraDocumentLoaderCreate(&loader) != ZOPRA_STATUS_SUCCESS) return 1;
  Tally rewrite;
  Tally erase;
  for (long round = 0; round < repeats; ++round) {
    for (const fs::path& path : files) writeDocument(loader, path, output, false, rewrite);
  }
  double rewriteMiB = static_cast<double>(zopra::bench::peakResidentKiB()) / 1024.0;
  for (long round = 0; round < repeats; ++round) {
    for (const fs::path& path : files) writeDocument(loader, path, output, true, erase);
  }
  double eraseMiB = static_cast<double>(zopra::bench::peakResidentKiB()) / 1024.0;
  zopraDocumentLoaderDestroy(loader);
  std::remove(output.c_str());

  double targetMiB = 3.0 * static_cast<double>(largest) / (1024.0 * 1024.0) + 10.0;
  std::printf("files:   %zu x %ld rounds from %s\n", files.size(), repeats, where.string().c_str());
  print("rewrite", rewrite);
  print("erase", erase);
  std::printf("peak memory after rewrite: %.1f MiB; target: under 3 x largest file + 10 MiB = %.1f MiB: %s\n",
              rewriteMiB, targetMiB, rewriteMiB < targetMiB ? "met" : "NOT met");
  std::printf("peak memory after erase:   %.1f MiB\n", eraseMiB);
  return 0;
}
