// Every real-world file that opens is written, plain and compact, and read
// back with the same page count and first-page text, through the new table
// rather than the recovery scan.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "corpus/corpus_files.h"
#include "pdf/content/text_entry.h"
#include "pdf/model/document.h"
#include "support/test_files.h"

namespace zopra::pdf {
namespace {

// The first page's items, joined.
std::string firstPageText(Document& document) {
  std::vector<TextEntry> entries;
  if (document.pages.empty() || document.extractText(0, entries, nullptr) != Error::None) return "(fails)";
  std::string text;
  for (const TextEntry& entry : entries) text += entry.text + '\n';
  return text;
}

TEST(SaveCorpusTest, EveryFileThatOpensIsWrittenAndReadBack) {
  const auto files = test::corpusFiles();
  if (files.empty()) GTEST_SKIP() << "corpus folder not present";
  const std::string output = test::tempDirectory() + "/save-corpus.pdf";
  int written = 0;
  for (const std::string& path : files) {
    const std::string name = std::filesystem::path(path).filename().string();
    // Plain, then compact (only reachable objects, in object streams with a
    // cross-reference stream): both read back with the same pages and text.
    for (const bool compact : {false, true}) {
      std::size_t pages = 0;
      std::string text;
      {
        Document document;
        if (document.load(path) != Error::None) break;
        pages = document.pages.size();
        text = firstPageText(document);
        const Error saved = compact ? document.saveCompact(output, Document::CompactOptions()) : document.save(output);
        EXPECT_EQ(saved, Error::None) << name << ": " << document.errorMessage;
        if (saved != Error::None) continue;
        if (compact) {
          // Deflating on other threads gives the same bytes.
          Document::CompactOptions threaded;
          threaded.threads = 3;
          ASSERT_EQ(document.saveCompact(output + ".threads", threaded), Error::None) << name;
          EXPECT_EQ(test::readFile(output + ".threads"), test::readFile(output)) << name;
        }
      }
      Document reopened;
      EXPECT_EQ(reopened.load(output), Error::None) << name << ": " << reopened.errorMessage;
      EXPECT_TRUE(reopened.strictCrossReference) << name << ' ' << compact;
      EXPECT_EQ(reopened.pages.size(), pages) << name << ' ' << compact;
      EXPECT_EQ(firstPageText(reopened), text) << name << ' ' << compact;
      ++written;
    }
  }
  EXPECT_GT(written, 0);
}

}  // namespace
}  // namespace zopra::pdf
