/* zopra-pdf segments: the blocks of the pages as segments to translate, and
 * replace --segments: each listed block's text replaced, flowed over it. */
#define _POSIX_C_SOURCE 200809L

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "cli.h"
#include "json_split.h"
#include "page_ranges.h"
#include "parallel.h"
#include "segments.h"
#include "zopra_document_loader.h"

/* A segments file is text; anything larger is a mistake. */
#define MAX_SEGMENTS_BYTES (256ul << 20)

static const char* const kKinds[] = {"paragraph", "heading", "list-item", "table-cell", "caption", "code"};
static const char* const kAlignments[] = {"left", "center", "right", "justified"};

int parseSegmentFormat(const char* text, SegmentFormat* format) {
  if (strcmp(text, "json") == 0) {
    *format = SEGMENTS_JSON;
    return 1;
  }
  if (strcmp(text, "xliff") == 0) {
    *format = SEGMENTS_XLIFF;
    return 1;
  }
  return 0;
}

/* "p3-b12": page and block from 1. Stable for the same input: blocks are
 * numbered in reading order, which depends on the page alone. */
static void segmentId(char* id, size_t size, uint32_t page, uint32_t block) {
  snprintf(id, size, "p%lu-b%lu", (unsigned long)page + 1, (unsigned long)block + 1);
}

/* Page and block (from 0) of an id of that form; 0 when it is none. */
static int parseSegmentId(const char* id, uint32_t* page, uint32_t* block) {
  unsigned long p = 0, b = 0;
  int used = 0;
  if (sscanf(id, "p%lu-b%lu%n", &p, &b, &used) != 2 || id[used] != '\0' || p == 0 || b == 0 ||
      p > 0xFFFFFFFFul || b > 0xFFFFFFFFul) {
    return 0;
  }
  *page = (uint32_t)(p - 1);
  *block = (uint32_t)(b - 1);
  return 1;
}

static json_t* segmentObject(const ZOPRADocumentLoaderBlockInfo* info, uint32_t page, uint32_t block) {
  char id[48];
  json_t* segment = json_object();
  json_t* box = json_array();
  if (!segment || !box) {
    json_decref(segment);
    json_decref(box);
    return NULL;
  }
  segmentId(id, sizeof id, page, block);
  json_array_append_new(box, jsonNumber(info->x0));
  json_array_append_new(box, jsonNumber(info->y0));
  json_array_append_new(box, jsonNumber(info->x1));
  json_array_append_new(box, jsonNumber(info->y1));
  json_object_set_new(segment, "id", json_string(id));
  json_object_set_new(segment, "page", json_integer((json_int_t)page + 1));
  json_object_set_new(segment, "box", box);
  json_object_set_new(segment, "text", jsonString(info->text));
  json_object_set_new(segment, "kind", json_string(info->kind >= 0 && info->kind < 6 ? kKinds[info->kind] : "paragraph"));
  json_object_set_new(segment, "alignment",
                      json_string(info->alignment >= 0 && info->alignment < 4 ? kAlignments[info->alignment] : "left"));
  json_object_set_new(segment, "size", jsonNumber(info->shownSize));
  json_object_set_new(segment, "lines", json_integer((json_int_t)info->lineCount));
  json_object_set_new(segment, "font", jsonString(info->fontName));
  json_object_set_new(segment, "bold", json_boolean(info->bold));
  json_object_set_new(segment, "italic", json_boolean(info->italic));
  return segment;
}

/* `input` with .pdf (any case) replaced by `extension`, or with it added. */
static char* outputName(const char* input, const char* extension) {
  size_t length = strlen(input);
  size_t stem = length;
  size_t extra = strlen(extension);
  char* name;
  if (length > 4 && input[length - 4] == '.' && (input[length - 3] | 0x20) == 'p' &&
      (input[length - 2] | 0x20) == 'd' && (input[length - 1] | 0x20) == 'f') {
    stem = length - 4;
  }
  name = malloc(stem + extra + 1);
  if (!name) return NULL;
  memcpy(name, input, stem);
  memcpy(name + stem, extension, extra + 1);
  return name;
}

/* Writes the page's blocks to `out`, one compact JSON segment a line; a
 * library status. Runs on a worker thread with that thread's handle. */
static int32_t segmentsPage(ZOPRADocumentLoader* loader, const char* path, uint32_t page, FILE* out,
                            void* context) {
  uint32_t count = 0;
  uint32_t block;
  int32_t status = zopraDocumentLoaderExtractPageBlocks(loader, page, &count);
  (void)path;
  (void)context;
  for (block = 0; status == ZOPRA_STATUS_SUCCESS && block < count; ++block) {
    ZOPRADocumentLoaderBlockInfo info;
    json_t* segment;
    status = zopraDocumentLoaderGetBlock(loader, block, &info);
    if (status != ZOPRA_STATUS_SUCCESS) break;
    segment = segmentObject(&info, page, block);
    if (!segment) {
      status = ZOPRA_STATUS_MEMORY_INSUFFICIENT;
      break;
    }
    printJson(out, segment);
    putc('\n', out);
  }
  return status;
}

/* The segments of the pages, gathered in page order: the output file is
 * created only once every page is done. */
typedef struct {
  FILE* lines; /* one segment a line */
  char* data;
  size_t size;
  int failed;
} SegmentsJob;

static int emitSegments(const char* path, uint32_t page, const char* data, size_t size, int32_t status,
                        void* context) {
  SegmentsJob* job = context;
  if (status == ZOPRA_STATUS_MEMORY_INSUFFICIENT) return reportFailure(path, status);
  /* An unreadable page keeps the blocks read before the failure. */
  fwrite(data, 1, size, job->lines);
  return status == ZOPRA_STATUS_SUCCESS ? EXIT_OK : reportPageUnread(path, page, status);
}

/* Writes the gathered lines to `out` as the segments document; 0 when
 * everything was written. */
static int writeSegments(FILE* out, const char* input, SegmentFormat format, const char* lines, size_t size) {
  const char* line = lines;
  const char* end = lines + size;
  size_t k = 0;
  if (format == SEGMENTS_XLIFF) {
    json_t* segments = json_array();
    int failed = !segments;
    for (; !failed && line < end; ++k) {
      const char* next = memchr(line, '\n', (size_t)(end - line));
      size_t length = next ? (size_t)(next - line) : (size_t)(end - line);
      json_t* segment = json_loadb(line, length, 0, NULL);
      failed = !segment || json_array_append_new(segments, segment) != 0;
      line += length + 1;
    }
    if (!failed) failed = writeSegmentsXliff(out, input, segments);
    json_decref(segments);
    return failed;
  }
  /* One segment a line: easy to read, to diff and to edit by hand. */
  fputs("{\"file\":", out);
  printJson(out, jsonString(input));
  fputs(",\"segments\":[", out);
  for (; line < end; ++k) {
    const char* next = memchr(line, '\n', (size_t)(end - line));
    size_t length = next ? (size_t)(next - line) : (size_t)(end - line);
    fputs(k ? ",\n " : "\n ", out);
    fwrite(line, 1, length, out);
    line += length + 1;
  }
  return fputs("\n]}\n", out) == EOF || ferror(out);
}

int runSegments(int argc, char** argv) {
  const char* paths[2] = {NULL, NULL};
  int pathCount = 0;
  PageRange range = {0, 0};
  SegmentFormat format = SEGMENTS_JSON;
  unsigned jobs = defaultJobs();
  char* defaultOutput = NULL;
  const char* output;
  SegmentsJob job = {NULL, NULL, 0, 0};
  PageWork work = {segmentsPage, NULL, emitSegments, NULL, &job};
  InputList inputs = {NULL, 0};
  FILE* out = NULL;
  int result = EXIT_OK;
  int i;
  for (i = 0; i < argc; ++i) {
    if (takePageOption(argc, argv, &i, 0, &range, &result) || takeJobsOption(argc, argv, &i, &jobs, &result)) {
      if (result != EXIT_OK) return result;
    } else if (strcmp(argv[i], "--help") == 0 || strcmp(argv[i], "-h") == 0) {
      printHelp();
      return EXIT_OK;
    } else if (strcmp(argv[i], "--format") == 0 && i + 1 < argc) {
      if (!parseSegmentFormat(argv[++i], &format)) return usageError("--format takes json or xliff", argv[i]);
    } else if (argv[i][0] == '-' && argv[i][1] != '\0') {
      return usageError("unknown option, or an option without its value", argv[i]);
    } else if (pathCount == 2) {
      return usageError("more than two files given", argv[i]);
    } else {
      paths[pathCount++] = argv[i];
    }
  }
  if (pathCount == 0) return usageError("no file given", NULL);
  output = paths[1];
  if (!output) {
    defaultOutput = outputName(paths[0], format == SEGMENTS_XLIFF ? ".xlf" : ".segments.json");
    if (!defaultOutput) return reportFailure(paths[0], ZOPRA_STATUS_MEMORY_INSUFFICIENT);
    output = defaultOutput;
  }
  if (output[0] == '\0') result = usageError("empty output file name", NULL);
  if (result == EXIT_OK && strcmp(output, "-") != 0) result = refuseInputAsOutput(paths[0], output);
  if (result == EXIT_OK) {
    job.lines = open_memstream(&job.data, &job.size);
    if (!job.lines) result = reportFailure(paths[0], ZOPRA_STATUS_MEMORY_INSUFFICIENT);
  }
  /* The one input is never taken for a folder: segment ids name its pages. */
  if (result == EXIT_OK) result = listFile(paths[0], &inputs);
  if (result == EXIT_OK) result = runPages(&inputs, &range, jobs, strcmp(output, "-") != 0, &work);
  freeInputs(&inputs);
  if (job.lines && fclose(job.lines) != 0 && (result == EXIT_OK || result == EXIT_PAGES_UNREAD)) {
    result = reportFailure(paths[0], ZOPRA_STATUS_MEMORY_INSUFFICIENT);
  }
  /* The output is created once everything is known. */
  if (result == EXIT_OK || result == EXIT_PAGES_UNREAD) {
    out = openOutputFile(output);
    if (!out) result = EXIT_WRITE_FAILED;
  }
  if (out) {
    int failed = writeSegments(out, paths[0], format, job.data, job.size);
    int closed;
    if (failed) fprintf(stderr, PROGRAM ": %s: cannot write the segments\n", output);
    closed = closeOutputFile(out, output);
    if (failed || closed != EXIT_OK) result = EXIT_WRITE_FAILED;
  }
  free(job.data);
  free(defaultOutput);
  return result;
}

/* ---- replace --segments ---------------------------------------------- */

/* One segment to replace: block `block` of page `page` (from 0). */
typedef struct {
  uint32_t page;
  uint32_t block;
  const char* id;
  const char* text;
} Replacement;

static int compareReplacements(const void* l, const void* r) {
  const Replacement* a = l;
  const Replacement* b = r;
  if (a->page != b->page) return a->page < b->page ? -1 : 1;
  if (a->block != b->block) return a->block < b->block ? -1 : 1;
  return 0;
}

static json_t* readSegmentsJson(const char* path, unsigned jobs) {
  json_error_t error;
  struct stat info;
  json_t* root;
  json_t* segments;
  if (stat(path, &info) != 0 || S_ISDIR(info.st_mode)) {
    fprintf(stderr, PROGRAM ": %s: cannot read the segments file\n", path);
    return NULL;
  }
  if ((unsigned long)info.st_size > MAX_SEGMENTS_BYTES) {
    fprintf(stderr, PROGRAM ": %s: too large for a segments file\n", path);
    return NULL;
  }
  /* Read whole and parsed from memory: jansson reads a file one getc at a
   * time, which takes longer than the parsing itself. */
  {
    size_t length = 0;
    ReadFailure failure;
    char* text = readWholeFile(path, MAX_SEGMENTS_BYTES, &length, &failure);
    if (!text) {
      fprintf(stderr, PROGRAM ": %s: %s\n", path,
              failure == READ_TOO_LARGE ? "too large for a segments file" : "cannot read the segments file");
      return NULL;
    }
    root = jsonLoadSplit(text, length, JSON_REJECT_DUPLICATES, "segments", jobs, &error);
    free(text);
  }
  if (!root) {
    fprintf(stderr, PROGRAM ": %s:%d:%d: %s\n", path, error.line, error.column, error.text);
    return NULL;
  }
  segments = json_object_get(root, "segments");
  if (!json_is_array(segments)) {
    fprintf(stderr, PROGRAM ": %s: no \"segments\" array\n", path);
    json_decref(root);
    return NULL;
  }
  json_incref(segments);
  json_decref(root);
  return segments;
}

/* Checks ids and texts and sorts them by page and block; EXIT_OK or
 * EXIT_USAGE after a one-line report. Ids are checked against the
 * document's pages here and against each page's blocks as it is done
 * (nothing is written before the whole job is). */
static int takeReplacements(const char* path, json_t* segments, uint32_t pages, Replacement** list, size_t* count) {
  size_t n = json_array_size(segments);
  size_t i;
  Replacement* entries = calloc(n ? n : 1, sizeof *entries);
  *list = entries;
  *count = 0;
  if (!entries) return reportFailure(path, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
  for (i = 0; i < n; ++i) {
    json_t* segment = json_array_get(segments, i);
    json_t* id = json_object_get(segment, "id");
    json_t* text = json_object_get(segment, "text");
    Replacement* entry = &entries[i];
    if (!json_is_string(id)) {
      fprintf(stderr, PROGRAM ": %s: segment %lu has no string \"id\"\n", path, (unsigned long)i + 1);
      return EXIT_USAGE;
    }
    entry->id = json_string_value(id);
    if (!json_is_string(text)) {
      fprintf(stderr, PROGRAM ": %s: the text of segment %s is not a string\n", path, entry->id);
      return EXIT_USAGE;
    }
    entry->text = json_string_value(text);
    if (!parseSegmentId(entry->id, &entry->page, &entry->block) || entry->page >= pages) {
      fprintf(stderr, PROGRAM ": %s: unknown segment id %s\n", path, entry->id);
      return EXIT_USAGE;
    }
  }
  qsort(entries, n, sizeof *entries, compareReplacements);
  for (i = 1; i < n; ++i) {
    if (compareReplacements(&entries[i - 1], &entries[i]) == 0) {
      fprintf(stderr, PROGRAM ": %s: segment id %s is given twice\n", path, entries[i].id);
      return EXIT_USAGE;
    }
  }
  *count = n;
  return EXIT_OK;
}

typedef struct {
  unsigned long replaced;
  unsigned long shrunk;
  unsigned long overflowing;
  unsigned long pages;
} SegmentCounts;

/* The font chain for a block's new text: faces of the style most of the
 * block is set in, with fallbacks for the text's characters. */
static uint32_t blockFonts(ZOPRADocumentLoader* loader, FontChoice* fonts, uint32_t block, const char* text,
                           const char** chain) {
  ZOPRADocumentLoaderTextStyle style;
  ZOPRADocumentLoaderBlockInfo info;
  memset(&style, 0, sizeof style);
  if (zopraDocumentLoaderGetBlock(loader, block, &info) == ZOPRA_STATUS_SUCCESS) {
    zopraDocumentLoaderGetTextStyle(loader, &style, info.styleItem);
  }
  return fontChoiceChain(fonts, &style, text, chain);
}

/* Replaces the segments list[begin, end) of one page. */
static int replacePageSegments(ZOPRADocumentLoader* loader, const SegmentReplace* job, const Replacement* list,
                               size_t begin, size_t end, SegmentCounts* counts) {
  const uint32_t page = list[begin].page;
  uint32_t blocks = 0;
  uint32_t* items = NULL;
  uint32_t itemCount = 0;
  size_t k;
  int result;
  int32_t status = zopraDocumentLoaderExtractPageBlocks(loader, page, &blocks);
  if (status != ZOPRA_STATUS_SUCCESS) return reportPageUnread(job->input, page, status);
  for (k = begin; k < end; ++k) {
    uint32_t n = 0;
    uint32_t* more;
    if (list[k].block >= blocks) {
      fprintf(reportStream(), PROGRAM ": %s: unknown segment id %s (page %lu has %lu blocks)\n", job->segmentsPath,
              list[k].id, (unsigned long)page + 1, (unsigned long)blocks);
      free(items);
      return EXIT_USAGE;
    }
    zopraDocumentLoaderGetBlockItems(loader, list[k].block, NULL, 0, &n);
    more = realloc(items, ((size_t)itemCount + n + 1) * sizeof *items);
    if (!more) {
      free(items);
      return reportFailure(job->input, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
    }
    items = more;
    zopraDocumentLoaderGetBlockItems(loader, list[k].block, items + itemCount, n, &n);
    itemCount += n;
  }
  status = itemCount ? zopraDocumentLoaderRemoveOriginalTextByIndex(loader, page, items, itemCount)
                     : ZOPRA_STATUS_SUCCESS;
  free(items);
  if (status != ZOPRA_STATUS_SUCCESS) return reportPageUnread(job->input, page, status);
  result = reportTextLeft(loader, job->input, page);
  for (k = begin; k < end; ++k) {
    ZOPRADocumentLoaderBlockFlow flow;
    /* An empty text only removes the block; one of white space as well. */
    if (strspn(list[k].text, " \t\r\n") == strlen(list[k].text)) {
      ++counts->replaced;
      continue;
    }
    const char* chain[FONT_CHAIN_MAX];
    uint32_t fonts = blockFonts(loader, job->fonts, list[k].block, list[k].text, chain);
    status = zopraDocumentLoaderFlowBlockA(loader, list[k].block, list[k].text, chain, fonts, job->minSize, &flow);
    if (status == ZOPRA_STATUS_INVALID_ARGUMENT) {
      fprintf(reportStream(), PROGRAM ": %s: the text of segment %s is not UTF-8\n", job->segmentsPath, list[k].id);
      return EXIT_USAGE;
    }
    if (status == ZOPRA_STATUS_OTHER_ERROR) {
      fprintf(reportStream(), PROGRAM ": %s: not a TrueType font with a Unicode character map, or page %lu is damaged\n",
              chain[0], (unsigned long)page + 1);
      return EXIT_USAGE;
    }
    if (status != ZOPRA_STATUS_SUCCESS) return reportFailure(job->input, status);
    if (flow.scale < 1.0) ++counts->shrunk;
    if (flow.overflows) {
      char size[64];
      formatNumber(flow.shownSize, size, sizeof size);
      fprintf(reportStream(), PROGRAM ": segment %s does not fit its block: %lu lines at size %s run below the room\n",
              list[k].id, (unsigned long)flow.linesUsed, size);
      ++counts->overflowing;
    }
    if (flow.missingCharacters) {
      fprintf(reportStream(), PROGRAM ": segment %s: the font has no glyph for %lu character%s (drawn as spaces)\n",
              list[k].id, (unsigned long)flow.missingCharacters, flow.missingCharacters == 1 ? "" : "s");
    }
    ++counts->replaced;
  }
  ++counts->pages;
  return result;
}

/* The segments of pages first..last, on one handle with its own font
 * choice (which keeps state between blocks). */
static int replaceSegmentRange(ZOPRADocumentLoader* loader, const SegmentReplace* job, FontChoice* fonts,
                               const Replacement* list, size_t count, uint32_t first, uint32_t last,
                               SegmentCounts* counts) {
  SegmentReplace own = *job;
  size_t begin = 0;
  size_t above = count;
  int outcome = EXIT_OK;
  own.fonts = fonts;
  /* The list is in page order: its first entry on a page from `first`. */
  while (begin < above) {
    const size_t middle = begin + (above - begin) / 2;
    if (list[middle].page < first) begin = middle + 1;
    else above = middle;
  }
  while (begin < count && list[begin].page <= last) {
    size_t end = begin;
    while (end < count && list[end].page == list[begin].page) ++end;
    if (!goOn(replacePageSegments(loader, &own, list, begin, end, counts), &outcome)) break;
    begin = end;
  }
  return outcome;
}

/* The pages of one document replaced on several threads. */
typedef struct {
  const SegmentReplace* job;
  const Replacement* list;
  size_t count;
  unsigned workers;
  SegmentCounts* counts; /* per worker */
  FontChoice** fonts;    /* per worker, made on its first page */
  int outcome;
} SegmentRanges;

static int segmentPageJob(ZOPRADocumentLoader* loader, uint32_t page, unsigned worker, void* context) {
  SegmentRanges* ranges = context;
  if (!ranges->fonts[worker]) ranges->fonts[worker] = fontChoiceCreate(ranges->job->fontPath);
  if (!ranges->fonts[worker]) return reportFailure(ranges->job->input, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
  return replaceSegmentRange(loader, ranges->job, ranges->fonts[worker], ranges->list, ranges->count, page, page,
                             &ranges->counts[worker]);
}

static int segmentPageDone(unsigned page, int result, void* context) {
  SegmentRanges* ranges = context;
  (void)page;
  return goOn(result, &ranges->outcome);
}

/* Replaces the listed segments of all pages, on job->jobs threads when
 * there are several pages to edit. */
static int replaceAllSegments(ZOPRADocumentLoader* loader, const SegmentReplace* job, const Replacement* list,
                              size_t count, uint32_t pages, OpenedAhead* ahead, SegmentCounts* counts) {
  unsigned jobs = job->jobs < pages ? job->jobs : pages;
  SegmentRanges ranges;
  double* costs;
  size_t i;
  unsigned k;
  int result;
  if (count == 0) return EXIT_OK;
  /* Flowing and drawing grow with the length of the new text, and reading
   * a page costs about as much as flowing a hundred bytes of it; a page
   * without segments is not read at all. */
  costs = calloc(pages, sizeof *costs);
  memset(&ranges, 0, sizeof ranges);
  ranges.workers = pageRangeThreads(pages, jobs);
  ranges.counts = calloc(ranges.workers, sizeof *ranges.counts);
  ranges.fonts = calloc(ranges.workers, sizeof *ranges.fonts);
  if (ranges.fonts) ranges.fonts[0] = job->fonts;
  if (!costs || !ranges.counts || !ranges.fonts) {
    free(costs);
    free(ranges.counts);
    free(ranges.fonts);
    return reportFailure(job->input, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
  }
  for (i = 0; i < count; ++i) {
    costs[list[i].page] += (costs[list[i].page] == 0 ? 1 : 0) + (double)strlen(list[i].text) / 100;
  }
  ranges.job = job;
  ranges.list = list;
  ranges.count = count;
  result = editPageRanges(loader, job->input, pages, costs, jobs, ahead, segmentPageJob, segmentPageDone, &ranges);
  if (result == EXIT_OK) result = ranges.outcome;
  for (k = 0; k < ranges.workers; ++k) {
    counts->replaced += ranges.counts[k].replaced;
    counts->shrunk += ranges.counts[k].shrunk;
    counts->overflowing += ranges.counts[k].overflowing;
    counts->pages += ranges.counts[k].pages;
    if (k > 0) fontChoiceDestroy(ranges.fonts[k]);
  }
  free(costs);
  free(ranges.counts);
  free(ranges.fonts);
  return result;
}

/* What the write no longer needs besides the spare handles. */
typedef struct {
  Replacement* list;
  json_t* segments;
} SegmentLeftovers;

static void releaseSegments(void* context) {
  SegmentLeftovers* leftovers = context;
  free(leftovers->list);
  json_decref(leftovers->segments);
}

int replaceSegments(const SegmentReplace* job) {
  /* The file is opened for each thread, and once more as a spare, while
   * the segments are read. */
  OpenedAhead* ahead = openAhead(job->input, job->jobs > 1 ? job->jobs + 1 : 1);
  json_t* segments = job->format == SEGMENTS_XLIFF ? readSegmentsXliff(job->segmentsPath)
                                                    : readSegmentsJson(job->segmentsPath, job->jobs);
  ZOPRADocumentLoader* loader = NULL;
  Replacement* list = NULL;
  size_t count = 0;
  uint32_t pages = 0;
  SegmentCounts counts = {0, 0, 0, 0};
  struct stat written;
  int outcome = EXIT_OK;
  int result;
  if (!segments) {
    closeAhead(ahead);
    return EXIT_USAGE;
  }
  result = openForWritingAhead(job->input, job->output, ahead, &loader);
  if (result == EXIT_OK) {
    zopraDocumentLoaderGetPageCount(loader, &pages);
    result = takeReplacements(job->segmentsPath, segments, pages, &list, &count);
  }
  if (result == EXIT_OK) {
    int step = replaceAllSegments(loader, job, list, count, pages, ahead, &counts);
    if (step == EXIT_PAGES_UNREAD || step == EXIT_TEXT_LEFT) {
      outcome = step;
    } else {
      result = step;
    }
  }
  {
    /* Released beside the write. */
    SegmentLeftovers leftovers = {list, segments};
    Aside aside;
    startAside(&aside, job->jobs, ahead, releaseSegments, &leftovers);
    if (result == EXIT_OK) {
      setWriteThreads(job->jobs);
      result = writeAndClose(loader, job->input, job->output, job->plain);
    } else {
      zopraDocumentLoaderDestroy(loader);
    }
    endAside(&aside);
  }
  if (result != EXIT_OK) return result;
  printf("replaced %lu segment%s on %lu page%s (%lu shrunk, %lu overflowing); wrote %s, %lld bytes\n",
         counts.replaced, counts.replaced == 1 ? "" : "s", counts.pages, counts.pages == 1 ? "" : "s", counts.shrunk,
         counts.overflowing, job->output, stat(job->output, &written) == 0 ? (long long)written.st_size : -1ll);
  return outcome != EXIT_OK ? outcome : finishOutput();
}
