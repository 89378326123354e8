/* What the zopra-pdf commands share (cli.c): help and failure reports, exit
 * statuses, page ranges, input and output files, JSON output. */
#ifndef ZOPRA_PDF_CLI_H
#define ZOPRA_PDF_CLI_H

#include <jansson.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "zopra_document_loader.h"

#define PROGRAM "zopra-pdf"

/* Exit statuses. A mistake gives the same status whatever the command; the
 * help and the manual page list them all (kExitStatuses in cli.c). */
enum {
  EXIT_OK = 0,
  EXIT_UNKNOWN_STATUS = 1,
  EXIT_USAGE = 2,
  EXIT_DAMAGED = 3,
  EXIT_PASSWORD = 4,
  EXIT_BROKEN_STREAM = 5,
  EXIT_NO_MEMORY = 6,
  EXIT_INVALID_ARGUMENT = 7,
  EXIT_NOT_SUPPORTED = 8,
  EXIT_WRITE_FAILED = 9,
  EXIT_PAGE_RANGE = 10,
  EXIT_NO_FILE = 11,
  EXIT_PAGES_UNREAD = 12,
  EXIT_TEXT_LEFT = 13
};

/* Internal result of argument parsing: help was printed, exit with success. */
#define EXIT_HELP_SHOWN (-1)

typedef struct {
  const char* name;
  const char* arguments;
  /* One line for the overview. */
  const char* summary;
  /* A paragraph for the command's own help. */
  const char* description;
  /* Option lines, printed by both helps. */
  const char* options;
  /* What the command prints or writes. */
  const char* output;
  int (*run)(int argc, char** argv);
} Subcommand;

/* The commands the overview lists, and the one being run (NULL before one is
 * chosen): usage lines and help follow it. */
void useCommands(const Subcommand* commands, size_t count);
void chooseCommand(const Subcommand* command);

/* The help of the command being run, or the overview before one is chosen. */
void printHelp(void);
/* Prints the message and the usage on stderr; returns EXIT_USAGE. */
int usageError(const char* message, const char* argument);
/* Prints the one-line failure report for `path` and returns the exit code. */
int reportFailure(const char* path, int32_t status);
/* Reports that a page could not be read ("FILE, page N: cannot be read: ...")
 * and returns EXIT_PAGES_UNREAD: the command goes on with the other pages. */
int reportPageUnread(const char* path, uint32_t page, int32_t status);
/* "FILE: the document has no page N (it has M)"; EXIT_PAGE_RANGE. Page
 * numbers from 0. */
int reportMissingPage(const char* path, uint32_t page, uint32_t pages);
/* "FILE: page N has no item I (it has M)"; EXIT_PAGE_RANGE. From 0. */
int reportMissingItem(const char* path, uint32_t page, uint32_t item, uint32_t items);
/* Names each chosen item that is still on `page` after its last removal and
 * returns EXIT_TEXT_LEFT, or EXIT_OK when none is. Called by erase and
 * replace after the removals of each page. */
int reportTextLeft(ZOPRADocumentLoader* loader, const char* path, uint32_t page);
/* Whether an editing command goes on after this exit status of a step: it
 * does after EXIT_OK, a page that could not be read (EXIT_PAGES_UNREAD) and
 * text left on a page (EXIT_TEXT_LEFT); a mistake or failure stops it. */
int goesOn(int step);
/* Keeps the worst outcome of the pages an editing command has done so far:
 * a mistake or failure stops the job (returns 0); a page that could not be
 * read, or text left on it, is noted and the job goes on (returns 1). */
int goOn(int step, int* outcome);

/* Up to three decimals, no trailing zeros, independent of the locale. */
void formatNumber(double value, char* out, size_t size);
/* JSON values for the tool's output: a number as formatNumber writes it, and
 * a string (kept byte for byte when it is not UTF-8). New references. */
json_t* jsonNumber(double value);
json_t* jsonString(const char* text);
/* Writes `value` compactly to `out` and releases it. */
void printJson(FILE* out, json_t* value);

/* Reads a page number from 1; 0 when `text` is not one. */
unsigned long parsePageNumber(const char* text);
/* An argument that is not a subcommand's own option: --help (printed, then
 * EXIT_HELP_SHOWN), an unknown option (a usage error) or the file, which may
 * be given once. */
int takeArgument(const char* argument, const char** path);
/* Reads a size such as 2 or 0.5 (digits, at most one point, no sign) into
 * `value`; 0 when `text` is not one. */
int parseSize(const char* text, double* value);

/* Progress over many pages goes to stderr when it is a terminal and does not
 * share it with the output (`quietStdout`: nothing is printed on stdout). */
int progressWanted(int quietStdout);
/* "page P of LAST", rewritten in place from the first second on;
 * endProgress clears the line. */
void showProgress(uint32_t page, uint32_t last);
/* Any progress text, rewritten in place (the caller chooses when). */
void showProgressText(const char* text);
void endProgress(void);

/* Pages chosen by -f FIRST and -l LAST (from 1; 0 when not given). */
typedef struct {
  unsigned long first;
  unsigned long last;
} PageRange;
/* Takes -f N or -l N at argv[*i], and --page N (= -f N -l N) when `single`;
 * returns 1 when it did (advancing *i, `result` then EXIT_OK or a usage
 * error), 0 when argv[*i] is no page option. */
int takePageOption(int argc, char** argv, int* i, int single, PageRange* range, int* result);
/* The pages [first, last) (from 0) of `range` in a document of `count`
 * pages; a first page after the end is reported with EXIT_PAGE_RANGE. */
int resolvePageRange(const char* path, const PageRange* range, uint32_t count, uint32_t* first,
                     uint32_t* last);
/* Opens `path` as openDocument does and gives the pages [first, last) (from
 * 0) of `range` in it. A last page beyond the end is the end; a first page
 * after it is reported and gives EXIT_PAGE_RANGE, with the handle released. */
int openPages(const char* path, const PageRange* range, ZOPRADocumentLoader** loader, uint32_t* first,
              uint32_t* last);

/* EXIT_OK when `path` is a file that can be read; otherwise reports that it
 * is missing, a directory or unreadable and returns EXIT_NO_FILE. */
int checkInputFile(const char* path);
/* EXIT_USAGE after a report when `output` is the file `input` itself, under
 * any name; EXIT_OK otherwise. */
int refuseInputAsOutput(const char* input, const char* output);
/* `input` with its .pdf extension (any case) replaced by .txt, or with .txt
 * added; a new string, NULL when memory ran out. */
char* textOutputName(const char* input);
/* stdout for "-", else the new file; NULL after a report with the system's
 * reason. */
FILE* openOutputFile(const char* path);
/* Flushes and closes (stdout is flushed only); EXIT_OK, or a report and
 * EXIT_WRITE_FAILED. */
int closeOutputFile(FILE* file, const char* path);
/* Flushes stdout; EXIT_OK, or a report and EXIT_WRITE_FAILED. */
int finishOutput(void);

/* Why readWholeFile gave nothing: the file could not be opened or read
 * (errno tells why), it holds more than the limit, or memory ran out. */
typedef enum { READ_FAILED, READ_TOO_LARGE, READ_NO_MEMORY } ReadFailure;
/* The whole file at `path` in a new NUL-terminated buffer (free() it) and
 * its length; NULL with `*failure` set. Reads pipes as well as files. */
char* readWholeFile(const char* path, size_t limit, size_t* length, ReadFailure* failure);

/* Checks the file, creates a handle and opens `path`; on failure reports it
 * and returns the exit code (the handle is then already released). */
int openDocument(const char* path, ZOPRADocumentLoader** loader);
/* Opens `input` into a new handle, after checking that `output` is not the
 * input itself (refused with EXIT_USAGE). */
int openForWriting(const char* input, const char* output, ZOPRADocumentLoader** loader);
/* Writes the document to `output` and releases the handle: compact (fonts
 * subset, new streams compressed, unused objects left out), or with `plain`
 * exactly as zopraDocumentLoaderWriteDocumentA writes. A file that cannot be
 * created is reported with the system's reason; a failed write leaves no new
 * file behind. */
/* Threads writeAndClose lets the library deflate streams on (1 by default). */
void setWriteThreads(unsigned count);
int writeAndClose(ZOPRADocumentLoader* loader, const char* input, const char* output, int plain);

int runInfo(int argc, char** argv);
int runText(int argc, char** argv);
int runItems(int argc, char** argv);
int runRewrite(int argc, char** argv);
int runErase(int argc, char** argv);
int runGraphics(int argc, char** argv);
int runImages(int argc, char** argv);
int runReplace(int argc, char** argv);

#endif
