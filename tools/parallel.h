/* Pages of one or many files spread over threads, their output written in
 * order (parallel.c). Each thread has its own handle on a file: a handle is
 * never shared between threads. */
#ifndef ZOPRA_PDF_PARALLEL_H
#define ZOPRA_PDF_PARALLEL_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "cli.h"
#include "zopra_document_loader.h"

/* One thread per online processor, at least one. */
unsigned defaultJobs(void);
/* Takes -j N at argv[*i] as takePageOption does: 1 when it did (advancing
 * *i; `result` EXIT_OK or a usage error for a count that is not 1 to 1024),
 * 0 when argv[*i] is not -j. */
int takeJobsOption(int argc, char** argv, int* i, unsigned* jobs, int* result);

/* Input files: the arguments in order, a folder standing for the files in it
 * whose names end in .pdf (any case), sorted by name. */
typedef struct {
  char** paths;
  size_t count;
} InputList;
/* EXIT_OK, or a report and EXIT_NO_FILE for a folder that cannot be read,
 * EXIT_NO_MEMORY. The list is released by freeInputs either way. */
int collectInputs(const char* const* arguments, size_t count, InputList* inputs);
/* A list of the one file `path`, a folder or not. */
int listFile(const char* path, InputList* inputs);
void freeInputs(InputList* inputs);

/* What a command does with the pages. `page` runs on a worker thread with
 * that thread's handle and writes the page's output to `out`; it prints
 * nothing else and returns the library status. The other calls run on the
 * calling thread, in the order of the files and of their pages. */
typedef struct {
  int32_t (*page)(ZOPRADocumentLoader* loader, const char* path, uint32_t page, FILE* out, void* context);
  /* A file that opened well, before its first page: EXIT_OK, or an exit
   * status (already reported) that skips the file. NULL: nothing to do. */
  int (*beginFile)(const char* path, uint32_t first, uint32_t last, void* context);
  /* One page's output and status: EXIT_OK, EXIT_PAGES_UNREAD (reported), or
   * EXIT_WRITE_FAILED to skip the file's remaining pages. */
  int (*emitPage)(const char* path, uint32_t page, const char* data, size_t size, int32_t status,
                  void* context);
  /* After the last page of a file that began; gets the file's result so
   * far and returns its final one. NULL: the result stands. */
  int (*endFile)(const char* path, int result, void* context);
  void* context;
} PageWork;

/* Runs `work` on the pages `range` chooses in each input, on `jobs` threads.
 * A file that cannot be opened, or whose range is wrong, is reported in its
 * turn and the others are still done. The result is the first file's exit
 * status that is not EXIT_OK, in argument order. A progress line goes to
 * stderr after a second when `progressWanted(quietStdout)`. */
int runPages(const InputList* inputs, const PageRange* range, unsigned jobs, int quietStdout,
             const PageWork* work);

#endif
