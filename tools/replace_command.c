/* zopra-pdf replace: the text of chosen items replaced by new text, drawn at
 * each item's place in its size and colour, fitted to the item's width. */
#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "cli.h"
#include "json_reader.h"
#include "zopra_document_loader.h"

#define DEFAULT_FONT "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf"
/* A map is text written by hand or by a script; anything larger is a
 * mistake, such as a PDF given in its place. */
#define MAX_MAP_BYTES (64ul << 20)
/* Shrinking stops after this many tries and keeps the size reached. */
#define MAX_FIT_STEPS 64

typedef struct {
  const char* input;
  const char* output;
  const char* mapPath;
  const char* fontPath;
  int shrink;
  double minSize; /* 0: half the item's size */
  int plain;      /* written as zopraDocumentLoaderWriteDocumentA writes */
} ReplaceOptions;

/* One entry of an array map; page and item from 0. */
typedef struct {
  uint32_t page;
  uint32_t item;
  const char* text;
  unsigned long line;
  unsigned long column;
} ItemText;

/* The map, in one of its two forms. */
typedef struct {
  JsonValue json;
  ItemText* items; /* array form, sorted by page and item */
  size_t itemCount;
  const JsonMember** texts; /* object form, sorted by key */
  size_t textCount;
  unsigned char* matched; /* object form: a key met an item */
} ReplaceMap;

typedef struct {
  unsigned long replaced;
  unsigned long shrunk;
  unsigned long overflowing;
  unsigned long pages;
} Counts;

static int parseReplaceArguments(int argc, char** argv, ReplaceOptions* options) {
  const char* paths[2] = {NULL, NULL};
  int pathCount = 0;
  int i;
  memset(options, 0, sizeof *options);
  options->shrink = 1;
  for (i = 0; i < argc; ++i) {
    const char* argument = argv[i];
    const char* value = i + 1 < argc ? argv[i + 1] : NULL;
    if (strcmp(argument, "--help") == 0 || strcmp(argument, "-h") == 0) {
      printHelp();
      return EXIT_HELP_SHOWN;
    } else if (strcmp(argument, "--map") == 0 && value) {
      options->mapPath = argv[++i];
    } else if (strcmp(argument, "--plain") == 0) {
      options->plain = 1;
    } else if (strcmp(argument, "--font") == 0 && value) {
      options->fontPath = argv[++i];
    } else if (strcmp(argument, "--fit") == 0 && value) {
      if (strcmp(value, "shrink") != 0 && strcmp(value, "none") != 0) {
        return usageError("--fit takes shrink or none", value);
      }
      options->shrink = strcmp(argv[++i], "shrink") == 0;
    } else if (strcmp(argument, "--min-size") == 0 && value) {
      if (!jsonNumber(value, &options->minSize) || !(options->minSize > 0) || options->minSize > 1e6) {
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
  if (!options->mapPath) return usageError("replace needs a map (--map MAP.json)", NULL);
  options->input = paths[0];
  options->output = paths[1];
  return EXIT_OK;
}

/* The whole file in a new NUL-terminated buffer, or NULL after a report. */
static char* readMapFile(const char* path, size_t* length) {
  FILE* file = fopen(path, "rb");
  char* buffer = NULL;
  size_t used = 0;
  size_t capacity = 0;
  if (!file) {
    fprintf(stderr, PROGRAM ": %s: cannot read the map file\n", path);
    return NULL;
  }
  for (;;) {
    size_t got;
    if (used == capacity) {
      char* larger;
      capacity = capacity ? 2 * capacity : 65536;
      larger = realloc(buffer, capacity + 1);
      if (!larger) {
        fprintf(stderr, PROGRAM ": %s: out of memory reading the map file\n", path);
        break;
      }
      buffer = larger;
    }
    got = fread(buffer + used, 1, capacity - used, file);
    used += got;
    if (used > MAX_MAP_BYTES) {
      fprintf(stderr, PROGRAM ": %s: the map file is larger than %lu MiB\n", path, MAX_MAP_BYTES >> 20);
      break;
    }
    if (got == 0) {
      if (ferror(file)) {
        fprintf(stderr, PROGRAM ": %s: cannot read the map file\n", path);
        break;
      }
      fclose(file);
      buffer[used] = '\0';
      *length = used;
      return buffer;
    }
  }
  fclose(file);
  free(buffer);
  return NULL;
}

/* A whole number from 1 to 2^32 as a 0-based index; 0 when it is not one. */
static int itemNumber(const JsonValue* value, uint32_t* index) {
  if (!value || value->kind != JSON_NUMBER || !(value->number >= 1) || value->number > 4294967296.0 ||
      value->number != floor(value->number)) {
    return 0;
  }
  *index = (uint32_t)(value->number - 1);
  return 1;
}

static int compareItems(const void* left, const void* right) {
  const ItemText* a = left;
  const ItemText* b = right;
  if (a->page != b->page) return a->page < b->page ? -1 : 1;
  if (a->item != b->item) return a->item < b->item ? -1 : 1;
  /* The same item twice: the later one in the file last. */
  if (a->line != b->line) return a->line < b->line ? -1 : 1;
  return a->column < b->column ? -1 : (a->column > b->column);
}

static int compareTexts(const void* left, const void* right) {
  return strcmp((*(const JsonMember* const*)left)->key, (*(const JsonMember* const*)right)->key);
}

static int mapError(const char* path, unsigned long line, unsigned long column, const char* reason) {
  fprintf(stderr, PROGRAM ": %s:%lu:%lu: %s\n", path, line, column, reason);
  return EXIT_USAGE;
}

/* Reads and checks the map; EXIT_OK, or an exit code after a report. */
static int loadMap(const char* path, ReplaceMap* map) {
  char error[160];
  size_t length = 0;
  size_t i;
  char* text = readMapFile(path, &length);
  int parsed;
  memset(map, 0, sizeof *map);
  if (!text) return EXIT_USAGE;
  parsed = jsonParse(text, length, &map->json, error, sizeof error);
  free(text);
  if (!parsed) {
    fprintf(stderr, PROGRAM ": %s:%s\n", path, error);
    return EXIT_USAGE;
  }
  if (map->json.kind == JSON_ARRAY) {
    map->items = calloc(map->json.count ? map->json.count : 1, sizeof *map->items);
    if (!map->items) return reportFailure(path, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
    for (i = 0; i < map->json.count; ++i) {
      const JsonValue* entry = &map->json.items[i];
      const JsonValue* newText = jsonMember(entry, "text");
      ItemText* item = &map->items[i];
      /* Other members, such as those items --json prints, are ignored. */
      if (!itemNumber(jsonMember(entry, "page"), &item->page) ||
          !itemNumber(jsonMember(entry, "item"), &item->item) || !newText || newText->kind != JSON_STRING) {
        return mapError(path, entry->line, entry->column,
                        "each entry needs \"page\" and \"item\" (whole numbers from 1) and \"text\" (a string)");
      }
      item->text = newText->string;
      item->line = entry->line;
      item->column = entry->column;
    }
    map->itemCount = map->json.count;
    qsort(map->items, map->itemCount, sizeof *map->items, compareItems);
    for (i = 1; i < map->itemCount; ++i) {
      if (map->items[i].page == map->items[i - 1].page && map->items[i].item == map->items[i - 1].item) {
        return mapError(path, map->items[i].line, map->items[i].column, "this page and item are given twice");
      }
    }
    return EXIT_OK;
  }
  if (map->json.kind == JSON_OBJECT) {
    map->texts = malloc((map->json.count ? map->json.count : 1) * sizeof *map->texts);
    map->matched = calloc(map->json.count ? map->json.count : 1, 1);
    if (!map->texts || !map->matched) return reportFailure(path, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
    for (i = 0; i < map->json.count; ++i) {
      const JsonMember* member = &map->json.members[i];
      if (member->value.kind != JSON_STRING) {
        return mapError(path, member->value.line, member->value.column, "the new text is not a string");
      }
      map->texts[i] = member;
    }
    map->textCount = map->json.count;
    qsort(map->texts, map->textCount, sizeof *map->texts, compareTexts);
    return EXIT_OK;
  }
  return mapError(path, map->json.line, map->json.column,
                  "the map is neither an array of {\"page\", \"item\", \"text\"} nor an object of texts");
}

static void freeMap(ReplaceMap* map) {
  jsonFree(&map->json);
  free(map->items);
  free((void*)map->texts);
  free(map->matched);
}

/* The object map's entry for an item's text, or -1. */
static long findText(const ReplaceMap* map, const char* text) {
  size_t low = 0;
  size_t high = map->textCount;
  while (low < high) {
    size_t middle = low + (high - low) / 2;
    int order = strcmp(text, map->texts[middle]->key);
    if (order == 0) return (long)middle;
    if (order < 0) high = middle;
    else low = middle + 1;
  }
  return -1;
}

/* A font the tool can open; EXIT_OK or an exit code after a report. */
static int checkFont(const char* fontPath, int isDefault) {
  FILE* file = fopen(fontPath, "rb");
  if (file) {
    fclose(file);
    return EXIT_OK;
  }
  if (isDefault) {
    fprintf(stderr, PROGRAM ": the default font DejaVu Sans (" DEFAULT_FONT
                    ") is missing: install fonts-dejavu-core or give --font FONT.ttf\n");
  } else {
    fprintf(stderr, PROGRAM ": %s: cannot read the font file\n", fontPath);
  }
  return EXIT_USAGE;
}

static int fontFailure(const char* fontPath, int32_t status) {
  if (status == ZOPRA_STATUS_OTHER_ERROR) {
    fprintf(stderr, PROGRAM ": %s: not a TrueType font with a Unicode character map (status %d)\n", fontPath,
            (int)status);
    return EXIT_USAGE;
  }
  return reportFailure(fontPath, status);
}

static double pageLength(const ZOPRADocumentLoaderTextInfo* info, double length) {
  return length * sqrt(info->a * info->a + info->b * info->b);
}

static int fits(double width, double available) { return width <= available * (1 + 1e-9) + 1e-9; }

/* Sets, fits and draws the new text of one item (already removed). */
static int drawItem(ZOPRADocumentLoader* loader, const ReplaceOptions* options, uint32_t page, uint32_t index,
                    const char* text, Counts* counts) {
  ZOPRADocumentLoaderTextInfo info;
  double size;
  double minimum;
  double width = 0.0;
  int steps = 0;
  int32_t status = zopraDocumentLoaderGetText(loader, &info, index);
  if (status != ZOPRA_STATUS_SUCCESS) return reportFailure(options->input, status);
  /* A negative size mirrors the glyphs; the new text keeps only its extent. */
  size = fabs(info.fontSize);
  if (!(size > 0) || size > 1e6) {
    fprintf(stderr, PROGRAM ": page %lu item %lu: the item has no usable font size; removed, nothing drawn\n",
            (unsigned long)page + 1, (unsigned long)index + 1);
    return EXIT_OK;
  }
  minimum = options->minSize > 0 ? options->minSize : size / 2;
  if (minimum > size) minimum = size;
  status = zopraDocumentLoaderSetTextA(loader, text, page, index, options->fontPath, size, info.horizontalScaling);
  if (status != ZOPRA_STATUS_SUCCESS) return fontFailure(options->fontPath, status);
  if (zopraDocumentLoaderGetTextWidth(loader, &width) != ZOPRA_STATUS_SUCCESS) {
    fprintf(stderr, PROGRAM ": page %lu item %lu: the font has none of the characters; removed, nothing drawn\n",
            (unsigned long)page + 1, (unsigned long)index + 1);
    return EXIT_OK;
  }
  /* Smaller sizes until the text fits. The width grows with the size, so
   * the size that would fit exactly is the first guess, rounded down to a
   * tenth of a point; spacing that does not scale may need more steps. */
  while (options->shrink && !fits(width, info.width) && size > minimum && steps++ < MAX_FIT_STEPS) {
    double next = width > 0 && info.width > 0 ? size * info.width / width : minimum;
    next = floor(next * 10) / 10;
    if (next >= size) next = size - 0.1;
    if (next < minimum) next = minimum;
    size = next;
    status = zopraDocumentLoaderSetTextA(loader, text, page, index, options->fontPath, size, info.horizontalScaling);
    if (status == ZOPRA_STATUS_SUCCESS) status = zopraDocumentLoaderGetTextWidth(loader, &width);
    if (status != ZOPRA_STATUS_SUCCESS) return fontFailure(options->fontPath, status);
  }
  if (options->shrink && !fits(width, info.width) && size > minimum) {
    size = minimum;
    status = zopraDocumentLoaderSetTextA(loader, text, page, index, options->fontPath, size, info.horizontalScaling);
    if (status == ZOPRA_STATUS_SUCCESS) status = zopraDocumentLoaderGetTextWidth(loader, &width);
    if (status != ZOPRA_STATUS_SUCCESS) return fontFailure(options->fontPath, status);
  }
  if (size < fabs(info.fontSize)) ++counts->shrunk;
  if (!fits(width, info.width)) {
    char needed[64], room[64], points[64];
    formatNumber(pageLength(&info, width), needed, sizeof needed);
    formatNumber(pageLength(&info, info.width), room, sizeof room);
    formatNumber(size, points, sizeof points);
    fprintf(stderr, PROGRAM ": page %lu item %lu does not fit: %s wide at size %s, the item is %s wide\n",
            (unsigned long)page + 1, (unsigned long)index + 1, needed, points, room);
    ++counts->overflowing;
  }
  status = zopraDocumentLoaderDrawText(loader);
  return status == ZOPRA_STATUS_SUCCESS ? EXIT_OK : reportFailure(options->input, status);
}

/* Replaces the chosen items of one page: `texts[k]` for item `chosen[k]`. */
static int replaceOnPage(ZOPRADocumentLoader* loader, const ReplaceOptions* options, uint32_t page,
                         const uint32_t* chosen, const char* const* texts, uint32_t count, Counts* counts) {
  uint32_t k;
  int32_t status;
  if (count == 0) return EXIT_OK;
  status = zopraDocumentLoaderRemoveOriginalTextByIndex(loader, page, chosen, count);
  if (status != ZOPRA_STATUS_SUCCESS) return reportFailure(options->input, status);
  for (k = 0; k < count; ++k) {
    int result = EXIT_OK;
    /* An empty text only removes the item. */
    if (texts[k][0] != '\0') result = drawItem(loader, options, page, chosen[k], texts[k], counts);
    if (result != EXIT_OK) return result;
    ++counts->replaced;
  }
  ++counts->pages;
  return EXIT_OK;
}

static int extractPage(ZOPRADocumentLoader* loader, const char* input, uint32_t page, uint32_t* count) {
  int32_t status = zopraDocumentLoaderExtractPageText(loader, page);
  if (status == ZOPRA_STATUS_SUCCESS) status = zopraDocumentLoaderGetPageTextCount(loader, count, page);
  return status == ZOPRA_STATUS_SUCCESS ? EXIT_OK : reportFailure(input, status);
}

/* Array map: the listed items, page by page. */
static int replaceListed(ZOPRADocumentLoader* loader, const ReplaceOptions* options, const ReplaceMap* map,
                         uint32_t pages, Counts* counts) {
  uint32_t* chosen = malloc((map->itemCount ? map->itemCount : 1) * sizeof *chosen);
  const char** texts = malloc((map->itemCount ? map->itemCount : 1) * sizeof *texts);
  size_t first = 0;
  int result = EXIT_OK;
  if (!chosen || !texts) result = reportFailure(options->input, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
  while (result == EXIT_OK && first < map->itemCount) {
    const uint32_t page = map->items[first].page;
    uint32_t available = 0;
    uint32_t count = 0;
    size_t end = first;
    if (page >= pages) {
      fprintf(stderr, PROGRAM ": %s: the document has no page %lu (it has %lu)\n", options->input,
              (unsigned long)page + 1, (unsigned long)pages);
      result = EXIT_USAGE;
      break;
    }
    result = extractPage(loader, options->input, page, &available);
    for (; result == EXIT_OK && end < map->itemCount && map->items[end].page == page; ++end) {
      if (map->items[end].item >= available) {
        fprintf(stderr, PROGRAM ": %s: page %lu has no item %lu (it has %lu)\n", options->input,
                (unsigned long)page + 1, (unsigned long)map->items[end].item + 1, (unsigned long)available);
        result = EXIT_USAGE;
      }
      chosen[count] = map->items[end].item;
      texts[count++] = map->items[end].text;
    }
    if (result == EXIT_OK) result = replaceOnPage(loader, options, page, chosen, texts, count, counts);
    first = end;
  }
  free(chosen);
  free((void*)texts);
  return result;
}

/* Object map: every item of every page whose text is a key. */
static int replaceMatching(ZOPRADocumentLoader* loader, const ReplaceOptions* options, ReplaceMap* map,
                           uint32_t pages, Counts* counts) {
  uint32_t page;
  uint32_t* chosen = NULL;
  const char** texts = NULL;
  uint32_t capacity = 0;
  int result = EXIT_OK;
  size_t i;
  for (page = 0; result == EXIT_OK && page < pages && map->textCount > 0; ++page) {
    uint32_t available = 0;
    uint32_t count = 0;
    uint32_t index;
    result = extractPage(loader, options->input, page, &available);
    if (result != EXIT_OK) break;
    if (available > capacity) {
      uint32_t* moreChosen = realloc(chosen, available * sizeof *chosen);
      const char** moreTexts;
      if (moreChosen) chosen = moreChosen;
      moreTexts = realloc((void*)texts, available * sizeof *texts);
      if (moreTexts) texts = moreTexts;
      if (!moreChosen || !moreTexts) {
        result = reportFailure(options->input, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
        break;
      }
      capacity = available;
    }
    for (index = 0; index < available; ++index) {
      ZOPRADocumentLoaderTextInfo info;
      long found;
      if (zopraDocumentLoaderGetText(loader, &info, index) != ZOPRA_STATUS_SUCCESS) continue;
      found = findText(map, info.text);
      if (found < 0) continue;
      map->matched[found] = 1;
      chosen[count] = index;
      texts[count++] = map->texts[found]->value.string;
    }
    result = replaceOnPage(loader, options, page, chosen, texts, count, counts);
  }
  for (i = 0; result == EXIT_OK && i < map->textCount; ++i) {
    if (map->matched[i]) continue;
    fputs(PROGRAM ": no item reads ", stderr);
    printJsonStringTo(stderr, map->texts[i]->key);
    fputc('\n', stderr);
  }
  free(chosen);
  free((void*)texts);
  return result;
}

int runReplace(int argc, char** argv) {
  ReplaceOptions options;
  ReplaceMap map;
  Counts counts = {0, 0, 0, 0};
  ZOPRADocumentLoader* loader = NULL;
  uint32_t pages = 0;
  struct stat written;
  int result = parseReplaceArguments(argc, argv, &options);
  if (result == EXIT_HELP_SHOWN) return EXIT_OK;
  if (result != EXIT_OK) return result;
  result = checkFont(options.fontPath ? options.fontPath : DEFAULT_FONT, !options.fontPath);
  if (result != EXIT_OK) return result;
  if (!options.fontPath) options.fontPath = DEFAULT_FONT;
  result = loadMap(options.mapPath, &map);
  if (result == EXIT_OK) result = openForWriting(options.input, options.output, &loader);
  if (result == EXIT_OK) {
    zopraDocumentLoaderGetPageCount(loader, &pages);
    result = map.json.kind == JSON_ARRAY ? replaceListed(loader, &options, &map, pages, &counts)
                                         : replaceMatching(loader, &options, &map, pages, &counts);
    /* Nothing is written after a failure: the output never holds half a job. */
    if (result == EXIT_OK) {
      result = writeAndClose(loader, options.input, options.output, options.plain);
    } else {
      zopraDocumentLoaderDestroy(loader);
    }
  }
  freeMap(&map);
  if (result != EXIT_OK) return result;
  printf("replaced %lu item%s on %lu page%s (%lu shrunk, %lu overflowing); wrote %s, %lld bytes\n",
         counts.replaced, counts.replaced == 1 ? "" : "s", counts.pages, counts.pages == 1 ? "" : "s",
         counts.shrunk, counts.overflowing, options.output,
         stat(options.output, &written) == 0 ? (long long)written.st_size : -1ll);
  return finishOutput();
}
