/* Shared pieces of the zopra-pdf subcommands. */
#ifndef ZOPRA_PDF_CLI_H
#define ZOPRA_PDF_CLI_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "zopra_document_loader.h"

#define PROGRAM "zopra-pdf"

/* Exit codes: one per library status, plus the tool's own failures. */
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
  EXIT_NO_FILE = 11
};

/* Internal result of argument parsing: help was printed, exit with success. */
#define EXIT_HELP_SHOWN (-1)

/* The help of the subcommand being run, or the overview before one is
 * chosen. */
void printHelp(void);
/* Prints the message and the usage on stderr; returns EXIT_USAGE. */
int usageError(const char* message, const char* argument);
/* Prints the one-line failure report for `path` and returns the exit code. */
int reportFailure(const char* path, int32_t status);
/* Up to three decimals, no trailing zeros, independent of the locale. */
void formatNumber(double value, char* out, size_t size);
/* Writes `text` as a JSON string literal to stdout, or to `out`. */
void printJsonString(const char* text);
void printJsonStringTo(FILE* out, const char* text);

/* Reads a page number from 1; 0 when `text` is not one. */
unsigned long parsePageNumber(const char* text);
/* An argument that is not a subcommand's own option: --help (printed, then
 * EXIT_HELP_SHOWN), an unknown option (a usage error) or the file, which may
 * be given once. */
int takeArgument(const char* argument, const char** path);

/* Reads a size such as 2 or 0.5 (digits, at most one point, no sign) into
 * `value`; 0 when `text` is not one. */
int parseSize(const char* text, double* value);
/* Prints the failure report for one page ("FILE, page N") and returns the
 * exit code. */
int reportPageFailure(const char* path, uint32_t page, int32_t status);

/* Progress over many pages goes to stderr when it is a terminal and does not
 * share it with the output (`quietStdout`: nothing is printed on stdout). */
int progressWanted(int quietStdout);
/* "page P of LAST", rewritten in place; endProgress clears the line. */
void showProgress(uint32_t page, uint32_t last);
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
/* stdout for "-", else the new file; NULL after a report. */
FILE* openOutputFile(const char* path);
/* Flushes and closes (stdout is flushed only); EXIT_OK, or a report and
 * EXIT_WRITE_FAILED. */
int closeOutputFile(FILE* file, const char* path);

/* Checks the file, creates a handle and opens `path`; on failure reports it and returns the
 * exit code (the handle is then already released). */
int openDocument(const char* path, ZOPRADocumentLoader** loader);
/* Flushes stdout; EXIT_OK, or a report and EXIT_WRITE_FAILED. */
int finishOutput(void);
/* Opens `input` into a new handle, after checking that `output` is not the
 * input itself (refused with EXIT_USAGE). */
int openForWriting(const char* input, const char* output, ZOPRADocumentLoader** loader);
/* Writes the document to `output` and releases the handle: compact (fonts
 * subset, new streams compressed, unused objects left out), or with `plain`
 * exactly as zopraDocumentLoaderWriteDocumentA writes. */
int writeAndClose(ZOPRADocumentLoader* loader, const char* input, const char* output, int plain);

int runText(int argc, char** argv);
int runItems(int argc, char** argv);
int runRewrite(int argc, char** argv);
int runErase(int argc, char** argv);
int runGraphics(int argc, char** argv);
int runImages(int argc, char** argv);
int runReplace(int argc, char** argv);

#endif
