// Every real-world file that opens is written and read back with the same
// page count, through the new table rather than the recovery scan.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "corpus/corpus_files.h"
#include "pdf/model/document.h"
#include "support/test_files.h"

namespace zopra::pdf {
namespace {

TEST(SaveCorpusTest, EveryFileThatOpensIsWrittenAndReadBack) {
  const auto files = test::corpusFiles();
  if (files.empty()) GTEST_SKIP() << "corpus folder not present";
  const std::string output = test::tempDirectory() + "/save-corpus.pdf";
  int written = 0;
  for (const std::string& path : files) {
    const std::string name = std::filesystem::path(path).filename().string();
    std::size_t pages = 0;
    {
      Document document;
      if (document.load(path) != Error::None) continue;
      pages = document.pages.size();
      EXPECT_EQ(document.save(output), Error::None) << name << ": " << document.errorMessage;
      if (document.error != Error::None) continue;
    }
    Document reopened;
    EXPECT_EQ(reopened.load(output), Error::None) << name << ": " << reopened.errorMessage;
    EXPECT_TRUE(reopened.strictCrossReference) << name;
    EXPECT_EQ(reopened.pages.size(), pages) << name;
    ++written;
  }
  EXPECT_GT(written, 0);
}

}  // namespace
}  // namespace zopra::pdf
