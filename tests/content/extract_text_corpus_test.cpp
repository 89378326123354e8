// Every page of every corpus file goes through text extraction without crashing.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "pdf/content/text_entry.h"
#include "pdf/model/document.h"
#include "support/test_files.h"

namespace zopra::pdf {
namespace {

TEST(ExtractTextCorpus, EveryPageOfEveryFile) {
  std::string folder = test::corpusDirectory();
  if (folder.empty()) GTEST_SKIP() << "no corpus";
  std::vector<std::string> files;
  for (const auto& item : std::filesystem::directory_iterator(folder)) {
    if (item.path().extension() == ".pdf") files.push_back(item.path().string());
  }
  std::sort(files.begin(), files.end());
  std::size_t pagesRun = 0;
  for (const std::string& file : files) {
    SCOPED_TRACE(file);
    Document document;
    if (document.load(file) != Error::None) continue;
    std::vector<TextEntry> entries;
    std::vector<std::uint32_t> images;
    for (std::uint32_t page = 0; page < document.pages.size(); ++page) {
      Error result = document.extractText(page, entries, &images);
      EXPECT_NE(result, Error::InvalidArgument);
      for (const TextEntry& entry : entries) {
        ASSERT_FALSE(entry.sources.empty());
        ASSERT_LE(entry.firstOperator, entry.lastOperator);
      }
      ++pagesRun;
    }
  }
  EXPECT_GT(pagesRun, 0u);
}

}  // namespace
}  // namespace zopra::pdf
