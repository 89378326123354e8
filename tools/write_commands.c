/* zopra-pdf rewrite and erase: open a document, optionally remove text, and
 * write it out as a new file. */
#define _POSIX_C_SOURCE 200809L

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "cli.h"
#include "zopra_document_loader.h"

int openForWriting(const char* input, const char* output, ZOPRADocumentLoader** loader) {
  int result;
  if (output[0] == '\0') return usageError("empty output file name", NULL);
  /* The tool keeps the input as it is: the result is a new file. */
  result = refuseInputAsOutput(input, output);
  return result != EXIT_OK ? result : openDocument(input, loader);
}

int writeAndClose(ZOPRADocumentLoader* loader, const char* input, const char* output, int plain) {
  int32_t status = plain ? zopraDocumentLoaderWriteDocumentA(loader, output)
                         : zopraDocumentLoaderWriteDocumentCompactA(loader, output, ZOPRA_COMPACT_ALL);
  zopraDocumentLoaderDestroy(loader);
  if (status == ZOPRA_STATUS_OTHER_ERROR) {
    fprintf(stderr, PROGRAM ": %s: cannot write the file, or the input is damaged (status %d)\n",
            output, (int)status);
    return EXIT_WRITE_FAILED;
  }
  if (status != ZOPRA_STATUS_SUCCESS) return reportFailure(input, status);
  return EXIT_OK;
}

int runRewrite(int argc, char** argv) {
  const char* paths[2] = {NULL, NULL};
  int pathCount = 0;
  int onlyFiles = 0;
  int plain = 0;
  ZOPRADocumentLoader* loader = NULL;
  int result;
  int i;
  for (i = 0; i < argc; ++i) {
    const char* argument = argv[i];
    if (!onlyFiles && strcmp(argument, "--") == 0) {
      onlyFiles = 1;
    } else if (!onlyFiles && strcmp(argument, "--plain") == 0) {
      plain = 1;
    } else if (!onlyFiles && (strcmp(argument, "--help") == 0 || strcmp(argument, "-h") == 0)) {
      printHelp();
      return EXIT_OK;
    } else if (!onlyFiles && argument[0] == '-' && argument[1] != '\0') {
      return usageError("unknown option", argument);
    } else if (pathCount == 2) {
      return usageError("more than two files given", argument);
    } else {
      paths[pathCount++] = argument;
    }
  }
  if (pathCount < 2) return usageError("rewrite needs an input and an output file", NULL);
  result = openForWriting(paths[0], paths[1], &loader);
  if (result != EXIT_OK) return result;
  return writeAndClose(loader, paths[0], paths[1], plain);
}

/* Parses "N" or a list of "N" and "N-M" separated by commas (from 1) into a
 * flag per page; 0 when it is malformed or names a page past `pages`. */
static int parsePageList(const char* text, unsigned char* chosen, uint32_t pages) {
  const char* p = text;
  while (*p) {
    char* end = NULL;
    unsigned long first = strtoul(p, &end, 10);
    unsigned long last = first;
    if (end == p || first == 0) return 0;
    p = end;
    if (*p == '-') {
      ++p;
      last = strtoul(p, &end, 10);
      if (end == p || last < first) return 0;
      p = end;
    }
    if (last > pages) return 0;
    for (unsigned long page = first; page <= last; ++page) chosen[page - 1] = 1;
    if (*p == ',') ++p;
    else if (*p != '\0') return 0;
  }
  return 1;
}

/* "PAGE:I,J,..." (from 1) into the page index and 0-based item indices. */
static int parseItems(const char* text, uint32_t* page, uint32_t** items, uint32_t* count) {
  const char* p = text;
  char* end = NULL;
  unsigned long number = strtoul(p, &end, 10);
  size_t room = strlen(text);
  if (end == p || number == 0 || number > UINT32_MAX || *end != ':') return 0;
  *page = (uint32_t)(number - 1);
  *items = malloc((room + 1) * sizeof **items);
  if (!*items) return 0;
  *count = 0;
  p = end + 1;
  while (*p) {
    number = strtoul(p, &end, 10);
    if (end == p || number == 0 || number > UINT32_MAX) return 0;
    (*items)[(*count)++] = (uint32_t)(number - 1);
    p = end;
    if (*p == ',') ++p;
    else if (*p != '\0') return 0;
  }
  return *count > 0;
}

/* Removes the chosen items of one page: "PAGE:I,J,...". */
static int eraseItems(ZOPRADocumentLoader* loader, const char* input, const char* list, uint32_t pages) {
  uint32_t page = 0;
  uint32_t* items = NULL;
  uint32_t count = 0;
  uint32_t available = 0;
  int32_t status;
  uint32_t i;
  if (!parseItems(list, &page, &items, &count) || page >= pages) {
    free(items);
    return usageError("not a PAGE:ITEM,... list of this document", list);
  }
  status = zopraDocumentLoaderExtractPageText(loader, page);
  if (status == ZOPRA_STATUS_SUCCESS) status = zopraDocumentLoaderGetPageTextCount(loader, &available, page);
  for (i = 0; status == ZOPRA_STATUS_SUCCESS && i < count; ++i) {
    if (items[i] >= available) {
      fprintf(stderr, PROGRAM ": %s: page %lu has no item %lu (it has %lu)\n", input,
              (unsigned long)page + 1, (unsigned long)items[i] + 1, (unsigned long)available);
      free(items);
      return EXIT_USAGE;
    }
  }
  if (status == ZOPRA_STATUS_SUCCESS) {
    status = zopraDocumentLoaderRemoveOriginalTextByIndex(loader, page, items, count);
  }
  free(items);
  return status == ZOPRA_STATUS_SUCCESS ? EXIT_OK : reportFailure(input, status);
}

int runErase(int argc, char** argv) {
  const char* paths[2] = {NULL, NULL};
  const char* pageList = NULL;
  int pathCount = 0;
  int itemLists = 0;
  int plain = 0;
  ZOPRADocumentLoader* loader = NULL;
  unsigned char* chosen = NULL;
  uint32_t pages = 0;
  uint32_t page;
  int result;
  int i;
  for (i = 0; i < argc; ++i) {
    const char* argument = argv[i];
    if (strcmp(argument, "--help") == 0 || strcmp(argument, "-h") == 0) {
      printHelp();
      return EXIT_OK;
    } else if (strcmp(argument, "--pages") == 0 && i + 1 < argc) {
      pageList = argv[++i];
    } else if (strcmp(argument, "--plain") == 0) {
      plain = 1;
    } else if (strcmp(argument, "--items") == 0 && i + 1 < argc) {
      ++i;
      ++itemLists;
    } else if (argument[0] == '-' && argument[1] != '\0') {
      return usageError("unknown option", argument);
    } else if (pathCount == 2) {
      return usageError("more than two files given", argument);
    } else {
      paths[pathCount++] = argument;
    }
  }
  if (pathCount < 2) return usageError("erase needs an input and an output file", NULL);
  result = openForWriting(paths[0], paths[1], &loader);
  if (result != EXIT_OK) return result;
  zopraDocumentLoaderGetPageCount(loader, &pages);

  /* Whole pages: those listed, or every page when no item is chosen. */
  chosen = calloc(pages ? pages : 1, 1);
  if (!chosen) result = reportFailure(paths[0], ZOPRA_STATUS_MEMORY_INSUFFICIENT);
  if (result == EXIT_OK && pageList && !parsePageList(pageList, chosen, pages)) {
    result = usageError("not a page list of this document", pageList);
  }
  if (result == EXIT_OK && !pageList && itemLists == 0) memset(chosen, 1, pages);
  for (page = 0; result == EXIT_OK && page < pages; ++page) {
    if (!chosen[page]) continue;
    int32_t status = zopraDocumentLoaderRemoveOriginalText(loader, page);
    if (status != ZOPRA_STATUS_SUCCESS) result = reportFailure(paths[0], status);
  }
  for (i = 0; result == EXIT_OK && i < argc; ++i) {
    if (strcmp(argv[i], "--items") == 0 && i + 1 < argc) {
      result = eraseItems(loader, paths[0], argv[++i], pages);
    } else if (strcmp(argv[i], "--pages") == 0) {
      ++i;
    }
  }
  free(chosen);
  if (result != EXIT_OK) {
    zopraDocumentLoaderDestroy(loader);
    return result;
  }
  return writeAndClose(loader, paths[0], paths[1], plain);
}
