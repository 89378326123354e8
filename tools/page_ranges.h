/* One document edited on several threads (page_ranges.c): the calling
 * thread edits the first range of pages on its own handle while each other
 * thread opens a handle on the file and edits the next range; the calling
 * thread then takes their edits into its handle range by range, in page
 * order, with zopraDocumentLoaderAdoptPageEdits, and prints each range's
 * reports in that order, so output and reports do not depend on the thread
 * count. */
#ifndef ZOPRA_PDF_PAGE_RANGES_H
#define ZOPRA_PDF_PAGE_RANGES_H

#include <stdint.h>
#include <stdio.h>

#include "zopra_document_loader.h"

/* Where this thread's reports go: stderr, unless the thread set another
 * stream. The report helpers of cli.c and the commands print there. */
FILE* reportStream(void);

/* Edits pages first..last (0-based, inclusive) with `loader`: for range 0
 * the target on the calling thread, for the others a handle of their own on
 * a worker thread; `range` is the range's number, from 0. Returns an exit
 * status. */
typedef int (*RangeEdit)(ZOPRADocumentLoader* loader, uint32_t first, uint32_t last, unsigned range,
                         void* context);
/* In page order on the calling thread, after the range's reports were
 * printed: takes the range's exit status; returns 1 to go on, 0 to stop
 * (later ranges are then neither printed nor adopted). */
typedef int (*RangeDone)(unsigned range, int result, void* context);

/* Handles on one file opened on threads of their own while the calling
 * thread does something else (reads a replacement map, say), so that
 * opening the file once per thread does not hold up the start: handle 0
 * becomes the target (openForWritingAhead), handle k the handle of range k
 * (editPageRanges). */
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

/* Splits the `pages` pages of `input` (open in `target`) into `jobs`
 * contiguous ranges of about equal cost, and runs `edit` on each as above.
 * `costs` (NULL: all alike) holds an estimate of each page's work, in any
 * unit. Range k takes handle k of `ahead` (NULL: each range thread opens
 * its own). EXIT_OK, or the exit status of a failure to adopt a range
 * (reported). */
int editPageRanges(ZOPRADocumentLoader* target, const char* input, uint32_t pages, const double* costs,
                   unsigned jobs, OpenedAhead* ahead, RangeEdit edit, RangeDone done, void* context);

#endif
