// Removal on real files, judged by independent tools: after all text of a
// first page is removed, pdftotext finds no word on it and ghostscript draws
// it as it draws the original without its text (-dFILTERTEXT); after chosen
// items are removed, the others read back unmoved.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "corpus/corpus_files.h"
#include "pdf/content/text_entry.h"
#include "pdf/model/document.h"
#include "support/test_files.h"

namespace zopra::pdf {
namespace {

std::string squeezed(const std::string& text) {
  std::string out;
  for (char c : text) {
    if (!std::isspace(static_cast<unsigned char>(c))) out += c;
  }
  return out;
}

TEST(EraseCorpus, RemovedTextIsGoneAndEverythingElseStays) {
  std::vector<std::string> files = test::corpusFiles();
  if (files.empty()) GTEST_SKIP() << "no corpus";
  if (!test::haveProgram("gs") || !test::haveProgram("pdftotext")) GTEST_SKIP() << "needs gs and pdftotext";
  std::size_t compared = 0;
  std::vector<std::string> differing;
  for (const std::string& path : files) {
    SCOPED_TRACE(path);
    std::string name = std::filesystem::path(path).filename().string();
    Document document;
    if (document.load(path) != Error::None) continue;
    // A page whose content cannot be read cannot be rewritten either.
    std::vector<TextEntry> entries;
    if (document.extractText(0, entries, nullptr) != Error::None) continue;
    std::string erased = test::tempDirectory() + "/erased-" + name;
    ASSERT_EQ(document.removeText(0, nullptr, {}), Error::None) << document.errorMessage;
    ASSERT_EQ(document.save(erased), Error::None) << document.errorMessage;
    // What pdftotext reads on the page without any content at all (the text
    // of annotations and form fields, which removal leaves) is all it may
    // read after the removal.
    std::string empty = test::tempDirectory() + "/empty-" + name;
    Value* page = document.pageDictionary(document.pages[0]);
    ASSERT_NE(page, nullptr);
    page->dictionary.insert_or_assign("Contents", Value::Array({}));
    ASSERT_EQ(document.save(empty), Error::None) << document.errorMessage;
    auto pageText = [](const std::string& file) {
      return squeezed(test::capture("pdftotext -q -f 1 -l 1 '" + file + "' - 2>/dev/null"));
    };
    EXPECT_EQ(pageText(erased), pageText(empty)) << "pdftotext still reads text";
    std::filesystem::remove(empty);
    std::vector<unsigned char> expected = test::renderFirstPage(path, 36, "-dFILTERTEXT").pixels;
    std::vector<unsigned char> actual = test::renderFirstPage(erased, 36).pixels;
    std::filesystem::remove(erased);
    if (expected.empty()) continue;
    ++compared;
    std::size_t off = 0;
    for (std::size_t i = 0; i < std::min(expected.size(), actual.size()); ++i) {
      if (std::abs(expected[i] - actual[i]) > 16) ++off;
    }
    // A few pixels may differ where the two ways of dropping text meet.
    if (expected.size() != actual.size() || off > expected.size() / 1000) {
      differing.push_back(name + " (" + std::to_string(off) + " pixels)");
    }
  }
  if (compared == 0) GTEST_SKIP() << "nothing ghostscript could draw";
  std::string list;
  for (const std::string& name : differing) list += " " + name;
  std::printf("%zu first pages drawn, %zu differently:%s\n", compared, differing.size(), list.c_str());
  EXPECT_LE(differing.size() * 20, compared) << "first pages drawn differently:" << list;
}

TEST(EraseCorpus, ItemsNotChosenKeepTheirTextAndPlaces) {
  std::vector<std::string> files = test::corpusFiles();
  if (files.empty()) GTEST_SKIP() << "no corpus";
  for (const std::string& path : files) {
    SCOPED_TRACE(path);
    Document document;
    if (document.load(path) != Error::None) continue;
    std::vector<TextEntry> before;
    if (document.extractText(0, before, nullptr) != Error::None || before.size() < 2) continue;
    // Every other item goes; the rest must read as before, from where they were.
    std::set<std::uint32_t> chosen;
    std::string kept;
    std::set<std::pair<double, double>> starts;
    for (std::uint32_t i = 0; i < before.size(); ++i) {
      if (i % 2 == 0) {
        chosen.insert(i);
      } else {
        kept += before[i].text;
        starts.emplace(before[i].e, before[i].f);
      }
    }
    ASSERT_EQ(document.removeText(0, &chosen, before, 1), Error::None) << document.errorMessage;
    std::vector<TextEntry> after;
    ASSERT_EQ(document.extractText(0, after, nullptr), Error::None) << document.errorMessage;
    std::string text;
    for (const TextEntry& entry : after) {
      text += entry.text;
      bool known = std::any_of(starts.begin(), starts.end(), [&](const auto& start) {
        return std::fabs(start.first - entry.e) < 1e-3 && std::fabs(start.second - entry.f) < 1e-3;
      });
      EXPECT_TRUE(known) << "an item starts where none did: \"" << entry.text << "\" at " << entry.e << " "
                         << entry.f;
    }
    EXPECT_EQ(squeezed(text), squeezed(kept));
  }
}

}  // namespace
}  // namespace zopra::pdf
