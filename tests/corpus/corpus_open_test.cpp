// Every real-world file opens or fails with a clear status, never crashes or
// hangs, and agrees with pdfinfo on its pages.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <sstream>

#include "corpus/corpus_files.h"
#include "pdf/model/document.h"
#include "support/test_files.h"

namespace zopra::pdf {
namespace {

struct PdfinfoPage {
  double width = 0, height = 0;
  int rotation = 0;
};

// Per-page sizes and rotations as pdfinfo prints them (unrotated crop box size).
std::vector<PdfinfoPage> pdfinfoPages(const std::string& path, int count) {
  std::string out = test::capture("pdfinfo -f 1 -l " + std::to_string(count) + " '" + path +
                                  "' 2>/dev/null");
  std::vector<PdfinfoPage> pages(static_cast<std::size_t>(count));
  std::istringstream lines(out);
  std::string line;
  while (std::getline(lines, line)) {
    int page = 0;
    double w = 0, h = 0;
    int rotation = 0;
    if (std::sscanf(line.c_str(), "Page %d size: %lf x %lf", &page, &w, &h) == 3 && page >= 1 &&
        page <= count) {
      pages[page - 1].width = w;
      pages[page - 1].height = h;
    } else if (std::sscanf(line.c_str(), "Page %d rot: %d", &page, &rotation) == 2 && page >= 1 &&
               page <= count) {
      pages[page - 1].rotation = rotation;
    }
  }
  return pages;
}

// Files where the engine's rules deliberately give another answer than pdfinfo.
const std::map<std::string, std::string> kDeliberateDifferences = {};

TEST(Corpus, EveryFileOpensOrFailsCleanly) {
  auto files = test::corpusFiles();
  if (files.empty()) GTEST_SKIP() << "corpus folder not present";
  auto oracle = test::corpusOracle();
  bool havePdfinfo = test::haveProgram("pdfinfo");
  int compared = 0;
  for (const std::string& path : files) {
    std::string name = std::filesystem::path(path).filename().string();
    Document document;
    Error result = document.load(path);
    EXPECT_LE(static_cast<int>(result), static_cast<int>(Error::Io)) << name;
    if (result != Error::None) {
      EXPECT_FALSE(document.errorMessage.empty()) << name;
    }

    auto row = oracle.find(name);
    if (row == oracle.end() || row->second.pdfinfoPages < 0) continue;
    if (kDeliberateDifferences.count(name)) continue;
    if (row->second.encrypted && result == Error::Encryption) continue;
    EXPECT_EQ(result, Error::None) << name << ": " << document.errorMessage;
    EXPECT_EQ(static_cast<int>(document.pages.size()), row->second.pdfinfoPages) << name;
    if (static_cast<int>(document.pages.size()) != row->second.pdfinfoPages) continue;
    if (!havePdfinfo) continue;
    auto expected = pdfinfoPages(path, row->second.pdfinfoPages);
    for (std::size_t i = 0; i < expected.size(); ++i) {
      const Page& page = document.pages[i];
      bool turned = page.rotation == 90 || page.rotation == 270;
      double width = turned ? page.height : page.width;
      double height = turned ? page.width : page.height;
      EXPECT_NEAR(width, expected[i].width, 0.01) << name << " page " << i + 1;
      EXPECT_NEAR(height, expected[i].height, 0.01) << name << " page " << i + 1;
      EXPECT_EQ(static_cast<int>(page.rotation), expected[i].rotation) << name << " page " << i + 1;
    }
    ++compared;
  }
  EXPECT_GT(compared, 0);
}

}  // namespace
}  // namespace zopra::pdf
