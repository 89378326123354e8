/* zopra-pdf text and items: the text of pages, as a whole or item by item. */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "cli.h"
#include "zopra_document_loader.h"

/* Writes the text of one page to `out`; returns the library status. */
static int32_t writePageText(ZOPRADocumentLoader* loader, uint32_t page, FILE* out) {
  uint32_t size = 0;
  char* buffer;
  int32_t status = zopraDocumentLoaderGetPageTextSize(loader, &size, page);
  if (status != ZOPRA_STATUS_SUCCESS) return status;
  buffer = malloc(size);
  if (!buffer) return ZOPRA_STATUS_MEMORY_INSUFFICIENT;
  status = zopraDocumentLoaderGetPageText(loader, buffer, size);
  if (status == ZOPRA_STATUS_SUCCESS) fwrite(buffer, 1, size - 1, out);
  free(buffer);
  return status;
}

int runText(int argc, char** argv) {
  const char* paths[2] = {NULL, NULL};
  int pathCount = 0;
  PageRange range = {0, 0};
  ZOPRADocumentLoader* loader = NULL;
  char* defaultOutput = NULL;
  const char* output;
  FILE* out;
  uint32_t first;
  uint32_t last;
  uint32_t page;
  int result = EXIT_OK;
  int i;
  for (i = 0; i < argc; ++i) {
    if (takePageOption(argc, argv, &i, 0, &range, &result)) {
      if (result != EXIT_OK) return result;
    } else if (strcmp(argv[i], "--help") == 0 || strcmp(argv[i], "-h") == 0) {
      printHelp();
      return EXIT_OK;
    } else if (argv[i][0] == '-' && argv[i][1] != '\0') {
      return usageError("unknown option", argv[i]);
    } else if (pathCount == 2) {
      return usageError("more than two files given", argv[i]);
    } else {
      paths[pathCount++] = argv[i];
    }
  }
  if (pathCount == 0) return usageError("no file given", NULL);
  /* As pdftotext: without OUTPUT the text goes beside the input, a.pdf to
   * a.txt; "-" is standard output. */
  output = paths[1];
  if (!output) {
    defaultOutput = textOutputName(paths[0]);
    if (!defaultOutput) return reportFailure(paths[0], ZOPRA_STATUS_MEMORY_INSUFFICIENT);
    output = defaultOutput;
  }
  if (output[0] == '\0') result = usageError("empty output file name", NULL);
  if (result == EXIT_OK && strcmp(output, "-") != 0) result = refuseInputAsOutput(paths[0], output);
  if (result == EXIT_OK) result = openPages(paths[0], &range, &loader, &first, &last);
  /* The output is created only once the input is known to be good. */
  out = result == EXIT_OK ? openOutputFile(output) : NULL;
  if (result == EXIT_OK && !out) result = EXIT_WRITE_FAILED;
  if (result != EXIT_OK) {
    zopraDocumentLoaderDestroy(loader);
    free(defaultOutput);
    return result;
  }

  /* A page that cannot be read is named and left empty; the others are
   * still written, and the exit status tells that some were not. */
  for (page = first; page < last && !ferror(out); ++page) {
    int32_t status = writePageText(loader, page, out);
    if (status != ZOPRA_STATUS_SUCCESS) {
      fflush(out);
      result = reportPageUnread(paths[0], page, status);
    }
    putc('\f', out);
  }
  zopraDocumentLoaderDestroy(loader);
  /* A failed write outranks pages that could not be read. */
  if (closeOutputFile(out, output) != EXIT_OK) result = EXIT_WRITE_FAILED;
  free(defaultOutput);
  return result;
}

/* Prints the items of one page; returns the library status. */
static int32_t printItems(ZOPRADocumentLoader* loader, uint32_t page, int json) {
  uint32_t count = 0;
  uint32_t index;
  int32_t status = zopraDocumentLoaderExtractPageText(loader, page);
  if (status == ZOPRA_STATUS_SUCCESS) status = zopraDocumentLoaderGetPageTextCount(loader, &count, page);
  for (index = 0; status == ZOPRA_STATUS_SUCCESS && index < count; ++index) {
    ZOPRADocumentLoaderTextInfo info;
    char x[64], y[64], size[64], effective[64], width[64];
    double effectiveSize;
    double advance;
    status = zopraDocumentLoaderGetText(loader, &info, index);
    if (status != ZOPRA_STATUS_SUCCESS) break;
    formatNumber(info.e, x, sizeof x);
    formatNumber(info.f, y, sizeof y);
    formatNumber(info.fontSize, size, sizeof size);
    /* a..f is the item's full matrix in page space, without the font size:
     * the text's height on the page is the size times the length of the
     * matrix's y axis (c, d). */
    effectiveSize = info.fontSize * sqrt(info.c * info.c + info.d * info.d);
    formatNumber(effectiveSize, effective, sizeof effective);
    /* The item's advance in page units. */
    advance = info.width * sqrt(info.a * info.a + info.b * info.b);
    formatNumber(advance, width, sizeof width);
    /* Items are numbered from 1, as pages are; erase --items and replace
     * maps take these numbers. */
    if (json) {
      json_t* item = json_object();
      json_object_set_new(item, "page", json_integer(page + 1));
      json_object_set_new(item, "item", json_integer(index + 1));
      json_object_set_new(item, "text", jsonString(info.text));
      json_object_set_new(item, "x", jsonNumber(info.e));
      json_object_set_new(item, "y", jsonNumber(info.f));
      json_object_set_new(item, "font_size", jsonNumber(info.fontSize));
      json_object_set_new(item, "effective_font_size", jsonNumber(effectiveSize));
      json_object_set_new(item, "width", jsonNumber(advance));
      if (index) putchar(',');
      printJson(stdout, item);
    } else {
      printf("%lu\t%lu\t%s\t%s\t%s\t%s\t%s\t%s\n", (unsigned long)page + 1,
             (unsigned long)index + 1, x, y, size, effective, width, info.text);
    }
  }
  return status;
}

int runItems(int argc, char** argv) {
  const char* path = NULL;
  PageRange range = {0, 0};
  int json = 0;
  ZOPRADocumentLoader* loader = NULL;
  uint32_t first;
  uint32_t last;
  uint32_t page;
  int progress;
  int result = EXIT_OK;
  int i;
  for (i = 0; i < argc; ++i) {
    if (takePageOption(argc, argv, &i, 1, &range, &result)) {
      if (result != EXIT_OK) return result;
    } else if (strcmp(argv[i], "--json") == 0) {
      json = 1;
    } else {
      int taken = takeArgument(argv[i], &path);
      if (taken != EXIT_OK) return taken == EXIT_HELP_SHOWN ? EXIT_OK : taken;
    }
  }
  if (!path) return usageError("no file given", NULL);
  result = openPages(path, &range, &loader, &first, &last);
  if (result != EXIT_OK) return result;
  progress = last - first > 1 && progressWanted(0);
  if (json) {
    /* Written as it goes, page by page: the items of a long document are
     * never all in memory. */
    fputs("{\"file\":", stdout);
    printJson(stdout, jsonString(path));
    fputs(",\"pages\":[", stdout);
  }
  /* A page that cannot be read is named and skipped (in JSON its item list
   * holds what was printed before the failure); the exit status tells. */
  for (page = first; page < last; ++page) {
    int32_t status;
    if (progress) showProgress(page + 1, last);
    if (json) printf("%s{\"page\":%lu,\"items\":[", page > first ? "," : "", (unsigned long)page + 1);
    status = printItems(loader, page, json);
    if (json) fputs("]}", stdout);
    if (status != ZOPRA_STATUS_SUCCESS) result = reportPageUnread(path, page, status);
  }
  endProgress();
  if (json) fputs("]}\n", stdout);
  zopraDocumentLoaderDestroy(loader);
  return result != EXIT_OK ? result : finishOutput();
}
