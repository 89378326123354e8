/*
 * Black-box checks of the C interface, compiled as C against the public
 * header and linked with the shared library only.
 */
#define _POSIX_C_SOURCE 200809L

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "zopra_document_loader.h"

/* The record's layout is part of the interface: 216 bytes with natural
 * alignment on x86-64. */
#if defined(__x86_64__) || defined(_M_X64)
typedef char graphicsInfoIs216Bytes[sizeof(ZOPRADocumentLoaderGraphicsInfo) == 216 ? 1 : -1];
#endif

static int passed = 0;
static int failed = 0;

#define CHECK(condition)                                                   \
  do {                                                                     \
    if (condition) {                                                       \
      ++passed;                                                            \
    } else {                                                               \
      ++failed;                                                            \
      fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition); \
    }                                                                      \
  } while (0)

#define CHECK_STATUS(expected, call)                                               \
  do {                                                                             \
    int32_t actual_ = (call);                                                      \
    if (actual_ == (expected)) {                                                   \
      ++passed;                                                                    \
    } else {                                                                       \
      ++failed;                                                                    \
      fprintf(stderr, "%s:%d: %s returned %d, expected %d\n", __FILE__, __LINE__, #call, \
              (int)actual_, (int)(expected));                                      \
    }                                                                              \
  } while (0)

/* ---- A minimal PDF writer with computed cross-reference offsets --------- */

#define MAX_OBJECTS 16

typedef struct {
  char data[8192];
  size_t length;
  size_t offsets[MAX_OBJECTS + 1];
  int objectCount;
} PdfWriter;

static void append(PdfWriter* writer, const char* text) {
  size_t length = strlen(text);
  if (writer->length + length >= sizeof writer->data) {
    fprintf(stderr, "test PDF too large\n");
    exit(2);
  }
  memcpy(writer->data + writer->length, text, length);
  writer->length += length;
}

static void beginDocument(PdfWriter* writer, const char* prefix) {
  writer->length = 0;
  writer->objectCount = 0;
  append(writer, prefix);
  append(writer, "%PDF-1.4\n%\xE2\xE3\xCF\xD3\n");
}

/* Adds object number objectCount + 1 with the given body. */
static void addObject(PdfWriter* writer, const char* body) {
  char header[32];
  if (writer->objectCount >= MAX_OBJECTS) {
    fprintf(stderr, "too many test objects\n");
    exit(2);
  }
  writer->offsets[++writer->objectCount] = writer->length;
  snprintf(header, sizeof header, "%d 0 obj\n", writer->objectCount);
  append(writer, header);
  append(writer, body);
  append(writer, "\nendobj\n");
}

/* Writes the xref table and trailer; object 1 is the catalog. */
static void endDocument(PdfWriter* writer) {
  char line[64];
  size_t xrefOffset = writer->length;
  int i;
  snprintf(line, sizeof line, "xref\n0 %d\n", writer->objectCount + 1);
  append(writer, line);
  append(writer, "0000000000 65535 f \n");
  for (i = 1; i <= writer->objectCount; ++i) {
    snprintf(line, sizeof line, "%010lu 00000 n \n", (unsigned long)writer->offsets[i]);
    append(writer, line);
  }
  snprintf(line, sizeof line, "trailer\n<< /Size %d /Root 1 0 R >>\nstartxref\n%lu\n%%%%EOF\n",
           writer->objectCount + 1, (unsigned long)xrefOffset);
  append(writer, line);
}

static char tempDir[256];

static const char* writeFile(const char* name, const char* data, size_t length) {
  static char path[512];
  FILE* file;
  snprintf(path, sizeof path, "%s/%s", tempDir, name);
  file = fopen(path, "wb");
  if (!file || fwrite(data, 1, length, file) != length || fclose(file) != 0) {
    fprintf(stderr, "cannot write %s\n", path);
    exit(2);
  }
  return path;
}

/* Two pages: the first rotated by 90 degrees, the second with a crop box. */
static const char* writeTwoPageFile(void) {
  PdfWriter writer;
  beginDocument(&writer, "");
  addObject(&writer, "<< /Type /Catalog /Pages 2 0 R >>");
  addObject(&writer, "<< /Type /Pages /Kids [3 0 R 4 0 R] /Count 2 >>");
  addObject(&writer,
            "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Rotate 90 >>");
  addObject(&writer,
            "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792]"
            " /CropBox [10 20 310.5 420] >>");
  endDocument(&writer);
  return writeFile("two-pages.pdf", writer.data, writer.length);
}

/* One page showing "Hello" in Helvetica. */
static const char* writeTextFile(void) {
  PdfWriter writer;
  beginDocument(&writer, "");
  addObject(&writer, "<< /Type /Catalog /Pages 2 0 R >>");
  addObject(&writer, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
  addObject(&writer,
            "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792]"
            " /Resources << /Font << /F1 4 0 R >> >> /Contents 5 0 R >>");
  addObject(&writer, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  addObject(&writer,
            "<< /Length 36 >>\nstream\nBT /F1 12 Tf 72 700 Td (Hello) Tj ET\nendstream");
  endDocument(&writer);
  return writeFile("hello.pdf", writer.data, writer.length);
}

static const char* writeLeadingBlankLineFile(void) {
  PdfWriter writer;
  beginDocument(&writer, "\n");
  addObject(&writer, "<< /Type /Catalog /Pages 2 0 R >>");
  addObject(&writer, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
  addObject(&writer, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] >>");
  endDocument(&writer);
  return writeFile("blank-line.pdf", writer.data, writer.length);
}

/* One page: a stroked line, then a 4-byte "JPEG" image placed at (30, 40)
 * with a size of 10 x 20. */
static const char* writeGraphicsFile(void) {
  PdfWriter writer;
  static const char content[] = "0 0 m 100 0 l S q 10 0 0 20 30 40 cm /Im Do Q";
  char body[256];
  beginDocument(&writer, "");
  addObject(&writer, "<< /Type /Catalog /Pages 2 0 R >>");
  addObject(&writer, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
  addObject(&writer,
            "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 4 0 R"
            " /Resources << /XObject << /Im 5 0 R >> >> >>");
  snprintf(body, sizeof body, "<< /Length %lu >>\nstream\n%s\nendstream",
           (unsigned long)strlen(content), content);
  addObject(&writer, body);
  addObject(&writer,
            "<< /Type /XObject /Subtype /Image /Width 1 /Height 1 /ColorSpace /DeviceGray"
            " /BitsPerComponent 8 /Filter /DCTDecode /Length 4 >>\nstream\n\xFF\xD8\xFF\xD9\nendstream");
  endDocument(&writer);
  return writeFile("graphics.pdf", writer.data, writer.length);
}

static int near(double a, double b) { return a - b < 1e-6 && b - a < 1e-6; }

/* ---- Checks ------------------------------------------------------------- */

static void checkArgumentHandling(void) {
  ZOPRADocumentLoader* loader = NULL;
  uint32_t count = 12345;
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderCreate(NULL));
  CHECK_STATUS(ZOPRA_STATUS_NOT_SUPPORTED, zopraDocumentLoaderOpenFileW(NULL, NULL));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderOpenFileA(NULL, "x.pdf"));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderGetPageCount(NULL, &count));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderGetPageSize(NULL, NULL, NULL, NULL, 0));
  zopraDocumentLoaderDestroy(NULL);

  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderCreate(&loader));
  CHECK(loader != NULL);
  if (!loader) return;
  CHECK_STATUS(ZOPRA_STATUS_NOT_SUPPORTED, zopraDocumentLoaderOpenFileW(loader, L"x.pdf"));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderOpenFileA(loader, NULL));
  /* Nothing is open yet. */
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderGetPageCount(loader, &count));
  CHECK(count == 12345);
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderGetPageSize(loader, NULL, NULL, NULL, 0));
  zopraDocumentLoaderDestroy(loader);
}

static void checkRejectedFiles(void) {
  ZOPRADocumentLoader* loader = NULL;
  char missing[512];
  uint32_t count = 0;
  if (zopraDocumentLoaderCreate(&loader) != ZOPRA_STATUS_SUCCESS) {
    CHECK(!"create failed");
    return;
  }
  CHECK_STATUS(ZOPRA_STATUS_OTHER_ERROR,
               zopraDocumentLoaderOpenFileA(loader, writeFile("short.pdf", "%PDF", 4)));
  snprintf(missing, sizeof missing, "%s/does-not-exist.pdf", tempDir);
  CHECK_STATUS(ZOPRA_STATUS_OTHER_ERROR, zopraDocumentLoaderOpenFileA(loader, missing));
  CHECK_STATUS(ZOPRA_STATUS_OTHER_ERROR,
               zopraDocumentLoaderOpenFileA(loader, writeLeadingBlankLineFile()));
  CHECK_STATUS(ZOPRA_STATUS_OTHER_ERROR,
               zopraDocumentLoaderOpenFileA(loader, writeFile("text.pdf", "hello world\n", 12)));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderGetPageCount(loader, &count));
  zopraDocumentLoaderDestroy(loader);
}

static void checkValidDocument(void) {
  ZOPRADocumentLoader* loader = NULL;
  uint32_t count = 0;
  uint32_t rotation = 999;
  double width = -1.0;
  double height = -1.0;
  char missing[512];
  if (zopraDocumentLoaderCreate(&loader) != ZOPRA_STATUS_SUCCESS) {
    CHECK(!"create failed");
    return;
  }
  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderOpenFileA(loader, writeTwoPageFile()));
  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderGetPageCount(loader, &count));
  CHECK(count == 2);
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderGetPageCount(loader, NULL));

  CHECK_STATUS(ZOPRA_STATUS_SUCCESS,
               zopraDocumentLoaderGetPageSize(loader, &width, &height, &rotation, 0));
  CHECK(near(width, 792.0) && near(height, 612.0));
  CHECK(rotation == 90);

  width = height = -1.0;
  rotation = 999;
  CHECK_STATUS(ZOPRA_STATUS_SUCCESS,
               zopraDocumentLoaderGetPageSize(loader, &width, &height, &rotation, 1));
  CHECK(near(width, 300.5) && near(height, 400.0));
  CHECK(rotation == 0);

  /* Out pointers are optional, one by one or all at once. */
  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderGetPageSize(loader, NULL, NULL, NULL, 1));
  height = -1.0;
  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderGetPageSize(loader, NULL, &height, NULL, 0));
  CHECK(near(height, 612.0));

  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderGetPageSize(loader, &width, &height, &rotation, 2));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderGetPageSize(loader, &width, &height, &rotation, 0xFFFFFFFFu));

  /* Re-opening the same file on an open handle works. */
  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderOpenFileA(loader, writeTwoPageFile()));
  /* A failed re-open leaves no document open. */
  snprintf(missing, sizeof missing, "%s/does-not-exist.pdf", tempDir);
  CHECK_STATUS(ZOPRA_STATUS_OTHER_ERROR, zopraDocumentLoaderOpenFileA(loader, missing));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderGetPageCount(loader, &count));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderGetPageSize(loader, NULL, NULL, NULL, 0));
  zopraDocumentLoaderDestroy(loader);
}

static void checkRemoval(void) {
  ZOPRADocumentLoader* loader = NULL;
  uint32_t indices[2] = {0, 7};
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderRemoveOriginalText(NULL, 0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderRemoveOriginalTextByIndex(NULL, 0, NULL, 0));
  if (zopraDocumentLoaderCreate(&loader) != ZOPRA_STATUS_SUCCESS) {
    CHECK(!"create failed");
    return;
  }
  /* Nothing is open yet. */
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderRemoveOriginalText(loader, 0));
  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderOpenFileA(loader, writeTwoPageFile()));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderRemoveOriginalText(loader, 2));
  /* Chosen items need an extraction of that very page. */
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderRemoveOriginalTextByIndex(loader, 0, NULL, 0));
  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderExtractPageText(loader, 0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderRemoveOriginalTextByIndex(loader, 1, NULL, 0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderRemoveOriginalTextByIndex(loader, 0, NULL, 1));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderRemoveOriginalTextByIndex(loader, 0, indices, 2));
  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderRemoveOriginalTextByIndex(loader, 0, NULL, 0));
  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderRemoveOriginalText(loader, 1));
  zopraDocumentLoaderDestroy(loader);
}

static void checkWriting(void) {
  ZOPRADocumentLoader* loader = NULL;
  ZOPRADocumentLoader* reader = NULL;
  char output[512];
  char missing[512];
  uint32_t count = 0;
  uint32_t rotation = 999;
  double width = -1.0;
  double height = -1.0;
  snprintf(output, sizeof output, "%s/written.pdf", tempDir);
  snprintf(missing, sizeof missing, "%s/no-such-folder/written.pdf", tempDir);
  CHECK_STATUS(ZOPRA_STATUS_NOT_SUPPORTED, zopraDocumentLoaderWriteDocumentW(NULL, NULL));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderWriteDocumentA(NULL, output));
  if (zopraDocumentLoaderCreate(&loader) != ZOPRA_STATUS_SUCCESS ||
      zopraDocumentLoaderCreate(&reader) != ZOPRA_STATUS_SUCCESS) {
    CHECK(!"create failed");
    zopraDocumentLoaderDestroy(loader);
    return;
  }
  CHECK_STATUS(ZOPRA_STATUS_NOT_SUPPORTED, zopraDocumentLoaderWriteDocumentW(loader, L"x.pdf"));
  /* Nothing is open yet. */
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderWriteDocumentA(loader, output));
  CHECK(access(output, F_OK) != 0);

  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderOpenFileA(loader, writeTwoPageFile()));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderWriteDocumentA(loader, NULL));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderWriteDocumentA(loader, ""));
  CHECK_STATUS(ZOPRA_STATUS_OTHER_ERROR, zopraDocumentLoaderWriteDocumentA(loader, missing));
  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderWriteDocumentA(loader, output));
  /* The document stays open after writing. */
  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderGetPageCount(loader, &count));

  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderOpenFileA(reader, output));
  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderGetPageCount(reader, &count));
  CHECK(count == 2);
  CHECK_STATUS(ZOPRA_STATUS_SUCCESS,
               zopraDocumentLoaderGetPageSize(reader, &width, &height, &rotation, 0));
  CHECK(near(width, 792.0) && near(height, 612.0) && rotation == 90);
  CHECK_STATUS(ZOPRA_STATUS_SUCCESS,
               zopraDocumentLoaderGetPageSize(reader, &width, &height, &rotation, 1));
  CHECK(near(width, 300.5) && near(height, 400.0) && rotation == 0);
  zopraDocumentLoaderDestroy(reader);
  zopraDocumentLoaderDestroy(loader);
}

/* Every graphics and image call refuses a NULL handle, a handle with no
 * document, NULL outputs and indexes out of range, and writes nothing then. */
static void checkGraphicsAndImages(void) {
  ZOPRADocumentLoader* loader = NULL;
  ZOPRADocumentLoaderGraphicsInfo infos[2];
  uint32_t count = 77;
  uint32_t value = 77;
  uint8_t buffer[8] = {0};

  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderExtractPageGraphics(NULL, 0, 0.0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderGetPageGraphicsCount(NULL, &count, 0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderGetGraphics(NULL, infos, 0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderGetGraphicsArray(NULL, infos, 0, 0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderGetImageCount(NULL, &count, 0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderGetImageFormat(NULL, &value, 0, 0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderGetImageBufferSize(NULL, &value, 0, 0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderGetImageBuffer(NULL, buffer, sizeof buffer, 0, 0));
  if (zopraDocumentLoaderCreate(&loader) != ZOPRA_STATUS_SUCCESS) {
    CHECK(!"create failed");
    return;
  }
  /* Nothing open yet. */
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderExtractPageGraphics(loader, 0, 0.0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderGetPageGraphicsCount(loader, &count, 0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderGetGraphicsArray(loader, infos, 0, 0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderGetImageCount(loader, &count, 0));

  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderOpenFileA(loader, writeGraphicsFile()));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderExtractPageGraphics(loader, 1, 0.0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderExtractPageGraphics(loader, 0, -0.5));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderExtractPageGraphics(loader, 0, NAN));
  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderExtractPageGraphics(loader, 0, 0.0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderGetPageGraphicsCount(loader, NULL, 0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderGetPageGraphicsCount(loader, &count, 1));
  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderGetPageGraphicsCount(loader, &count, 0));
  CHECK(count == 2);
  infos[0].type = 99;
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderGetGraphics(loader, NULL, 0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderGetGraphics(loader, infos, 2));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderGetGraphicsArray(loader, NULL, 0, 0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderGetGraphicsArray(loader, infos, 2, 1));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderGetGraphicsArray(loader, infos, 1, 0xFFFFFFFFu));
  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderGetGraphicsArray(loader, infos, 0, 2));
  CHECK(infos[0].type == 99);
  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderGetGraphicsArray(loader, infos, 2, 0));
  CHECK(infos[0].type == 0 && infos[0].isLine == 1 && infos[1].type == 1 &&
        infos[1].objectNumber == 5 && near(infos[1].x, 30.0) && near(infos[1].height, 20.0));

  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderGetImageCount(loader, NULL, 0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderGetImageCount(loader, &count, 1));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderGetImageFormat(loader, NULL, 0, 0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderGetImageFormat(loader, &value, 0, 1));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderGetImageBufferSize(loader, NULL, 0, 0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderGetImageBufferSize(loader, &value, 1, 0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderGetImageBuffer(loader, NULL, sizeof buffer, 0, 0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderGetImageBuffer(loader, buffer, 3, 0, 0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
               zopraDocumentLoaderGetImageBuffer(loader, buffer, 4, 0, 1));
  CHECK(buffer[0] == 0);
  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderGetImageBuffer(loader, buffer, 4, 0, 0));
  CHECK(memcmp(buffer, "\xFF\xD8\xFF\xD9", 4) == 0);

  /* Opening a document empties the graphics cache. */
  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderOpenFileA(loader, writeGraphicsFile()));
  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderGetPageGraphicsCount(loader, &count, 0));
  CHECK(count == 0);
  zopraDocumentLoaderDestroy(loader);
}

static const char* const kFont = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

static void checkDrawing(void) {
  ZOPRADocumentLoader* loader = NULL;
  ZOPRADocumentLoader* reader = NULL;
  ZOPRADocumentLoaderTextInfo info;
  const uint32_t first = 0;
  double width = -1.0;
  double doubled = -1.0;
  char missing[512];
  char output[512];
  snprintf(missing, sizeof missing, "%s/missing.ttf", tempDir);
  snprintf(output, sizeof output, "%s/drawn.pdf", tempDir);
  CHECK_STATUS(ZOPRA_STATUS_NOT_SUPPORTED, zopraDocumentLoaderSetTextW(NULL, NULL, 0, 0, NULL, 0.0, 0.0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderSetTextA(NULL, "x", 0, 0, kFont, 10.0, 1.0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderGetTextWidth(NULL, &width));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderDrawText(NULL));
  if (zopraDocumentLoaderCreate(&loader) != ZOPRA_STATUS_SUCCESS ||
      zopraDocumentLoaderCreate(&reader) != ZOPRA_STATUS_SUCCESS) {
    CHECK(!"create failed");
    zopraDocumentLoaderDestroy(loader);
    return;
  }
  CHECK_STATUS(ZOPRA_STATUS_NOT_SUPPORTED, zopraDocumentLoaderSetTextW(loader, L"x", 0, 0, L"f.ttf", 10.0, 1.0));
  /* Nothing is open yet. */
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderSetTextA(loader, "x", 0, 0, kFont, 10.0, 1.0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderGetTextWidth(loader, &width));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderDrawText(loader));

  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderOpenFileA(loader, writeTextFile()));
  /* The new text takes its place from an extracted item. */
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderSetTextA(loader, "x", 0, 0, kFont, 10.0, 1.0));
  CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderExtractPageText(loader, 0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderSetTextA(loader, "x", 0, 0, NULL, 10.0, 1.0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderSetTextA(loader, NULL, 0, 0, kFont, 10.0, 1.0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderSetTextA(loader, "", 0, 0, kFont, 10.0, 1.0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderSetTextA(loader, "x", 0, 0, "", 10.0, 1.0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderSetTextA(loader, "x", 1, 0, kFont, 10.0, 1.0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderSetTextA(loader, "x", 0, 1, kFont, 10.0, 1.0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderSetTextA(loader, "x", 0, 0, kFont, 0.0, 1.0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderSetTextA(loader, "x", 0, 0, kFont, -1.0, 1.0));
  CHECK_STATUS(ZOPRA_STATUS_OTHER_ERROR, zopraDocumentLoaderSetTextA(loader, "x", 0, 0, missing, 10.0, 1.0));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderGetTextWidth(loader, &width));
  CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderDrawText(loader));
  if (access(kFont, R_OK) != 0) {
    fprintf(stderr, "%s is missing: drawing not checked\n", kFont);
  } else {
    CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT,
                 zopraDocumentLoaderSetTextA(loader, "\xC0\x80", 0, 0, kFont, 10.0, 1.0));
    /* The whole cycle: remove the item, set a new text in its place, measure, draw, write. */
    CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderGetText(loader, &info, 0));
    CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderRemoveOriginalTextByIndex(loader, 0, &first, 1));
    CHECK_STATUS(ZOPRA_STATUS_SUCCESS,
                 zopraDocumentLoaderSetTextA(loader, "Gr\xC3\xBC\xC3\x9F" "e", 0, 0, kFont, 24.0, 1.0));
    CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderGetTextWidth(loader, &doubled));
    CHECK_STATUS(ZOPRA_STATUS_SUCCESS,
                 zopraDocumentLoaderSetTextA(loader, "Gr\xC3\xBC\xC3\x9F" "e", 0, 0, kFont, 12.0, 1.0));
    CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderGetTextWidth(loader, NULL));
    CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderGetTextWidth(loader, &width));
    CHECK(width > 0.0 && near(doubled, 2.0 * width));
    CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderDrawText(loader));
    CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderWriteDocumentA(loader, output));

    CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderOpenFileA(reader, output));
    CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderExtractPageText(reader, 0));
    CHECK_STATUS(ZOPRA_STATUS_SUCCESS, zopraDocumentLoaderGetText(reader, &info, 0));
    CHECK(strcmp(info.text, "Gr\xC3\xBC\xC3\x9F" "e") == 0);
    CHECK(near(info.e, 72.0) && near(info.f, 700.0) && near(info.fontSize, 12.0) && near(info.width, width));
    CHECK_STATUS(ZOPRA_STATUS_INVALID_ARGUMENT, zopraDocumentLoaderGetText(reader, &info, 1));
  }
  zopraDocumentLoaderDestroy(reader);
  zopraDocumentLoaderDestroy(loader);
}

static void removeTempDir(void) {
  static const char* names[] = {"short.pdf", "blank-line.pdf", "text.pdf", "two-pages.pdf",
                                "written.pdf", "graphics.pdf", "hello.pdf", "drawn.pdf"};
  char path[512];
  size_t i;
  for (i = 0; i < sizeof names / sizeof names[0]; ++i) {
    snprintf(path, sizeof path, "%s/%s", tempDir, names[i]);
    remove(path);
  }
  rmdir(tempDir);
}

int main(void) {
  const char* base = getenv("TMPDIR");
  snprintf(tempDir, sizeof tempDir, "%s/zopra-c-api-XXXXXX", base && *base ? base : "/tmp");
  if (!mkdtemp(tempDir)) {
    perror("mkdtemp");
    return 2;
  }
  checkArgumentHandling();
  checkRejectedFiles();
  checkValidDocument();
  checkRemoval();
  checkWriting();
  checkGraphicsAndImages();
  checkDrawing();
  removeTempDir();
  printf("%d passed, %d failed\n", passed, failed);
  return failed == 0 ? 0 : 1;
}
