/*
 * zopra-pdf: inspect PDF files from the command line.
 *
 * Built on the public C interface only (zopra_document_loader.h). Each
 * subcommand is one entry of the table below; a subcommand receives the
 * arguments that follow its name.
 */
#define _POSIX_C_SOURCE 200809L

#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "cli.h"
#include "zopra_document_loader.h"

typedef struct {
  int32_t status;
  const char* meaning;
  int exitCode;
} StatusInfo;

static const StatusInfo kStatuses[] = {
    {ZOPRA_STATUS_OTHER_ERROR, "not a PDF or damaged", EXIT_DAMAGED},
    {ZOPRA_STATUS_ENCRYPTED_DOCUMENT, "needs a password", EXIT_PASSWORD},
    {ZOPRA_STATUS_BROKEN_STREAM, "broken stream", EXIT_BROKEN_STREAM},
    {ZOPRA_STATUS_MEMORY_INSUFFICIENT, "out of memory", EXIT_NO_MEMORY},
    {ZOPRA_STATUS_INVALID_ARGUMENT, "invalid argument", EXIT_INVALID_ARGUMENT},
    {ZOPRA_STATUS_NOT_SUPPORTED, "not supported", EXIT_NOT_SUPPORTED},
};

typedef struct {
  const char* name;
  const char* arguments;
  const char* summary;
  int (*run)(int argc, char** argv);
} Subcommand;

static int runInfo(int argc, char** argv);

static const Subcommand kSubcommands[] = {
    {"info", "[--json] FILE", "print the page count and each page's size and rotation", runInfo},
    {"text", "FILE [-f FIRST] [-l LAST]",
     "print the text of the pages, each page followed by a form feed", runText},
    {"items", "FILE --page N [--json]",
     "print the text items of one page with position, font size and width", runItems},
    {"graphics", "FILE [--page N] [--min SIZE] [--json]",
     "print the painted path pieces and drawn images of the pages, one per line", runGraphics},
    {"images", "FILE [-f FIRST] [-l LAST] [--list] [-o DIR]",
     "list the images the pages draw, or write their stored bytes to DIR", runImages},
    {"rewrite", "IN OUT",
     "write IN as a new, unencrypted PDF file OUT with a plain cross-reference table",
     runRewrite},
    {"erase", "IN OUT [--pages LIST] [--items PAGE:I,J,...]",
     "write IN as OUT without the text of the pages (default all) or of the items", runErase},
    {"replace", "IN OUT --map MAP.json [--font FONT.ttf] [--fit shrink|none] [--min-size PT]",
     "write IN as OUT with the text of items replaced, each fitted to its item's width", runReplace},
};

#define SUBCOMMAND_COUNT (sizeof kSubcommands / sizeof kSubcommands[0])
#define STATUS_COUNT (sizeof kStatuses / sizeof kStatuses[0])

static void printUsage(FILE* out) {
  size_t i;
  fprintf(out, "usage: " PROGRAM " COMMAND [OPTIONS] FILE\n");
  fprintf(out, "       " PROGRAM " --help | --version\n");
  for (i = 0; i < SUBCOMMAND_COUNT; ++i) {
    fprintf(out, "       " PROGRAM " %s %s\n", kSubcommands[i].name, kSubcommands[i].arguments);
  }
}

void printHelp(void) {
  size_t i;
  printUsage(stdout);
  printf("\nCommands:\n");
  for (i = 0; i < SUBCOMMAND_COUNT; ++i) {
    printf("  %-9s %s\n", kSubcommands[i].name, kSubcommands[i].summary);
  }
  printf("\nOptions:\n");
  printf("  --json     print the result as one JSON object\n");
  printf("  -f, -l     first and last page to print (from 1)\n");
  printf("  --pages L  erase: the pages whose text goes, as 1,3-5 (from 1)\n");
  printf("  --items P:I,J  erase: items I, J, ... of page P, numbered as items prints\n");
  printf("             them (from 1); may be given for several pages\n");
  printf("  --page N   the page whose items or graphics to print (from 1); graphics\n"
         "             prints every page without it\n");
  printf("  --min SIZE graphics: leave out pieces whose width and height are both below\n"
         "             SIZE (PDF units, after clipping)\n");
  printf("  --list     images: one row per drawn image (the default without -o)\n");
  printf("  -o DIR     images: write each image to DIR/page-P-image-I.jpg, .jp2 (JPEG 2000)\n"
         "             or .bin (any other image, its stream data as stored); an image\n"
         "             drawn again is written once\n");
  printf("  --map F    replace: a JSON file, either [{\"page\":P,\"item\":I,\"text\":\"new\"},...]\n");
  printf("             with items numbered as items --json prints them, or\n");
  printf("             {\"old text\":\"new text\",...} for every item that reads \"old text\";\n");
  printf("             an empty new text only removes the item\n");
  printf("  --font F   replace: TrueType font of the new text (default DejaVu Sans,\n");
  printf("             /usr/share/fonts/truetype/dejavu/DejaVuSans.ttf)\n");
  printf("  --fit M    replace: shrink (default) draws a text wider than its item smaller,\n");
  printf("             size by size down to --min-size; none keeps the item's size.\n");
  printf("             Texts that still do not fit are reported on standard error\n");
  printf("  --min-size PT  replace: the smallest size to shrink to (default half the item's)\n");
  printf("  --help     print this help and exit\n");
  printf("  --version  print the library version and exit\n");
  printf("\nPage sizes are in PDF units (1/72 inch), as the page is displayed\n");
  printf("(width and height exchanged for pages rotated by 90 or 270 degrees).\n");
  printf("\ngraphics prints per line: page, kind (line, rect, path or image), x, y,\n"
         "width and height of the box cut to the clip, paint (stroke, fill,\n"
         "fill+stroke, - for images), line width, fill and stroke colour (gray:G,\n"
         "rgb:R,G,B, cmyk:C,M,Y,K, or - when unset) and the image's object number.\n"
         "images --list prints per image: page, index on the page (from 1, in\n"
         "drawing order), object number, format (jpeg, jpx, other), size of the\n"
         "stored bytes, and the box where the page shows it (- when unknown).\n");
  printf("\nrewrite, erase and replace never replace their input: an OUT that is the input\n");
  printf("file itself, under any name, is refused with exit status %d. After a failure,\n", EXIT_USAGE);
  printf("no OUT is written.\n");
  printf("\nExit status:\n");
  printf("  %d  success\n", EXIT_OK);
  printf("  %d  unexpected library status\n", EXIT_UNKNOWN_STATUS);
  printf("  %d  bad command-line arguments; replace: a map, item or font that cannot be\n"
         "     used\n", EXIT_USAGE);
  for (i = 0; i < STATUS_COUNT; ++i) {
    printf("  %d  %s (library status %d)\n", kStatuses[i].exitCode, kStatuses[i].meaning,
           (int)kStatuses[i].status);
  }
  printf("  %d  rewrite, erase, replace: the output cannot be written, or an object of\n"
         "     the input is damaged (library status %d); images: a file cannot be written\n",
         EXIT_WRITE_FAILED, (int)ZOPRA_STATUS_OTHER_ERROR);
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

/* Prints the one-line failure report and returns the matching exit code. */
int reportFailure(const char* path, int32_t status) {
  size_t i;
  endProgress();
  for (i = 0; i < STATUS_COUNT; ++i) {
    if (kStatuses[i].status == status) {
      fprintf(stderr, PROGRAM ": %s: %s (status %d)\n", path, kStatuses[i].meaning, (int)status);
      return kStatuses[i].exitCode;
    }
  }
  fprintf(stderr, PROGRAM ": %s: unexpected status %d\n", path, (int)status);
  return EXIT_UNKNOWN_STATUS;
}

/*
 * Formats a number with at most three decimals and no trailing zeros, using
 * only digits, '-' and '.', whatever the C locale says.
 */
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

/* Writes `text` as a JSON string literal. */
void printJsonStringTo(FILE* out, const char* text) {
  const unsigned char* p;
  putc('"', out);
  for (p = (const unsigned char*)text; *p; ++p) {
    switch (*p) {
      case '"': fputs("\\\"", out); break;
      case '\\': fputs("\\\\", out); break;
      case '\n': fputs("\\n", out); break;
      case '\r': fputs("\\r", out); break;
      case '\t': fputs("\\t", out); break;
      default:
        if (*p < 0x20) {
          fprintf(out, "\\u%04x", (unsigned)*p);
        } else {
          putc(*p, out);
        }
    }
  }
  putc('"', out);
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

/* True while a progress line stands on stderr, to be cleared before any
 * other message goes there. */
static int progressShown = 0;

void showProgress(uint32_t page, uint32_t last) {
  fprintf(stderr, "\r" PROGRAM ": page %lu of %lu", (unsigned long)page, (unsigned long)last);
  fflush(stderr);
  progressShown = 1;
}

void endProgress(void) {
  if (!progressShown) return;
  fputs("\r                                              \r", stderr);
  progressShown = 0;
}

int reportPageFailure(const char* path, uint32_t page, int32_t status) {
  size_t length = strlen(path) + 32;
  char* where = malloc(length);
  int result;
  fflush(stdout);
  if (where) snprintf(where, length, "%s, page %lu", path, (unsigned long)page + 1);
  result = reportFailure(where ? where : path, status);
  free(where);
  return result;
}
void printJsonString(const char* text) { printJsonStringTo(stdout, text); }

int openDocument(const char* path, ZOPRADocumentLoader** loader) {
  int32_t status = zopraDocumentLoaderCreate(loader);
  if (status != ZOPRA_STATUS_SUCCESS) return reportFailure(path, status);
  status = zopraDocumentLoaderOpenFileA(*loader, path);
  if (status != ZOPRA_STATUS_SUCCESS) {
    zopraDocumentLoaderDestroy(*loader);
    *loader = NULL;
    return reportFailure(path, status);
  }
  return EXIT_OK;
}

int finishOutput(void) {
  if (fflush(stdout) != 0 || ferror(stdout)) {
    fprintf(stderr, PROGRAM ": failed to write the output\n");
    return EXIT_UNKNOWN_STATUS;
  }
  return EXIT_OK;
}

typedef struct {
  int json;
  const char* path;
} InfoOptions;

static int parseInfoArguments(int argc, char** argv, InfoOptions* options) {
  int i;
  int onlyFiles = 0;
  options->json = 0;
  options->path = NULL;
  for (i = 0; i < argc; ++i) {
    const char* argument = argv[i];
    if (!onlyFiles && strcmp(argument, "--") == 0) {
      onlyFiles = 1;
    } else if (!onlyFiles && strcmp(argument, "--json") == 0) {
      options->json = 1;
    } else if (!onlyFiles && (strcmp(argument, "--help") == 0 || strcmp(argument, "-h") == 0)) {
      printHelp();
      return EXIT_HELP_SHOWN;
    } else if (!onlyFiles && argument[0] == '-' && argument[1] != '\0') {
      return usageError("unknown option", argument);
    } else if (options->path) {
      return usageError("more than one file given", argument);
    } else {
      options->path = argument;
    }
  }
  if (!options->path) return usageError("no file given", NULL);
  return EXIT_OK;
}

static int runInfo(int argc, char** argv) {
  InfoOptions options;
  ZOPRADocumentLoader* loader = NULL;
  uint32_t count = 0;
  uint32_t page;
  int32_t status;
  int result = parseInfoArguments(argc, argv, &options);
  if (result == EXIT_HELP_SHOWN) return EXIT_OK;
  if (result != EXIT_OK) return result;

  result = openDocument(options.path, &loader);
  if (result != EXIT_OK) return result;
  status = zopraDocumentLoaderGetPageCount(loader, &count);
  if (status != ZOPRA_STATUS_SUCCESS) {
    zopraDocumentLoaderDestroy(loader);
    return reportFailure(options.path, status);
  }

  if (options.json) {
    fputs("{\"file\":", stdout);
    printJsonString(options.path);
    printf(",\"page_count\":%lu,\"pages\":[", (unsigned long)count);
  } else {
    printf("pages: %lu\n", (unsigned long)count);
  }
  for (page = 0; page < count; ++page) {
    double width = 0.0;
    double height = 0.0;
    uint32_t rotation = 0;
    char widthText[64];
    char heightText[64];
    status = zopraDocumentLoaderGetPageSize(loader, &width, &height, &rotation, page);
    if (status != ZOPRA_STATUS_SUCCESS) {
      if (options.json) fputs("]}\n", stdout);
      fflush(stdout);
      zopraDocumentLoaderDestroy(loader);
      return reportFailure(options.path, status);
    }
    formatNumber(width, widthText, sizeof widthText);
    formatNumber(height, heightText, sizeof heightText);
    if (options.json) {
      printf("%s{\"page\":%lu,\"width\":%s,\"height\":%s,\"rotation\":%lu}", page ? "," : "",
             (unsigned long)page + 1, widthText, heightText, (unsigned long)rotation);
    } else {
      printf("page %lu: %s x %s, rotation %lu\n", (unsigned long)page + 1, widthText, heightText,
             (unsigned long)rotation);
    }
  }
  if (options.json) fputs("]}\n", stdout);
  zopraDocumentLoaderDestroy(loader);
  return finishOutput();
}

int main(int argc, char** argv) {
  size_t i;
  const char* command;
  if (argc < 2) return usageError("no command given", NULL);
  command = argv[1];
  if (strcmp(command, "--help") == 0 || strcmp(command, "-h") == 0) {
    printHelp();
    return EXIT_OK;
  }
  if (strcmp(command, "--version") == 0) {
    printf(PROGRAM " %d.%d.%d\n", ZOPRA_DOCUMENT_LOADER_VERSION_MAJOR,
           ZOPRA_DOCUMENT_LOADER_VERSION_MINOR, ZOPRA_DOCUMENT_LOADER_VERSION_PATCH);
    return EXIT_OK;
  }
  for (i = 0; i < SUBCOMMAND_COUNT; ++i) {
    if (strcmp(command, kSubcommands[i].name) == 0) {
      return kSubcommands[i].run(argc - 2, argv + 2);
    }
  }
  return usageError("unknown command", command);
}
