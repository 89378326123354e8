/* One document edited on several threads; see page_ranges.h. */
#define _POSIX_C_SOURCE 200809L

#include "page_ranges.h"

#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "cli.h"

static pthread_key_t reportKey;
static pthread_once_t reportOnce = PTHREAD_ONCE_INIT;

static void createReportKey(void) { pthread_key_create(&reportKey, NULL); }

FILE* reportStream(void) {
  FILE* stream;
  pthread_once(&reportOnce, createReportKey);
  stream = pthread_getspecific(reportKey);
  return stream ? stream : stderr;
}

/* ---- Handles opened ahead ---- */

typedef struct {
  const char* input;
  pthread_t thread;
  int started;
  ZOPRADocumentLoader* loader;
  char* reports;
  size_t reportSize;
  int result;
} Opener;

struct OpenedAhead {
  Opener* openers;
  unsigned count;
};

/* Opens on the calling thread, keeping what it reports for the thread that
 * takes the handle. */
static void* openQuietly(void* argument) {
  Opener* opener = argument;
  FILE* reports = open_memstream(&opener->reports, &opener->reportSize);
  pthread_once(&reportOnce, createReportKey);
  if (reports) pthread_setspecific(reportKey, reports);
  opener->result = openDocument(opener->input, &opener->loader);
  pthread_setspecific(reportKey, NULL);
  if (reports) fclose(reports);
  return NULL;
}

OpenedAhead* openAhead(const char* input, unsigned count) {
  OpenedAhead* ahead;
  struct stat info;
  unsigned k;
  /* Only a regular file gives every thread the same bytes: a pipe read by
   * two threads at once would give each a part. Anything else is opened
   * when needed, the target first. */
  if (count < 2 || stat(input, &info) != 0 || !S_ISREG(info.st_mode)) return NULL;
  ahead = calloc(1, sizeof *ahead);
  if (!ahead) return NULL;
  ahead->openers = calloc(count, sizeof *ahead->openers);
  if (!ahead->openers) {
    free(ahead);
    return NULL;
  }
  ahead->count = count;
  for (k = 0; k < count; ++k) {
    Opener* opener = &ahead->openers[k];
    opener->input = input;
    opener->started = pthread_create(&opener->thread, NULL, openQuietly, opener) == 0;
  }
  return ahead;
}

/* Handle k, opened here when its thread could not be started; what opening
 * it reported goes to this thread's report stream. */
static int takeOpened(OpenedAhead* ahead, unsigned k, ZOPRADocumentLoader** loader) {
  Opener* opener = &ahead->openers[k];
  if (!opener->started) return openDocument(opener->input, loader);
  pthread_join(opener->thread, NULL);
  opener->started = 0;
  if (opener->reports) fwrite(opener->reports, 1, opener->reportSize, reportStream());
  *loader = opener->loader;
  opener->loader = NULL;
  return opener->result;
}

int openForWritingAhead(const char* input, const char* output, OpenedAhead* ahead, ZOPRADocumentLoader** loader) {
  int result;
  if (!ahead) return openForWriting(input, output, loader);
  *loader = NULL;
  if (output[0] == '\0') return usageError("empty output file name", NULL);
  result = refuseInputAsOutput(input, output);
  return result != EXIT_OK ? result : takeOpened(ahead, 0, loader);
}

void closeAhead(OpenedAhead* ahead) {
  unsigned k;
  if (!ahead) return;
  for (k = 0; k < ahead->count; ++k) {
    Opener* opener = &ahead->openers[k];
    if (opener->started) pthread_join(opener->thread, NULL);
    zopraDocumentLoaderDestroy(opener->loader);
    free(opener->reports);
  }
  free(ahead->openers);
  free(ahead);
}

/* ---- Ranges ---- */

typedef struct {
  const char* input;
  OpenedAhead* ahead;
  uint32_t first;
  uint32_t last;
  unsigned index;
  RangeEdit edit;
  void* context;
  ZOPRADocumentLoader* loader;
  char* reports;
  size_t reportSize;
  int result;
  int started;
} Range;

static void* runRange(void* argument) {
  Range* range = argument;
  FILE* reports = open_memstream(&range->reports, &range->reportSize);
  pthread_once(&reportOnce, createReportKey);
  if (reports) pthread_setspecific(reportKey, reports);
  range->result = range->ahead && range->index < range->ahead->count
                      ? takeOpened(range->ahead, range->index, &range->loader)
                      : openDocument(range->input, &range->loader);
  if (range->result == EXIT_OK) {
    range->result = range->edit(range->loader, range->first, range->last, range->index, range->context);
  }
  pthread_setspecific(reportKey, NULL);
  if (reports) fclose(reports);
  return NULL;
}

/* The first page of each range: ranges of about equal summed cost, each of
 * at least one page. */
static void splitPages(uint32_t pages, const double* costs, Range* ranges, unsigned count) {
  double total = 0;
  double sum = 0;
  uint32_t page = 0;
  unsigned k;
  for (page = 0; costs && page < pages; ++page) total += costs[page] > 0 ? costs[page] : 0;
  page = 0;
  for (k = 0; k < count; ++k) {
    /* Room for one page in each range after this one. */
    const uint32_t latest = pages - (count - k);
    ranges[k].first = page;
    if (k + 1 == count) break;
    if (!costs || !(total > 0)) {
      page = (uint32_t)((uint64_t)pages * (k + 1) / count);
    } else {
      const double goal = total * (k + 1) / count;
      do {
        sum += costs[page] > 0 ? costs[page] : 0;
        ++page;
      } while (page < latest && sum + (costs[page] > 0 ? costs[page] : 0) / 2 <= goal);
    }
    if (page <= ranges[k].first) page = ranges[k].first + 1;
    if (page > latest + 1) page = latest + 1;
  }
  for (k = 0; k < count; ++k) ranges[k].last = (k + 1 == count ? pages : ranges[k + 1].first) - 1;
}

int editPageRanges(ZOPRADocumentLoader* target, const char* input, uint32_t pages, const double* costs,
                   unsigned jobs, OpenedAhead* ahead, RangeEdit edit, RangeDone done, void* context) {
  Range* ranges;
  pthread_t* threads;
  unsigned count = jobs < 1 ? 1 : jobs;
  unsigned k;
  int result = EXIT_OK;
  int going = 1;
  if (pages == 0) return EXIT_OK;
  if (count > pages) count = pages;
  ranges = calloc(count, sizeof *ranges);
  threads = calloc(count, sizeof *threads);
  if (!ranges || !threads) {
    free(ranges);
    free(threads);
    return reportFailure(input, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
  }
  splitPages(pages, costs, ranges, count);
  for (k = 0; k < count; ++k) {
    Range* range = &ranges[k];
    range->input = input;
    range->ahead = ahead;
    range->index = k;
    range->edit = edit;
    range->context = context;
    /* The first range is edited here, on the target itself: its reports
     * come first anyway, and its edits need no adopting. */
    if (k > 0) range->started = pthread_create(&threads[k], NULL, runRange, range) == 0;
  }
  ranges[0].result = edit(target, ranges[0].first, ranges[0].last, 0, context);
  going = done(0, ranges[0].result, context);
  for (k = 1; k < count; ++k) {
    Range* range = &ranges[k];
    if (range->started) {
      pthread_join(threads[k], NULL);
    } else if (going) {
      runRange(range);
    }
    if (going) {
      if (range->reports) fwrite(range->reports, 1, range->reportSize, stderr);
      going = done(k, range->result, context);
      if (going && range->loader) {
        int32_t status = zopraDocumentLoaderAdoptPageEdits(target, range->loader, range->first, range->last);
        if (status != ZOPRA_STATUS_SUCCESS) {
          result = reportFailure(input, status);
          going = 0;
        }
      }
    }
    zopraDocumentLoaderDestroy(range->loader);
    free(range->reports);
  }
  free(ranges);
  free(threads);
  return result;
}
