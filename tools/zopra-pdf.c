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

static int runInfo(int argc, char** argv);

#define RANGE_OPTIONS                                                              \
  "  -f FIRST       the first page (from 1; default 1)\n"                          \
  "  -l LAST        the last page (default, and for a larger number, the last one\n" \
  "                 of the document)\n"
#define PAGE_OPTION "  --page N       page N alone, as -f N -l N\n"
#define JSON_OPTION "  --json         print the result as one JSON object\n"
/* OUT is compact by default: fonts cut to the glyphs drawn, new streams
 * compressed, objects nothing uses left out. */
#define PLAIN_OPTION                                                                   \
  "  --plain        write without subsetting fonts, compressing new streams or\n"    \
  "                 leaving out unused objects\n"
#define NEVER_THE_INPUT                                                              \
  "OUT is written only when everything else succeeded. An OUT that is IN itself,\n" \
  "under any name, is refused with exit status 2.\n"

static const Subcommand kSubcommands[] = {
    {"info", "[--json] FILE", "print the page count and each page's size and rotation",
     "Prints the number of pages of FILE and the size and rotation of each page.\n",
     JSON_OPTION,
     "Lines \"pages: N\" and \"page P: WIDTH x HEIGHT, rotation R\"; with --json\n"
     "{\"file\":F,\"page_count\":N,\"pages\":[{\"page\":P,\"width\":W,\"height\":H,\n"
     "\"rotation\":R},...]}. Sizes are in PDF units (1/72 inch), as the page is\n"
     "displayed: width and height exchanged for pages rotated by 90 or 270 degrees.\n",
     runInfo},
    {"text", "[-f FIRST] [-l LAST] FILE [OUTPUT]",
     "write the text of the pages to FILE.txt, OUTPUT, or - (standard output)",
     "Writes the text of the pages FIRST to LAST of FILE to OUTPUT, as pdftotext\n"
     "does. Without OUTPUT the text goes to FILE with its .pdf extension (any case)\n"
     "replaced by .txt, or with .txt added; OUTPUT - is standard output. An OUTPUT\n"
     "that is FILE itself is refused with exit status 2.\n",
     RANGE_OPTIONS,
     "The text of each page in UTF-8, followed by a form feed. A page that cannot be\n"
     "read is reported and left empty; the other pages are still written.\n",
     runText},
    {"items", "[-f FIRST] [-l LAST | --page N] [--json] FILE",
     "print the text items of the pages with position, font size and width",
     "Prints the text items of the pages of FILE (every page without -f, -l or\n"
     "--page), one per line. Items are numbered on each page from 1, in the order\n"
     "the library reads them; erase --items and replace maps take these numbers.\n",
     RANGE_OPTIONS PAGE_OPTION JSON_OPTION,
     "Per item, separated by tabs: page, item, x and y of the start of its baseline,\n"
     "font size (as the content sets it), effective font size (scaled by the text\n"
     "matrix: the size the page shows), width along the baseline, and the text.\n"
     "Positions and widths are in PDF units. With --json: {\"file\":F,\"pages\":\n"
     "[{\"page\":P,\"items\":[{\"page\":P,\"item\":I,\"text\":T,\"x\":X,\"y\":Y,\n"
     "\"font_size\":S,\"effective_font_size\":E,\"width\":W},...]},...]}.\n",
     runItems},
    {"graphics", "[-f FIRST] [-l LAST | --page N] [--min SIZE] [--json] FILE",
     "print the painted path pieces and drawn images of the pages, one per line",
     "Prints what the pages of FILE paint (every page without -f, -l or --page):\n"
     "each piece of a stroked or filled path and each drawn image, one per line.\n",
     RANGE_OPTIONS PAGE_OPTION
     "  --min SIZE     leave out pieces whose width and height are both below SIZE\n"
     "                 (PDF units, after clipping)\n" JSON_OPTION,
     "Per piece, separated by tabs: page, kind (line, rect, path or image), x, y,\n"
     "width and height of the box cut to the clip, paint (stroke, fill,\n"
     "fill+stroke, - for images), line width, fill and stroke colour (gray:G,\n"
     "rgb:R,G,B, cmyk:C,M,Y,K, or - when unset) and the image's object number.\n"
     "With --json: {\"file\":F,\"pages\":[{\"page\":P,\"entries\":[...]},...]}, each\n"
     "entry with every field, its start and end points and its clip.\n",
     runGraphics},
    {"images", "[-f FIRST] [-l LAST] [--list] [-o DIR] FILE",
     "list the images the pages draw, or write their stored bytes to DIR",
     "Lists the images the pages FIRST to LAST of FILE draw, like pdfimages -list,\n"
     "or writes them to DIR as stored. An image drawn again is written once.\n",
     RANGE_OPTIONS
     "  --list         one row per drawn image (the default without -o)\n"
     "  -o DIR         write each image to DIR/page-P-image-I.jpg, .jp2 (JPEG 2000)\n"
     "                 or .bin (any other image, its stream data as stored)\n",
     "Per image: page, index on the page (from 1, in drawing order), object number,\n"
     "format (jpeg, jpx, other), size of the stored bytes, and the box where the\n"
     "page shows it (- when it cannot be matched to the page's graphics).\n",
     runImages},
    {"rewrite", "IN OUT [--plain]",
     "write IN as a new, unencrypted PDF file OUT with a plain cross-reference table",
     "Opens IN and writes it to OUT as a new, unencrypted PDF file with a plain\n"
     "cross-reference table, leaving out objects nothing refers to.\n",
     PLAIN_OPTION,
     "Nothing on standard output. " NEVER_THE_INPUT,
     runRewrite},
    {"erase", "IN OUT [--pages LIST] [--items PAGE:I,J,...] [--plain]",
     "write IN as OUT without the text of the pages (default all) or of the items",
     "Writes IN to OUT without the text of the chosen pages or items; without\n"
     "--pages and --items, without the text of every page.\n",
     "  --pages LIST   the pages whose text goes, as 1,3-5 (from 1)\n"
     "  --items P:I,J  items I, J, ... of page P, numbered as items prints them;\n"
     "                 may be given for several pages\n" PLAIN_OPTION,
     "Nothing on standard output. " NEVER_THE_INPUT,
     runErase},
    {"replace", "IN OUT --map MAP.json [--font FONT.ttf] [--fit shrink|none] [--min-size PT] [--plain]",
     "write IN as OUT with the text of items replaced, each fitted to its item's width",
     "Writes IN to OUT with the text of items replaced: each item is removed and\n"
     "its new text drawn at its place, in its size and colour, fitted to its width.\n",
     "  --map F        a JSON file, either [{\"page\":P,\"item\":I,\"text\":\"new\"},...]\n"
     "                 with items numbered as items prints them, or\n"
     "                 {\"old text\":\"new text\",...} for every item that reads\n"
     "                 \"old text\"; an empty new text only removes the item\n"
     "  --font F       TrueType font of the new text (default DejaVu Sans,\n"
     "                 /usr/share/fonts/truetype/dejavu/DejaVuSans.ttf)\n"
     "  --fit M        shrink (default) draws a text wider than its item smaller,\n"
     "                 size by size down to --min-size; none keeps the item's size\n"
     "  --min-size PT  the smallest size to shrink to (default half the item's)\n" PLAIN_OPTION,
     "One line: \"replaced N items on P pages (S shrunk, O overflowing); wrote OUT,\n"
     "B bytes\". Texts that still do not fit, and keys of an object map that match\n"
     "no item, are reported on standard error. " NEVER_THE_INPUT,
     runReplace},
};

/* The exit statuses besides those of library statuses (kStatuses). */
static const struct {
  int code;
  const char* meaning;
} kToolExits[] = {
    {EXIT_OK, "success"},
    {EXIT_UNKNOWN_STATUS, "an unexpected library status"},
    {EXIT_USAGE, "bad command-line arguments; an output file that is the input itself;\n"
                 "      replace: a map, item or font that cannot be used"},
    {EXIT_WRITE_FAILED, "an output file, folder or standard output cannot be written;\n"
                        "      rewrite, erase, replace: also an object of the input is damaged\n"
                        "      (library status -128)"},
    {EXIT_PAGE_RANGE, "wrong page range: the first page is after the last page"},
    {EXIT_NO_FILE, "an input file is missing, is a directory or cannot be read"},
};

#define SUBCOMMAND_COUNT (sizeof kSubcommands / sizeof kSubcommands[0])
#define STATUS_COUNT (sizeof kStatuses / sizeof kStatuses[0])
#define TOOL_EXIT_COUNT (sizeof kToolExits / sizeof kToolExits[0])

/* The subcommand being run; NULL before one is chosen. */
static const Subcommand* currentCommand = NULL;

static void printUsage(FILE* out) {
  size_t i;
  if (currentCommand) {
    fprintf(out, "usage: " PROGRAM " %s %s\n", currentCommand->name, currentCommand->arguments);
    fprintf(out, "       " PROGRAM " %s --help\n", currentCommand->name);
    return;
  }
  fprintf(out, "usage: " PROGRAM " COMMAND [OPTIONS] FILE\n");
  fprintf(out, "       " PROGRAM " --help | --version | COMMAND --help\n");
  for (i = 0; i < SUBCOMMAND_COUNT; ++i) {
    fprintf(out, "       " PROGRAM " %s %s\n", kSubcommands[i].name, kSubcommands[i].arguments);
  }
}

/* Every exit status, in order of their codes. */
static void printExitStatuses(void) {
  size_t tool = 0;
  size_t library = 0;
  printf("\nExit status:\n");
  while (tool < TOOL_EXIT_COUNT || library < STATUS_COUNT) {
    if (library == STATUS_COUNT ||
        (tool < TOOL_EXIT_COUNT && kToolExits[tool].code < kStatuses[library].exitCode)) {
      printf("  %2d  %s\n", kToolExits[tool].code, kToolExits[tool].meaning);
      ++tool;
    } else {
      printf("  %2d  %s (library status %d)\n", kStatuses[library].exitCode,
             kStatuses[library].meaning, (int)kStatuses[library].status);
      ++library;
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
    for (i = 0; i < SUBCOMMAND_COUNT; ++i) {
      printf("  %-9s %s\n", kSubcommands[i].name, kSubcommands[i].summary);
    }
    printf("\nOptions of every command:\n");
    printf("  -h, --help     print the help of the command, or this overview, and exit\n");
    printf("  --version      print the library version and exit\n");
    for (i = 0; i < SUBCOMMAND_COUNT; ++i) {
      if (kSubcommands[i].options[0] != '\0') {
        printf("Options of %s:\n%s", kSubcommands[i].name, kSubcommands[i].options);
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
  int32_t status;
  int result = checkInputFile(path);
  *loader = NULL;
  if (result != EXIT_OK) return result;
  status = zopraDocumentLoaderCreate(loader);
  if (status != ZOPRA_STATUS_SUCCESS) return reportFailure(path, status);
  status = zopraDocumentLoaderOpenFileA(*loader, path);
  if (status != ZOPRA_STATUS_SUCCESS) {
    zopraDocumentLoaderDestroy(*loader);
    *loader = NULL;
    return reportFailure(path, status);
  }
  return EXIT_OK;
}

int finishOutput(void) { return closeOutputFile(stdout, "-"); }

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
      currentCommand = &kSubcommands[i];
      return kSubcommands[i].run(argc - 2, argv + 2);
    }
  }
  return usageError("unknown command", command);
}
