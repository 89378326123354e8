// Text, graphics and images of every page of the real-world corpus: no crash
// or hang, text items with their sources, graphics entries inside their clip,
// and the drawn images as pdfimages sees them (object numbers per page, and
// the bytes of plain JPEG images).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <sstream>

#include "corpus/corpus_files.h"
#include "pdf/content/graphics_entry.h"
#include "pdf/content/text_entry.h"
#include "pdf/model/document.h"
#include "support/test_files.h"

namespace zopra::pdf {
namespace {

namespace fs = std::filesystem;

bool inside(const Rectangle& box, const Rectangle& clip) {
  constexpr double kSlack = 1e-6;
  return box.x >= clip.x - kSlack && box.y >= clip.y - kSlack &&
         box.x + box.width <= clip.x + clip.width + kSlack &&
         box.y + box.height <= clip.y + clip.height + kSlack;
}

bool finite(const Rectangle& r) {
  return std::isfinite(r.x) && std::isfinite(r.y) && std::isfinite(r.width) &&
         std::isfinite(r.height);
}

TEST(CorpusGraphics, EveryPageOfEveryFile) {
  auto files = test::corpusFiles();
  if (files.empty()) GTEST_SKIP() << "corpus folder not present";
  std::size_t pages = 0;
  for (const std::string& path : files) {
    SCOPED_TRACE(path);
    Document document;
    if (document.load(path) != Error::None) continue;
    std::vector<GraphicsEntry> entries;
    std::vector<std::uint32_t> images;
    for (std::uint32_t page = 0; page < document.pages.size(); ++page) {
      SCOPED_TRACE(page);
      std::vector<TextEntry> items;
      EXPECT_NE(document.extractText(page, items, nullptr), Error::InvalidArgument);
      for (const TextEntry& item : items) {
        ASSERT_FALSE(item.sources.empty());
        ASSERT_LE(item.firstOperator, item.lastOperator);
      }
      Error painted = document.extractGraphics(page, 0, entries);
      Error drawn = document.extractImages(page, images);
      ASSERT_NE(painted, Error::InvalidArgument);
      ASSERT_EQ(painted, drawn);
      ++pages;
      for (const GraphicsEntry& entry : entries) {
        if (finite(entry.bounds) && finite(entry.clip) && entry.clip.width >= 0 &&
            entry.clip.height >= 0) {
          ASSERT_TRUE(inside(entry.bounds, entry.clip));
        }
        ASSERT_GE(entry.bounds.width, 0);
        ASSERT_GE(entry.bounds.height, 0);
        ASSERT_TRUE(entry.type == GraphicsEntry::kImage ? entry.objectNumber != 0 : entry.stroke || entry.fill);
      }
    }
  }
  EXPECT_GT(pages, 0u);
}

// One row of `pdfimages -list`.
struct ListedImage {
  std::uint32_t page = 0;
  int number = 0;
  std::string type;
  std::string encoding;
  bool inlineImage = false;
  std::uint32_t object = 0;
};

std::vector<ListedImage> pdfimagesList(const std::string& path, bool& readable) {
  std::string out = test::capture("pdfimages -list '" + path + "' 2>/dev/null; echo \"rc=$?\"");
  readable = out.size() >= 5 && out.compare(out.size() - 5, 5, "rc=0\n") == 0;
  std::vector<ListedImage> rows;
  std::istringstream lines(out);
  std::string line;
  while (std::getline(lines, line)) {
    std::istringstream fields(line);
    std::vector<std::string> f;
    for (std::string field; fields >> field;) f.push_back(field);
    if (f.size() < 11 || f[0].find_first_not_of("0123456789") != std::string::npos) continue;
    ListedImage row;
    row.page = static_cast<std::uint32_t>(std::stoul(f[0]));
    row.number = std::stoi(f[1]);
    row.type = f[2];
    row.encoding = f[8];
    row.inlineImage = f[10] == "[inline]";
    if (!row.inlineImage) row.object = static_cast<std::uint32_t>(std::stoul(f[10]));
    rows.push_back(row);
  }
  return rows;
}

// Images drawn by Do: pdfimages also lists soft masks and masks of images
// (types smask and mask), which are never drawn on their own.
bool drawnByDo(const ListedImage& row) {
  return !row.inlineImage && (row.type == "image" || row.type == "stencil");
}

bool onlyDctDecode(const Document& document, const Object& image) {
  const Value* filter = document.dictionaryValue(&image.value, "Filter");
  if (filter && filter->isArray() && filter->array.size() == 1) {
    filter = document.resolve(&filter->array[0]);
  }
  return filter && filter->isName("DCTDecode");
}

TEST(CorpusGraphics, ImagesAgreeWithPdfimages) {
  auto files = test::corpusFiles();
  if (files.empty()) GTEST_SKIP() << "corpus folder not present";
  if (!test::haveProgram("pdfimages")) GTEST_SKIP() << "pdfimages not installed";
  std::string folder = test::tempDirectory() + "/pdfimages";
  std::size_t pagesCompared = 0;
  std::size_t jpegsCompared = 0;
  for (const std::string& path : files) {
    SCOPED_TRACE(path);
    bool readable = false;
    std::vector<ListedImage> rows = pdfimagesList(path, readable);
    if (!readable) continue;
    Document document;
    if (document.load(path) != Error::None) continue;

    std::map<std::uint32_t, std::vector<std::uint32_t>> expected;
    for (const ListedImage& row : rows) {
      if (drawnByDo(row)) expected[row.page - 1].push_back(row.object);
    }
    std::vector<std::uint32_t> images;
    for (std::uint32_t page = 0; page < document.pages.size(); ++page) {
      SCOPED_TRACE(page + 1);
      // A page whose content the engine cannot decode has no complete list;
      // pdfimages must not find images there either.
      if (document.extractImages(page, images) != Error::None) {
        EXPECT_TRUE(expected[page].empty());
        continue;
      }
      EXPECT_EQ(images, expected[page]);
      ++pagesCompared;
    }

    if (std::none_of(rows.begin(), rows.end(),
                     [](const ListedImage& row) { return row.encoding == "jpeg"; })) {
      continue;
    }
    fs::remove_all(folder);
    fs::create_directories(folder);
    ASSERT_EQ(test::run("pdfimages -j '" + path + "' '" + folder + "/image' 2>/dev/null"), 0);
    for (const ListedImage& row : rows) {
      if (!drawnByDo(row) || row.encoding != "jpeg") continue;
      char name[32];
      std::snprintf(name, sizeof name, "/image-%03d.jpg", row.number);
      // pdfimages writes other colour layouts of JPEG images as decoded pixels.
      if (!fs::exists(folder + name)) continue;
      const Object* image = document.object(row.object);
      ASSERT_NE(image, nullptr);
      if (!onlyDctDecode(document, *image)) continue;
      Bytes stored = document.storedStream(*image);
      EXPECT_EQ(std::string(stored.begin(), stored.end()), test::readFile(folder + name))
          << "image " << row.number << ", object " << row.object;
      ++jpegsCompared;
    }
  }
  fs::remove_all(folder);
  EXPECT_GT(pagesCompared, 0u);
  EXPECT_GT(jpegsCompared, 0u);
}

}  // namespace
}  // namespace zopra::pdf
