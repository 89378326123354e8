/* What the zopra-pdf commands share: help, failure reports and exit
 * statuses, numbers and JSON, page ranges, checks of the input file before
 * the library sees it, and output files. */
#define _POSIX_C_SOURCE 200809L

#include "cli.h"
#include "page_ranges.h"

#include <errno.h>
#include <fcntl.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

typedef struct {
  int code;
  /* The library status that gives it, or 0 for the tool's own failures. */
  int32_t status;
  const char* meaning;
} ExitStatus;

/* Every exit status, in order; continuation lines are indented to fit the
 * help's 80 columns. */
static const ExitStatus kExitStatuses[] = {
    {EXIT_OK, 0, "success"},
    {EXIT_UNKNOWN_STATUS, 0, "an unexpected library status"},
    {EXIT_USAGE, 0,
     "bad command-line arguments; an output file that is the input itself;\n"
     "      replace: a map or font that cannot be used"},
    {EXIT_DAMAGED, ZOPRA_STATUS_OTHER_ERROR, "not a PDF or damaged"},
    {EXIT_PASSWORD, ZOPRA_STATUS_ENCRYPTED_DOCUMENT, "needs a password"},
    {EXIT_BROKEN_STREAM, ZOPRA_STATUS_BROKEN_STREAM, "broken stream"},
    {EXIT_NO_MEMORY, ZOPRA_STATUS_MEMORY_INSUFFICIENT, "out of memory"},
    {EXIT_INVALID_ARGUMENT, ZOPRA_STATUS_INVALID_ARGUMENT, "invalid argument"},
    {EXIT_NOT_SUPPORTED, ZOPRA_STATUS_NOT_SUPPORTED, "not supported"},
    {EXIT_WRITE_FAILED, 0,
     "an output file, folder or standard output cannot be written (the\n"
     "      system's reason is given)"},
    {EXIT_PAGE_RANGE, 0,
     "a page or item that the document does not have; a first page after\n"
     "      the last page"},
    {EXIT_NO_FILE, 0, "an input file is missing, is a directory or cannot be read"},
    {EXIT_PAGES_UNREAD, 0,
     "some pages could not be read (each is named); the others were done\n"
     "      and the output was written"},
    {EXIT_TEXT_LEFT, 0, "chosen text could not be removed (each item is named)"},
};
#define EXIT_STATUS_COUNT (sizeof kExitStatuses / sizeof kExitStatuses[0])

static const Subcommand* allCommands = NULL;
static size_t commandCount = 0;
/* The subcommand being run; NULL before one is chosen. */
static const Subcommand* currentCommand = NULL;

void useCommands(const Subcommand* commands, size_t count) {
  allCommands = commands;
  commandCount = count;
}

void chooseCommand(const Subcommand* command) { currentCommand = command; }

static void printUsage(FILE* out) {
  size_t i;
  if (currentCommand) {
    fprintf(out, "usage: " PROGRAM " %s %s\n", currentCommand->name, currentCommand->arguments);
    fprintf(out, "       " PROGRAM " %s --help\n", currentCommand->name);
    return;
  }
  fprintf(out, "usage: " PROGRAM " COMMAND [OPTIONS] FILE\n");
  fprintf(out, "       " PROGRAM " --help | --version | COMMAND --help\n");
  for (i = 0; i < commandCount; ++i) {
    fprintf(out, "       " PROGRAM " %s %s\n", allCommands[i].name, allCommands[i].arguments);
  }
}

static void printExitStatuses(void) {
  size_t i;
  printf("\nExit status:\n");
  for (i = 0; i < EXIT_STATUS_COUNT; ++i) {
    if (kExitStatuses[i].status != 0) {
      printf("  %2d  %s (library status %d)\n", kExitStatuses[i].code, kExitStatuses[i].meaning,
             (int)kExitStatuses[i].status);
    } else {
      printf("  %2d  %s\n", kExitStatuses[i].code, kExitStatuses[i].meaning);
    }
  }
}

void printHelp(void) {
  const Subcommand* command = currentCommand;
  size_t i;
  printUsage(stdout);
  if (command) {
    printf("\n%s\nOptions:\n%s", command->description, command->options);
    printf("  -h, --help     print this help and exit\n");
    printf("\nOutput:\n%s", command->output);
  } else {
    printf("\nCommands:\n");
    for (i = 0; i < commandCount; ++i) printf("  %-9s %s\n", allCommands[i].name, allCommands[i].summary);
    printf("\nOptions of every command:\n");
    printf("  -h, --help     print the help of the command, or this overview, and exit\n");
    printf("  --version      print the library version and exit\n");
    for (i = 0; i < commandCount; ++i) {
      if (allCommands[i].options[0] != '\0') {
        printf("Options of %s:\n%s", allCommands[i].name, allCommands[i].options);
      }
    }
    printf("\nNumbers are printed the same way in every locale, with at most three\n"
           "decimals. " PROGRAM " COMMAND --help describes a command's output.\n");
  }
  printExitStatuses();
}

int usageError(const char* message, const char* argument) {
  if (argument) {
    fprintf(stderr, PROGRAM ": %s: %s\n", message, argument);
  } else {
    fprintf(stderr, PROGRAM ": %s\n", message);
  }
  printUsage(stderr);
  return EXIT_USAGE;
}

/* The meaning of a library status and its exit status; NULL for a status
 * that is not in the table. */
static const ExitStatus* statusEntry(int32_t status) {
  size_t i;
  for (i = 0; i < EXIT_STATUS_COUNT; ++i) {
    if (kExitStatuses[i].status != 0 && kExitStatuses[i].status == status) return &kExitStatuses[i];
  }
  return NULL;
}

int reportFailure(const char* path, int32_t status) {
  const ExitStatus* entry = statusEntry(status);
  endProgress();
  if (!entry) {
    fprintf(reportStream(), PROGRAM ": %s: unexpected status %d\n", path, (int)status);
    return EXIT_UNKNOWN_STATUS;
  }
  fprintf(reportStream(), PROGRAM ": %s: %s (status %d)\n", path, entry->meaning, (int)status);
  return entry->code;
}

int reportPageUnread(const char* path, uint32_t page, int32_t status) {
  const ExitStatus* entry = statusEntry(status);
  fflush(stdout);
  endProgress();
  fprintf(reportStream(), PROGRAM ": %s, page %lu: cannot be read: %s (status %d)\n", path, (unsigned long)page + 1,
          entry ? entry->meaning : "unexpected status", (int)status);
  return EXIT_PAGES_UNREAD;
}

int reportMissingPage(const char* path, uint32_t page, uint32_t pages) {
  fprintf(reportStream(), PROGRAM ": %s: the document has no page %lu (it has %lu)\n", path, (unsigned long)page + 1,
          (unsigned long)pages);
  return EXIT_PAGE_RANGE;
}

int reportMissingItem(const char* path, uint32_t page, uint32_t item, uint32_t items) {
  fprintf(reportStream(), PROGRAM ": %s: page %lu has no item %lu (it has %lu)\n", path, (unsigned long)page + 1,
          (unsigned long)item + 1, (unsigned long)items);
  return EXIT_PAGE_RANGE;
}

int reportTextLeft(ZOPRADocumentLoader* loader, const char* path, uint32_t page) {
  /* Chosen items whose glyphs the removal could not all take away (a form
   * drawn twice with only one drawing chosen, say) are never left silently. */
  uint32_t count = 0;
  uint32_t i;
  if (zopraDocumentLoaderGetUnremovedTextCount(loader, &count) != ZOPRA_STATUS_SUCCESS || count == 0) {
    return EXIT_OK;
  }
  for (i = 0; i < count; ++i) {
    uint32_t item = 0;
    if (zopraDocumentLoaderGetUnremovedText(loader, i, &item) == ZOPRA_STATUS_SUCCESS) {
      fprintf(reportStream(), PROGRAM ": %s, page %lu: item %lu was not removed\n", path, (unsigned long)page + 1,
              (unsigned long)item + 1);
    }
  }
  return EXIT_TEXT_LEFT;
}

/*
 * Formats a number with at most three decimals and no trailing zeros, using
 * only digits, '-' and '.', whatever the C locale says.
 */
int goesOn(int step) { return step == EXIT_OK || step == EXIT_PAGES_UNREAD || step == EXIT_TEXT_LEFT; }

int goOn(int step, int* outcome) {
  if (step == EXIT_OK) return 1;
  if (goesOn(step)) {
    if (*outcome != EXIT_TEXT_LEFT) *outcome = step;
    return 1;
  }
  *outcome = step;
  return 0;
}

void formatNumber(double value, char* out, size_t size) {
  long long scaled;
  long long whole;
  int fraction;
  int digits;
  char fractionText[4];
  if (!isfinite(value)) {
    snprintf(out, size, "0");
    return;
  }
  if (fabs(value) >= 1e15) {
    snprintf(out, size, "%.0f", value);
    return;
  }
  scaled = llround(value * 1000.0);
  whole = (scaled < 0 ? -scaled : scaled) / 1000;
  fraction = (int)((scaled < 0 ? -scaled : scaled) % 1000);
  if (fraction == 0) {
    snprintf(out, size, "%s%lld", scaled < 0 ? "-" : "", whole);
    return;
  }
  fractionText[0] = (char)('0' + fraction / 100);
  fractionText[1] = (char)('0' + fraction / 10 % 10);
  fractionText[2] = (char)('0' + fraction % 10);
  digits = 3;
  while (fractionText[digits - 1] == '0') --digits;
  fractionText[digits] = '\0';
  snprintf(out, size, "%s%lld.%s", scaled < 0 ? "-" : "", whole, fractionText);
}

json_t* jsonNumber(double value) {
  if (!isfinite(value)) return json_integer(0);
  /* Whole numbers print as integers; others are rounded to three decimals,
   * which 15 significant digits (printJson) give back exactly. */
  if (fabs(value) >= 9e18) return json_real(value);
  if (fabs(value) >= 1e15) return json_integer((json_int_t)value);
  value = (double)llround(value * 1000.0) / 1000.0;
  if (value == floor(value)) return json_integer((json_int_t)value);
  return json_real(value);
}

json_t* jsonString(const char* text) {
  json_t* value = json_string(text);
  return value ? value : json_string_nocheck(text);
}

void printJson(FILE* out, json_t* value) {
  if (!value) return;
  json_dumpf(value, out, JSON_COMPACT | JSON_REAL_PRECISION(15) | JSON_ENCODE_ANY);
  json_decref(value);
}

unsigned long parsePageNumber(const char* text) {
  char* end = NULL;
  unsigned long value;
  if (!text || text[0] < '0' || text[0] > '9') return 0;
  value = strtoul(text, &end, 10);
  if (*end != '\0' || value > 0xFFFFFFFFul) return 0;
  return value;
}

int takeArgument(const char* argument, const char** path) {
  if (strcmp(argument, "--help") == 0 || strcmp(argument, "-h") == 0) {
    printHelp();
    return EXIT_HELP_SHOWN;
  }
  if (argument[0] == '-' && argument[1] != '\0') return usageError("unknown option", argument);
  if (*path) return usageError("more than one file given", argument);
  *path = argument;
  return EXIT_OK;
}

int parseSize(const char* text, double* value) {
  double digitsValue = 0.0;
  double divisor = 1.0;
  int digits = 0;
  const char* p = text;
  /* Digits are read one by one rather than with strtod, whose decimal point
   * follows the locale; one division at the end rounds 0.1 as the literal. */
  for (; *p >= '0' && *p <= '9'; ++p, ++digits) digitsValue = digitsValue * 10.0 + (*p - '0');
  if (*p == '.') {
    for (++p; *p >= '0' && *p <= '9'; ++p, ++digits) {
      digitsValue = digitsValue * 10.0 + (*p - '0');
      divisor *= 10.0;
    }
  }
  if (digits == 0 || *p != '\0') return 0;
  *value = digitsValue / divisor;
  return 1;
}

int progressWanted(int quietStdout) {
  return isatty(STDERR_FILENO) && (quietStdout || !isatty(STDOUT_FILENO));
}

/* The length of the progress line standing on stderr (0 when none), to be
 * cleared before any other message goes there. */
static int progressShown = 0;
/* When the first progress was asked for: a command that ends within a
 * second shows none. */
static struct timespec progressStart;
static int progressStarted = 0;

void showProgressText(const char* text) {
  int length = fprintf(stderr, "\r" PROGRAM ": %s", text);
  /* A shorter line leaves no tail of the longer one before it. */
  if (length < progressShown) fprintf(stderr, "%*s", progressShown - length, "");
  fflush(stderr);
  if (length > progressShown) progressShown = length;
}

void showProgress(uint32_t page, uint32_t last) {
  struct timespec now;
  char line[64];
  clock_gettime(CLOCK_MONOTONIC, &now);
  if (!progressStarted) {
    progressStart = now;
    progressStarted = 1;
  }
  if ((double)(now.tv_sec - progressStart.tv_sec) + (double)(now.tv_nsec - progressStart.tv_nsec) / 1e9 < 1.0) {
    return;
  }
  snprintf(line, sizeof line, "page %lu of %lu", (unsigned long)page, (unsigned long)last);
  showProgressText(line);
}

void endProgress(void) {
  if (!progressShown) return;
  fprintf(stderr, "\r%*s\r", progressShown, "");
  progressShown = 0;
}

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

int resolvePageRange(const char* path, const PageRange* range, uint32_t count, uint32_t* first,
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
      fprintf(reportStream(), PROGRAM ": %s: no such file\n", path);
    } else {
      fprintf(reportStream(), PROGRAM ": %s: cannot be read (%s)\n", path, strerror(errno));
    }
    return EXIT_NO_FILE;
  }
  if (S_ISDIR(info.st_mode)) {
    fprintf(reportStream(), PROGRAM ": %s: is a directory\n", path);
    return EXIT_NO_FILE;
  }
  /* Opening tells what access() cannot (ACLs, root on a read-only mount); no
   * blocking, so that a FIFO without a writer does not hang the check. */
  descriptor = open(path, O_RDONLY | O_NONBLOCK);
  if (descriptor < 0) {
    fprintf(reportStream(), PROGRAM ": %s: cannot be read (%s)\n", path, strerror(errno));
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
  if (!file) fprintf(stderr, PROGRAM ": %s: cannot write the file (%s)\n", path, strerror(errno));
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

int finishOutput(void) { return closeOutputFile(stdout, "-"); }

char* readWholeFile(const char* path, size_t limit, size_t* length, ReadFailure* failure) {
  FILE* file = fopen(path, "rb");
  char* buffer = NULL;
  size_t used = 0;
  size_t capacity = 0;
  int saved;
  *failure = READ_FAILED;
  if (!file) return NULL;
  for (;;) {
    size_t got;
    if (used == capacity) {
      char* larger;
      capacity = capacity ? 2 * capacity : 65536;
      larger = realloc(buffer, capacity + 1);
      if (!larger) {
        *failure = READ_NO_MEMORY;
        break;
      }
      buffer = larger;
    }
    got = fread(buffer + used, 1, capacity - used, file);
    used += got;
    if (used > limit) {
      *failure = READ_TOO_LARGE;
      break;
    }
    if (got == 0) {
      if (ferror(file)) break;
      fclose(file);
      buffer[used] = '\0';
      *length = used;
      return buffer;
    }
  }
  /* The caller's report tells errno's reason. */
  saved = errno;
  fclose(file);
  free(buffer);
  errno = saved;
  return NULL;
}

int openDocument(const char* path, ZOPRADocumentLoader** loader) {
  int32_t status;
  int result = checkInputFile(path);
  *loader = NULL;
  if (result != EXIT_OK) return result;
  status = zopraDocumentLoaderCreate(loader);
  if (status != ZOPRA_STATUS_SUCCESS) return reportFailure(path, status);
  status = zopraDocumentLoaderOpenFileMappedA(*loader, path);
  if (status != ZOPRA_STATUS_SUCCESS) {
    zopraDocumentLoaderDestroy(*loader);
    *loader = NULL;
    return reportFailure(path, status);
  }
  return EXIT_OK;
}

int openForWriting(const char* input, const char* output, ZOPRADocumentLoader** loader) {
  int result;
  if (output[0] == '\0') return usageError("empty output file name", NULL);
  /* The tool keeps the input as it is: the result is a new file. */
  result = refuseInputAsOutput(input, output);
  return result != EXIT_OK ? result : openDocument(input, loader);
}

static unsigned writeThreads = 1;

void setWriteThreads(unsigned count) { writeThreads = count > 0 ? count : 1; }

int writeAndClose(ZOPRADocumentLoader* loader, const char* input, const char* output, int plain) {
  struct stat info;
  int existed = stat(output, &info) == 0;
  int32_t status;
  /* The library's write failure does not say why; creating the file first
   * does, and tells a folder that is missing or locked from a damaged input. */
  int descriptor = open(output, O_WRONLY | O_CREAT | O_NONBLOCK, 0666);
  if (descriptor < 0) {
    fprintf(stderr, PROGRAM ": %s: cannot write the file (%s)\n", output, strerror(errno));
    zopraDocumentLoaderDestroy(loader);
    return EXIT_WRITE_FAILED;
  }
  close(descriptor);
  zopraDocumentLoaderSetWriteThreads(loader, writeThreads);
  status = plain ? zopraDocumentLoaderWriteDocumentA(loader, output)
                 : zopraDocumentLoaderWriteDocumentCompactA(loader, output, ZOPRA_COMPACT_ALL);
  zopraDocumentLoaderDestroy(loader);
  if (status == ZOPRA_STATUS_SUCCESS) return EXIT_OK;
  if (!existed) unlink(output);
  if (status == ZOPRA_STATUS_OTHER_ERROR) {
    fprintf(stderr, PROGRAM ": %s: cannot write the file: the device is full, or an object of %s is damaged (status %d)\n",
            output, input, (int)status);
    return EXIT_WRITE_FAILED;
  }
  return reportFailure(input, status);
}
