// The page text calls, driven through the public header only.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "support/pdf_builder.h"
#include "support/test_files.h"
#include "zopra_document_loader.h"

namespace {

using zopra::test::PdfBuilder;

class Handle {
 public:
  Handle() { EXPECT_EQ(zopraDocumentLoaderCreate(&loader_), ZOPRA_STATUS_SUCCESS); }
  ~Handle() { zopraDocumentLoaderDestroy(loader_); }
  ZOPRADocumentLoader* get() { return loader_; }

 private:
  ZOPRADocumentLoader* loader_ = nullptr;
};

std::string threePages() {
  PdfBuilder b = PdfBuilder::simple({
      "BT /F1 10 Tf 72 700 Td (Hello) Tj ( world) Tj 0 -20 Td (caf\\351) Tj ET",
      "0 0 10 10 re f",
      "BT /F1 10 Tf 72 700 Td (x) Tj ET",
  });
  // Page 3's content is replaced by a stream that claims Flate but is not.
  b.stream(9, "/Filter /FlateDecode", "not deflate data");
  b.finishWithTable("/Root 1 0 R");
  std::string bytes = b.bytes();
  return zopra::test::writeTempFile("api-text.pdf", bytes);
}

TEST(ApiText, ArgumentChecksAndCache) {
  Handle handle;
  uint32_t count = 99, size = 99;
  char buffer[64];
  EXPECT_EQ(zopraDocumentLoaderExtractPageText(nullptr, 0), ZOPRA_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(zopraDocumentLoaderExtractPageText(handle.get(), 0), ZOPRA_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(zopraDocumentLoaderGetPageTextSize(handle.get(), &size, 0),
            ZOPRA_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(zopraDocumentLoaderGetPageText(handle.get(), buffer, sizeof buffer),
            ZOPRA_STATUS_INVALID_ARGUMENT);

  std::string path = threePages();
  ASSERT_EQ(zopraDocumentLoaderOpenFileA(handle.get(), path.c_str()), ZOPRA_STATUS_SUCCESS);
  // Before any size call the kept text is empty: one NUL fits in one byte.
  buffer[0] = 'x';
  EXPECT_EQ(zopraDocumentLoaderGetPageText(handle.get(), buffer, 1), ZOPRA_STATUS_SUCCESS);
  EXPECT_EQ(buffer[0], '\0');
  EXPECT_EQ(zopraDocumentLoaderGetPageTextCount(handle.get(), &count, 0),
            ZOPRA_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(zopraDocumentLoaderExtractPageText(handle.get(), 3), ZOPRA_STATUS_INVALID_ARGUMENT);

  ASSERT_EQ(zopraDocumentLoaderExtractPageText(handle.get(), 0), ZOPRA_STATUS_SUCCESS);
  EXPECT_EQ(zopraDocumentLoaderGetPageTextCount(handle.get(), &count, 0), ZOPRA_STATUS_SUCCESS);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(zopraDocumentLoaderGetPageTextCount(handle.get(), &count, 1),
            ZOPRA_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(zopraDocumentLoaderGetPageTextCount(handle.get(), nullptr, 0),
            ZOPRA_STATUS_INVALID_ARGUMENT);

  ASSERT_EQ(zopraDocumentLoaderExtractPageText(handle.get(), 1), ZOPRA_STATUS_SUCCESS);
  EXPECT_EQ(zopraDocumentLoaderGetPageTextCount(handle.get(), &count, 1), ZOPRA_STATUS_SUCCESS);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(zopraDocumentLoaderGetPageTextSize(handle.get(), &size, 1), ZOPRA_STATUS_SUCCESS);
  EXPECT_EQ(size, 1u);
}

TEST(ApiText, SizeThenCopy) {
  Handle handle;
  std::string path = threePages();
  ASSERT_EQ(zopraDocumentLoaderOpenFileA(handle.get(), path.c_str()), ZOPRA_STATUS_SUCCESS);
  uint32_t size = 0;
  ASSERT_EQ(zopraDocumentLoaderGetPageTextSize(handle.get(), &size, 0), ZOPRA_STATUS_SUCCESS);
  // "café" is five bytes of UTF-8; the size counts bytes, not characters.
  const std::string expected = "Hello world\ncaf\xC3\xA9\n";
  ASSERT_EQ(size, expected.size() + 1);
  std::string buffer(size, 'x');
  EXPECT_EQ(zopraDocumentLoaderGetPageText(handle.get(), buffer.data(), size - 1),
            ZOPRA_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(buffer, std::string(size, 'x'));
  ASSERT_EQ(zopraDocumentLoaderGetPageText(handle.get(), buffer.data(), size),
            ZOPRA_STATUS_SUCCESS);
  EXPECT_EQ(std::string(buffer.c_str()), expected);

  // A broken content stream: the failure status, and the count is refused
  // even for the page of that extraction.
  uint32_t count = 0;
  EXPECT_EQ(zopraDocumentLoaderExtractPageText(handle.get(), 2), ZOPRA_STATUS_BROKEN_STREAM);
  EXPECT_EQ(zopraDocumentLoaderGetPageTextCount(handle.get(), &count, 2),
            ZOPRA_STATUS_INVALID_ARGUMENT);
  uint32_t unchanged = 1234;
  EXPECT_EQ(zopraDocumentLoaderGetPageTextSize(handle.get(), &unchanged, 2),
            ZOPRA_STATUS_BROKEN_STREAM);
  EXPECT_EQ(unchanged, 1234u);

  // A re-open keeps the text built before it.
  ASSERT_EQ(zopraDocumentLoaderOpenFileA(handle.get(), path.c_str()), ZOPRA_STATUS_SUCCESS);
  std::string again(size, 'x');
  ASSERT_EQ(zopraDocumentLoaderGetPageText(handle.get(), again.data(), size),
            ZOPRA_STATUS_SUCCESS);
  EXPECT_EQ(std::string(again.c_str()), expected);
}

}  // namespace
