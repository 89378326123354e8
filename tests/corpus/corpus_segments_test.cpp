// Real documents: every block replaced by its own text keeps the page's
// words as pdftotext reads them, and the blocks hold the words pdftotext
// finds on the page.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "corpus/corpus_files.h"
#include "pdf/content/graphics_entry.h"
#include "pdf/content/text_entry.h"
#include "pdf/layout/block_flow.h"
#include "pdf/layout/block_text.h"
#include "pdf/layout/text_blocks.h"
#include "pdf/layout/text_room.h"
#include "pdf/model/document.h"
#include "support/test_files.h"

namespace zopra::pdf {
namespace {

const char* const kFont = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

// Words as both sides can agree on them: ligatures spelled out, a hyphen at
// a line end joined (pdftotext keeps "infor-" "mation" apart), other
// hyphens splitting words.
std::map<std::string, int> words(std::string text) {
  for (std::size_t at = text.find("-\n"); at != std::string::npos; at = text.find("-\n", at)) text.erase(at, 2);
  text = plainText(text);
  for (char& c : text) {
    if (c == '-') c = ' ';
  }
  std::map<std::string, int> counts;
  std::istringstream in(text);
  std::string word;
  while (in >> word) ++counts[word];
  return counts;
}

// Pages first to last, from 1.
std::string pdftotext(const std::string& path, int first, int last) {
  return test::capture("pdftotext -f " + std::to_string(first) + " -l " + std::to_string(last) + " '" + path +
                       "' - 2>/dev/null");
}

TEST(CorpusSegments, UnchangedRoundTripKeepsTheWords) {
  if (!test::haveProgram("pdftotext")) GTEST_SKIP() << "pdftotext not installed";
  if (!std::filesystem::exists(kFont)) GTEST_SKIP() << "DejaVu Sans not installed";
  std::map<std::string, std::string> paths;
  for (const std::string& path : test::corpusFiles()) paths[std::filesystem::path(path).filename().string()] = path;
  if (paths.empty()) GTEST_SKIP() << "corpus folder not present";
  // Papers and office documents in Latin script: pages first to last
  // (from 1; the manual's table of contents, whose leader dots poppler
  // reads as words of their own, is left out).
  const struct {
    std::string file;
    int first, last;
  } rows[] = {
      {"pdfjs-tracemonkey.pdf", 1, 3},      {"pysf-multicolumn.pdf", 1, 3},
      {"pysf-pdflatex-4pages.pdf", 1, 4},   {"pysf-lo-writer.pdf", 1, 1},
      {"pymupdf-mupdf-explored.pdf", 1, 3}, {"deb-source2e.pdf", 30, 40},
      {"plumber-pr138.pdf", 1, 2},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.file);
    auto found = paths.find(row.file);
    if (found == paths.end()) continue;
    Document document;
    ASSERT_EQ(document.load(found->second), Error::None);
    const int last = std::min<int>(row.last, static_cast<int>(document.pages.size()));
    std::string segmentText;
    for (int page = row.first - 1; page < last; ++page) {
      const auto index = static_cast<std::uint32_t>(page);
      std::vector<TextEntry> items;
      std::vector<GraphicsEntry> graphics;
      ASSERT_EQ(document.extractText(index, items, nullptr), Error::None);
      ASSERT_EQ(document.extractGraphics(index, 0.0, graphics), Error::None);
      const std::vector<TextBlock> blocks = textBlocks(items, graphics);
      std::set<std::uint32_t> chosen;
      for (const TextBlock& block : blocks) {
        segmentText += block.text + "\n";
        for (const TextLine& line : block.lines) chosen.insert(line.items.begin(), line.items.end());
      }
      ASSERT_EQ(document.removeText(index, &chosen, items, 1 + index), Error::None);
      const Rectangle box = unrotatedPageBox(document.pages[index]);
      const std::vector<double> room = textRoom(items, graphics, box);
      const FlowPage context{&items, &blocks, &graphics, &room, box};
      for (std::size_t b = 0; b < blocks.size(); ++b) {
        BlockFlow flow;
        ASSERT_EQ(flowBlock(document, index, context, b, blocks[b].text, {kFont}, 0, flow), Error::None);
      }
    }
    const std::string out = test::tempDirectory() + "/round-trip.pdf";
    ASSERT_EQ(document.save(out), Error::None);
    const auto original = words(pdftotext(found->second, row.first, last));
    EXPECT_GE(zopra::test::wordF1(words(segmentText), original), 0.97);
    EXPECT_GE(zopra::test::wordF1(words(pdftotext(out, row.first, last)), original), 0.97);
  }
}

}  // namespace
}  // namespace zopra::pdf
