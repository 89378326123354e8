/* zopra-pdf replace: the text of chosen items replaced by new text, drawn at
 * each item's place in its size and colour, in installed faces that match
 * its style, fitted to the room the item has on its line. */
#include <errno.h>
#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "cli.h"
#include "font_choice.h"
#include "json_split.h"
#include "page_ranges.h"
#include "parallel.h"
#include "segments.h"
#include "text_match.h"
#include "zopra_document_loader.h"

/* A map is text written by hand or by a script; anything larger is a
 * mistake, such as a PDF given in its place. */
#define MAX_MAP_BYTES (64ul << 20)
/* Chains tried for one item when the library refuses one of its fonts; each
 * try leaves at least one font out. */
#define MAX_FONT_TRIES 8

typedef struct {
  const char* input;
  const char* output;
  const char* mapPath;
  const char* fontPath; /* --font, or NULL */
  FontChoice* fonts;
  int shrink;
  int exact; /* object map keys compared byte for byte */
  double minSize; /* points as shown; 0: half the item's shown size */
  int plain;      /* written as zopraDocumentLoaderWriteDocumentA writes */
  const char* segmentsPath; /* --segments: blocks replaced (segments_command.c) */
  SegmentFormat segmentFormat;
  unsigned jobs; /* -j: threads editing the document's pages */
} ReplaceOptions;

/* One entry of an array map; page and item from 0, entry from 1. */
typedef struct {
  uint32_t page;
  uint32_t item;
  const char* text;
  size_t entry;
} ItemText;

/* One member of an object map: the key as written, the form it is compared
 * in, and the new text. */
typedef struct {
  const char* key;
  char* compared;
  const char* text;
} KeyText;

/* The map, in one of its two forms; the strings belong to `json`. */
typedef struct {
  json_t* json;
  ItemText* items; /* array form, sorted by page and item */
  size_t itemCount;
  KeyText* texts; /* object form, sorted by compared key */
  size_t textCount;
  unsigned char* matched; /* object form: a key met an item */
} ReplaceMap;

typedef struct {
  unsigned long replaced;
  unsigned long shrunk;
  unsigned long overflowing;
  unsigned long missing; /* items with characters no font has */
  unsigned long pages;
} Counts;

static int parseReplaceArguments(int argc, char** argv, ReplaceOptions* options) {
  const char* paths[2] = {NULL, NULL};
  int pathCount = 0;
  int i;
  memset(options, 0, sizeof *options);
  options->shrink = 1;
  options->jobs = defaultJobs();
  for (i = 0; i < argc; ++i) {
    int jobsResult = EXIT_OK;
    const char* argument = argv[i];
    const char* value = i + 1 < argc ? argv[i + 1] : NULL;
    if (strcmp(argument, "--help") == 0 || strcmp(argument, "-h") == 0) {
      printHelp();
      return EXIT_HELP_SHOWN;
    } else if (strcmp(argument, "--map") == 0 && value) {
      options->mapPath = argv[++i];
    } else if (strcmp(argument, "--segments") == 0 && value) {
      options->segmentsPath = argv[++i];
    } else if (strcmp(argument, "--format") == 0 && value) {
      if (!parseSegmentFormat(argv[++i], &options->segmentFormat)) return usageError("--format takes json or xliff", value);
    } else if (strcmp(argument, "--plain") == 0) {
      options->plain = 1;
    } else if (takeJobsOption(argc, argv, &i, &options->jobs, &jobsResult)) {
      if (jobsResult != EXIT_OK) return jobsResult;
    } else if (strcmp(argument, "--font") == 0 && value) {
      options->fontPath = argv[++i];
    } else if (strcmp(argument, "--fit") == 0 && value) {
      if (strcmp(value, "shrink") != 0 && strcmp(value, "none") != 0) {
        return usageError("--fit takes shrink or none", value);
      }
      options->shrink = strcmp(argv[++i], "shrink") == 0;
    } else if (strcmp(argument, "--match") == 0 && value) {
      if (strcmp(value, "nfkc") != 0 && strcmp(value, "exact") != 0) {
        return usageError("--match takes nfkc or exact", value);
      }
      options->exact = strcmp(argv[++i], "exact") == 0;
    } else if (strcmp(argument, "--min-size") == 0 && value) {
      if (!parseSize(value, &options->minSize) || !(options->minSize > 0) || options->minSize > 1e6) {
        return usageError("not a font size in points", value);
      }
      ++i;
    } else if (argument[0] == '-' && argument[1] != '\0') {
      return usageError("unknown option, or an option without its value", argument);
    } else if (pathCount == 2) {
      return usageError("more than two files given", argument);
    } else {
      paths[pathCount++] = argument;
    }
  }
  if (pathCount < 2) return usageError("replace needs an input and an output file", NULL);
  if (!options->mapPath == !options->segmentsPath) {
    return usageError("replace needs a map (--map MAP.json) or segments (--segments FILE), not both", NULL);
  }
  options->input = paths[0];
  options->output = paths[1];
  return EXIT_OK;
}

/* The whole file in a new NUL-terminated buffer, or NULL after a report. */
static char* readMapFile(const char* path, size_t* length) {
  ReadFailure failure;
  char* text = readWholeFile(path, MAX_MAP_BYTES, length, &failure);
  if (text) return text;
  if (failure == READ_TOO_LARGE) {
    fprintf(reportStream(), PROGRAM ": %s: the map file is larger than %lu MiB\n", path, MAX_MAP_BYTES >> 20);
  } else if (failure == READ_NO_MEMORY) {
    fprintf(reportStream(), PROGRAM ": %s: out of memory reading the map file\n", path);
  } else {
    fprintf(reportStream(), PROGRAM ": %s: cannot read the map file (%s)\n", path, strerror(errno));
  }
  return NULL;
}

/* A whole number from 1 to 2^32 as a 0-based index; 0 when it is not one. */
static int itemNumber(const json_t* value, uint32_t* index) {
  double number;
  if (!json_is_number(value)) return 0;
  number = json_number_value(value);
  if (!(number >= 1) || number > 4294967296.0 || number != floor(number)) return 0;
  *index = (uint32_t)(number - 1);
  return 1;
}

static int compareItems(const void* left, const void* right) {
  const ItemText* a = left;
  const ItemText* b = right;
  if (a->page != b->page) return a->page < b->page ? -1 : 1;
  if (a->item != b->item) return a->item < b->item ? -1 : 1;
  return a->entry < b->entry ? -1 : (a->entry > b->entry);
}

static int compareTexts(const void* left, const void* right) {
  return strcmp(((const KeyText*)left)->compared, ((const KeyText*)right)->compared);
}

static int mapError(const char* path, size_t entry, const char* reason) {
  fprintf(reportStream(), PROGRAM ": %s: entry %lu: %s\n", path, (unsigned long)entry, reason);
  return EXIT_USAGE;
}

static int loadListMap(const char* path, ReplaceMap* map) {
  size_t count = json_array_size(map->json);
  size_t i;
  map->items = calloc(count ? count : 1, sizeof *map->items);
  if (!map->items) return reportFailure(path, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
  for (i = 0; i < count; ++i) {
    const json_t* entry = json_array_get(map->json, i);
    const json_t* newText = json_object_get(entry, "text");
    ItemText* item = &map->items[i];
    /* Other members, such as those items --json prints, are ignored. */
    if (!itemNumber(json_object_get(entry, "page"), &item->page) ||
        !itemNumber(json_object_get(entry, "item"), &item->item) || !json_is_string(newText)) {
      return mapError(path, i + 1, "each entry needs \"page\" and \"item\" (whole numbers from 1) and \"text\" (a string)");
    }
    item->text = json_string_value(newText);
    item->entry = i + 1;
  }
  map->itemCount = count;
  qsort(map->items, map->itemCount, sizeof *map->items, compareItems);
  for (i = 1; i < map->itemCount; ++i) {
    if (map->items[i].page == map->items[i - 1].page && map->items[i].item == map->items[i - 1].item) {
      fprintf(reportStream(), PROGRAM ": %s: entries %lu and %lu give page %lu item %lu twice\n", path,
              (unsigned long)map->items[i - 1].entry, (unsigned long)map->items[i].entry,
              (unsigned long)map->items[i].page + 1, (unsigned long)map->items[i].item + 1);
      return EXIT_USAGE;
    }
  }
  return EXIT_OK;
}

static int loadTextMap(const char* path, ReplaceMap* map, int exact) {
  const char* key;
  json_t* value;
  size_t count = json_object_size(map->json);
  size_t i = 0;
  map->texts = calloc(count ? count : 1, sizeof *map->texts);
  map->matched = calloc(count ? count : 1, 1);
  if (!map->texts || !map->matched) return reportFailure(path, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
  json_object_foreach(map->json, key, value) {
    if (!json_is_string(value)) {
      fprintf(reportStream(), PROGRAM ": %s: the new text of ", path);
      printJson(reportStream(), jsonString(key));
      fputs(" is not a string\n", reportStream());
      return EXIT_USAGE;
    }
    map->texts[i].key = key;
    map->texts[i].text = json_string_value(value);
    map->texts[i].compared = matchKey(key, exact);
    map->textCount = ++i;
    if (!map->texts[i - 1].compared) return reportFailure(path, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
  }
  qsort(map->texts, map->textCount, sizeof *map->texts, compareTexts);
  for (i = 1; i < map->textCount; ++i) {
    if (strcmp(map->texts[i].compared, map->texts[i - 1].compared) != 0) continue;
    fprintf(reportStream(), PROGRAM ": %s: the keys ", path);
    printJson(reportStream(), jsonString(map->texts[i - 1].key));
    fputs(" and ", reportStream());
    printJson(reportStream(), jsonString(map->texts[i].key));
    fputs(" match the same texts (--match exact tells them apart)\n", reportStream());
    return EXIT_USAGE;
  }
  return EXIT_OK;
}

/* Reads and checks the map; EXIT_OK, or an exit code after a report. */
static int loadMap(const char* path, int exact, unsigned jobs, ReplaceMap* map) {
  json_error_t error;
  size_t length = 0;
  char* text = readMapFile(path, &length);
  memset(map, 0, sizeof *map);
  if (!text) return EXIT_USAGE;
  /* Strings holding U+0000 are refused: the C interface takes
   * NUL-terminated text. */
  map->json = jsonLoadSplit(text, length, JSON_REJECT_DUPLICATES, NULL, jobs, &error);
  free(text);
  if (!map->json) {
    fprintf(reportStream(), PROGRAM ": %s:%d:%d: %s\n", path, error.line, error.column, error.text);
    return EXIT_USAGE;
  }
  if (json_is_array(map->json)) return loadListMap(path, map);
  if (json_is_object(map->json)) return loadTextMap(path, map, exact);
  fprintf(reportStream(), PROGRAM ": %s: the map is neither an array of {\"page\", \"item\", \"text\"} nor an object of texts\n",
          path);
  return EXIT_USAGE;
}

static void freeMap(ReplaceMap* map) {
  size_t i;
  for (i = 0; i < map->textCount; ++i) free(map->texts[i].compared);
  json_decref(map->json);
  free(map->items);
  free(map->texts);
  free(map->matched);
}

/* The object map's entry for an item's text, or -1 (also when memory ran
 * out for the compared form). */
static long findText(const ReplaceMap* map, const char* text, int exact) {
  size_t low = 0;
  size_t high = map->textCount;
  long found = -1;
  char* compared = matchKey(text, exact);
  while (compared && low < high) {
    size_t middle = low + (high - low) / 2;
    int order = strcmp(compared, map->texts[middle].compared);
    if (order == 0) {
      found = (long)middle;
      break;
    }
    if (order < 0) high = middle;
    else low = middle + 1;
  }
  free(compared);
  return found;
}

/* A font the tool can open; EXIT_OK or an exit code after a report. */
static int checkFont(const char* fontPath) {
  FILE* file = fopen(fontPath, "rb");
  if (file) {
    fclose(file);
    return EXIT_OK;
  }
  fprintf(reportStream(), PROGRAM ": %s: cannot read the font file\n", fontPath);
  return EXIT_USAGE;
}

static int fontFailure(const char* fontPath, int32_t status) {
  if (status == ZOPRA_STATUS_OTHER_ERROR) {
    fprintf(reportStream(), PROGRAM ": %s: not a TrueType font with a Unicode character map (status %d)\n", fontPath,
            (int)status);
    return EXIT_USAGE;
  }
  return reportFailure(fontPath, status);
}

static double pageLength(const ZOPRADocumentLoaderTextInfo* info, double length) {
  return length * sqrt(info->a * info->a + info->b * info->b);
}

static int noInstalledFont(void) {
  fprintf(reportStream(), PROGRAM ": no TrueType font is installed: install fonts-dejavu-core or give --font FONT.ttf\n");
  return EXIT_USAGE;
}

/* After the library refused a chain as unusable: tries its fonts one by one
 * and leaves those it refuses out of later chains. EXIT_OK when one was left
 * out (the chain can be chosen again), else an exit code after a report. */
static int dropUnusableFonts(ZOPRADocumentLoader* loader, const ReplaceOptions* options, uint32_t page,
                             uint32_t index, const char* text, const char* const* chain, uint32_t count) {
  uint32_t k;
  int dropped = 0;
  for (k = 0; k < count; ++k) {
    int32_t status = zopraDocumentLoaderSetTextChainA(loader, text, page, index, &chain[k], 1, 10, 1);
    if (status != ZOPRA_STATUS_OTHER_ERROR) continue;
    if (!fontChoiceReject(options->fonts, chain[k])) return fontFailure(chain[k], status);
    dropped = 1;
  }
  return dropped ? EXIT_OK : fontFailure(chain[0], ZOPRA_STATUS_OTHER_ERROR);
}

/* Sets the new text of one item as FitTextA does, or at the item's own size
 * without --fit shrink; fills `fit`. */
static int32_t setItemText(ZOPRADocumentLoader* loader, const ReplaceOptions* options, uint32_t page,
                           uint32_t index, const char* text, const char* const* chain, uint32_t count,
                           double minimum, ZOPRADocumentLoaderTextFit* fit) {
  ZOPRADocumentLoaderTextInfo info;
  int32_t status;
  if (options->shrink) return zopraDocumentLoaderFitTextA(loader, text, page, index, chain, count, minimum, fit);
  memset(fit, 0, sizeof *fit);
  status = zopraDocumentLoaderGetText(loader, &info, index);
  if (status != ZOPRA_STATUS_SUCCESS) return status;
  fit->fontSize = fabs(info.fontSize);
  /* The matrix's scale across the baseline. */
  fit->shownSize = fit->fontSize * fabs(info.a * info.d - info.b * info.c) / (hypot(info.a, info.b) + 1e-300);
  status = zopraDocumentLoaderSetTextChainA(loader, text, page, index, chain, count, fit->fontSize,
                                            info.horizontalScaling);
  if (status == ZOPRA_STATUS_SUCCESS) status = zopraDocumentLoaderGetTextWidth(loader, &fit->width);
  if (status == ZOPRA_STATUS_SUCCESS) status = zopraDocumentLoaderGetTextRoom(loader, index, &fit->room);
  if (status == ZOPRA_STATUS_SUCCESS) status = zopraDocumentLoaderGetMissingCharacterCount(loader, &fit->missingCharacters);
  fit->overflows = fit->width > fit->room * (1 + 1e-9) + 1e-9;
  return status;
}

/* Fits and draws the new text of one item (already removed) with the fonts
 * chosen for its style and characters. Overflow and characters that no font
 * has are named on reportStream() and counted; they do not change the exit status. */
static int drawItem(ZOPRADocumentLoader* loader, const ReplaceOptions* options, uint32_t page, uint32_t index,
                    const char* text, Counts* counts) {
  ZOPRADocumentLoaderTextInfo info;
  ZOPRADocumentLoaderTextStyle style;
  ZOPRADocumentLoaderTextFit fit;
  const char* chain[FONT_CHAIN_MAX];
  uint32_t count = 0;
  double minimum = options->minSize;
  int tries;
  int32_t status = zopraDocumentLoaderGetText(loader, &info, index);
  if (status != ZOPRA_STATUS_SUCCESS) return reportFailure(options->input, status);
  /* A negative size mirrors the glyphs; the new text keeps only its extent. */
  if (!(fabs(info.fontSize) > 0) || fabs(info.fontSize) > 1e6) {
    fprintf(reportStream(), PROGRAM ": page %lu item %lu: the item has no usable font size; removed, nothing drawn\n",
            (unsigned long)page + 1, (unsigned long)index + 1);
    return EXIT_OK;
  }
  /* Without a style (an item the library cannot describe) the text is set
   * in the regular sans face. */
  if (zopraDocumentLoaderGetTextStyle(loader, &style, index) != ZOPRA_STATUS_SUCCESS) {
    memset(&style, 0, sizeof style);
  }
  /* Without --min-size, down to half the item's size as shown. */
  if (!(minimum > 0)) minimum = style.shownSize > 0 && style.shownSize < 2e6 ? style.shownSize / 2 : 0;
  for (tries = 0;; ++tries) {
    count = fontChoiceChain(options->fonts, &style, text, chain);
    if (count == 0) return noInstalledFont();
    status = setItemText(loader, options, page, index, text, chain, count, minimum, &fit);
    if (status != ZOPRA_STATUS_OTHER_ERROR || tries == MAX_FONT_TRIES) break;
    {
      int dropped = dropUnusableFonts(loader, options, page, index, text, chain, count);
      if (dropped != EXIT_OK) return dropped;
    }
  }
  if (status == ZOPRA_STATUS_OTHER_ERROR) return fontFailure(chain[0], status);
  if (status != ZOPRA_STATUS_SUCCESS) return reportFailure(options->input, status);
  if (fit.fontSize < fabs(info.fontSize) * (1 - 1e-9)) ++counts->shrunk;
  if (fit.overflows) {
    char needed[64], room[64], points[64];
    formatNumber(pageLength(&info, fit.width), needed, sizeof needed);
    formatNumber(pageLength(&info, fit.room), room, sizeof room);
    formatNumber(fit.shownSize, points, sizeof points);
    fprintf(reportStream(), PROGRAM ": %s, page %lu: item %lu overflows its room (%s wide at %s pt, room %s)\n",
            options->input, (unsigned long)page + 1, (unsigned long)index + 1, needed, points, room);
    ++counts->overflowing;
  }
  if (fit.missingCharacters > 0) {
    fprintf(reportStream(), PROGRAM ": %s, page %lu: item %lu has %lu character%s no font has\n", options->input,
            (unsigned long)page + 1, (unsigned long)index + 1, (unsigned long)fit.missingCharacters,
            fit.missingCharacters == 1 ? "" : "s");
    ++counts->missing;
  }
  status = zopraDocumentLoaderDrawText(loader);
  return status == ZOPRA_STATUS_SUCCESS ? EXIT_OK : reportFailure(options->input, status);
}

/* Replaces the chosen items of one page: `texts[k]` for item `chosen[k]`. */
static int replaceOnPage(ZOPRADocumentLoader* loader, const ReplaceOptions* options, uint32_t page,
                         const uint32_t* chosen, const char* const* texts, uint32_t count, Counts* counts) {
  uint32_t k;
  int left;
  int32_t status;
  if (count == 0) return EXIT_OK;
  status = zopraDocumentLoaderRemoveOriginalTextByIndex(loader, page, chosen, count);
  if (status != ZOPRA_STATUS_SUCCESS) return reportPageUnread(options->input, page, status);
  left = reportTextLeft(loader, options->input, page);
  for (k = 0; k < count; ++k) {
    int result = EXIT_OK;
    /* An empty text only removes the item. */
    if (texts[k][0] != '\0') result = drawItem(loader, options, page, chosen[k], texts[k], counts);
    if (result != EXIT_OK) return result;
    ++counts->replaced;
  }
  ++counts->pages;
  return left;
}

/* Extracts the page's items; EXIT_OK, or EXIT_PAGES_UNREAD after naming it. */
static int extractPage(ZOPRADocumentLoader* loader, const char* input, uint32_t page, uint32_t* count) {
  int32_t status = zopraDocumentLoaderExtractPageText(loader, page);
  if (status == ZOPRA_STATUS_SUCCESS) status = zopraDocumentLoaderGetPageTextCount(loader, count, page);
  return status == ZOPRA_STATUS_SUCCESS ? EXIT_OK : reportPageUnread(input, page, status);
}

/* Array map: the listed items, page by page. */
static int replaceListed(ZOPRADocumentLoader* loader, const ReplaceOptions* options, const ReplaceMap* map,
                         uint32_t pages, uint32_t firstPage, uint32_t lastPage, Counts* counts) {
  /* The range's entries (in page order); the last range also takes those
   * past the last page. */
  size_t first = 0;
  size_t above = map->itemCount;
  size_t stop;
  uint32_t* chosen;
  const char** texts;
  int outcome = EXIT_OK;
  int going = 1;
  while (first < above) {
    const size_t middle = first + (above - first) / 2;
    if (map->items[middle].page < firstPage) first = middle + 1;
    else above = middle;
  }
  stop = first;
  while (stop < map->itemCount && (map->items[stop].page <= lastPage || lastPage + 1 >= pages)) ++stop;
  chosen = malloc((stop > first ? stop - first : 1) * sizeof *chosen);
  texts = malloc((stop > first ? stop - first : 1) * sizeof *texts);
  if (!chosen || !texts) going = goOn(reportFailure(options->input, ZOPRA_STATUS_MEMORY_INSUFFICIENT), &outcome);
  while (going && first < map->itemCount && (map->items[first].page <= lastPage || lastPage + 1 >= pages)) {
    const uint32_t page = map->items[first].page;
    uint32_t available = 0;
    uint32_t count = 0;
    size_t end = first;
    int step = page < pages ? extractPage(loader, options->input, page, &available)
                            : reportMissingPage(options->input, page, pages);
    for (; end < map->itemCount && map->items[end].page == page; ++end) {
      if (step == EXIT_OK && map->items[end].item >= available) {
        step = reportMissingItem(options->input, page, map->items[end].item, available);
      }
      chosen[count] = map->items[end].item;
      texts[count++] = map->items[end].text;
    }
    if (step == EXIT_OK) step = replaceOnPage(loader, options, page, chosen, texts, count, counts);
    going = goOn(step, &outcome);
    first = end;
  }
  free(chosen);
  free((void*)texts);
  return outcome;
}

/* Object map: every item of every page whose text matches a key. */
static int replaceMatching(ZOPRADocumentLoader* loader, const ReplaceOptions* options, const ReplaceMap* map,
                           unsigned char* matched, uint32_t firstPage, uint32_t lastPage, Counts* counts) {
  uint32_t page;
  uint32_t* chosen = NULL;
  const char** texts = NULL;
  uint32_t capacity = 0;
  int outcome = EXIT_OK;
  int going = 1;
  for (page = firstPage; going && page <= lastPage && map->textCount > 0; ++page) {
    uint32_t available = 0;
    uint32_t count = 0;
    uint32_t index;
    int step = extractPage(loader, options->input, page, &available);
    if (step != EXIT_OK) {
      going = goOn(step, &outcome);
      continue;
    }
    if (available > capacity) {
      uint32_t* moreChosen = realloc(chosen, available * sizeof *chosen);
      const char** moreTexts;
      if (moreChosen) chosen = moreChosen;
      moreTexts = realloc((void*)texts, available * sizeof *texts);
      if (moreTexts) texts = moreTexts;
      if (!moreChosen || !moreTexts) {
        going = goOn(reportFailure(options->input, ZOPRA_STATUS_MEMORY_INSUFFICIENT), &outcome);
        break;
      }
      capacity = available;
    }
    for (index = 0; index < available; ++index) {
      ZOPRADocumentLoaderTextInfo info;
      long found;
      if (zopraDocumentLoaderGetText(loader, &info, index) != ZOPRA_STATUS_SUCCESS) continue;
      found = findText(map, info.text, options->exact);
      if (found < 0) continue;
      matched[found] = 1;
      chosen[count] = index;
      texts[count++] = map->texts[found].text;
    }
    going = goOn(replaceOnPage(loader, options, page, chosen, texts, count, counts), &outcome);
  }
  free(chosen);
  free((void*)texts);
  return outcome;
}

/* The pages first..last (with the map entries past the last page when
 * last is the last page) on one handle; `matched` marks the object map's
 * keys met. */
static int replaceRange(ZOPRADocumentLoader* loader, const ReplaceOptions* options, const ReplaceMap* map,
                        unsigned char* matched, uint32_t pages, uint32_t first, uint32_t last, Counts* counts) {
  return json_is_array(map->json) ? replaceListed(loader, options, map, pages, first, last, counts)
                                  : replaceMatching(loader, options, map, matched, first, last, counts);
}

/* The pages of one document replaced on several threads. */
typedef struct {
  const ReplaceOptions* options;
  const ReplaceMap* map;
  uint32_t pages;
  unsigned workers;
  Counts* counts;          /* per worker */
  unsigned char** matched; /* per worker, for an object map */
  FontChoice** fonts;      /* per worker, made on its first page */
  int outcome;
} ReplaceJob;

static int replacePageJob(ZOPRADocumentLoader* loader, uint32_t page, unsigned worker, void* context) {
  ReplaceJob* job = context;
  ReplaceOptions options = *job->options;
  /* Font choice keeps state between items: each thread has its own. */
  if (!job->fonts[worker]) job->fonts[worker] = fontChoiceCreate(options.fontPath);
  if (!job->fonts[worker]) return reportFailure(options.input, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
  options.fonts = job->fonts[worker];
  return replaceRange(loader, &options, job->map, job->matched[worker], job->pages, page, page,
                      &job->counts[worker]);
}

static int replacePageDone(unsigned page, int result, void* context) {
  ReplaceJob* job = context;
  (void)page;
  return goOn(result, &job->outcome);
}

/* The workers' counts and the keys they met, into `total` and the map. */
static void gatherWorkers(const ReplaceJob* job, ReplaceMap* map, Counts* total) {
  unsigned k;
  size_t i;
  for (k = 0; k < job->workers; ++k) {
    const Counts* counts = &job->counts[k];
    total->replaced += counts->replaced;
    total->shrunk += counts->shrunk;
    total->overflowing += counts->overflowing;
    total->missing += counts->missing;
    total->pages += counts->pages;
    for (i = 0; map->matched && i < map->textCount; ++i) map->matched[i] |= job->matched[k][i];
  }
}

/* An estimate of each page's work, NULL when all look alike: reading a
 * page costs about as much as fitting and drawing five new texts. */
static double* pageCosts(const ReplaceMap* map, uint32_t pages) {
  double* costs;
  size_t i;
  if (!json_is_array(map->json)) return NULL;
  costs = malloc(pages * sizeof *costs);
  if (!costs) return NULL;
  for (i = 0; i < pages; ++i) costs[i] = 1;
  for (i = 0; i < map->itemCount; ++i) {
    if (map->items[i].page < pages) costs[map->items[i].page] += 0.2;
  }
  return costs;
}

/* Replaces on all pages, on options->jobs threads (at most one per page);
 * then names the object map's keys that no item read. */
static int replacePages(ZOPRADocumentLoader* loader, const ReplaceOptions* options, ReplaceMap* map, uint32_t pages,
                        OpenedAhead* ahead, Counts* counts) {
  int result;
  size_t i;
  unsigned jobs = options->jobs < pages ? options->jobs : pages;
  if (pages == 0) {
    /* A list map's entries all name missing pages. */
    result = json_is_array(map->json) ? replaceListed(loader, options, map, pages, 0, 0, counts) : EXIT_OK;
  } else {
    ReplaceJob job;
    unsigned k;
    memset(&job, 0, sizeof job);
    job.options = options;
    job.map = map;
    job.pages = pages;
    job.workers = pageRangeThreads(pages, jobs);
    job.counts = calloc(job.workers, sizeof *job.counts);
    job.matched = calloc(job.workers, sizeof *job.matched);
    job.fonts = calloc(job.workers, sizeof *job.fonts);
    result = job.counts && job.matched && job.fonts ? EXIT_OK
                                                   : reportFailure(options->input, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
    /* The calling thread is worker 0: it keeps the font choice made for the
     * checks before the work. */
    if (job.fonts) job.fonts[0] = options->fonts;
    for (k = 0; result == EXIT_OK && map->matched && k < job.workers; ++k) {
      job.matched[k] = calloc(map->textCount ? map->textCount : 1, 1);
      if (!job.matched[k]) result = reportFailure(options->input, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
    }
    if (result == EXIT_OK) {
      double* costs = pageCosts(map, pages);
      result = editPageRanges(loader, options->input, pages, costs, jobs, ahead, replacePageJob, replacePageDone,
                              &job);
      free(costs);
      if (result == EXIT_OK) result = job.outcome;
      gatherWorkers(&job, map, counts);
    }
    for (k = 0; k < job.workers; ++k) {
      if (job.matched) free(job.matched[k]);
      if (job.fonts && k > 0) fontChoiceDestroy(job.fonts[k]);
    }
    free(job.matched);
    free(job.fonts);
    free(job.counts);
  }
  if (!goesOn(result)) return result;
  for (i = 0; map->matched && i < map->textCount; ++i) {
    if (map->matched[i]) continue;
    fputs(PROGRAM ": no item reads ", stderr);
    printJson(stderr, jsonString(map->texts[i].key));
    fputc('\n', stderr);
  }
  return result;
}

static void releaseMap(void* map) { freeMap(map); }

int runReplace(int argc, char** argv) {
  ReplaceOptions options;
  ReplaceMap map;
  Counts counts = {0, 0, 0, 0, 0};
  ZOPRADocumentLoader* loader = NULL;
  OpenedAhead* ahead = NULL;
  uint32_t pages = 0;
  struct stat written;
  int result = parseReplaceArguments(argc, argv, &options);
  if (result == EXIT_HELP_SHOWN) return EXIT_OK;
  if (result != EXIT_OK) return result;
  if (options.fontPath) {
    result = checkFont(options.fontPath);
    if (result != EXIT_OK) return result;
  }
  options.fonts = fontChoiceCreate(options.fontPath);
  if (!options.fonts) {
    fprintf(reportStream(), PROGRAM ": fontconfig cannot be initialised\n");
    return EXIT_NO_MEMORY;
  }
  if (!options.fontPath) {
    /* Checked before any work: without an installed TrueType face nothing
     * can be drawn. */
    ZOPRADocumentLoaderTextStyle plain;
    const char* chain[FONT_CHAIN_MAX];
    memset(&plain, 0, sizeof plain);
    if (fontChoiceChain(options.fonts, &plain, "", chain) == 0) {
      fontChoiceDestroy(options.fonts);
      return noInstalledFont();
    }
  }
  if (options.segmentsPath) {
    SegmentReplace job = {options.input,   options.output, options.segmentsPath,
                          options.fonts,   options.fontPath, options.jobs,
                          options.minSize, options.plain,  options.segmentFormat};
    result = replaceSegments(&job);
    fontChoiceDestroy(options.fonts);
    return result;
  }
  /* The file is opened for each thread, and once more as a spare, while
   * the map is read. */
  ahead = openAhead(options.input, options.jobs > 1 ? options.jobs + 1 : 1);
  result = loadMap(options.mapPath, options.exact, options.jobs, &map);
  if (result == EXIT_OK) result = openForWritingAhead(options.input, options.output, ahead, &loader);
  if (result == EXIT_OK) {
    Aside aside;
    zopraDocumentLoaderGetPageCount(loader, &pages);
    result = replacePages(loader, &options, &map, pages, ahead, &counts);
    /* Released beside the write: freeing a large map takes a while. */
    startAside(&aside, options.jobs, ahead, releaseMap, &map);
    /* Nothing is written after a mistake or failure: the output never holds
     * half a job. Pages that could not be read are named and left as they
     * are, and text that could not be removed is named; the rest is done. */
    if (goesOn(result)) {
      int writing;
      setWriteThreads(options.jobs);
      writing = writeAndClose(loader, options.input, options.output, options.plain);
      if (writing != EXIT_OK) result = writing;
    } else {
      zopraDocumentLoaderDestroy(loader);
    }
    endAside(&aside);
  } else {
    closeAhead(ahead);
    freeMap(&map);
  }
  fontChoiceDestroy(options.fonts);
  if (!goesOn(result)) return result;
  printf("replaced %lu item%s on %lu page%s (%lu shrunk, %lu overflowing, %lu with missing characters); "
         "wrote %s, %lld bytes\n",
         counts.replaced, counts.replaced == 1 ? "" : "s", counts.pages, counts.pages == 1 ? "" : "s",
         counts.shrunk, counts.overflowing, counts.missing, options.output,
         stat(options.output, &written) == 0 ? (long long)written.st_size : -1ll);
  return result != EXIT_OK ? result : finishOutput();
}
