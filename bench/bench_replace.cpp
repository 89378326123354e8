// The whole replacement cycle through the public C interface, on every page
// of a file or of every PDF in a folder: extract the page's items, remove all
// of them, set each item's own text at its place in a TrueType font and draw
// it, then write the document. Reports pages per second, items per second,
// peak resident memory and output size, and checks the 100 pages/s target.
// WRITER "compact" writes with zopraDocumentLoaderWriteDocumentCompactA
// (subset fonts, compressed streams, no unused objects) instead of the plain
// zopraDocumentLoaderWriteDocumentA, deflating on THREADS threads.
//
//   bench_replace [FOLDER|FILE] [FONT.ttf] [REPEATS] [plain|compact] [THREADS]

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

constexpr double kTargetPagesPerSecond = 100.0;

struct Tally {
  std::size_t files = 0;
  std::size_t failed = 0;
  std::size_t pages = 0;
  std::size_t items = 0;
  std::size_t drawn = 0;
  std::uintmax_t outputBytes = 0;
  double seconds = 0;
  // Where the time went: extraction, removal, measuring, drawing, writing.
  double phase[5] = {0, 0, 0, 0, 0};
};

using Clock = std::chrono::steady_clock;

// Adds the time since `start` to `total` and restarts the clock.
void lap(Clock::time_point& start, double& total) {
  const Clock::time_point now = Clock::now();
  total += std::chrono::duration<double>(now - start).count();
  start = now;
}

// One file through the cycle; false when it cannot be opened or written.
bool replaceDocument(ZOPRADocumentLoader* loader, const fs::path& path, const std::string& font,
                     const std::string& output, bool compact, Tally& tally) {
  const Clock::time_point start = Clock::now();
  Clock::time_point phaseStart = start;
  if (zopraDocumentLoaderOpenFileA(loader, path.c_str()) != ZOPRA_STATUS_SUCCESS) return false;
  std::uint32_t pages = 0;
  zopraDocumentLoaderGetPageCount(loader, &pages);
  for (std::uint32_t page = 0; page < pages; ++page) {
    std::uint32_t count = 0;
    // A damaged page still gives its items; a page without any gives none.
    zopraDocumentLoaderExtractPageText(loader, page);
    if (zopraDocumentLoaderGetPageTextCount(loader, &count, page) != ZOPRA_STATUS_SUCCESS) count = 0;
    ++tally.pages;
    tally.items += count;
    std::vector<ZOPRADocumentLoaderTextInfo> infos(count);
    std::vector<std::string> texts(count);
    for (std::uint32_t i = 0; i < count; ++i) {
      if (zopraDocumentLoaderGetText(loader, &infos[i], i) == ZOPRA_STATUS_SUCCESS && infos[i].text) {
        texts[i] = infos[i].text;
      }
    }
    lap(phaseStart, tally.phase[0]);
    if (count > 0) zopraDocumentLoaderRemoveOriginalText(loader, page);
    lap(phaseStart, tally.phase[1]);
    for (std::uint32_t i = 0; i < count; ++i) {
      if (texts[i].empty()) continue;
      const bool set = zopraDocumentLoaderSetTextA(loader, texts[i].c_str(), page, i, font.c_str(),
                                                   infos[i].fontSize,
                                                   infos[i].horizontalScaling) == ZOPRA_STATUS_SUCCESS;
      lap(phaseStart, tally.phase[2]);
      if (set && zopraDocumentLoaderDrawText(loader) == ZOPRA_STATUS_SUCCESS) ++tally.drawn;
      lap(phaseStart, tally.phase[3]);
    }
  }
  const int32_t status = compact ? zopraDocumentLoaderWriteDocumentCompactA(loader, output.c_str(), ZOPRA_COMPACT_ALL)
                                 : zopraDocumentLoaderWriteDocumentA(loader, output.c_str());
  const bool written = status == ZOPRA_STATUS_SUCCESS;
  lap(phaseStart, tally.phase[4]);
  tally.seconds += std::chrono::duration<double>(Clock::now() - start).count();
  std::error_code error;
  if (written) tally.outputBytes += fs::file_size(output, error);
  return written;
}

}  // namespace

int main(int argc, char** argv) {
  fs::path where = argc > 1 ? fs::path(argv[1]) : fs::path(ZOPRA_DEFAULT_CORPUS);
  std::string font = argc > 2 ? argv[2] : "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
  long repeats = argc > 3 ? std::strtol(argv[3], nullptr, 10) : 1;
  const std::string writer = argc > 4 ? argv[4] : "plain";
  const long threads = argc > 5 ? std::strtol(argv[5], nullptr, 10) : 1;
  if (argc > 6 || repeats < 1 || threads < 1 || (writer != "plain" && writer != "compact")) {
    std::fprintf(stderr, "usage: bench_replace [FOLDER|FILE] [FONT.ttf] [REPEATS>=1] [plain|compact] [THREADS]\n");
    return 2;
  }
  std::error_code error;
  if (!fs::is_regular_file(font, error)) {
    std::fprintf(stderr, "bench_replace: no font at %s (install fonts-dejavu-core)\n", font.c_str());
    return 1;
  }
  std::uintmax_t largest = 0;
  std::vector<fs::path> files = zopra::bench::listPdfFilesOrSay("bench_replace", where, largest);
  if (files.empty()) return 1;
  std::string output = zopra::bench::scratchOutput("zopra-bench-replace");
  ZOPRADocumentLoader* loader = nullptr;
  if (zopraDocumentLoaderCreate(&loader) != ZOPRA_STATUS_SUCCESS) return 1;
  zopraDocumentLoaderSetWriteThreads(loader, static_cast<std::uint32_t>(threads));
  Tally tally;
  for (long round = 0; round < repeats; ++round) {
    for (const fs::path& path : files) {
      ++tally.files;
      if (!replaceDocument(loader, path, font, output, writer == "compact", tally)) ++tally.failed;
    }
  }
  zopraDocumentLoaderDestroy(loader);
  std::remove(output.c_str());

  const double pagesPerSecond = tally.seconds > 0 ? static_cast<double>(tally.pages) / tally.seconds : 0.0;
  std::printf("files:   %zu (%zu failed) x %ld rounds from %s\n", files.size(), tally.failed / repeats, repeats,
              where.string().c_str());
  std::printf("pages:   %zu, items %zu, drawn %zu, %.3f s\n", tally.pages, tally.items, tally.drawn,
              tally.seconds);
  std::printf("speed:   %.1f pages/s, %.0f items/s; target %.0f pages/s: %s\n", pagesPerSecond,
              tally.seconds > 0 ? static_cast<double>(tally.items) / tally.seconds : 0.0, kTargetPagesPerSecond,
              pagesPerSecond >= kTargetPagesPerSecond ? "met" : "NOT met");
  std::printf("time:    extract %.2f s, remove %.2f s, measure %.2f s, draw %.2f s, write %.2f s\n",
              tally.phase[0], tally.phase[1], tally.phase[2], tally.phase[3], tally.phase[4]);
  std::printf("output:  %.1f MiB written in all\n", static_cast<double>(tally.outputBytes) / (1024.0 * 1024.0));
  std::printf("peak memory: %.1f MiB\n", static_cast<double>(zopra::bench::peakResidentKiB()) / 1024.0);
  return 0;
}
