/*
 * Black-box checks of the C interface, compiled as C against the public
 * header and linked with the shared library only: argument checks of every
 * call, and one pass through opening, reading, removing and writing.
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

static int failed = 0;

#define EXPECT(expected, call)                                                              \
  do {                                                                                      \
    int32_t actual_ = (int32_t)(call);                                                      \
    if (actual_ != (int32_t)(expected)) {                                                   \
      ++failed;                                                                             \
      fprintf(stderr, "%s:%d: %s gave %d, expected %d\n", __FILE__, __LINE__, #call,        \
              (int)actual_, (int)(expected));                                               \
    }                                                                                       \
  } while (0)
#define CHECK(condition) EXPECT(1, (condition) ? 1 : 0)

enum { OK = ZOPRA_STATUS_SUCCESS, BAD = ZOPRA_STATUS_INVALID_ARGUMENT,
       OTHER = ZOPRA_STATUS_OTHER_ERROR, NO = ZOPRA_STATUS_NOT_SUPPORTED };

static char tempDir[256];
static char paths[4][512];

/* No cross-reference data: the recovery scan finds the objects, and the
 * indirect Length of each stream is measured up to "endstream". Page 1 draws
 * a line, a 4-byte "JPEG" at (30, 40) sized 10 x 20 and "Hello"; page 2 is
 * turned by 90 degrees and cropped. */
static const char kFile[] =
    "%PDF-1.4\n"
    "1 0 obj << /Type /Catalog /Pages 2 0 R >> endobj\n"
    "2 0 obj << /Type /Pages /Kids [3 0 R 4 0 R] /Count 2 >> endobj\n"
    "3 0 obj << /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 6 0 R\n"
    " /Resources << /Font << /F1 5 0 R >> /XObject << /Im 7 0 R >> >> >> endobj\n"
    "4 0 obj << /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /CropBox [10 20 310.5 420]"
    " /Rotate 90 >> endobj\n"
    "5 0 obj << /Type /Font /Subtype /Type1 /BaseFont /Helvetica >> endobj\n"
    "6 0 obj << /Length 99 0 R >> stream\n"
    "0 0 m 100 0 l S q 10 0 0 20 30 40 cm /Im Do Q BT /F1 12 Tf 72 700 Td (Hello) Tj ET\n"
    "endstream endobj\n"
    "7 0 obj << /Type /XObject /Subtype /Image /Width 1 /Height 1 /ColorSpace /DeviceGray"
    " /BitsPerComponent 8 /Filter /DCTDecode /Length 99 0 R >> stream\n\xFF\xD8\xFF\xD9\n"
    "endstream endobj\n"
    "trailer << /Root 1 0 R >>\n";

static int near(double a, double b) { return fabs(a - b) < 1e-6; }

static void writeFile(const char* path, const char* data, size_t length) {
  FILE* file = fopen(path, "wb");
  if (!file || fwrite(data, 1, length, file) != length || fclose(file) != 0) {
    fprintf(stderr, "cannot write %s\n", path);
    exit(2);
  }
}

/* Every call refuses a NULL handle, and a handle with no document open. */
static void checkWithoutDocument(ZOPRADocumentLoader* loader) {
  ZOPRADocumentLoaderGraphicsInfo infos[2];
  ZOPRADocumentLoaderTextInfo text;
  ZOPRADocumentLoaderTextStyle style;
  uint32_t value = 77;
  uint8_t buffer[8];
  char chars[8];
  double width = 0;
  int32_t expectedOpen = loader ? OTHER : BAD;
  EXPECT(BAD, zopraDocumentLoaderCreate(NULL));
  EXPECT(NO, zopraDocumentLoaderOpenFileW(loader, L"x.pdf"));
  EXPECT(NO, zopraDocumentLoaderWriteDocumentW(loader, L"x.pdf"));
  EXPECT(NO, zopraDocumentLoaderSetTextW(loader, L"x", 0, 0, L"f.ttf", 10.0, 1.0));
  EXPECT(BAD, zopraDocumentLoaderOpenFileA(loader, NULL));
  EXPECT(expectedOpen, zopraDocumentLoaderOpenFileA(loader, paths[3]));
  EXPECT(BAD, zopraDocumentLoaderOpenFileMappedA(loader, NULL));
  EXPECT(expectedOpen, zopraDocumentLoaderOpenFileMappedA(loader, paths[3]));
  EXPECT(BAD, zopraDocumentLoaderGetPageCount(loader, &value));
  EXPECT(BAD, zopraDocumentLoaderGetPageSize(loader, NULL, NULL, NULL, 0));
  EXPECT(BAD, zopraDocumentLoaderExtractPageText(loader, 0));
  EXPECT(BAD, zopraDocumentLoaderGetPageTextCount(loader, &value, 0));
  EXPECT(BAD, zopraDocumentLoaderGetText(loader, &text, 0));
  EXPECT(BAD, zopraDocumentLoaderGetTextStyle(loader, &style, 0));
  EXPECT(BAD, zopraDocumentLoaderGetTextRoom(loader, 0, &width));
  EXPECT(BAD, zopraDocumentLoaderGetPageTextSize(loader, &value, 0));
  EXPECT(BAD, zopraDocumentLoaderRemoveOriginalText(loader, 0));
  EXPECT(BAD, zopraDocumentLoaderRemoveOriginalTextByIndex(loader, 0, NULL, 0));
  EXPECT(BAD, zopraDocumentLoaderAdoptPageEdits(loader, loader, 0, 0));
  EXPECT(BAD, zopraDocumentLoaderGetUnremovedTextCount(loader, &value));
  EXPECT(BAD, zopraDocumentLoaderGetUnremovedText(loader, 0, &value));
  EXPECT(BAD, zopraDocumentLoaderExtractPageGraphics(loader, 0, 0.0));
  EXPECT(BAD, zopraDocumentLoaderGetPageGraphicsCount(loader, &value, 0));
  EXPECT(BAD, zopraDocumentLoaderGetGraphicsArray(loader, infos, 0, 0));
  EXPECT(BAD, zopraDocumentLoaderGetImageCount(loader, &value, 0));
  EXPECT(BAD, zopraDocumentLoaderGetImageFormat(loader, &value, 0, 0));
  EXPECT(BAD, zopraDocumentLoaderGetImageBufferSize(loader, &value, 0, 0));
  EXPECT(BAD, zopraDocumentLoaderGetImageBuffer(loader, buffer, sizeof buffer, 0, 0));
  EXPECT(BAD, zopraDocumentLoaderSetTextA(loader, "x", 0, 0, "f.ttf", 10.0, 1.0));
  EXPECT(BAD, zopraDocumentLoaderGetTextWidth(loader, &width));
  EXPECT(BAD, zopraDocumentLoaderMoveText(loader, 1.0, 0.0));
  {
    const char* chain[1] = {"f.ttf"};
    int32_t alignment = 0;
    ZOPRADocumentLoaderTextFit fit;
    EXPECT(BAD, zopraDocumentLoaderSetTextChainA(loader, "x", 0, 0, chain, 1, 10.0, 1.0));
    EXPECT(BAD, zopraDocumentLoaderGetMissingCharacterCount(loader, &value));
    EXPECT(BAD, zopraDocumentLoaderGetTextAlignment(loader, 0, &alignment));
    EXPECT(BAD, zopraDocumentLoaderFitTextA(loader, "x", 0, 0, chain, 1, 0.0, &fit));
  }
  EXPECT(BAD, zopraDocumentLoaderDrawText(loader));
  EXPECT(BAD, zopraDocumentLoaderWriteDocumentA(loader, paths[1]));
  EXPECT(BAD, zopraDocumentLoaderWriteDocumentCompactA(loader, paths[1], ZOPRA_COMPACT_ALL));
  {
    ZOPRADocumentLoaderBlockInfo block;
    ZOPRADocumentLoaderBlockFlow flow;
    const char* fonts[1] = {"f.ttf"};
    EXPECT(BAD, zopraDocumentLoaderExtractPageBlocks(loader, 0, &value));
    EXPECT(BAD, zopraDocumentLoaderGetBlock(loader, 0, &block));
    EXPECT(BAD, zopraDocumentLoaderGetBlockItems(loader, 0, NULL, 0, &value));
    EXPECT(BAD, zopraDocumentLoaderFlowBlockA(loader, 0, "x", fonts, 1, 0.0, &flow));
  }
  if (!loader) {
    EXPECT(BAD, zopraDocumentLoaderGetGraphics(NULL, infos, 0));
    EXPECT(BAD, zopraDocumentLoaderGetPageText(NULL, chars, sizeof chars));
  }
  CHECK(value == 77 && access(paths[1], F_OK) != 0);
}

static void checkDocument(ZOPRADocumentLoader* loader, ZOPRADocumentLoader* reader) {
  const uint32_t indices[2] = {0, 7};
  uint32_t count = 0, rotation = 999;
  double width = -1.0, height = -1.0;

  EXPECT(OK, zopraDocumentLoaderOpenFileA(loader, paths[0]));
  EXPECT(OK, zopraDocumentLoaderGetPageCount(loader, &count));
  CHECK(count == 2);
  EXPECT(BAD, zopraDocumentLoaderGetPageCount(loader, NULL));
  EXPECT(OK, zopraDocumentLoaderGetPageSize(loader, &width, &height, &rotation, 1));
  CHECK(near(width, 400.0) && near(height, 300.5) && rotation == 90);
  /* Out pointers are optional. */
  EXPECT(OK, zopraDocumentLoaderGetPageSize(loader, NULL, &height, NULL, 0));
  CHECK(near(height, 792.0));
  EXPECT(BAD, zopraDocumentLoaderExtractPageGraphics(loader, 0, NAN));

  /* Chosen items need an extraction of that very page, and indexes in range. */
  EXPECT(BAD, zopraDocumentLoaderRemoveOriginalText(loader, 2));
  EXPECT(BAD, zopraDocumentLoaderRemoveOriginalTextByIndex(loader, 0, NULL, 0));
  {
    /* The page's one line is one block; the blocks go with the next text
     * extraction. */
    ZOPRADocumentLoaderBlockInfo block;
    ZOPRADocumentLoaderBlockFlow flow;
    const char* fonts[1] = {"f.ttf"};
    uint32_t blocks = 0, items[2] = {99, 99};
    EXPECT(BAD, zopraDocumentLoaderExtractPageBlocks(loader, 0, NULL));
    EXPECT(BAD, zopraDocumentLoaderExtractPageBlocks(loader, 2, &blocks));
    EXPECT(OK, zopraDocumentLoaderExtractPageBlocks(loader, 0, &blocks));
    CHECK(blocks == 1);
    EXPECT(BAD, zopraDocumentLoaderGetBlock(loader, 1, &block));
    EXPECT(BAD, zopraDocumentLoaderGetBlock(loader, 0, NULL));
    EXPECT(OK, zopraDocumentLoaderGetBlock(loader, 0, &block));
    CHECK(strcmp(block.text, "Hello") == 0 && block.kind == ZOPRA_BLOCK_PARAGRAPH &&
          block.alignment == ZOPRA_ALIGNMENT_LEFT && block.lineCount == 1 && block.itemCount == 1 &&
          near(block.x0, 72.0) && near(block.shownSize, 12.0) && strcmp(block.fontName, "Helvetica") == 0);
    EXPECT(BAD, zopraDocumentLoaderGetBlockItems(loader, 0, NULL, 1, &blocks));
    EXPECT(BAD, zopraDocumentLoaderGetBlockItems(loader, 0, items, 2, NULL));
    EXPECT(OK, zopraDocumentLoaderGetBlockItems(loader, 0, items, 2, &blocks));
    CHECK(blocks == 1 && items[0] == 0 && items[1] == 99);
    EXPECT(BAD, zopraDocumentLoaderFlowBlockA(loader, 0, "", fonts, 1, 0.0, &flow));
    EXPECT(BAD, zopraDocumentLoaderFlowBlockA(loader, 0, "  ", fonts, 1, 0.0, &flow));
    EXPECT(BAD, zopraDocumentLoaderFlowBlockA(loader, 0, "x", NULL, 1, 0.0, &flow));
    EXPECT(BAD, zopraDocumentLoaderFlowBlockA(loader, 0, "x", fonts, 1, NAN, &flow));
    EXPECT(BAD, zopraDocumentLoaderFlowBlockA(loader, 1, "x", fonts, 1, 0.0, &flow));
    fonts[0] = paths[3];
    EXPECT(OTHER, zopraDocumentLoaderFlowBlockA(loader, 0, "x", fonts, 1, 0.0, NULL));
  }
  EXPECT(OK, zopraDocumentLoaderExtractPageText(loader, 0));
  {
    ZOPRADocumentLoaderBlockInfo block;
    EXPECT(BAD, zopraDocumentLoaderGetBlock(loader, 0, &block));
  }
  {
    /* "Hello" in Helvetica 12 at (72, 700), alone on the page: its box is
     * 0.8 em above and 0.2 em below the baseline, and its room runs to the
     * page's right edge less the left text margin of 72. */
    ZOPRADocumentLoaderTextStyle style;
    double room = -1.0;
    EXPECT(BAD, zopraDocumentLoaderGetTextStyle(loader, NULL, 0));
    EXPECT(BAD, zopraDocumentLoaderGetTextStyle(loader, &style, 1));
    EXPECT(OK, zopraDocumentLoaderGetTextStyle(loader, &style, 0));
    CHECK(strcmp(style.fontName, "Helvetica") == 0 && !style.bold && !style.italic &&
          !style.serif && !style.fixedPitch);
    CHECK(near(style.x0, 72.0) && near(style.y0, 697.6) && near(style.y1, 709.6) &&
          style.x1 > 90.0 && near(style.shownSize, 12.0));
    EXPECT(BAD, zopraDocumentLoaderGetTextRoom(loader, 0, NULL));
    EXPECT(BAD, zopraDocumentLoaderGetTextRoom(loader, 1, &room));
    EXPECT(OK, zopraDocumentLoaderGetTextRoom(loader, 0, &room));
    CHECK(near(room, 468.0));
  }
  {
    /* Alone on the page at the left margin: left-aligned. A chain needs 1 to
     * 16 fonts and a minimum size that is a number of points. */
    const char* chain[17] = {"f.ttf"};
    int32_t alignment = -1;
    ZOPRADocumentLoaderTextFit fit;
    EXPECT(BAD, zopraDocumentLoaderGetTextAlignment(loader, 0, NULL));
    EXPECT(BAD, zopraDocumentLoaderGetTextAlignment(loader, 1, &alignment));
    EXPECT(OK, zopraDocumentLoaderGetTextAlignment(loader, 0, &alignment));
    CHECK(alignment == ZOPRA_ALIGNMENT_LEFT);
    EXPECT(BAD, zopraDocumentLoaderSetTextChainA(loader, "x", 0, 0, NULL, 1, 10.0, 1.0));
    EXPECT(BAD, zopraDocumentLoaderSetTextChainA(loader, "x", 0, 0, chain, 0, 10.0, 1.0));
    EXPECT(BAD, zopraDocumentLoaderSetTextChainA(loader, "x", 0, 0, chain, 17, 10.0, 1.0));
    EXPECT(BAD, zopraDocumentLoaderSetTextChainA(loader, "x", 0, 0, chain, 2, 10.0, 1.0));
    EXPECT(BAD, zopraDocumentLoaderFitTextA(loader, "x", 0, 0, chain, 1, -1.0, &fit));
    EXPECT(BAD, zopraDocumentLoaderFitTextA(loader, "x", 0, 0, chain, 1, NAN, &fit));
    EXPECT(BAD, zopraDocumentLoaderFitTextA(loader, "x", 0, 1, chain, 1, 0.0, &fit));
    EXPECT(BAD, zopraDocumentLoaderFitTextA(loader, "x", 0, 0, chain, 0, 0.0, &fit));
    chain[0] = paths[3];
    EXPECT(OTHER, zopraDocumentLoaderSetTextChainA(loader, "x", 0, 0, chain, 1, 10.0, 1.0));
    EXPECT(OTHER, zopraDocumentLoaderFitTextA(loader, "x", 0, 0, chain, 1, 0.0, NULL));
    EXPECT(BAD, zopraDocumentLoaderGetMissingCharacterCount(loader, &count));
  }
  EXPECT(BAD, zopraDocumentLoaderRemoveOriginalTextByIndex(loader, 1, NULL, 0));
  EXPECT(BAD, zopraDocumentLoaderRemoveOriginalTextByIndex(loader, 0, NULL, 1));
  EXPECT(BAD, zopraDocumentLoaderRemoveOriginalTextByIndex(loader, 0, indices, 2));
  EXPECT(OK, zopraDocumentLoaderRemoveOriginalTextByIndex(loader, 0, indices, 1));
  {
    uint32_t unremoved = 99, item = 0;
    EXPECT(BAD, zopraDocumentLoaderGetUnremovedTextCount(loader, NULL));
    EXPECT(OK, zopraDocumentLoaderGetUnremovedTextCount(loader, &unremoved));
    EXPECT(1, unremoved == 0);
    EXPECT(BAD, zopraDocumentLoaderGetUnremovedText(loader, 0, &item));
  }
  /* The new text needs a font, a real size and an item to take its place from. */
  EXPECT(BAD, zopraDocumentLoaderSetTextA(loader, "x", 0, 0, NULL, 10.0, 1.0));
  EXPECT(BAD, zopraDocumentLoaderSetTextA(loader, "", 0, 0, "f.ttf", 10.0, 1.0));
  EXPECT(BAD, zopraDocumentLoaderSetTextA(loader, "x", 0, 1, "f.ttf", 10.0, 1.0));
  EXPECT(BAD, zopraDocumentLoaderSetTextA(loader, "x", 0, 0, "f.ttf", -1.0, 1.0));
  EXPECT(BAD, zopraDocumentLoaderSetTextA(loader, "x", 0, 0, "f.ttf", NAN, 1.0));
  EXPECT(BAD, zopraDocumentLoaderSetTextA(loader, "x", 0, 0, "f.ttf", 1e300, 1.0));
  EXPECT(OTHER, zopraDocumentLoaderSetTextA(loader, "x", 0, 0, paths[3], 10.0, 1.0));

  EXPECT(BAD, zopraDocumentLoaderWriteDocumentA(loader, ""));
  EXPECT(BAD, zopraDocumentLoaderWriteDocumentCompactA(loader, paths[1], ZOPRA_COMPACT_ALL + 1));
  EXPECT(BAD, zopraDocumentLoaderSetWriteThreads(NULL, 2));
  EXPECT(BAD, zopraDocumentLoaderSetWriteThreads(loader, 0));
  EXPECT(OK, zopraDocumentLoaderSetWriteThreads(loader, 3));
  EXPECT(OK, zopraDocumentLoaderWriteDocumentCompactA(loader, paths[1], ZOPRA_COMPACT_ALL));
  EXPECT(OK, zopraDocumentLoaderWriteDocumentA(loader, paths[1]));
  EXPECT(OK, zopraDocumentLoaderOpenFileA(reader, paths[1]));
  EXPECT(OK, zopraDocumentLoaderGetPageSize(reader, &width, &height, &rotation, 1));
  CHECK(near(width, 400.0) && near(height, 300.5) && rotation == 90);
  EXPECT(OK, zopraDocumentLoaderExtractPageText(reader, 0));
  EXPECT(OK, zopraDocumentLoaderGetPageTextCount(reader, &count, 0));
  CHECK(count == 0);

  /* Page edits are taken over only from another handle on the same bytes,
   * whether the file was read or mapped. */
  EXPECT(BAD, zopraDocumentLoaderAdoptPageEdits(loader, reader, 1, 1));
  EXPECT(BAD, zopraDocumentLoaderAdoptPageEdits(loader, NULL, 1, 1));
  EXPECT(BAD, zopraDocumentLoaderAdoptPageEdits(loader, loader, 1, 1));
  EXPECT(OK, zopraDocumentLoaderOpenFileMappedA(reader, paths[0]));
  EXPECT(BAD, zopraDocumentLoaderAdoptPageEdits(loader, reader, 1, 2));
  EXPECT(OK, zopraDocumentLoaderAdoptPageEdits(loader, reader, 1, 1));

  /* A failed open leaves no document open. */
  EXPECT(OTHER, zopraDocumentLoaderOpenFileMappedA(reader, tempDir));
  EXPECT(BAD, zopraDocumentLoaderGetPageCount(reader, &count));
  EXPECT(OTHER, zopraDocumentLoaderOpenFileA(loader, paths[2]));
  EXPECT(BAD, zopraDocumentLoaderGetPageCount(loader, &count));
}

int main(void) {
  ZOPRADocumentLoader* loader = NULL;
  ZOPRADocumentLoader* reader = NULL;
  const char* base = getenv("TMPDIR");
  int i;
  snprintf(tempDir, sizeof tempDir, "%s/zopra-c-api-XXXXXX", base && *base ? base : "/tmp");
  if (!mkdtemp(tempDir)) {
    perror("mkdtemp");
    return 2;
  }
  snprintf(paths[0], sizeof paths[0], "%s/in.pdf", tempDir);
  snprintf(paths[1], sizeof paths[1], "%s/out.pdf", tempDir);
  snprintf(paths[2], sizeof paths[2], "%s/blank-line.pdf", tempDir);
  snprintf(paths[3], sizeof paths[3], "%s/missing.pdf", tempDir);
  writeFile(paths[0], kFile, sizeof kFile - 1);
  /* A header after a blank line is not a PDF header. */
  writeFile(paths[2], "\n%PDF-1.4\n", 10);

  checkWithoutDocument(NULL);
  zopraDocumentLoaderDestroy(NULL);
  if (zopraDocumentLoaderCreate(&loader) != OK || zopraDocumentLoaderCreate(&reader) != OK) return 2;
  checkWithoutDocument(loader);
  checkDocument(loader, reader);
  zopraDocumentLoaderDestroy(reader);
  zopraDocumentLoaderDestroy(loader);
  for (i = 0; i < 3; ++i) remove(paths[i]);
  rmdir(tempDir);
  printf("%d failed\n", failed);
  return failed == 0 ? 0 : 1;
}
