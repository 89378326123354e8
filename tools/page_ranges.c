/* One document edited on several threads; see page_ranges.h. */
#define _POSIX_C_SOURCE 200809L

#include "page_ranges.h"

#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>

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

static double secondsNow(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (double)now.tv_sec + (double)now.tv_nsec / 1e9;
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
  double seconds; /* how long opening took */
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
  const double began = secondsNow();
  if (reports) pthread_setspecific(reportKey, reports);
  opener->result = openDocument(opener->input, &opener->loader);
  opener->seconds = secondsNow() - began;
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
 * it reported goes to this thread's report stream, and how long opening it
 * took to *seconds when not NULL. */
static int takeOpened(OpenedAhead* ahead, unsigned k, ZOPRADocumentLoader** loader, double* seconds) {
  Opener* opener = &ahead->openers[k];
  if (!opener->started) {
    const double began = secondsNow();
    const int result = openDocument(opener->input, loader);
    if (seconds) *seconds = secondsNow() - began;
    return result;
  }
  pthread_join(opener->thread, NULL);
  opener->started = 0;
  if (opener->reports) fwrite(opener->reports, 1, opener->reportSize, reportStream());
  *loader = opener->loader;
  opener->loader = NULL;
  if (seconds) *seconds = opener->seconds;
  return opener->result;
}

int openForWritingAhead(const char* input, const char* output, OpenedAhead* ahead, ZOPRADocumentLoader** loader) {
  int result;
  if (!ahead) return openForWriting(input, output, loader);
  *loader = NULL;
  if (output[0] == '\0') return usageError("empty output file name", NULL);
  result = refuseInputAsOutput(input, output);
  return result != EXIT_OK ? result : takeOpened(ahead, 0, loader, NULL);
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

static void* runAside(void* context) {
  Aside* aside = context;
  closeAhead(aside->ahead);
  aside->release(aside->context);
  return NULL;
}

void startAside(Aside* aside, unsigned jobs, OpenedAhead* ahead, void (*release)(void*), void* context) {
  aside->ahead = ahead;
  aside->release = release;
  aside->context = context;
  aside->started = jobs > 1 && pthread_create(&aside->thread, NULL, runAside, aside) == 0;
  if (!aside->started) runAside(aside);
}

void endAside(Aside* aside) {
  if (aside->started) pthread_join(aside->thread, NULL);
  aside->started = 0;
}

/* ---- Ranges ---- */

/* Pages go to the threads in contiguous spans, each edited in page order on
 * one handle, so that adopting the spans in page order gives the bytes one
 * thread would write. The first spans come from the cost estimate; as the
 * estimate can be wrong, a thread that has finished its span takes the back
 * half of what is left of the slowest other one onto another handle (a
 * spare opened ahead, or one it opens) when that gains time. */

/* Spans per thread at most: the first, and those taken from others. */
enum { SPANS_PER_THREAD = 4 };

typedef struct {
  uint32_t first; /* fixed */
  /* Under the lock: */
  uint32_t next;    /* the next page to edit */
  uint32_t end;     /* one past the last page; lowered by a taker */
  double started;   /* when its thread began it (0: not yet) */
  double doneCost;  /* the estimated cost of the pages edited */
  ZOPRADocumentLoader* loader;
} Span;

/* What editing one page gave. */
typedef struct {
  char* reports;
  size_t reportSize;
  int result;
  int edited;
  unsigned span;
} PageOutcome;

typedef struct {
  const char* input;
  OpenedAhead* ahead;
  PageEdit edit;
  void* context;
  double* sums; /* sums[p]: the estimated cost of the pages before p */
  PageOutcome* outcomes;
  Span* spans;
  unsigned spanCount;
  unsigned spanRoom;
  unsigned nextSpare; /* the next handle of `ahead` no thread has; under the lock */
  double openSeconds; /* the longest a handle took to open; under the lock */
  uint32_t edited;    /* pages edited; under the lock */
  unsigned running;   /* worker threads not done; under the lock */
  pthread_mutex_t lock;
  /* The calling thread's: */
  uint32_t pages;
  PageDone done;
  uint32_t reported; /* pages whose reports were printed */
  int going;         /* no page's `done` said to stop */
  int progress;      /* progress is shown */
  double shownAt;    /* when it was last shown */
} Ranges;

typedef struct {
  Ranges* ranges;
  unsigned index;
  pthread_t thread;
  int started;
} Worker;

/* Adds what a stream opened with open_memstream holds (taken over) to the
 * page's reports. */
static void addReports(PageOutcome* outcome, char* text, size_t size) {
  char* joined;
  if (!outcome->reports) {
    outcome->reports = text;
    outcome->reportSize = size;
    return;
  }
  joined = size > 0 ? realloc(outcome->reports, outcome->reportSize + size) : NULL;
  if (joined) {
    memcpy(joined + outcome->reportSize, text, size);
    outcome->reports = joined;
    outcome->reportSize += size;
  }
  free(text);
}

/* Runs `edit` on one page, its reports kept for the page (after what
 * opening the handle reported, for a thread's first page). */
static void editPage(Ranges* ranges, unsigned span, uint32_t page, unsigned worker, ZOPRADocumentLoader* loader) {
  PageOutcome* outcome = &ranges->outcomes[page];
  char* text = NULL;
  size_t size = 0;
  FILE* reports = open_memstream(&text, &size);
  if (reports) pthread_setspecific(reportKey, reports);
  outcome->result = ranges->edit(loader, page, worker, ranges->context);
  pthread_setspecific(reportKey, NULL);
  if (reports) fclose(reports);
  addReports(outcome, text, size);
  outcome->span = span;
}

/* On the calling thread: prints the reports of the pages edited so far, in
 * page order, each followed by the caller's `done`, and shows the progress
 * (pages edited by all threads). */
static void reportPages(Ranges* ranges) {
  uint32_t edited;
  for (;;) {
    PageOutcome* outcome;
    int ready;
    pthread_mutex_lock(&ranges->lock);
    ready = ranges->going && ranges->reported < ranges->pages && ranges->outcomes[ranges->reported].edited;
    edited = ranges->edited;
    pthread_mutex_unlock(&ranges->lock);
    if (!ready) break;
    outcome = &ranges->outcomes[ranges->reported];
    if (outcome->reportSize > 0) {
      endProgress();
      fwrite(outcome->reports, 1, outcome->reportSize, stderr);
    }
    ranges->going = ranges->done(ranges->reported, outcome->result, ranges->context);
    if (ranges->going) ++ranges->reported;
  }
  /* Ten times a second is often enough. */
  if (ranges->progress && ranges->going && secondsNow() - ranges->shownAt >= 0.1) {
    showProgress(edited, ranges->pages);
    ranges->shownAt = secondsNow();
  }
}

/* Edits the span's pages in order until none is left or one fails (a
 * failure ends the job at that page: what follows it is not wanted).
 * Adds the estimated cost done to *cost. */
static void editSpan(Ranges* ranges, unsigned index, unsigned worker, double* cost) {
  Span* span = &ranges->spans[index];
  double pageCost = 0;
  int failed = 0;
  pthread_mutex_lock(&ranges->lock);
  span->started = secondsNow();
  for (;;) {
    ZOPRADocumentLoader* loader;
    uint32_t page;
    span->doneCost += pageCost;
    if (failed) span->end = span->next;
    if (span->next >= span->end) break;
    page = span->next++;
    loader = span->loader;
    pthread_mutex_unlock(&ranges->lock);
    editPage(ranges, index, page, worker, loader);
    pageCost = ranges->sums[page + 1] - ranges->sums[page];
    *cost += pageCost;
    failed = !goesOn(ranges->outcomes[page].result);
    pthread_mutex_lock(&ranges->lock);
    ranges->outcomes[page].edited = 1;
    ++ranges->edited;
    if (worker == 0) {
      pthread_mutex_unlock(&ranges->lock);
      reportPages(ranges);
      pthread_mutex_lock(&ranges->lock);
    }
  }
  pthread_mutex_unlock(&ranges->lock);
}

/* Under the lock: the span with the most time left, of those with at least
 * two pages left, or -1; its time left to *timeLeft, and to *going whether
 * one of those spans is being edited. A span is taken to go on at the pace
 * it has gone so far, or at `pace` (seconds per unit of estimated cost)
 * when that is slower or it has not finished a page yet. */
static int slowestSpan(const Ranges* ranges, double pace, double* timeLeft, int* going) {
  const double now = secondsNow();
  int best = -1;
  unsigned k;
  *timeLeft = 0;
  *going = 0;
  for (k = 0; k < ranges->spanCount; ++k) {
    const Span* span = &ranges->spans[k];
    double own = pace;
    double time;
    if (span->end < span->next + 2) continue;
    if (span->started > 0) *going = 1;
    if (span->started > 0 && span->doneCost > 0 && (now - span->started) / span->doneCost > own) {
      own = (now - span->started) / span->doneCost;
    }
    time = (ranges->sums[span->end] - ranges->sums[span->next]) * own;
    if (best < 0 || time > *timeLeft) {
      best = (int)k;
      *timeLeft = time;
    }
  }
  return best;
}

/* Takes the back half (by estimated cost) of the slowest span into a new
 * span edited on `loader`; its number, or -1 when no span has two pages
 * left. */
static int takeBackHalf(Ranges* ranges, ZOPRADocumentLoader* loader, double pace) {
  double timeLeft;
  int going;
  int taken = -1;
  pthread_mutex_lock(&ranges->lock);
  if (ranges->spanCount < ranges->spanRoom) {
    const int victim = slowestSpan(ranges, pace, &timeLeft, &going);
    if (victim >= 0) {
      Span* span = &ranges->spans[victim];
      const double* sums = ranges->sums;
      const double half = (sums[span->end] - sums[span->next]) / 2;
      /* The victim keeps at least the page after the one it is on. */
      uint32_t middle = span->next + 1;
      while (middle + 1 < span->end && sums[span->end] - sums[middle] > half) ++middle;
      taken = (int)ranges->spanCount++;
      memset(&ranges->spans[taken], 0, sizeof ranges->spans[taken]);
      ranges->spans[taken].first = middle;
      ranges->spans[taken].next = middle;
      ranges->spans[taken].end = span->end;
      ranges->spans[taken].loader = loader;
      span->end = middle;
    }
  }
  pthread_mutex_unlock(&ranges->lock);
  return taken;
}

static void noteOpening(Ranges* ranges, double seconds) {
  pthread_mutex_lock(&ranges->lock);
  if (seconds > ranges->openSeconds) ranges->openSeconds = seconds;
  pthread_mutex_unlock(&ranges->lock);
}

/* Under the lock: the number of a handle opened ahead that no thread
 * has taken, or -1. */
static int takeSpare(Ranges* ranges) {
  if (!ranges->ahead || ranges->nextSpare >= ranges->ahead->count) return -1;
  return (int)ranges->nextSpare++;
}

/* Another handle for work taken from others: spare `spare` of those opened
 * ahead, or (-1) the file opened here. What opening reports was said when
 * the file was opened first. EXIT_OK or the failure. */
static int openAnother(Ranges* ranges, int spare, ZOPRADocumentLoader** loader) {
  char* text = NULL;
  size_t size = 0;
  FILE* quiet = open_memstream(&text, &size);
  const double began = secondsNow();
  int result;
  if (quiet) pthread_setspecific(reportKey, quiet);
  result = spare >= 0 ? takeOpened(ranges->ahead, (unsigned)spare, loader, NULL) : openDocument(ranges->input, loader);
  pthread_setspecific(reportKey, NULL);
  if (quiet) fclose(quiet);
  free(text);
  if (result == EXIT_OK && spare < 0) noteOpening(ranges, secondsNow() - began);
  return result;
}

/* After its own span, a thread takes work from the others while that
 * gains time: taking half of the slowest span's work gains half of its time
 * left, less the time to open a handle when no spare one was opened ahead.
 * While it is not worth it yet but a span being edited has pages to give,
 * the thread looks again a little later: a slow span shows its pace as it
 * goes. (A span not begun yet is only waiting for this thread, when its
 * own could not be started.) */
static void takeFromOthers(Ranges* ranges, unsigned worker, double cost, double seconds) {
  /* Less work than this (seconds) is not worth a handle of its own. */
  const double kLeastWork = 0.01;
  const struct timespec kPause = {0, 2000000};
  for (;;) {
    ZOPRADocumentLoader* loader = NULL;
    const double pace = cost > 0 ? seconds / cost : 0;
    double timeLeft = 0;
    double began;
    int going = 0;
    int spare = -1;
    int worthIt = 0;
    int taken;
    pthread_mutex_lock(&ranges->lock);
    if (ranges->spanCount >= ranges->spanRoom || slowestSpan(ranges, pace, &timeLeft, &going) < 0) {
      pthread_mutex_unlock(&ranges->lock);
      return;
    }
    spare = takeSpare(ranges);
    worthIt = spare >= 0 ? timeLeft > kLeastWork : timeLeft > kLeastWork + 1.5 * ranges->openSeconds;
    /* An unused spare goes back. */
    if (!worthIt && spare >= 0) --ranges->nextSpare;
    pthread_mutex_unlock(&ranges->lock);
    if (!worthIt) {
      if (!going) return;
      if (worker == 0) reportPages(ranges);
      nanosleep(&kPause, NULL);
      continue;
    }
    if (openAnother(ranges, spare, &loader) != EXIT_OK) return;
    taken = takeBackHalf(ranges, loader, pace);
    if (taken < 0) {
      zopraDocumentLoaderDestroy(loader);
      return;
    }
    began = secondsNow();
    editSpan(ranges, (unsigned)taken, worker, &cost);
    seconds += secondsNow() - began;
  }
}

/* One thread: a handle (the target for thread 0, else one opened ahead or
 * here), its span, then work taken from the others. */
static void runWorker(Worker* worker) {
  Ranges* ranges = worker->ranges;
  Span* span = &ranges->spans[worker->index];
  double cost = 0;
  double began;
  if (worker->index > 0) {
    /* What opening reports goes before the span's first page's reports; a
     * handle that does not open fails that page. (No other thread takes a
     * span's first page.) */
    PageOutcome* first = &ranges->outcomes[span->first];
    char* text = NULL;
    size_t size = 0;
    FILE* reports = open_memstream(&text, &size);
    double seconds = 0;
    int result;
    if (reports) pthread_setspecific(reportKey, reports);
    began = secondsNow();
    if (ranges->ahead && worker->index < ranges->ahead->count) {
      result = takeOpened(ranges->ahead, worker->index, &span->loader, &seconds);
    } else {
      result = openDocument(ranges->input, &span->loader);
      seconds = secondsNow() - began;
    }
    pthread_setspecific(reportKey, NULL);
    if (reports) fclose(reports);
    addReports(first, text, size);
    if (result != EXIT_OK) {
      first->result = result;
      first->span = worker->index;
      pthread_mutex_lock(&ranges->lock);
      first->edited = 1;
      ++ranges->edited;
      span->end = span->next;
      pthread_mutex_unlock(&ranges->lock);
      return;
    }
    noteOpening(ranges, seconds);
  }
  began = secondsNow();
  editSpan(ranges, worker->index, worker->index, &cost);
  takeFromOthers(ranges, worker->index, cost, secondsNow() - began);
}

static void* runWorkerThread(void* argument) {
  Worker* worker = argument;
  runWorker(worker);
  pthread_mutex_lock(&worker->ranges->lock);
  --worker->ranges->running;
  pthread_mutex_unlock(&worker->ranges->lock);
  return NULL;
}

/* The first page of each of `count` ranges of about equal summed cost,
 * each of at least one page, into firsts[0..count-1]. */
static void splitPages(uint32_t pages, const double* sums, uint32_t* firsts, unsigned count) {
  uint32_t page = 0;
  unsigned k;
  for (k = 0; k < count; ++k) {
    /* Room for one page in each range after this one. */
    const uint32_t latest = pages - (count - k);
    const double goal = sums[pages] * k / count;
    while (page < latest && sums[page] + (sums[page + 1] - sums[page]) / 2 <= goal) ++page;
    if (k > 0 && page <= firsts[k - 1]) page = firsts[k - 1] + 1;
    firsts[k] = page;
  }
}

unsigned pageRangeThreads(uint32_t pages, unsigned jobs) {
  if (jobs < 1) return 1;
  return pages < jobs ? (pages > 0 ? pages : 1) : jobs;
}

int editPageRanges(ZOPRADocumentLoader* target, const char* input, uint32_t pages, const double* costs,
                   unsigned jobs, OpenedAhead* ahead, PageEdit edit, PageDone done, void* context) {
  const unsigned count = pageRangeThreads(pages, jobs);
  Ranges ranges;
  Worker* workers;
  uint32_t* firsts;
  uint32_t page;
  unsigned k;
  int result = EXIT_OK;
  if (pages == 0) return EXIT_OK;
  memset(&ranges, 0, sizeof ranges);
  ranges.input = input;
  ranges.ahead = ahead;
  ranges.edit = edit;
  ranges.context = context;
  ranges.spanRoom = count * SPANS_PER_THREAD;
  ranges.nextSpare = count;
  ranges.pages = pages;
  ranges.done = done;
  ranges.going = 1;
  ranges.progress = pages > 1 && progressWanted(1);
  ranges.sums = malloc(((size_t)pages + 1) * sizeof *ranges.sums);
  ranges.outcomes = calloc(pages, sizeof *ranges.outcomes);
  ranges.spans = calloc(ranges.spanRoom, sizeof *ranges.spans);
  workers = calloc(count, sizeof *workers);
  firsts = calloc(count, sizeof *firsts);
  if (!ranges.sums || !ranges.outcomes || !ranges.spans || !workers || !firsts) {
    free(ranges.sums);
    free(ranges.outcomes);
    free(ranges.spans);
    free(workers);
    free(firsts);
    return reportFailure(input, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
  }
  pthread_once(&reportOnce, createReportKey);
  pthread_mutex_init(&ranges.lock, NULL);
  ranges.sums[0] = 0;
  for (page = 0; page < pages; ++page) {
    const double cost = costs ? costs[page] : 1;
    ranges.sums[page + 1] = ranges.sums[page] + (cost > 0 ? cost : 0);
  }
  splitPages(pages, ranges.sums, firsts, count);
  for (k = 0; k < count; ++k) {
    ranges.spans[k].first = ranges.spans[k].next = firsts[k];
    ranges.spans[k].end = k + 1 < count ? firsts[k + 1] : pages;
  }
  ranges.spans[0].loader = target;
  ranges.spanCount = count;
  for (k = 0; k < count; ++k) {
    workers[k].ranges = &ranges;
    workers[k].index = k;
    if (k > 0) {
      pthread_mutex_lock(&ranges.lock);
      workers[k].started = pthread_create(&workers[k].thread, NULL, runWorkerThread, &workers[k]) == 0;
      if (workers[k].started) ++ranges.running;
      pthread_mutex_unlock(&ranges.lock);
    }
  }
  runWorker(&workers[0]);
  /* The others' pages are reported as they come. */
  for (;;) {
    const struct timespec kPause = {0, 20000000};
    unsigned running;
    pthread_mutex_lock(&ranges.lock);
    running = ranges.running;
    pthread_mutex_unlock(&ranges.lock);
    if (running == 0) break;
    reportPages(&ranges);
    nanosleep(&kPause, NULL);
  }
  /* A thread that could not start: its span is edited here. */
  for (k = 1; k < count; ++k) {
    if (workers[k].started) pthread_join(workers[k].thread, NULL);
    else runWorker(&workers[k]);
  }
  reportPages(&ranges);
  endProgress();
  /* Each span's edits, taken into the target in page order, up to the page
   * whose `done` said to stop. */
  for (page = 0; page < ranges.reported; ++page) {
    const Span* span = &ranges.spans[ranges.outcomes[page].span];
    if (ranges.outcomes[page].span > 0 && page + 1 == span->end && span->loader) {
      int32_t status = zopraDocumentLoaderAdoptPageEdits(target, span->loader, span->first, page);
      if (status != ZOPRA_STATUS_SUCCESS) {
        result = reportFailure(input, status);
        break;
      }
    }
  }
  for (page = 0; page < pages; ++page) free(ranges.outcomes[page].reports);
  for (k = 1; k < ranges.spanCount; ++k) zopraDocumentLoaderDestroy(ranges.spans[k].loader);
  pthread_mutex_destroy(&ranges.lock);
  free(ranges.sums);
  free(ranges.outcomes);
  free(ranges.spans);
  free(workers);
  free(firsts);
  return result;
}
