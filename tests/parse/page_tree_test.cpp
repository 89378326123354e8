#include <gtest/gtest.h>

#include "support/load_helpers.h"

namespace zopra::pdf {
namespace {

using test::loadBuilder;
using test::PdfBuilder;

// A catalog (1) and a root node (2) with `rootEntries`, and the given extra objects.
test::Loaded tree(const std::string& rootEntries,
                  const std::vector<std::pair<std::uint32_t, std::string>>& objects,
                  const std::string& name) {
  PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages " + rootEntries + " >>");
  for (const auto& [number, body] : objects) b.object(number, body);
  b.finishWithTable("/Root 1 0 R");
  return loadBuilder(b, name);
}

TEST(PageTree, InheritanceBoxesAndRotation) {
  auto loaded = tree("/Kids [3 0 R 4 0 R 5 0 R 6 0 R 7 0 R] /MediaBox [0 0 612 792] /Rotate 90",
                     {{3, "<< /Type /Page >>"},
                      {4, "<< /Type /Page /Rotate -90 >>"},
                      {5, "<< /Type /Page /Rotate 450 >>"},
                      {6, "<< /Type /Page /Rotate 45.9 /MediaBox [612 792 10 20] >>"},
                      {7, "<< /Type /Pages /CropBox [10 10 110 60] /Kids [8 0 R] >>"},
                      {8, "<< /Type /Page /MediaBox [0 0 1 1] /Rotate 180 >>"}},
                     "inherit.pdf");
  ASSERT_EQ(loaded.result, Error::None) << loaded->errorMessage;
  const auto& pages = loaded->pages;
  ASSERT_EQ(pages.size(), 5u);
  EXPECT_EQ(pages[0].width, 792);
  EXPECT_EQ(pages[0].height, 612);
  EXPECT_EQ(pages[0].rotation, 90u);
  EXPECT_EQ(pages[1].rotation, 270u);
  EXPECT_EQ(pages[2].rotation, 90u);
  EXPECT_EQ(pages[3].rotation, 45u);
  EXPECT_EQ(pages[3].x, 10);
  EXPECT_EQ(pages[3].y, 20);
  EXPECT_EQ(pages[3].width, 602);
  EXPECT_EQ(pages[3].height, 772);
  // A CropBox on an intermediate node beats the leaf's own MediaBox.
  EXPECT_EQ(pages[4].x, 10);
  EXPECT_EQ(pages[4].width, 100);
  EXPECT_EQ(pages[4].height, 50);
  EXPECT_EQ(pages[4].rotation, 180u);
  EXPECT_FALSE(pages[4].resources);
}

TEST(PageTree, CyclesDuplicatesAndOddNodes) {
  auto loaded = tree("/Kids [3 0 R 3 0 R 2 0 R 4 0 R 5 0 R 6 0 R (junk)] /MediaBox [0 0 10 10]",
                     {{3, "<< /Type /Page >>"},
                      {4, "<< /Kids [3 0 R] >>"},         // no Type: an intermediate node
                      {5, "<< /Type /Pages /Kids [2 0 R 4 0 R] >>"},  // lists its ancestor
                      {6, "[1 2 3]"}},
                     "cycles.pdf");
  ASSERT_EQ(loaded.result, Error::None) << loaded->errorMessage;
  // 3 twice directly, once under 4, once under 5 -> 4 (the cycle back to 2 is cut).
  EXPECT_EQ(loaded->pages.size(), 4u);

  auto none = tree("/Kids [3 0 R]", {{3, "<< /Type /Pages >>"}}, "nopages.pdf");
  EXPECT_EQ(none.result, Error::Format);
  EXPECT_EQ(none->errorMessage, "PDF contains no pages");

  auto typeless = tree("/Kids [3 0 R] /MediaBox [0 0 1 1]", {{3, "<< /MediaBox [0 0 5 5] >>"}},
                       "typeless.pdf");
  EXPECT_EQ(typeless->errorMessage, "PDF contains no pages");
}

TEST(PageTree, BadBoxesFailTheOpen) {
  for (const char* box : {"[0 0 612]", "[0 /Zero 612 792]", "(box)", "[0 0 612 5 0 R]"}) {
    auto loaded = tree("/Kids [3 0 R]", {{3, std::string("<< /Type /Page /MediaBox ") + box + " >>"}},
                       "badbox.pdf");
    EXPECT_EQ(loaded.result, Error::Format) << box;
    EXPECT_EQ(loaded->errorMessage, "invalid PDF page box") << box;
  }
  auto nobox = tree("/Kids [3 0 R]", {{3, "<< /Type /Page >>"}}, "nobox.pdf");
  EXPECT_EQ(nobox->errorMessage, "invalid PDF page box");

  // A box element given by reference is resolved.
  auto indirect = tree("/Kids [3 0 R]", {{3, "<< /Type /Page /MediaBox [0 0 4 0 R 50] >>"},
                                         {4, "300"}},
                       "indirectbox.pdf");
  ASSERT_EQ(indirect.result, Error::None);
  EXPECT_EQ(indirect->pages[0].width, 300);

  PdfBuilder b;
  b.object(1, "<< /Type /Catalog >>");
  b.finishWithTable("/Root 1 0 R");
  auto noTree = loadBuilder(b, "notree.pdf");
  EXPECT_EQ(noTree->errorMessage, "PDF page tree was not found");
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
                      {13, "[13 0 R 10 0 R]"}},
                     "contents.pdf");
  ASSERT_EQ(loaded.result, Error::None) << loaded->errorMessage;
  auto& pages = loaded->pages;
  EXPECT_EQ(loaded->pageContentObjects(pages[0]), (std::vector<std::uint32_t>{10, 11}));
  EXPECT_EQ(loaded->pageContentObjects(pages[1]), (std::vector<std::uint32_t>{11, 10}));
  EXPECT_EQ(loaded->pageContentObjects(pages[2]), (std::vector<std::uint32_t>{10}));
  EXPECT_TRUE(loaded->pageContentObjects(pages[3]).empty());
}

}  // namespace
}  // namespace zopra::pdf
