/* One document edited on several threads (page_ranges.c). The pages are
 * split into contiguous spans, each edited in page order on one handle: the
 * calling thread edits the first span on its own handle while each other
 * thread opens a handle on the file and edits the next; a thread that is
 * done takes the back half of what is left of the slowest span onto
 * another handle. The calling thread prints every page's reports in page
 * order as the pages are done, with the progress on a terminal, and at the
 * end takes the spans' edits into its handle in that order, with
 * zopraDocumentLoaderAdoptPageEdits, so output and reports do not depend on
 * the thread count or on the split. */
#ifndef ZOPRA_PDF_PAGE_RANGES_H
#define ZOPRA_PDF_PAGE_RANGES_H

#include <pthread.h>
#include <stdint.h>
#include <stdio.h>

#include "zopra_document_loader.h"

/* Where this thread's reports go: stderr, unless the thread set another
 * stream. The report helpers of cli.c and the commands print there. */
FILE* reportStream(void);

/* Edits `page` (from 0) with `loader`, on thread `worker` (from 0, below
 * pageRangeThreads): the calling thread is worker 0, and each worker runs
 * on one thread, so state kept per worker needs no lock. Each handle's
 * pages come in page order. Returns an exit status; one that does not go
 * on (goesOn, cli.h) ends the handle's work. */
typedef int (*PageEdit)(ZOPRADocumentLoader* loader, uint32_t page, unsigned worker, void* context);
/* In page order on the calling thread, after the page's reports were
 * printed: takes the page's exit status; returns 1 to go on, 0 to stop
 * (later pages are then neither printed nor adopted). */
typedef int (*PageDone)(unsigned page, int result, void* context);

/* Handles on one file opened on threads of their own while the calling
 * thread does something else (reads a replacement map, say), so that
 * opening the file once per thread does not hold up the start: handle 0
 * becomes the target (openForWritingAhead), handle k the handle of range k
 * (editPageRanges); handles past the thread count are spares, which a
 * thread taking work from another can use without opening one. */
typedef struct OpenedAhead OpenedAhead;
/* Starts opening `count` handles on `input`; NULL when count is below 2,
 * the input is no regular file, or memory is short: the handles are then
 * opened when needed. */
OpenedAhead* openAhead(const char* input, unsigned count);
/* openForWriting (cli.h), with handle 0 of `ahead` when it is not NULL:
 * the same checks, reports and results. */
int openForWritingAhead(const char* input, const char* output, OpenedAhead* ahead, ZOPRADocumentLoader** loader);
/* Waits for the opening threads and releases the handles nobody took. */
void closeAhead(OpenedAhead* ahead);

/* Releases what an edit no longer needs while the output is written: the
 * handles of `ahead` nobody took (closeAhead), then `release(context)` (its
 * map, say). On a thread of its own when `jobs` is above 1, on the calling
 * thread when it is 1 or no thread can start; endAside waits for it. */
typedef struct {
  pthread_t thread;
  int started;
  OpenedAhead* ahead;
  void (*release)(void*);
  void* context;
} Aside;
void startAside(Aside* aside, unsigned jobs, OpenedAhead* ahead, void (*release)(void*), void* context);
void endAside(Aside* aside);

/* The number of threads editPageRanges runs for `pages` pages and `jobs`
 * jobs: the workers' numbers are below it. */
unsigned pageRangeThreads(uint32_t pages, unsigned jobs);

/* Splits the `pages` pages of `input` (open in `target`) into one span per
 * thread, of about equal cost, and runs `edit` on their pages as above.
 * `costs` (NULL: all alike) holds an estimate of each page's work, in any
 * unit. Worker k takes handle k of `ahead` (NULL: each worker thread opens
 * its own). EXIT_OK, or the exit status of a failure to adopt a span
 * (reported). */
int editPageRanges(ZOPRADocumentLoader* target, const char* input, uint32_t pages, const double* costs,
                   unsigned jobs, OpenedAhead* ahead, PageEdit edit, PageDone done, void* context);

#endif
