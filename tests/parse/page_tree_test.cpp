#include <gtest/gtest.h>

#include <sstream>

#include "support/load_helpers.h"

namespace zopra::pdf {
namespace {

using test::loadBuilder;
using test::PdfBuilder;

// A catalog (1) and a root node (2) with `rootEntries`, and the given extra objects.
test::Loaded tree(const std::string& rootEntries, const std::vector<std::pair<std::uint32_t, std::string>>& objects) {
  PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages " + rootEntries + " >>");
  for (const auto& [number, body] : objects) b.object(number, body);
  b.finishWithTable("/Root 1 0 R");
  return loadBuilder(b, "tree.pdf");
}

// Every page as "x y width height rotation", or the error message.
std::string pages(test::Loaded loaded) {
  if (loaded.result != Error::None) return loaded->errorMessage;
  std::ostringstream out;
  for (const Page& page : loaded->pages) {
    out << page.x << ' ' << page.y << ' ' << page.width << ' ' << page.height << ' ' << page.rotation << ';';
  }
  return out.str();
}

TEST(PageTree, InheritanceBoxesRotationAndOddNodes) {
  const struct {
    const char* rule;
    std::string root;
    std::vector<std::pair<std::uint32_t, std::string>> objects;
    std::string expected;
  } cases[] = {
      {"inherited box and rotation, rotation normalised, a reversed box, a crop box on a node beating the "
       "leaf's own media box",
       "/Kids [3 0 R 4 0 R 5 0 R 6 0 R 7 0 R] /MediaBox [0 0 612 792] /Rotate 90",
       {{3, "<< /Type /Page >>"},
        {4, "<< /Type /Page /Rotate -90 >>"},
        {5, "<< /Type /Page /Rotate 450 >>"},
        {6, "<< /Type /Page /Rotate 45.9 /MediaBox [612 792 10 20] >>"},
        {7, "<< /Type /Pages /CropBox [10 10 110 60] /Kids [8 0 R] >>"},
        {8, "<< /Type /Page /MediaBox [0 0 1 1] /Rotate 180 >>"}},
       "0 0 792 612 90;0 0 792 612 270;0 0 792 612 90;10 20 602 772 45;10 10 100 50 180;"},
      // 3 twice directly, once under 4 (no Type: a node), once under 5; the
      // cycle back to 2 is cut and the array element that is no page skipped.
      {"duplicates and cycles", "/Kids [3 0 R 3 0 R 2 0 R 4 0 R 5 0 R 6 0 R (junk)] /MediaBox [0 0 10 10]",
       {{3, "<< /Type /Page >>"}, {4, "<< /Kids [3 0 R] >>"}, {5, "<< /Type /Pages /Kids [2 0 R 4 0 R] >>"},
        {6, "[1 2 3]"}},
       "0 0 10 10 0;0 0 10 10 0;0 0 10 10 0;0 0 10 10 0;"},
      {"box element by reference", "/Kids [3 0 R]", {{3, "<< /Type /Page /MediaBox [0 0 4 0 R 50] >>"}, {4, "300"}},
       "0 0 300 50 0;"},
      {"no page", "/Kids [3 0 R]", {{3, "<< /Type /Pages >>"}}, "PDF contains no pages"},
      {"a typeless leaf is no page", "/Kids [3 0 R] /MediaBox [0 0 1 1]", {{3, "<< /MediaBox [0 0 5 5] >>"}},
       "PDF contains no pages"},
      {"no box", "/Kids [3 0 R]", {{3, "<< /Type /Page >>"}}, "invalid PDF page box"},
  };
  for (const auto& c : cases) EXPECT_EQ(pages(tree(c.root, c.objects)), c.expected) << c.rule;

  PdfBuilder b;
  b.object(1, "<< /Type /Catalog >>");
  b.finishWithTable("/Root 1 0 R");
  EXPECT_EQ(pages(loadBuilder(b, "notree.pdf")), "PDF page tree was not found");
}

TEST(PageTree, ContentObjects) {
  auto loaded = tree("/Kids [3 0 R 4 0 R 5 0 R 6 0 R] /MediaBox [0 0 10 10]",
                     {{3, "<< /Type /Page /Contents [10 0 R 11 0 R 99 0 R] >>"},
                      {4, "<< /Type /Page /Contents 12 0 R >>"},  // indirect array
                      {5, "<< /Type /Page /Contents 13 0 R >>"},  // loops back on itself
                      {6, "<< /Type /Page >>"},
                      {10, "<< /Length 0 >>\nstream\n\nendstream"},
                      {11, "<< /Length 0 >>\nstream\n\nendstream"},
                      {12, "[11 0 R 10 0 R]"},
                      {13, "[13 0 R 10 0 R]"}});
  ASSERT_EQ(loaded.result, Error::None) << loaded->errorMessage;
  auto& pages = loaded->pages;
  EXPECT_EQ(loaded->pageContentObjects(pages[0]), (std::vector<std::uint32_t>{10, 11}));
  EXPECT_EQ(loaded->pageContentObjects(pages[1]), (std::vector<std::uint32_t>{11, 10}));
  EXPECT_EQ(loaded->pageContentObjects(pages[2]), (std::vector<std::uint32_t>{10}));
  EXPECT_TRUE(loaded->pageContentObjects(pages[3]).empty());
  EXPECT_FALSE(pages[0].resources);
}

}  // namespace
}  // namespace zopra::pdf
