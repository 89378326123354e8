/* Shared pieces of the zopra-pdf subcommands. */
#ifndef ZOPRA_PDF_CLI_H
#define ZOPRA_PDF_CLI_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "zopra_document_loader.h"

#define PROGRAM "zopra-pdf"

/* Exit codes: one per library status, plus usage and unknown failures. */
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
  EXIT_WRITE_FAILED = 9
};

/* Internal result of argument parsing: help was printed, exit with success. */
#define EXIT_HELP_SHOWN (-1)

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

/* Creates a handle and opens `path`; on failure reports it and returns the
 * exit code (the handle is then already released). */
int openDocument(const char* path, ZOPRADocumentLoader** loader);
/* Flushes stdout; EXIT_OK, or a report and an error exit code. */
int finishOutput(void);
/* Opens `input` into a new handle, after checking that `output` is not the
 * input itself (refused with EXIT_USAGE). */
int openForWriting(const char* input, const char* output, ZOPRADocumentLoader** loader);
/* Writes the document to `output` and releases the handle. */
int writeAndClose(ZOPRADocumentLoader* loader, const char* input, const char* output);

int runText(int argc, char** argv);
int runItems(int argc, char** argv);
int runRewrite(int argc, char** argv);
int runErase(int argc, char** argv);
int runGraphics(int argc, char** argv);
int runImages(int argc, char** argv);
int runReplace(int argc, char** argv);

#endif
