/* Pages spread over threads. Workers take pages in the order of the output
 * and write each page's output to memory; the calling thread writes those
 * results in order as they come in, so the output does not depend on the
 * number of threads. A worker keeps its handle on a file while it takes that
 * file's pages, opens a file nobody has opened yet when there is one near
 * the front, and otherwise joins the earliest file that still has pages. The
 * results waiting to be written are bounded, so a long document or many
 * files never sit in memory as a whole. */
#define _POSIX_C_SOURCE 200809L

#include "parallel.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#define MAX_JOBS 1024

unsigned defaultJobs(void) {
  long online = sysconf(_SC_NPROCESSORS_ONLN);
  if (online < 1) return 1;
  return online > MAX_JOBS ? MAX_JOBS : (unsigned)online;
}

int takeJobsOption(int argc, char** argv, int* i, unsigned* jobs, int* result) {
  unsigned long value;
  if (strcmp(argv[*i], "-j") != 0 || *i + 1 >= argc) return 0;
  value = parsePageNumber(argv[++*i]);
  if (value == 0 || value > MAX_JOBS) {
    *result = usageError("not a thread count (1 to 1024)", argv[*i]);
    return 1;
  }
  *jobs = (unsigned)value;
  *result = EXIT_OK;
  return 1;
}

/* ---- Input files ---- */

static int endsInPdf(const char* name) {
  size_t length = strlen(name);
  return length > 4 && name[length - 4] == '.' && (name[length - 3] | 0x20) == 'p' &&
         (name[length - 2] | 0x20) == 'd' && (name[length - 1] | 0x20) == 'f';
}

static int comparePaths(const void* left, const void* right) {
  return strcmp(*(char* const*)left, *(char* const*)right);
}

/* Appends a copy of `path`, growing the list by doubling. */
static int appendPath(InputList* inputs, size_t* room, const char* folder, const char* name) {
  size_t length = (folder ? strlen(folder) + 1 : 0) + strlen(name) + 1;
  char* copy;
  if (inputs->count == *room) {
    size_t bigger = *room ? *room * 2 : 16;
    char** grown = realloc(inputs->paths, bigger * sizeof *grown);
    if (!grown) return 0;
    inputs->paths = grown;
    *room = bigger;
  }
  copy = malloc(length);
  if (!copy) return 0;
  if (folder) {
    size_t folderLength = strlen(folder);
    /* "dir/" and "dir" both give "dir/name". */
    int slash = folderLength > 0 && folder[folderLength - 1] == '/';
    snprintf(copy, length, "%s%s%s", folder, slash ? "" : "/", name);
  } else {
    memcpy(copy, name, length);
  }
  inputs->paths[inputs->count++] = copy;
  return 1;
}

static int isFolder(const char* path) {
  struct stat info;
  return stat(path, &info) == 0 && S_ISDIR(info.st_mode);
}

int collectInputs(const char* const* arguments, size_t count, InputList* inputs) {
  size_t room = 0;
  size_t i;
  inputs->paths = NULL;
  inputs->count = 0;
  for (i = 0; i < count; ++i) {
    DIR* folder;
    struct dirent* entry;
    size_t start = inputs->count;
    if (!isFolder(arguments[i])) {
      if (!appendPath(inputs, &room, NULL, arguments[i])) return reportFailure(PROGRAM, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
      continue;
    }
    folder = opendir(arguments[i]);
    if (!folder) {
      fprintf(stderr, PROGRAM ": %s: cannot be read (%s)\n", arguments[i], strerror(errno));
      return EXIT_NO_FILE;
    }
    /* The folder's own PDF files, not those of its subfolders; hidden
     * names are left out as ls leaves them out. */
    while ((entry = readdir(folder)) != NULL) {
      if (entry->d_name[0] == '.' || !endsInPdf(entry->d_name)) continue;
      if (!appendPath(inputs, &room, arguments[i], entry->d_name)) {
        closedir(folder);
        return reportFailure(PROGRAM, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
      }
    }
    closedir(folder);
    qsort(inputs->paths + start, inputs->count - start, sizeof *inputs->paths, comparePaths);
  }
  return EXIT_OK;
}

int listFile(const char* path, InputList* inputs) {
  size_t room = 0;
  inputs->paths = NULL;
  inputs->count = 0;
  return appendPath(inputs, &room, NULL, path) ? EXIT_OK : reportFailure(PROGRAM, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
}

void freeInputs(InputList* inputs) {
  size_t i;
  for (i = 0; i < inputs->count; ++i) free(inputs->paths[i]);
  free(inputs->paths);
  inputs->paths = NULL;
  inputs->count = 0;
}

/* ---- Shared state ---- */

typedef enum { FILE_WAITING, FILE_OPENING, FILE_OPEN, FILE_FAILED } FileState;

/* Why a file could not be used; the writer reports it in its turn. */
typedef enum { FAILED_INPUT, FAILED_STATUS, FAILED_RANGE } FailureKind;

typedef struct {
  char* data;
  size_t size;
  int32_t status;
  int done;
} PageResult;

typedef struct {
  FileState state;
  FailureKind failure;
  int32_t status;
  uint32_t pageCount;
  uint32_t first;
  uint32_t last;
  /* The next page no worker has taken yet. */
  uint32_t next;
  /* Set by the writer when the file's output failed: pages are not read. */
  int skipped;
  /* One per page of [first, last). */
  PageResult* results;
} FileWork;

typedef struct {
  const InputList* inputs;
  const PageRange* range;
  const PageWork* work;
  FileWork* files;
  pthread_mutex_t lock;
  pthread_cond_t changed;
  /* The file the writer is on; earlier files are finished. */
  size_t writerFile;
  /* Files before this one have been claimed by a worker. */
  size_t nextWaiting;
  /* Pages taken and not yet written. */
  size_t outstanding;
  size_t window;
  size_t fileWindow;
  int aborted;
} Pool;

/* ---- Workers ---- */

/* Opens `path` without printing anything (the writer reports failures in
 * order); fills the failure fields of `file` and returns NULL on failure. */
static ZOPRADocumentLoader* openQuietly(const char* path, FileWork* file) {
  ZOPRADocumentLoader* loader = NULL;
  struct stat info;
  int descriptor;
  int32_t status;
  if (stat(path, &info) != 0 || S_ISDIR(info.st_mode)) {
    file->failure = FAILED_INPUT;
    return NULL;
  }
  descriptor = open(path, O_RDONLY | O_NONBLOCK);
  if (descriptor < 0) {
    file->failure = FAILED_INPUT;
    return NULL;
  }
  close(descriptor);
  status = zopraDocumentLoaderCreate(&loader);
  if (status == ZOPRA_STATUS_SUCCESS) status = zopraDocumentLoaderOpenFileMappedA(loader, path);
  if (status != ZOPRA_STATUS_SUCCESS) {
    zopraDocumentLoaderDestroy(loader);
    file->failure = FAILED_STATUS;
    file->status = status;
    return NULL;
  }
  return loader;
}

/* The pages of `range` in a document of `count` pages; 0 for a first page
 * after the end, which the writer reports. */
static int pagesInRange(const PageRange* range, uint32_t count, uint32_t* first, uint32_t* last) {
  unsigned long end = range->last == 0 || range->last > count ? count : range->last;
  unsigned long start = range->first == 0 ? 1 : range->first;
  if (start > end && (range->first != 0 || range->last != 0)) return 0;
  *first = (uint32_t)(start - 1);
  *last = (uint32_t)(start > end ? start - 1 : end);
  return 1;
}

/* The file whose page must be taken next for the writer to go on: the
 * earliest one from the writer's on that is not opened, or still has pages
 * to take. `count` when there is none. */
static size_t frontFile(const Pool* pool) {
  size_t f;
  for (f = pool->writerFile; f < pool->inputs->count; ++f) {
    const FileWork* file = &pool->files[f];
    if (file->state == FILE_WAITING || file->state == FILE_OPENING) return f;
    if (file->state == FILE_OPEN && !file->skipped && file->next < file->last) return f;
  }
  return f;
}

static int hasPages(const FileWork* file) {
  return file->state == FILE_OPEN && !file->skipped && file->next < file->last;
}

typedef struct {
  Pool* pool;
  /* The file this worker holds a handle on, with the handle. */
  size_t file;
  ZOPRADocumentLoader* loader;
} Worker;

/* Runs one page into memory; the lock is not held. */
static void runPage(Worker* worker, size_t fileIndex, uint32_t page) {
  Pool* pool = worker->pool;
  FileWork* file = &pool->files[fileIndex];
  PageResult* result = &file->results[page - file->first];
  char* data = NULL;
  size_t size = 0;
  int32_t status = ZOPRA_STATUS_MEMORY_INSUFFICIENT;
  FILE* out = open_memstream(&data, &size);
  if (out) {
    status = worker->loader ? pool->work->page(worker->loader, pool->inputs->paths[fileIndex], page, out,
                                              pool->work->context)
                            : ZOPRA_STATUS_OTHER_ERROR;
    if (fclose(out) != 0 && status == ZOPRA_STATUS_SUCCESS) status = ZOPRA_STATUS_MEMORY_INSUFFICIENT;
  }
  pthread_mutex_lock(&pool->lock);
  result->data = data;
  result->size = data ? size : 0;
  result->status = status;
  result->done = 1;
  pthread_cond_broadcast(&pool->changed);
  pthread_mutex_unlock(&pool->lock);
}

/* Gives the worker a handle on file `f`, which another worker opens or has
 * opened; called without the lock. */
static void holdFile(Worker* worker, size_t f) {
  FileWork scratch;
  if (worker->loader && worker->file == f) return;
  zopraDocumentLoaderDestroy(worker->loader);
  /* A second opening of a file that opened once can still fail (memory);
   * its pages then fail one by one. */
  worker->loader = openQuietly(worker->pool->inputs->paths[f], &scratch);
  worker->file = f;
}

/* Claims file `f`, opens it and sets up its pages; called with the lock,
 * which it drops while opening. */
static void openClaimed(Worker* worker, size_t f) {
  Pool* pool = worker->pool;
  FileWork* file = &pool->files[f];
  FileWork outcome;
  ZOPRADocumentLoader* loader;
  PageResult* results = NULL;
  uint32_t count = 0;
  uint32_t first = 0;
  uint32_t last = 0;
  file->state = FILE_OPENING;
  if (pool->nextWaiting == f) {
    while (pool->nextWaiting < pool->inputs->count && pool->files[pool->nextWaiting].state != FILE_WAITING) {
      ++pool->nextWaiting;
    }
  }
  pthread_mutex_unlock(&pool->lock);
  zopraDocumentLoaderDestroy(worker->loader);
  worker->loader = NULL;
  memset(&outcome, 0, sizeof outcome);
  loader = openQuietly(pool->inputs->paths[f], &outcome);
  if (loader) {
    zopraDocumentLoaderGetPageCount(loader, &count);
    if (!pagesInRange(pool->range, count, &first, &last)) {
      outcome.failure = FAILED_RANGE;
      zopraDocumentLoaderDestroy(loader);
      loader = NULL;
    } else {
      results = calloc(last > first ? last - first : 1, sizeof *results);
      if (!results) {
        outcome.failure = FAILED_STATUS;
        outcome.status = ZOPRA_STATUS_MEMORY_INSUFFICIENT;
        zopraDocumentLoaderDestroy(loader);
        loader = NULL;
      }
    }
  }
  worker->loader = loader;
  worker->file = f;
  pthread_mutex_lock(&pool->lock);
  file->pageCount = count;
  if (loader) {
    file->state = FILE_OPEN;
    file->first = first;
    file->last = last;
    file->next = first;
    file->results = results;
  } else {
    file->state = FILE_FAILED;
    file->failure = outcome.failure;
    file->status = outcome.status;
  }
  pthread_cond_broadcast(&pool->changed);
}

static void* workerMain(void* argument) {
  Worker* worker = argument;
  Pool* pool = worker->pool;
  size_t count = pool->inputs->count;
  pthread_mutex_lock(&pool->lock);
  while (!pool->aborted) {
    size_t front = frontFile(pool);
    int roomy = pool->outstanding < pool->window;
    size_t chosen = count;
    size_t f;
    if (front == count) break;
    /* Pages of the file it holds, while the window allows or the writer
     * waits for them. */
    if (worker->loader && worker->file < count && hasPages(&pool->files[worker->file]) &&
        (roomy || worker->file == front)) {
      chosen = worker->file;
    } else if (pool->files[front].state == FILE_WAITING) {
      openClaimed(worker, front);
      continue;
    } else if (roomy && pool->nextWaiting < count && pool->nextWaiting < pool->writerFile + pool->fileWindow) {
      openClaimed(worker, pool->nextWaiting);
      continue;
    } else {
      for (f = front; f < count && f < pool->writerFile + pool->fileWindow; ++f) {
        if (hasPages(&pool->files[f]) && (roomy || f == front)) {
          chosen = f;
          break;
        }
      }
    }
    if (chosen == count && pool->files[front].state == FILE_OPENING && worker->file != front) {
      /* Another worker is opening the file the writer needs: open a handle
       * of its own meanwhile, so that both start on its pages together
       * instead of one opening after the other. */
      pthread_mutex_unlock(&pool->lock);
      holdFile(worker, front);
      pthread_mutex_lock(&pool->lock);
      continue;
    }
    if (chosen == count) {
      pthread_cond_wait(&pool->changed, &pool->lock);
      continue;
    }
    {
      FileWork* file = &pool->files[chosen];
      uint32_t page = file->next++;
      ++pool->outstanding;
      pthread_mutex_unlock(&pool->lock);
      holdFile(worker, chosen);
      runPage(worker, chosen, page);
      pthread_mutex_lock(&pool->lock);
    }
  }
  pthread_mutex_unlock(&pool->lock);
  zopraDocumentLoaderDestroy(worker->loader);
  worker->loader = NULL;
  return NULL;
}

/* ---- Writer ---- */

static double secondsNow(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (double)now.tv_sec + (double)now.tv_nsec / 1e9;
}

typedef struct {
  int wanted;
  double start;
  double shown;
} Progress;

/* At most ten lines a second, from the first second on. */
static void progressAt(Progress* progress, const Pool* pool, size_t f, uint32_t page) {
  double now;
  char line[96];
  const FileWork* file = &pool->files[f];
  if (!progress->wanted) return;
  now = secondsNow();
  if (now - progress->start < 1.0 || now - progress->shown < 0.1) return;
  progress->shown = now;
  if (pool->inputs->count > 1) {
    snprintf(line, sizeof line, "file %lu of %lu, page %lu of %lu", (unsigned long)f + 1,
             (unsigned long)pool->inputs->count, (unsigned long)page + 1, (unsigned long)file->last);
  } else {
    snprintf(line, sizeof line, "page %lu of %lu", (unsigned long)page + 1, (unsigned long)file->last);
  }
  showProgressText(line);
}

/* Reports why file `f` could not be used; returns its exit status. */
static int reportFile(Pool* pool, size_t f) {
  const char* path = pool->inputs->paths[f];
  FileWork* file = &pool->files[f];
  PageRange range = *pool->range;
  uint32_t first;
  uint32_t last;
  int result;
  endProgress();
  switch (file->failure) {
    case FAILED_INPUT:
      result = checkInputFile(path);
      if (result != EXIT_OK) return result;
      fprintf(stderr, PROGRAM ": %s: cannot be read\n", path);
      return EXIT_NO_FILE;
    case FAILED_RANGE:
      return resolvePageRange(path, &range, file->pageCount, &first, &last);
    case FAILED_STATUS:
    default:
      return reportFailure(path, file->status);
  }
}

/* Writes the results of file `f` in page order; returns its exit status. */
static int writeFile(Pool* pool, size_t f, Progress* progress) {
  const char* path = pool->inputs->paths[f];
  const PageWork* work = pool->work;
  FileWork* file = &pool->files[f];
  uint32_t page;
  int result;
  int began;
  pthread_mutex_lock(&pool->lock);
  while (file->state == FILE_WAITING || file->state == FILE_OPENING) pthread_cond_wait(&pool->changed, &pool->lock);
  pthread_mutex_unlock(&pool->lock);
  if (file->state == FILE_FAILED) return reportFile(pool, f);
  result = work->beginFile ? work->beginFile(path, file->first, file->last, work->context) : EXIT_OK;
  began = result == EXIT_OK;
  if (!began) {
    pthread_mutex_lock(&pool->lock);
    file->skipped = 1;
    pthread_mutex_unlock(&pool->lock);
  }
  for (page = file->first; page < file->last; ++page) {
    PageResult* pageResult = &file->results[page - file->first];
    int step = EXIT_OK;
    pthread_mutex_lock(&pool->lock);
    /* A skipped file's untaken pages are never run. */
    while (!pageResult->done && !(file->skipped && page >= file->next)) {
      pthread_cond_wait(&pool->changed, &pool->lock);
    }
    pthread_mutex_unlock(&pool->lock);
    if (!file->skipped) {
      step = work->emitPage(path, page, pageResult->data, pageResult->size, pageResult->status, work->context);
      progressAt(progress, pool, f, page);
    }
    free(pageResult->data);
    pageResult->data = NULL;
    pthread_mutex_lock(&pool->lock);
    if (pageResult->done) --pool->outstanding;
    if (step == EXIT_WRITE_FAILED) file->skipped = 1;
    pthread_cond_broadcast(&pool->changed);
    pthread_mutex_unlock(&pool->lock);
    if (step == EXIT_WRITE_FAILED) {
      result = step;
    } else if (step != EXIT_OK && result == EXIT_OK) {
      result = step;
    }
  }
  if (!began) return result;
  return work->endFile ? work->endFile(path, result, work->context) : result;
}

int runPages(const InputList* inputs, const PageRange* range, unsigned jobs, int quietStdout,
             const PageWork* work) {
  Pool pool;
  Worker* workers;
  pthread_t* threads;
  Progress progress;
  unsigned started = 0;
  unsigned t;
  size_t f;
  int result = EXIT_OK;
  if (inputs->count == 0) return EXIT_OK;
  memset(&pool, 0, sizeof pool);
  pool.inputs = inputs;
  pool.range = range;
  pool.work = work;
  /* Enough pages ahead to keep every thread busy while the writer waits
   * for a slow one; enough files ahead for short files to open in turn. */
  pool.window = 16 * (size_t)jobs + 16;
  pool.fileWindow = 4 * (size_t)jobs + 4;
  pool.files = calloc(inputs->count, sizeof *pool.files);
  workers = calloc(jobs, sizeof *workers);
  threads = calloc(jobs, sizeof *threads);
  if (!pool.files || !workers || !threads) {
    free(pool.files);
    free(workers);
    free(threads);
    return reportFailure(PROGRAM, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
  }
  pthread_mutex_init(&pool.lock, NULL);
  pthread_cond_init(&pool.changed, NULL);
  for (t = 0; t < jobs; ++t) {
    workers[t].pool = &pool;
    workers[t].file = inputs->count;
    if (pthread_create(&threads[t], NULL, workerMain, &workers[t]) != 0) break;
    ++started;
  }
  if (started == 0) {
    result = reportFailure(PROGRAM, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
    pool.aborted = 1;
  }
  progress.wanted = progressWanted(quietStdout);
  progress.start = secondsNow();
  progress.shown = 0.0;
  for (f = 0; f < inputs->count && !pool.aborted; ++f) {
    int fileResult = writeFile(&pool, f, &progress);
    if (fileResult != EXIT_OK && result == EXIT_OK) result = fileResult;
    pthread_mutex_lock(&pool.lock);
    free(pool.files[f].results);
    pool.files[f].results = NULL;
    pool.writerFile = f + 1;
    pthread_cond_broadcast(&pool.changed);
    pthread_mutex_unlock(&pool.lock);
  }
  endProgress();
  pthread_mutex_lock(&pool.lock);
  pool.aborted = 1;
  pthread_cond_broadcast(&pool.changed);
  pthread_mutex_unlock(&pool.lock);
  for (t = 0; t < started; ++t) pthread_join(threads[t], NULL);
  pthread_cond_destroy(&pool.changed);
  pthread_mutex_destroy(&pool.lock);
  for (f = 0; f < inputs->count; ++f) free(pool.files[f].results);
  free(pool.files);
  free(workers);
  free(threads);
  return result;
}
