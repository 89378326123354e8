/* Pieces several zopra-pdf subcommands share: page ranges, checks of the
 * input file before the library sees it, and output files. */
#define _POSIX_C_SOURCE 200809L

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli.h"

int takePageOption(int argc, char** argv, int* i, int single, PageRange* range, int* result) {
  const char* option = argv[*i];
  unsigned long value;
  int isFirst = strcmp(option, "-f") == 0;
  int isLast = strcmp(option, "-l") == 0;
  int isPage = single && strcmp(option, "--page") == 0;
  if (!(isFirst || isLast || isPage) || *i + 1 >= argc) return 0;
  value = parsePageNumber(argv[++*i]);
  if (value == 0) {
    *result = usageError("not a page number", argv[*i]);
    return 1;
  }
  /* --page N is -f N -l N. */
  if (isFirst || isPage) range->first = value;
  if (isLast || isPage) range->last = value;
  *result = EXIT_OK;
  return 1;
}

static int resolvePageRange(const char* path, const PageRange* range, uint32_t count, uint32_t* first,
                            uint32_t* last) {
  /* As pdftotext: a last page beyond the document means its end, but a first
   * page after that end is a mistake worth its own exit status. */
  unsigned long end = range->last == 0 || range->last > count ? count : range->last;
  unsigned long start = range->first == 0 ? 1 : range->first;
  int given = range->first != 0 || range->last != 0;
  if (start > end && given) {
    fprintf(stderr, PROGRAM ": %s: wrong page range: first page %lu is after the last page %lu\n",
            path, start, end);
    return EXIT_PAGE_RANGE;
  }
  *first = (uint32_t)(start - 1);
  *last = (uint32_t)end;
  return EXIT_OK;
}

int openPages(const char* path, const PageRange* range, ZOPRADocumentLoader** loader, uint32_t* first,
              uint32_t* last) {
  uint32_t count = 0;
  int result = openDocument(path, loader);
  if (result != EXIT_OK) return result;
  zopraDocumentLoaderGetPageCount(*loader, &count);
  result = resolvePageRange(path, range, count, first, last);
  if (result != EXIT_OK) {
    zopraDocumentLoaderDestroy(*loader);
    *loader = NULL;
  }
  return result;
}

int checkInputFile(const char* path) {
  struct stat info;
  int descriptor;
  if (stat(path, &info) != 0) {
    if (errno == ENOENT || errno == ENOTDIR) {
      fprintf(stderr, PROGRAM ": %s: no such file\n", path);
    } else {
      fprintf(stderr, PROGRAM ": %s: cannot be read (%s)\n", path, strerror(errno));
    }
    return EXIT_NO_FILE;
  }
  if (S_ISDIR(info.st_mode)) {
    fprintf(stderr, PROGRAM ": %s: is a directory\n", path);
    return EXIT_NO_FILE;
  }
  /* Opening tells what access() cannot (ACLs, root on a read-only mount); no
   * blocking, so that a FIFO without a writer does not hang the check. */
  descriptor = open(path, O_RDONLY | O_NONBLOCK);
  if (descriptor < 0) {
    fprintf(stderr, PROGRAM ": %s: cannot be read (%s)\n", path, strerror(errno));
    return EXIT_NO_FILE;
  }
  close(descriptor);
  return EXIT_OK;
}

/* True when `output` exists and is the very file `input` names, however the
 * two paths are spelt (links, "./", hard links). */
static int sameFile(const char* input, const char* output) {
  struct stat in;
  struct stat out;
  if (stat(input, &in) != 0 || stat(output, &out) != 0) return 0;
  return in.st_dev == out.st_dev && in.st_ino == out.st_ino;
}

int refuseInputAsOutput(const char* input, const char* output) {
  if (!sameFile(input, output)) return EXIT_OK;
  fprintf(stderr, PROGRAM ": %s: refusing to overwrite the input file\n", output);
  return EXIT_USAGE;
}

char* textOutputName(const char* input) {
  size_t length = strlen(input);
  size_t stem = length;
  char* name;
  /* "a.pdf" and "a.PDF" give "a.txt"; any other name gets ".txt" added. */
  if (length > 4 && input[length - 4] == '.' && (input[length - 3] | 0x20) == 'p' &&
      (input[length - 2] | 0x20) == 'd' && (input[length - 1] | 0x20) == 'f') {
    stem = length - 4;
  }
  name = malloc(stem + 5);
  if (!name) return NULL;
  memcpy(name, input, stem);
  memcpy(name + stem, ".txt", 5);
  return name;
}

FILE* openOutputFile(const char* path) {
  FILE* file;
  if (strcmp(path, "-") == 0) return stdout;
  file = fopen(path, "wb");
  if (!file) fprintf(stderr, PROGRAM ": %s: cannot create the file (%s)\n", path, strerror(errno));
  return file;
}

int closeOutputFile(FILE* file, const char* path) {
  int failed;
  if (file == stdout) path = "standard output";
  errno = 0;
  failed = fflush(file) != 0 || ferror(file);
  if (file != stdout) failed = fclose(file) != 0 || failed;
  if (!failed) return EXIT_OK;
  endProgress();
  if (errno != 0) {
    fprintf(stderr, PROGRAM ": %s: cannot write the file (%s)\n", path, strerror(errno));
  } else {
    fprintf(stderr, PROGRAM ": %s: cannot write the file\n", path);
  }
  return EXIT_WRITE_FAILED;
}
