// Page text of files written by independent producers at test time: groff's
// PDF output, and the same file rewritten by qpdf with object streams.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "pdf/content/text_entry.h"
#include "pdf/model/document.h"
#include "support/test_files.h"

namespace zopra::pdf {
namespace {

std::vector<std::string> wordsOf(const std::string& text) {
  std::vector<std::string> words;
  std::istringstream in(text);
  std::string word;
  while (in >> word) words.push_back(word);
  return words;
}

std::string documentText(const std::string& path, std::size_t& pages) {
  Document document;
  EXPECT_EQ(document.load(path), Error::None) << path << ": " << document.errorMessage;
  pages = document.pages.size();
  std::string text;
  for (std::uint32_t page = 0; page < document.pages.size(); ++page) {
    std::vector<TextEntry> entries;
    EXPECT_EQ(document.extractText(page, entries, nullptr), Error::None);
    for (const TextEntry& entry : entries) text += entry.text + "\n";
  }
  return text;
}

TEST(IndependentProducers, GroffOutputReadsBackItsWords) {
  if (!test::haveProgram("groff")) GTEST_SKIP() << "groff is not installed";
  // Plain words only: groff hyphenates and typesets punctuation its own way.
  const std::string body =
      "Zebra quartz jumps over seven lazy dogs while twelve boxers hum\n"
      "quietly beside the harbour lights of a distant northern town\n";
  std::string source = ".LP\n" + body + ".bp\n.LP\nSecond page words stay together\n";
  std::string input = test::writeTempFile("groff-input.ms", source);
  std::string pdf = test::tempDirectory() + "/groff-output.pdf";
  ASSERT_EQ(test::run("groff -ms -Tpdf -P-pa4 -rHY=0 " + input + " > " + pdf + " 2>/dev/null"), 0);

  std::size_t pages = 0;
  std::string text = documentText(pdf, pages);
  EXPECT_EQ(pages, 2u);
  std::vector<std::string> expected = wordsOf(body + "Second page words stay together");
  std::vector<std::string> words = wordsOf(text);
  // groff adds a page number on the second page; every source word must be
  // there, in order.
  auto next = words.begin();
  for (const std::string& word : expected) {
    next = std::find(next, words.end(), word);
    ASSERT_NE(next, words.end()) << "missing word " << word << " in:\n" << text;
  }
  EXPECT_LE(words.size(), expected.size() + 2);

  if (!test::haveProgram("qpdf")) return;
  std::string rewritten = test::tempDirectory() + "/groff-objstm.pdf";
  ASSERT_EQ(test::run("qpdf --object-streams=generate " + pdf + " " + rewritten), 0);
  std::size_t rewrittenPages = 0;
  EXPECT_EQ(documentText(rewritten, rewrittenPages), text);
  EXPECT_EQ(rewrittenPages, pages);
}

}  // namespace
}  // namespace zopra::pdf
