#include <gtest/gtest.h>

#include <vector>

#include "pdf/content/text_entry.h"
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

  auto lower = loadBytes("%pdf-1.4\n1 0 obj null endobj", "lower.pdf");
  EXPECT_EQ(lower.result, Error::Format);
  EXPECT_EQ(lower->errorMessage, "file is not a PDF");

  // Bytes before the header: up to 1,024 of them are skipped and the file's
  // offsets count from the header; one more and the file is no PDF. The
  // same whether the file is read or mapped.
  test::PdfBuilder onePage = test::PdfBuilder::simple({"BT /F1 12 Tf 72 700 Td (Kept) Tj ET"});
  onePage.finishWithTable("/Root 1 0 R");
  for (FileBytes::Access access : {FileBytes::Access::Read, FileBytes::Access::Map}) {
    for (std::size_t leading : {1, 500, 1024, 1025}) {
      std::string junk = leading == 1 ? "\n" : std::string(leading, 'x');
      auto loaded = loadBytes(junk + onePage.bytes(), "leading.pdf", access);
      if (leading > 1024) {
        EXPECT_EQ(loaded.result, Error::Format);
        EXPECT_EQ(loaded->errorMessage, "file is not a PDF");
        continue;
      }
      ASSERT_EQ(loaded.result, Error::None) << leading;
      EXPECT_TRUE(loaded->strictCrossReference) << leading;
      EXPECT_EQ(loaded->version, "1.7");
      std::vector<TextEntry> entries;
      ASSERT_EQ(loaded->extractText(0, entries, nullptr), Error::None);
      ASSERT_EQ(entries.size(), 1u);
      EXPECT_EQ(entries[0].text, "Kept");
      // Pages handed back to the system come back when read again.
      loaded->file.releaseResident();
      entries.clear();
      ASSERT_EQ(loaded->extractText(0, entries, nullptr), Error::None);
      ASSERT_EQ(entries.size(), 1u);
    }

    // A directory opens like a file but cannot be read: not a PDF, and no
    // allocation of its meaningless size.
    Document directory;
    EXPECT_EQ(directory.load(test::tempDirectory(), access), Error::Format);
    EXPECT_EQ(directory.errorMessage, "file is not a PDF");
  }

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
