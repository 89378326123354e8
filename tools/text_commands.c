/* zopra-pdf text and items: the text of pages, as a whole or item by item. */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "cli.h"
#include "zopra_document_loader.h"

int runText(int argc, char** argv) {
  const char* path = NULL;
  unsigned long first = 1;
  unsigned long last = 0;
  ZOPRADocumentLoader* loader = NULL;
  uint32_t count = 0;
  uint32_t page;
  int result = EXIT_OK;
  int i;
  for (i = 0; i < argc; ++i) {
    if ((strcmp(argv[i], "-f") == 0 || strcmp(argv[i], "-l") == 0) && i + 1 < argc) {
      unsigned long value = parsePageNumber(argv[i + 1]);
      if (value == 0) return usageError("not a page number", argv[i + 1]);
      if (argv[i][1] == 'f') first = value; else last = value;
      ++i;
    } else {
      int taken = takeArgument(argv[i], &path);
      if (taken != EXIT_OK) return taken == EXIT_HELP_SHOWN ? EXIT_OK : taken;
    }
  }
  if (!path) return usageError("no file given", NULL);
  result = openDocument(path, &loader);
  if (result != EXIT_OK) return result;
  zopraDocumentLoaderGetPageCount(loader, &count);
  if (last == 0 || last > count) last = count;

  /* A page that cannot be read is reported and left empty; the others are
   * still printed, and the exit status tells about the failure. */
  for (page = (uint32_t)(first - 1); page < last; ++page) {
    uint32_t size = 0;
    int32_t status = zopraDocumentLoaderGetPageTextSize(loader, &size, page);
    if (status == ZOPRA_STATUS_SUCCESS) {
      char* buffer = malloc(size);
      if (!buffer) {
        status = ZOPRA_STATUS_MEMORY_INSUFFICIENT;
      } else {
        status = zopraDocumentLoaderGetPageText(loader, buffer, size);
        if (status == ZOPRA_STATUS_SUCCESS) fwrite(buffer, 1, size - 1, stdout);
        free(buffer);
      }
    }
    if (status != ZOPRA_STATUS_SUCCESS) {
      size_t length = strlen(path) + 32;
      char* where = malloc(length);
      fflush(stdout);
      if (where) snprintf(where, length, "%s, page %lu", path, (unsigned long)page + 1);
      result = reportFailure(where ? where : path, status);
      free(where);
    }
    putchar('\f');
  }
  zopraDocumentLoaderDestroy(loader);
  return result != EXIT_OK ? result : finishOutput();
}

int runItems(int argc, char** argv) {
  const char* path = NULL;
  unsigned long pageNumber = 0;
  int json = 0;
  ZOPRADocumentLoader* loader = NULL;
  uint32_t count = 0;
  uint32_t index;
  int32_t status;
  int result;
  int i;
  for (i = 0; i < argc; ++i) {
    if (strcmp(argv[i], "--page") == 0 && i + 1 < argc) {
      pageNumber = parsePageNumber(argv[++i]);
      if (pageNumber == 0) return usageError("not a page number", argv[i]);
    } else if (strcmp(argv[i], "--json") == 0) {
      json = 1;
    } else {
      int taken = takeArgument(argv[i], &path);
      if (taken != EXIT_OK) return taken == EXIT_HELP_SHOWN ? EXIT_OK : taken;
    }
  }
  if (!path) return usageError("no file given", NULL);
  if (pageNumber == 0) return usageError("no page given (--page N)", NULL);
  result = openDocument(path, &loader);
  if (result != EXIT_OK) return result;
  status = zopraDocumentLoaderExtractPageText(loader, (uint32_t)(pageNumber - 1));
  if (status == ZOPRA_STATUS_SUCCESS) {
    status = zopraDocumentLoaderGetPageTextCount(loader, &count, (uint32_t)(pageNumber - 1));
  }
  if (status != ZOPRA_STATUS_SUCCESS) {
    zopraDocumentLoaderDestroy(loader);
    return reportFailure(path, status);
  }
  if (json) {
    fputs("{\"file\":", stdout);
    printJsonString(path);
    printf(",\"page\":%lu,\"items\":[", pageNumber);
  }
  for (index = 0; index < count; ++index) {
    ZOPRADocumentLoaderTextInfo info;
    char x[64], y[64], size[64], width[64];
    if (zopraDocumentLoaderGetText(loader, &info, index) != ZOPRA_STATUS_SUCCESS) break;
    formatNumber(info.e, x, sizeof x);
    formatNumber(info.f, y, sizeof y);
    formatNumber(info.fontSize, size, sizeof size);
    /* The item's advance in page units. */
    formatNumber(info.width * sqrt(info.a * info.a + info.b * info.b), width, sizeof width);
    /* Items are numbered from 1, as pages are; erase --items takes these numbers. */
    if (json) {
      printf("%s{\"page\":%lu,\"item\":%lu,\"text\":", index ? "," : "", pageNumber,
             (unsigned long)index + 1);
      printJsonString(info.text);
      printf(",\"x\":%s,\"y\":%s,\"font_size\":%s,\"width\":%s}", x, y, size, width);
    } else {
      printf("%lu\t%s\t%s\t%s\t%s\t%s\n", (unsigned long)index + 1, x, y, size, width, info.text);
    }
  }
  if (json) fputs("]}\n", stdout);
  zopraDocumentLoaderDestroy(loader);
  return finishOutput();
}
