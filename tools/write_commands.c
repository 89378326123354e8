/* zopra-pdf rewrite and erase: open a document, optionally remove text, and
 * write it out as a new file. */
#define _POSIX_C_SOURCE 200809L

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "cli.h"
#include "page_ranges.h"
#include "parallel.h"
#include "zopra_document_loader.h"

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
 * flag per page; EXIT_OK, a usage error when it is malformed, or
 * EXIT_PAGE_RANGE when it names a page past `pages`. */
static int parsePageList(const char* input, const char* text, unsigned char* chosen, uint32_t pages) {
  const char* p = text;
  while (*p) {
    char* end = NULL;
    unsigned long first = strtoul(p, &end, 10);
    unsigned long last = first;
    if (end == p || first == 0) return usageError("not a page list", text);
    p = end;
    if (*p == '-') {
      ++p;
      last = strtoul(p, &end, 10);
      if (end == p || last < first) return usageError("not a page list", text);
      p = end;
    }
    if (*p == ',') ++p;
    else if (*p != '\0') return usageError("not a page list", text);
    if (last > pages) return reportMissingPage(input, last > UINT32_MAX ? UINT32_MAX : (uint32_t)(last - 1), pages);
    for (unsigned long page = first; page <= last; ++page) chosen[page - 1] = 1;
  }
  return EXIT_OK;
}

/* One chosen item; page and item from 0. */
typedef struct {
  uint32_t page;
  uint32_t item;
} PageItem;

/* The items of every --items "PAGE:I,J,..." (from 1), appended to `items`
 * (room for all of them); 0 when one is malformed. */
static int parseItems(const char* text, PageItem* items, size_t* count) {
  const char* p = text;
  char* end = NULL;
  unsigned long page = strtoul(p, &end, 10);
  size_t before = *count;
  if (end == p || page == 0 || page > UINT32_MAX || *end != ':') return 0;
  p = end + 1;
  while (*p) {
    unsigned long number = strtoul(p, &end, 10);
    if (end == p || number == 0 || number > UINT32_MAX) return 0;
    items[*count].page = (uint32_t)(page - 1);
    items[(*count)++].item = (uint32_t)(number - 1);
    p = end;
    if (*p == ',') ++p;
    else if (*p != '\0') return 0;
  }
  return *count > before;
}

static int comparePageItems(const void* left, const void* right) {
  const PageItem* a = left;
  const PageItem* b = right;
  if (a->page != b->page) return a->page < b->page ? -1 : 1;
  return a->item < b->item ? -1 : (a->item > b->item);
}

/* Removes `count` chosen items of one page, all numbered by one extraction
 * of it; EXIT_OK, EXIT_PAGES_UNREAD after naming the page, or the exit
 * status of a mistake. */
static int erasePageItems(ZOPRADocumentLoader* loader, const char* input, uint32_t page,
                          const PageItem* items, size_t count, uint32_t* indices) {
  uint32_t available = 0;
  size_t i;
  int32_t status = zopraDocumentLoaderExtractPageText(loader, page);
  if (status == ZOPRA_STATUS_SUCCESS) status = zopraDocumentLoaderGetPageTextCount(loader, &available, page);
  if (status != ZOPRA_STATUS_SUCCESS) return reportPageUnread(input, page, status);
  for (i = 0; i < count; ++i) {
    if (items[i].item >= available) return reportMissingItem(input, page, items[i].item, available);
    indices[i] = items[i].item;
  }
  status = zopraDocumentLoaderRemoveOriginalTextByIndex(loader, page, indices, (uint32_t)count);
  if (status != ZOPRA_STATUS_SUCCESS) return reportPageUnread(input, page, status);
  return reportTextLeft(loader, input, page);
}

/* The whole pages, then the chosen items of the other pages, each page's
 * lists together. A page that cannot be read is named and left as it is;
 * the result is then EXIT_PAGES_UNREAD, and the output is still written. */
static int eraseChosen(ZOPRADocumentLoader* loader, const char* input, const unsigned char* wholePages,
                       uint32_t pages, PageItem* items, size_t itemCount) {
  uint32_t* indices = malloc((itemCount ? itemCount : 1) * sizeof *indices);
  int outcome = EXIT_OK;
  uint32_t page;
  size_t first = 0;
  int progress = pages > 1 && progressWanted(1);
  if (!indices) return reportFailure(input, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
  for (page = 0; page < pages; ++page) {
    int32_t status;
    int step;
    if (!wholePages[page]) continue;
    if (progress) showProgress(page + 1, pages);
    status = zopraDocumentLoaderRemoveOriginalText(loader, page);
    step = status == ZOPRA_STATUS_SUCCESS ? reportTextLeft(loader, input, page)
                                          : reportPageUnread(input, page, status);
    if (step != EXIT_OK && outcome != EXIT_TEXT_LEFT) outcome = step;
  }
  /* Items of one page, however many lists name them, are numbered by one
   * extraction and removed by one call: a second extraction after a removal
   * would number them differently. */
  qsort(items, itemCount, sizeof *items, comparePageItems);
  while (first < itemCount) {
    size_t end = first;
    size_t unique = 0;
    int step = EXIT_OK;
    page = items[first].page;
    if (page >= pages) {
      step = reportMissingPage(input, page, pages);
    } else {
      for (; end < itemCount && items[end].page == page; ++end) {
        if (unique == 0 || items[first + unique - 1].item != items[end].item) items[first + unique++] = items[end];
      }
      if (!wholePages[page]) step = erasePageItems(loader, input, page, items + first, unique, indices);
    }
    if (step == EXIT_PAGES_UNREAD || step == EXIT_TEXT_LEFT) {
      if (outcome != EXIT_TEXT_LEFT) outcome = step;
    } else if (step != EXIT_OK) {
      outcome = step;
      break;
    }
    first = end;
  }
  free(indices);
  endProgress();
  return outcome;
}

/* Whole pages erased on several threads, by ranges. */
typedef struct {
  const char* input;
  const unsigned char* wholePages;
  int outcome;
} EraseJob;

static int erasePageJob(ZOPRADocumentLoader* loader, uint32_t page, unsigned worker, void* context) {
  const EraseJob* job = context;
  int32_t status;
  (void)worker;
  if (!job->wholePages[page]) return EXIT_OK;
  status = zopraDocumentLoaderRemoveOriginalText(loader, page);
  return status == ZOPRA_STATUS_SUCCESS ? reportTextLeft(loader, job->input, page)
                                        : reportPageUnread(job->input, page, status);
}

static int erasePageDone(unsigned page, int result, void* context) {
  EraseJob* job = context;
  (void)page;
  return goOn(result, &job->outcome);
}

int runErase(int argc, char** argv) {
  const char* paths[2] = {NULL, NULL};
  const char* pageList = NULL;
  int pathCount = 0;
  PageItem* items;
  size_t itemRoom = 0;
  size_t itemCount = 0;
  int plain = 0;
  unsigned jobs = defaultJobs();
  ZOPRADocumentLoader* loader = NULL;
  OpenedAhead* ahead = NULL;
  unsigned char* wholePages = NULL;
  uint32_t pages = 0;
  int result = EXIT_OK;
  int i;
  /* Room for every number any --items list can hold: at most one per two
   * characters. */
  for (i = 0; i + 1 < argc; ++i) {
    if (strcmp(argv[i], "--items") == 0) itemRoom += strlen(argv[i + 1]) / 2 + 1;
  }
  items = malloc((itemRoom ? itemRoom : 1) * sizeof *items);
  if (!items) return reportFailure(PROGRAM, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
  for (i = 0; i < argc && result == EXIT_OK; ++i) {
    const char* argument = argv[i];
    if (strcmp(argument, "--help") == 0 || strcmp(argument, "-h") == 0) {
      printHelp();
      result = EXIT_HELP_SHOWN;
    } else if (strcmp(argument, "--pages") == 0 && i + 1 < argc) {
      pageList = argv[++i];
    } else if (strcmp(argument, "--plain") == 0) {
      plain = 1;
    } else if (takeJobsOption(argc, argv, &i, &jobs, &result)) {
      continue;
    } else if (strcmp(argument, "--items") == 0 && i + 1 < argc) {
      if (!parseItems(argv[++i], items, &itemCount)) result = usageError("not a PAGE:ITEM,... list", argv[i]);
    } else if (argument[0] == '-' && argument[1] != '\0') {
      result = usageError("unknown option", argument);
    } else if (pathCount == 2) {
      result = usageError("more than two files given", argument);
    } else {
      paths[pathCount++] = argument;
    }
  }
  if (result == EXIT_OK && pathCount < 2) result = usageError("erase needs an input and an output file", NULL);
  /* Whole pages spread over threads: the file is opened for all of them at
   * once, so that no range starts late. */
  if (result == EXIT_OK && itemCount == 0) ahead = openAhead(paths[0], jobs);
  if (result == EXIT_OK) result = openForWritingAhead(paths[0], paths[1], ahead, &loader);
  if (result != EXIT_OK) {
    closeAhead(ahead);
    free(items);
    return result == EXIT_HELP_SHOWN ? EXIT_OK : result;
  }
  zopraDocumentLoaderGetPageCount(loader, &pages);

  /* Whole pages: those listed, or every page when no item is chosen. */
  wholePages = calloc(pages ? pages : 1, 1);
  if (!wholePages) result = reportFailure(paths[0], ZOPRA_STATUS_MEMORY_INSUFFICIENT);
  if (result == EXIT_OK && pageList) result = parsePageList(paths[0], pageList, wholePages, pages);
  if (result == EXIT_OK && !pageList && itemCount == 0) memset(wholePages, 1, pages);
  if (result == EXIT_OK && itemCount == 0 && jobs > 1 && pages > 1) {
    /* Whole pages only: ranges of pages on threads of their own. With
     * items, whose reports follow those of the whole pages, one thread. */
    EraseJob job;
    job.input = paths[0];
    job.wholePages = wholePages;
    job.outcome = EXIT_OK;
    result = editPageRanges(loader, paths[0], pages, NULL, jobs, ahead, erasePageJob, erasePageDone, &job);
    if (result == EXIT_OK) result = job.outcome;
  } else if (result == EXIT_OK) {
    result = eraseChosen(loader, paths[0], wholePages, pages, items, itemCount);
  }
  closeAhead(ahead);
  free(wholePages);
  free(items);
  setWriteThreads(jobs);
  /* Mistakes leave no output; pages that could not be read, or text left,
   * do: the rest of the work is in it. */
  if (!goesOn(result)) {
    zopraDocumentLoaderDestroy(loader);
    return result;
  }
  {
    int written = writeAndClose(loader, paths[0], paths[1], plain);
    return written != EXIT_OK ? written : result;
  }
}
