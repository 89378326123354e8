// Runs every file of the hostile-input suite through the public C interface,
// each in a child process of its own, once for each kind of page query: the
// text of every page (the item list and the page string), and the graphics
// and the image count of every page. Reports per file and query the wall
// time, the peak resident memory beyond the file's own size, and the
// statuses. Checks the bound for every file and query.
//
//   bench_hostile [--write FOLDER]
//
// With --write the files are only written to FOLDER (to try them with other
// tools) and nothing is run. Each file is read by this program started anew
// (`bench_hostile --read text|graphics FILE`), so that its memory is measured
// from a clean process.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/hostile_files.h"
#include "zopra_document_loader.h"

namespace {

namespace fs = std::filesystem;

// The bound the README documents for every file of the suite.
constexpr double kMaxSeconds = 2.0;
constexpr double kMaxExtraMiB = 64.0;
// A child that runs longer than this is stopped and reported.
constexpr unsigned kKillSeconds = 120;

struct Statuses {
  std::int32_t open = 0;
  std::int32_t worstPage = 0;
};

const char* const kQueries[] = {"text", "graphics"};

// One kind of query on one page: two page runs either way.
std::int32_t queryPage(ZOPRADocumentLoader* loader, const std::string& query, std::uint32_t page) {
  std::uint32_t count = 0;
  if (query == "text") {
    std::int32_t status = zopraDocumentLoaderExtractPageText(loader, page);
    if (status != ZOPRA_STATUS_SUCCESS) return status;
    return zopraDocumentLoaderGetPageTextSize(loader, &count, page);
  }
  std::int32_t status = zopraDocumentLoaderExtractPageGraphics(loader, page, 0.0);
  if (status != ZOPRA_STATUS_SUCCESS) return status;
  return zopraDocumentLoaderGetImageCount(loader, &count, page);
}

// In the child: open and query every page; the statuses go out through a pipe.
Statuses readFile(const std::string& query, const std::string& path) {
  Statuses statuses;
  ZOPRADocumentLoader* loader = nullptr;
  if (zopraDocumentLoaderCreate(&loader) != ZOPRA_STATUS_SUCCESS) std::_Exit(3);
  statuses.open = zopraDocumentLoaderOpenFileA(loader, path.c_str());
  std::uint32_t count = 0;
  if (statuses.open == ZOPRA_STATUS_SUCCESS && zopraDocumentLoaderGetPageCount(loader, &count) == 0) {
    for (std::uint32_t page = 0; page < count; ++page) {
      std::int32_t status = queryPage(loader, query, page);
      if (status != ZOPRA_STATUS_SUCCESS && statuses.worstPage == 0) statuses.worstPage = status;
    }
  }
  zopraDocumentLoaderDestroy(loader);
  return statuses;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::string(argv[1]) == "--read") {
    Statuses statuses = readFile(argv[2], argv[3]);
    return write(STDOUT_FILENO, &statuses, sizeof statuses) == sizeof statuses ? 0 : 4;
  }
  std::vector<zopra::test::HostileFile> files = zopra::test::hostileFiles();
  fs::path folder = fs::temp_directory_path() / ("zopra-hostile-" + std::to_string(::getpid()));
  bool writeOnly = argc == 3 && std::string(argv[1]) == "--write";
  if (writeOnly) folder = argv[2];
  if (argc != 1 && !writeOnly) {
    std::fprintf(stderr, "usage: bench_hostile [--write FOLDER]\n");
    return 2;
  }
  fs::create_directories(folder);
  for (const auto& file : files) {
    std::ofstream(folder / (file.name + ".pdf"), std::ios::binary) << file.bytes;
  }
  if (writeOnly) {
    std::printf("%zu files written to %s\n", files.size(), folder.c_str());
    return 0;
  }

  std::printf("%-24s %-8s %9s %8s %10s %6s %6s  %s\n", "file", "query", "size KiB", "time s",
              "extra MiB", "open", "page", "bound");
  bool allWithin = true;
  for (const auto& file : files) {
    std::string path = (folder / (file.name + ".pdf")).string();
    for (const char* query : kQueries) {
      int channel[2];
      if (pipe(channel) != 0) return 1;
      auto start = std::chrono::steady_clock::now();
      pid_t child = fork();
      if (child == 0) {
        close(channel[0]);
        dup2(channel[1], STDOUT_FILENO);
        alarm(kKillSeconds);
        execl("/proc/self/exe", argv[0], "--read", query, path.c_str(), static_cast<char*>(nullptr));
        std::_Exit(5);
      }
      close(channel[1]);
      Statuses statuses;
      bool reported = read(channel[0], &statuses, sizeof statuses) == sizeof statuses;
      close(channel[0]);
      int wait = 0;
      rusage usage{};
      wait4(child, &wait, 0, &usage);
      double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
      double sizeMiB = static_cast<double>(file.bytes.size()) / (1024.0 * 1024.0);
      double extraMiB = static_cast<double>(usage.ru_maxrss) / 1024.0 - sizeMiB;
      bool within = reported && seconds <= kMaxSeconds && extraMiB <= kMaxExtraMiB;
      allWithin = allWithin && within;
      if (reported) {
        std::printf("%-24s %-8s %9.1f %8.3f %10.1f %6d %6d  %s\n", file.name.c_str(), query,
                    static_cast<double>(file.bytes.size()) / 1024.0, seconds, extraMiB,
                    statuses.open, statuses.worstPage, within ? "ok" : "EXCEEDED");
      } else {
        std::printf("%-24s %-8s %9.1f %8.3f %10.1f %6s %6s  %s\n", file.name.c_str(), query,
                    static_cast<double>(file.bytes.size()) / 1024.0, seconds, extraMiB, "-", "-",
                    WIFSIGNALED(wait) ? "KILLED" : "FAILED");
      }
    }
  }
  fs::remove_all(folder);
  std::printf("bound: %.1f s and %.0f MiB beyond the file's size per file and query: %s\n",
              kMaxSeconds, kMaxExtraMiB, allWithin ? "met" : "NOT met");
  return allWithin ? 0 : 1;
}
