#include <gtest/gtest.h>

#include "support/load_helpers.h"

namespace zopra::pdf {
namespace {

using test::loadBytes;

TEST(Load, HeaderChecks) {
  auto tiny = loadBytes("%PDF", "tiny.pdf");
  EXPECT_EQ(tiny.result, Error::Format);
  EXPECT_EQ(tiny->errorMessage, "file is not a PDF");

  Document missing;
  EXPECT_EQ(missing.load(test::tempDirectory() + "/does-not-exist.pdf"), Error::Io);
  EXPECT_EQ(missing.errorMessage, "failed to open PDF");

  for (const char* prefix : {"\xEF\xBB\xBF%PDF-1.4\n", "\n%PDF-1.4\n", "%pdf-1.4\n"}) {
    auto loaded = loadBytes(std::string(prefix) + "1 0 obj null endobj", "prefix.pdf");
    EXPECT_EQ(loaded.result, Error::Format);
    EXPECT_EQ(loaded->errorMessage, "file is not a PDF");
  }

  // A directory opens like a file but cannot be read: not a PDF, and no
  // allocation of its meaningless size.
  Document directory;
  EXPECT_EQ(directory.load(test::tempDirectory()), Error::Format);
  EXPECT_EQ(directory.errorMessage, "file is not a PDF");

  auto version = loadBytes("%PDF-1.7\r\n1 0 obj null endobj", "version.pdf");
  EXPECT_EQ(version->version, "1.7");
  auto bare = loadBytes("%PDF-", "bare.pdf");
  EXPECT_EQ(bare->version, "");
  EXPECT_EQ(bare.result, Error::Format);
  EXPECT_EQ(bare->errorMessage, "PDF has no indirect objects");
}

TEST(Load, ReloadResetsEverything) {
  test::PdfBuilder b = test::PdfBuilder::simple({"", ""});
  b.finishWithTable("/Root 1 0 R");
  std::string path = b.write("reload.pdf");
  Document document;
  ASSERT_EQ(document.load(path), Error::None);
  EXPECT_EQ(document.pages.size(), 2u);
  document.createObject(Value::Number(1));
  ASSERT_EQ(document.load(test::writeTempFile("reload-bad.pdf", "%PDF-1.4\n")), Error::Format);
  EXPECT_TRUE(document.pages.empty());
  EXPECT_TRUE(document.objects.empty());
  EXPECT_EQ(document.nextObjectNumber, 1u);
  ASSERT_EQ(document.load(path), Error::None);
  EXPECT_EQ(document.error, Error::None);
  EXPECT_TRUE(document.errorMessage.empty());
  EXPECT_EQ(document.pages.size(), 2u);
}

TEST(Load, ObjectNumbersDoNotWrapPastTheLast) {
  auto loaded = loadBytes(
      "%PDF-1.4\n1 0 obj << /Type /Catalog /Pages 2 0 R >> endobj\n"
      "2 0 obj << /Type /Pages /Kids [3 0 R] >> endobj\n"
      "3 0 obj << /Type /Page /MediaBox [0 0 1 1] >> endobj\n"
      "4294967295 0 obj null endobj\ntrailer << /Root 1 0 R >>\n",
      "last-number.pdf");
  ASSERT_EQ(loaded.result, Error::None) << loaded->errorMessage;
  try {
    loaded->createObject(Value::Number(1));
    ADD_FAILURE() << "an object was created past number 4294967295";
  } catch (const Exception& failure) {
    EXPECT_EQ(failure.message(), "no free PDF object number");
  }
  EXPECT_EQ(loaded->objects.count(0), 0u);
}

}  // namespace
}  // namespace zopra::pdf
