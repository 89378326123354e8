/*
 * zopra-pdf: inspect PDF files from the command line.
 *
 * Built on the public C interface only (zopra_document_loader.h). This file
 * only dispatches: each subcommand is one entry of the table below, with its
 * help; it receives the arguments that follow its name. What the commands
 * share is in cli.c.
 */
#include <stdio.h>
#include <string.h>

#include "cli.h"
#include "segments.h"
#include "zopra_document_loader.h"

#define RANGE_OPTIONS                                                              \
  "  -f FIRST       the first page (from 1; default 1)\n"                          \
  "  -l LAST        the last page (default, and for a larger number, the last one\n" \
  "                 of the document)\n"
#define PAGE_OPTION "  --page N       page N alone, as -f N -l N\n"
#define JSON_OPTION "  --json         print the result as one JSON object\n"
/* OUT is compact by default: fonts cut to the glyphs drawn, new streams
 * compressed, objects nothing uses left out. */
#define PLAIN_OPTION                                                                \
  "  --plain        write as the library's plain writer does: whole fonts, new\n" \
  "                 streams uncompressed, every object, one cross-reference\n"    \
  "                 table\n"
#define NEVER_THE_INPUT                                                               \
  "OUT is written only when no mistake or failure stopped the job (pages that\n"    \
  "cannot be read do not). An OUT that is IN itself, under any name, is refused\n" \
  "with exit status 2.\n"
/* As parallel.c spreads the pages of text and items. */
#define JOBS_OPTION                                                                     \
  "  -j N           spread the pages over N threads (default: one per processor);\n" \
  "                 the output is the same whatever N\n"

static const Subcommand kSubcommands[] = {
    {"info", "[--json] FILE", "print the page count and each page's size and rotation",
     "Prints the number of pages of FILE and the size and rotation of each page.\n",
     JSON_OPTION,
     "Lines \"pages: N\" and \"page P: WIDTH x HEIGHT, rotation R\"; with --json\n"
     "{\"file\":F,\"page_count\":N,\"pages\":[{\"page\":P,\"width\":W,\"height\":H,\n"
     "\"rotation\":R},...]}. Sizes are in PDF units (1/72 inch), as the page is\n"
     "displayed: width and height exchanged for pages rotated by 90 or 270 degrees.\n",
     runInfo},
    {"text", "[-j N] [-f FIRST] [-l LAST] [-o OUT] FILE|FOLDER... [OUT]",
     "write the text of the pages to FILE.txt, OUTPUT or - (stdout)",
     "Writes the text of the pages FIRST to LAST of FILE to OUT, as pdftotext does.\n"
     "Without OUT the text goes to FILE with its .pdf extension (any case) replaced\n"
     "by .txt, or with .txt added; OUT - is standard output. An OUT that is FILE\n"
     "itself is refused with exit status 2. A second name that is -, or neither a\n"
     "folder nor a name ending in .pdf, is OUT. Otherwise every name is an input:\n"
     "several files, or a FOLDER (its files ending in .pdf, by name), are done in\n"
     "turn, each to its own .txt, or all to -o OUT in the order given.\n",
     RANGE_OPTIONS JOBS_OPTION
     "  -o OUT         the text of every file, one after the other (- for stdout)\n",
     "The text of each page in UTF-8, followed by a form feed. A page that cannot be\n"
     "read is reported and left empty; the other pages are still written. A file\n"
     "that cannot be read is reported and the others are still done.\n",
     runText},
    {"items", "[-j N] [-f FIRST] [-l LAST|--page N] [--json] FILE...",
     "print the text items of the pages with position, font size and width",
     "Prints the text items of the pages of FILE (every page without -f, -l or\n"
     "--page), one per line. Items are numbered on each page from 1, in the order\n"
     "the library reads them; erase --items and replace maps take these numbers.\n"
     "Several files, or a FOLDER (its files ending in .pdf, by name), are done in\n"
     "turn.\n",
     RANGE_OPTIONS PAGE_OPTION JOBS_OPTION JSON_OPTION,
     "Per item, separated by tabs: page, item, x and y of the start of its baseline,\n"
     "font size (as the content sets it), effective font size (scaled by the text\n"
     "matrix: the size the page shows), width along the baseline, and the text.\n"
     "Positions and widths are in PDF units. With --json: {\"file\":F,\"pages\":\n"
     "[{\"page\":P,\"items\":[{\"page\":P,\"item\":I,\"text\":T,\"x\":X,\"y\":Y,\n"
     "\"font_size\":S,\"effective_font_size\":E,\"width\":W},...]},...]}.\n"
     "With several files each line starts with the file's name and a tab; with\n"
     "--json each file gives one object on its own line.\n",
     runItems},
    {"graphics", "[-f FIRST] [-l LAST|--page N] [--min S] [--json] FILE",
     "print the painted path pieces and drawn images of the pages",
     "Prints what the pages of FILE paint (every page without -f, -l or --page):\n"
     "each piece of a stroked or filled path and each drawn image, one per line.\n",
     RANGE_OPTIONS PAGE_OPTION
     "  --min S        leave out pieces whose width and height are both below S\n"
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
     "write IN anew as OUT: unencrypted, compact unless --plain",
     "Opens IN and writes it to OUT as a new, unencrypted PDF file, leaving out\n"
     "objects nothing refers to.\n",
     PLAIN_OPTION,
     "Nothing on standard output.\n" NEVER_THE_INPUT,
     runRewrite},
    {"erase", "IN OUT [--pages LIST] [--items PAGE:I,J,...] [--plain]",
     "write IN as OUT without the text of the pages (default all) or items",
     "Writes IN to OUT without the text of the chosen pages or items; without\n"
     "--pages and --items, without the text of every page. A page that cannot be\n"
     "read is named and left as it is; the others are done and OUT is written.\n",
     "  --pages LIST   the pages whose text goes, as 1,3-5 (from 1)\n"
     "  --items P:I,J  items I, J, ... of page P, numbered as items prints them;\n"
     "                 may be given again; all items of one page are numbered as\n"
     "                 items prints them for the input\n"
     "  -j N           erase whole pages on N threads, each editing a range of\n"
     "                 pages on its own handle (with --items, one thread), and\n"
     "                 deflate on N threads when writing (default: one per\n"
     "                 processor); OUT is the same for every N\n" PLAIN_OPTION,
     "Nothing on standard output.\n" NEVER_THE_INPUT,
     runErase},
    {"segments", "[-f FIRST] [-l LAST] [-j N] [--format F] IN [OUTPUT]",
     "write the paragraphs, headings, list items and cells to translate",
     "Writes the blocks of the pages FIRST to LAST of IN (paragraphs, headings, list\n"
     "items, table cells and captions, in reading order) to OUTPUT as segments to\n"
     "translate. Without OUTPUT they go to IN with .pdf replaced by .segments.json\n"
     "(.xlf with --format xliff); OUTPUT - is standard output. replace --segments\n"
     "reads them back.\n",
     RANGE_OPTIONS JOBS_OPTION
     "  --format F     json (default) or xliff (XLIFF 2.1, one unit per segment)\n",
     "JSON: {\"file\":IN,\"segments\":[{\"id\":\"p1-b1\",\"page\":1,\"box\":[x0,y0,x1,y1],\n"
     "\"text\":T,\"kind\":K,\"alignment\":A,\"size\":S,\"lines\":N,\"font\":F,\"bold\":B,\n"
     "\"italic\":I},...]}: ids are pP-bB (page and block from 1), the same for the same\n"
     "input; boxes in PDF units; kind paragraph, heading, list-item, table-cell,\n"
     "caption or code; alignment left, center, right or justified. Lines are joined\n"
     "by a space, words hyphenated at a line end joined back, ligatures spelled\n"
     "out; the lines of code and of table columns without rules (figures, or one\n"
     "word a line) are joined by a line feed and keep their breaks.\n",
     runSegments},
    {"replace", "IN OUT --map MAP.json | --segments FILE [OPTIONS]",
     "write IN as OUT with the text of items replaced, fitted to each item",
     "Writes IN to OUT with the text of items replaced: each item is removed and\n"
     "its new text drawn at its place, in its size and colour, in an installed\n"
     "face of its style (serif, sans or mono; bold; italic) with fallback faces for\n"
     "characters that face lacks, fitted to the room on its line and kept centred\n"
     "or right-aligned like the item. Faces are found through fontconfig.\n",
     "  --map F        a JSON file, either [{\"page\":P,\"item\":I,\"text\":\"new\"},...]\n"
     "                 with items numbered as items prints them, or\n"
     "                 {\"old text\":\"new text\",...} for every item that reads\n"
     "                 \"old text\"; an empty new text only removes the item\n"
     "  --match M      how keys of an object map meet item texts: nfkc (default)\n"
     "                 compares them after Unicode NFKC normalisation (ligatures\n"
     "                 read as letters, fullwidth forms and no-break spaces as\n"
     "                 plain ones) with runs of white space made one space and\n"
     "                 none at either end; exact compares them byte for byte\n"
     "  --font F       TrueType font of every new text, instead of a face chosen\n"
     "                 by style; fallback faces still give what it lacks\n"
     "  --fit M        shrink (default) draws a text wider than its room smaller,\n"
     "                 down to --min-size; none keeps the item's size\n"
     "  --min-size PT  the smallest size to shrink to, in points as the page shows\n"
     "                 them (default half the item's shown size, a fifth of a\n"
     "                 block's with --segments)\n"
     "  --segments F   segments as segments writes them (other members ignored): the\n"
     "                 text of each replaces its block, flowed over the block's lines\n"
     "                 and the free room below, the block shrunk evenly when needed;\n"
     "                 an unknown or repeated id or a text that is not a string\n"
     "                 stops the job\n"
     "  --format F     the form of --segments: json (default) or xliff\n"
     "  -j N           replace on N threads, each editing a range of\n"
     "                 pages on its own handle, and deflate on N threads when\n"
     "                 writing (default: one per processor); OUT and the reports\n"
     "                 are the same for every N\n" PLAIN_OPTION,
     "One line: \"replaced N items on P pages (S shrunk, O overflowing, M with\n"
     "missing characters); wrote OUT, B bytes\". Each item that still overflows\n"
     "its room, each item with characters no installed font has, keys of an\n"
     "object map that match no item, and pages that cannot be read get a line on\n"
     "standard error; overflow and missing characters leave the exit status 0.\n"
     NEVER_THE_INPUT,
     runReplace},
};

#define SUBCOMMAND_COUNT (sizeof kSubcommands / sizeof kSubcommands[0])

int main(int argc, char** argv) {
  size_t i;
  const char* command;
  useCommands(kSubcommands, SUBCOMMAND_COUNT);
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
      chooseCommand(&kSubcommands[i]);
      return kSubcommands[i].run(argc - 2, argv + 2);
    }
  }
  return usageError("unknown command", command);
}
