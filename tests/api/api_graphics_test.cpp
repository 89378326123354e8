// The page text, graphics and image calls, driven through the public header only.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/hostile_files.h"
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

const std::string kJpeg = "\xFF\xD8\xFF\xE0 not really a JPEG \xFF\xD9";
const std::string kJpeg2000("\0\0\0\x0CjP  \r\n\x87\n rest", 17);
const std::string kSamples("\x00\x7F\xFF\x10", 4);

struct Image {
  std::uint32_t object;
  std::uint32_t format;
  std::string bytes;
};

// Page 1 draws, in order: a DCT image, a JPX image, a DCT image stored
// Flate-compressed, raw samples, the DCT image again, and a form that draws
// an image whose filter array holds a reference; then an inline image. Page
// 2 paints a rectangle and a line and draws nothing; page 3's content stream
// cannot be decoded.
std::vector<Image> images() {
  return {{10, ZOPRA_IMAGE_FORMAT_JPEG, kJpeg},
          {11, ZOPRA_IMAGE_FORMAT_JPEG2000, kJpeg2000},
          {12, ZOPRA_IMAGE_FORMAT_JPEG, zopra::test::deflate(kJpeg)},
          {13, ZOPRA_IMAGE_FORMAT_UNKNOWN, kSamples},
          {10, ZOPRA_IMAGE_FORMAT_JPEG, kJpeg},
          {15, ZOPRA_IMAGE_FORMAT_JPEG, kJpeg}};
}

std::string imageFile() {
  const std::string image = "/Type /XObject /Subtype /Image /Width 2 /Height 2 /ColorSpace "
                            "/DeviceGray /BitsPerComponent 8 ";
  PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [3 0 R 4 0 R 5 0 R] /Count 3 >>");
  const std::string resources =
      " /Resources << /XObject << /A 10 0 R /B 11 0 R /C 12 0 R /D 13 0 R /F 14 0 R >> >>";
  b.object(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 6 0 R" + resources +
                  " >>");
  b.object(4, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 7 0 R >>");
  b.object(5, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 8 0 R >>");
  b.stream(6, "", "q 100 0 0 100 0 0 cm /A Do /B Do /C Do /D Do /A Do /F Do Q "
                  "BI /W 1 /H 1 /CS /G /BPC 8 ID \x80 EI");
  b.stream(7, "", "0 0 10 20 re f 0 0 m 5 0 l S");
  b.stream(8, "/Filter /FlateDecode", "not Flate data");
  b.stream(10, image + "/Filter /DCTDecode", kJpeg);
  b.stream(11, image + "/Filter /JPXDecode", kJpeg2000);
  b.stream(12, image + "/Filter [/FlateDecode /DCTDecode]", zopra::test::deflate(kJpeg));
  b.stream(13, image, kSamples);
  b.stream(14, "/Type /XObject /Subtype /Form /BBox [0 0 1 1] /Resources << /XObject << /E 15 0 R >> >>",
           "/E Do");
  b.stream(15, image + "/Filter [16 0 R]", kJpeg);
  b.object(16, "/DCTDecode");
  b.finishWithTable("/Root 1 0 R");
  return zopra::test::writeTempFile("images.pdf", b.bytes());
}

// Checks every image call on page 1 against `expected` (object numbers are
// not visible through the image calls; the graphics records carry them).
void expectImages(ZOPRADocumentLoader* loader, const std::vector<Image>& expected) {
  uint32_t count = 0;
  ASSERT_EQ(zopraDocumentLoaderGetImageCount(loader, &count, 0), ZOPRA_STATUS_SUCCESS);
  ASSERT_EQ(count, expected.size());
  for (uint32_t index = 0; index < count; ++index) {
    SCOPED_TRACE(index);
    uint32_t format = 99, size = 0;
    EXPECT_EQ(zopraDocumentLoaderGetImageFormat(loader, &format, 0, index), ZOPRA_STATUS_SUCCESS);
    EXPECT_EQ(format, expected[index].format);
    ASSERT_EQ(zopraDocumentLoaderGetImageBufferSize(loader, &size, 0, index), ZOPRA_STATUS_SUCCESS);
    ASSERT_EQ(size, expected[index].bytes.size());
    std::string buffer(size + 1, '#');
    auto* bytes = reinterpret_cast<uint8_t*>(buffer.data());
    EXPECT_EQ(zopraDocumentLoaderGetImageBuffer(loader, bytes, size - 1, 0, index),
              ZOPRA_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(buffer, std::string(size + 1, '#'));
    EXPECT_EQ(zopraDocumentLoaderGetImageBuffer(loader, bytes, size, 0, index), ZOPRA_STATUS_SUCCESS);
    EXPECT_EQ(buffer, expected[index].bytes + "#");
  }

  // Each drawing is also a graphics record, with the object number.
  ASSERT_EQ(zopraDocumentLoaderExtractPageGraphics(loader, 0, 0.0), ZOPRA_STATUS_SUCCESS);
  std::vector<ZOPRADocumentLoaderGraphicsInfo> infos(count);
  ASSERT_EQ(zopraDocumentLoaderGetPageGraphicsCount(loader, &count, 0), ZOPRA_STATUS_SUCCESS);
  ASSERT_EQ(count, expected.size());
  ASSERT_EQ(zopraDocumentLoaderGetGraphicsArray(loader, infos.data(), count, 0), ZOPRA_STATUS_SUCCESS);
  for (uint32_t index = 0; index < count; ++index) {
    EXPECT_EQ(infos[index].type, 1u);
    EXPECT_EQ(infos[index].objectNumber, expected[index].object);
    EXPECT_DOUBLE_EQ(infos[index].width, 100.0);
  }
}

TEST(ApiImages, FormatsBytesAndFailures) {
  Handle handle;
  std::string path = imageFile();
  ASSERT_EQ(zopraDocumentLoaderOpenFileA(handle.get(), path.c_str()), ZOPRA_STATUS_SUCCESS);
  expectImages(handle.get(), images());

  uint32_t count = 99, format = 99;
  EXPECT_EQ(zopraDocumentLoaderGetImageCount(handle.get(), &count, 1), ZOPRA_STATUS_SUCCESS);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(zopraDocumentLoaderGetImageFormat(handle.get(), &format, 1, 0),
            ZOPRA_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(zopraDocumentLoaderGetImageCount(handle.get(), &count, 2), ZOPRA_STATUS_BROKEN_STREAM);
  EXPECT_EQ(zopraDocumentLoaderGetImageFormat(handle.get(), &format, 2, 0),
            ZOPRA_STATUS_BROKEN_STREAM);
  EXPECT_EQ(zopraDocumentLoaderGetImageCount(handle.get(), &count, 3), ZOPRA_STATUS_INVALID_ARGUMENT);
}

TEST(ApiGraphics, CacheBelongsToTheLastExtraction) {
  Handle handle;
  std::string path = imageFile();
  ASSERT_EQ(zopraDocumentLoaderOpenFileA(handle.get(), path.c_str()), ZOPRA_STATUS_SUCCESS);
  uint32_t count = 0;
  ASSERT_EQ(zopraDocumentLoaderExtractPageGraphics(handle.get(), 1, 0.0), ZOPRA_STATUS_SUCCESS);
  // Any page in range answers with page 2's count.
  ASSERT_EQ(zopraDocumentLoaderGetPageGraphicsCount(handle.get(), &count, 2), ZOPRA_STATUS_SUCCESS);
  ASSERT_EQ(count, 2u);
  ZOPRADocumentLoaderGraphicsInfo line{};
  ASSERT_EQ(zopraDocumentLoaderGetGraphics(handle.get(), &line, 1), ZOPRA_STATUS_SUCCESS);
  EXPECT_TRUE(line.type == 0 && line.isLine == 1 && line.endX == 5.0);

  // The minimum size leaves the 5 x 0 line out; a failed extraction keeps
  // what it made before failing (here nothing).
  ASSERT_EQ(zopraDocumentLoaderExtractPageGraphics(handle.get(), 1, 6.0), ZOPRA_STATUS_SUCCESS);
  ASSERT_EQ(zopraDocumentLoaderGetPageGraphicsCount(handle.get(), &count, 0), ZOPRA_STATUS_SUCCESS);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(zopraDocumentLoaderExtractPageGraphics(handle.get(), 2, 0.0), ZOPRA_STATUS_BROKEN_STREAM);
  ASSERT_EQ(zopraDocumentLoaderGetPageGraphicsCount(handle.get(), &count, 0), ZOPRA_STATUS_SUCCESS);
  EXPECT_EQ(count, 0u);
}

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

TEST(ApiText, SizeCopyAndCache) {
  Handle handle;
  std::string path = threePages();
  ASSERT_EQ(zopraDocumentLoaderOpenFileA(handle.get(), path.c_str()), ZOPRA_STATUS_SUCCESS);
  // Before any size call the kept text is empty: one NUL fits in one byte.
  char first = 'x';
  EXPECT_EQ(zopraDocumentLoaderGetPageText(handle.get(), &first, 1), ZOPRA_STATUS_SUCCESS);
  EXPECT_EQ(first, '\0');
  uint32_t size = 0, count = 99;
  // The item count belongs to the page of the last extraction.
  EXPECT_EQ(zopraDocumentLoaderGetPageTextCount(handle.get(), &count, 0), ZOPRA_STATUS_INVALID_ARGUMENT);
  ASSERT_EQ(zopraDocumentLoaderGetPageTextSize(handle.get(), &size, 0), ZOPRA_STATUS_SUCCESS);
  // "café" is five bytes of UTF-8; the size counts bytes, not characters.
  const std::string expected = "Hello world\ncaf\xC3\xA9\n";
  ASSERT_EQ(size, expected.size() + 1);
  std::string buffer(size, 'x');
  EXPECT_EQ(zopraDocumentLoaderGetPageText(handle.get(), buffer.data(), size - 1), ZOPRA_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(buffer, std::string(size, 'x'));
  ASSERT_EQ(zopraDocumentLoaderGetPageText(handle.get(), buffer.data(), size), ZOPRA_STATUS_SUCCESS);
  EXPECT_EQ(std::string(buffer.c_str()), expected);

  ASSERT_EQ(zopraDocumentLoaderExtractPageText(handle.get(), 0), ZOPRA_STATUS_SUCCESS);
  EXPECT_EQ(zopraDocumentLoaderGetPageTextCount(handle.get(), &count, 0), ZOPRA_STATUS_SUCCESS);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(zopraDocumentLoaderGetPageTextCount(handle.get(), &count, 1), ZOPRA_STATUS_INVALID_ARGUMENT);
  ASSERT_EQ(zopraDocumentLoaderExtractPageText(handle.get(), 1), ZOPRA_STATUS_SUCCESS);
  EXPECT_EQ(zopraDocumentLoaderGetPageTextCount(handle.get(), &count, 1), ZOPRA_STATUS_SUCCESS);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(zopraDocumentLoaderExtractPageText(handle.get(), 3), ZOPRA_STATUS_INVALID_ARGUMENT);

  // A broken content stream: the failure status, and the count is refused
  // even for the page of that extraction.
  EXPECT_EQ(zopraDocumentLoaderExtractPageText(handle.get(), 2), ZOPRA_STATUS_BROKEN_STREAM);
  EXPECT_EQ(zopraDocumentLoaderGetPageTextCount(handle.get(), &count, 2), ZOPRA_STATUS_INVALID_ARGUMENT);
  uint32_t unchanged = 1234;
  EXPECT_EQ(zopraDocumentLoaderGetPageTextSize(handle.get(), &unchanged, 2), ZOPRA_STATUS_BROKEN_STREAM);
  EXPECT_EQ(unchanged, 1234u);
}

}  // namespace
