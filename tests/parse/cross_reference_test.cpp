#include <gtest/gtest.h>

#include "support/load_helpers.h"

namespace zopra::pdf {
namespace {

using test::loadBuilder;
using test::loadBytes;
using test::PdfBuilder;
using test::XrefOptions;

double numberOf(Document& document, std::uint32_t number) {
  const Object* object = document.object(number);
  return object && object->value.isNumber() ? object->value.number : -1;
}

// A catalog, a page tree with one page and a number object 5.
PdfBuilder basic() {
  PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
  b.object(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 200 100] >>");
  b.object(5, "55");
  return b;
}

TEST(CrossReference, ClassicTableIsUsedLazily) {
  PdfBuilder b = basic();
  b.finishWithTable("/Root 1 0 R");
  auto loaded = loadBuilder(b, "table.pdf");
  ASSERT_EQ(loaded.result, Error::None) << loaded->errorMessage;
  EXPECT_TRUE(loaded->strictCrossReference);
  EXPECT_EQ(loaded->nextObjectNumber, 6u);
  EXPECT_FALSE(loaded->objects.at(5).loaded);
  EXPECT_EQ(numberOf(*loaded.document, 5), 55);
  EXPECT_EQ(loaded->objects.count(4), 0u);  // the free gap entry
  ASSERT_EQ(loaded->pages.size(), 1u);
  EXPECT_EQ(loaded->pages[0].width, 200);
}

TEST(CrossReference, BrokenOffsetsFallBackToTheScan) {
  for (auto [name, options] : {std::pair{"startxref+1", XrefOptions{0, 1}},
                               std::pair{"shifted", XrefOptions{3, 0}},
                               std::pair{"past-end", XrefOptions{0, 1 << 20}}}) {
    PdfBuilder b = basic();
    b.finishWithTable("/Root 1 0 R", options);
    auto loaded = loadBuilder(b, std::string(name) + ".pdf");
    ASSERT_EQ(loaded.result, Error::None) << name << ": " << loaded->errorMessage;
    EXPECT_FALSE(loaded->strictCrossReference) << name;
    EXPECT_EQ(numberOf(*loaded.document, 5), 55) << name;
    EXPECT_EQ(loaded->pages.size(), 1u) << name;
    EXPECT_EQ(loaded->nextObjectNumber, 6u) << name;
  }
}

TEST(CrossReference, IncrementalUpdatesAndPrevLoops) {
  PdfBuilder b = basic();
  b.finishWithTable("/Root 1 0 R");
  b.object(5, "66");
  b.finishWithTable("/Root 1 0 R");
  b.object(5, "77");
  b.object(6, "<< /Loop true >>");
  b.finishWithTable("/Root 1 0 R");
  std::string bytes = b.bytes();
  auto loaded = loadBytes(bytes, "updates.pdf");
  ASSERT_EQ(loaded.result, Error::None);
  EXPECT_TRUE(loaded->strictCrossReference);
  EXPECT_EQ(numberOf(*loaded.document, 5), 77);

  // A Prev chain that loops back is walked once: the first table's Prev
  // points at the update, whose own Prev points back at the first table.
  PdfBuilder loop = basic();
  loop.finishWithTable("/Root 1 0 R /Prev 0000000000");
  loop.object(5, "88");
  std::size_t update = loop.finishWithTable("/Root 1 0 R");
  std::string looped = loop.bytes();
  std::string padded = std::to_string(update);
  padded.insert(0, 10 - padded.size(), '0');
  looped.replace(looped.find("/Prev 0000000000") + 6, 10, padded);
  auto loopLoaded = loadBytes(looped, "loop.pdf");
  ASSERT_EQ(loopLoaded.result, Error::None);
  EXPECT_TRUE(loopLoaded->strictCrossReference);
  EXPECT_EQ(numberOf(*loopLoaded.document, 5), 88);
}

TEST(CrossReference, CrossReferenceStreams) {
  PdfBuilder b = basic();
  b.finishWithXrefStream(7, "/Root 1 0 R");
  b.object(5, "99");
  b.finishWithXrefStream(8, "/Root 1 0 R");
  auto loaded = loadBuilder(b, "xrefstream.pdf");
  ASSERT_EQ(loaded.result, Error::None) << loaded->errorMessage;
  EXPECT_TRUE(loaded->strictCrossReference);
  EXPECT_EQ(numberOf(*loaded.document, 5), 99);
  EXPECT_TRUE(loaded->objects.at(8).loaded);  // the stream itself is kept as read
  EXPECT_EQ(loaded->nextObjectNumber, 9u);
}

TEST(CrossReference, TrailerChoiceAndFailures) {
  // A trailer without Root: the cross-reference data fails its final check,
  // and the scan finds no trailer with Root either, so the page tree is missing.
  PdfBuilder noRoot = basic();
  noRoot.finishWithTable("/Info 5 0 R");
  auto loaded = loadBuilder(noRoot, "noroot.pdf");
  EXPECT_EQ(loaded.result, Error::Format);
  EXPECT_FALSE(loaded->strictCrossReference);
  EXPECT_EQ(loaded->errorMessage, "PDF page tree was not found");

  // An update whose trailer lacks Root does not replace the older one with it.
  PdfBuilder update = basic();
  update.finishWithTable("/Root 1 0 R");
  update.object(5, "11");
  update.finishWithTable("");
  auto updated = loadBuilder(update, "update-noroot.pdf");
  ASSERT_EQ(updated.result, Error::None);
  EXPECT_TRUE(updated->strictCrossReference);
  EXPECT_EQ(numberOf(*updated.document, 5), 11);

  auto empty = loadBytes("%PDF-1.4\nnothing here\n%%EOF\n", "noobjects.pdf");
  EXPECT_EQ(empty.result, Error::Format);
  EXPECT_EQ(empty->errorMessage, "PDF has no indirect objects");

  PdfBuilder noTrailer = basic();
  noTrailer.finishWithoutXref();
  auto missing = loadBuilder(noTrailer, "notrailer.pdf");
  EXPECT_EQ(missing.result, Error::Format);
  EXPECT_EQ(missing->errorMessage, "PDF trailer was not found");
}

TEST(CrossReference, ObjectOffsetMismatchIsReportedOnAccess) {
  // The table passes its checks, but object 5's entry is made to point at
  // object 3 afterwards by hand: access must fail, not return the wrong object.
  PdfBuilder b = basic();
  b.finishWithTable("/Root 1 0 R");
  auto loaded = loadBuilder(b, "mismatch.pdf");
  ASSERT_EQ(loaded.result, Error::None);
  Object& five = loaded->objects.at(5);
  five.loaded = false;
  five.offset = b.offsetOf(3);
  try {
    loaded->object(5);
    FAIL() << "expected an exception";
  } catch (const Exception& e) {
    EXPECT_EQ(e.kind(), Error::Format);
    EXPECT_EQ(e.message(), "invalid PDF object offset");
  }
}

TEST(CrossReference, AnUpdateMayReuseTheNumberOfAnOldCrossReferenceStream) {
  // Revision 1 ends with a cross-reference stream, object 4; revision 2
  // gives number 4 to a new page tree. The new object wins.
  PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
  b.object(3, "<< /Type /Page /MediaBox [0 0 200 100] >>");
  b.finishWithXrefStream(4, "/Root 1 0 R");
  b.object(4, "<< /Type /Pages /Kids [3 0 R] /Count 1 /MediaBox [0 0 300 100] >>");
  b.object(1, "<< /Type /Catalog /Pages 4 0 R >>");
  b.finishWithTable("/Root 1 0 R");
  auto loaded = loadBuilder(b, "reused-xref-number.pdf");
  ASSERT_EQ(loaded.result, Error::None) << loaded->errorMessage;
  EXPECT_TRUE(loaded->strictCrossReference);
  ASSERT_EQ(loaded->pages.size(), 1u);
  EXPECT_EQ(loaded->pages[0].width, 200);
  const Object* four = loaded->object(4);
  ASSERT_NE(four, nullptr);
  EXPECT_FALSE(four->isStream);
}

TEST(CrossReference, SectionsStartAtATokenBoundary) {
  // startxref points at the "3" of "63 0 obj", the cross-reference stream:
  // read there, it would pass for object 3 and hide the page.
  PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
  b.object(3, "<< /Type /Page /MediaBox [0 0 200 100] >>");
  XrefOptions options;
  options.startxrefAdjust = 1;
  b.finishWithXrefStream(63, "/Root 1 0 R", options);
  auto loaded = loadBuilder(b, "xref-mid-number.pdf");
  ASSERT_EQ(loaded.result, Error::None) << loaded->errorMessage;
  EXPECT_FALSE(loaded->strictCrossReference);
  ASSERT_EQ(loaded->pages.size(), 1u);
  EXPECT_EQ(loaded->pages[0].width, 200);
}

}  // namespace
}  // namespace zopra::pdf
