/* zopra-pdf images: the images the pages draw, listed like pdfimages -list
 * or written out as files of their stored bytes. */
#define _POSIX_C_SOURCE 200809L

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "cli.h"
#include "zopra_document_loader.h"

/* Where an image of the page was drawn, from the page's graphics records. */
typedef struct {
  uint32_t object;
  double x, y, width, height;
} Placement;

/* Object numbers already written, kept sorted. */
typedef struct {
  uint32_t* numbers;
  size_t count;
  size_t capacity;
} ObjectSet;

typedef struct {
  const char* path;
  const char* folder;
  PageRange range;
  int list;
} ImageOptions;

/* Adds `number`; returns 0 when it was there already, -1 when memory ran out. */
static int insertObject(ObjectSet* set, uint32_t number) {
  size_t low = 0;
  size_t high = set->count;
  while (low < high) {
    size_t middle = low + (high - low) / 2;
    if (set->numbers[middle] < number) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  if (low < set->count && set->numbers[low] == number) return 0;
  if (set->count == set->capacity) {
    size_t capacity = set->capacity ? set->capacity * 2 : 64;
    uint32_t* grown = realloc(set->numbers, capacity * sizeof *grown);
    if (!grown) return -1;
    set->numbers = grown;
    set->capacity = capacity;
  }
  memmove(set->numbers + low + 1, set->numbers + low, (set->count - low) * sizeof *set->numbers);
  set->numbers[low] = number;
  ++set->count;
  return 1;
}

/*
 * Fills `placements` (room for `count`) from the page's graphics records and
 * returns 1, or 0 when they cannot be matched: the image calls name images by
 * their position in drawing order, and the graphics records come in the same
 * order, but leave out an image drawn wholly outside the clip. When the
 * numbers differ it is unknown which one is missing.
 */
static int placeImages(ZOPRADocumentLoader* loader, uint32_t page, uint32_t count,
                       Placement* placements) {
  ZOPRADocumentLoaderGraphicsInfo info;
  uint32_t records = 0;
  uint32_t found = 0;
  uint32_t i;
  if (zopraDocumentLoaderExtractPageGraphics(loader, page, 0.0) != ZOPRA_STATUS_SUCCESS ||
      zopraDocumentLoaderGetPageGraphicsCount(loader, &records, page) != ZOPRA_STATUS_SUCCESS) {
    return 0;
  }
  for (i = 0; i < records; ++i) {
    if (zopraDocumentLoaderGetGraphics(loader, &info, i) != ZOPRA_STATUS_SUCCESS) return 0;
    if (info.type != 1) continue;
    if (found == count) return 0;
    placements[found].object = info.objectNumber;
    placements[found].x = info.x;
    placements[found].y = info.y;
    placements[found].width = info.width;
    placements[found].height = info.height;
    ++found;
  }
  return found == count;
}

static const char* formatName(uint32_t format) {
  switch (format) {
    case ZOPRA_IMAGE_FORMAT_JPEG: return "jpeg";
    case ZOPRA_IMAGE_FORMAT_JPEG2000: return "jpx";
    default: return "other";
  }
}

static const char* extensionFor(uint32_t format) {
  switch (format) {
    case ZOPRA_IMAGE_FORMAT_JPEG: return "jpg";
    case ZOPRA_IMAGE_FORMAT_JPEG2000: return "jp2";
    default: return "bin";
  }
}

static void printRow(uint32_t page, uint32_t index, const Placement* placement, uint32_t format,
                     uint32_t size) {
  char object[16] = "-";
  char bounds[4][64] = {"-", "-", "-", "-"};
  if (placement) {
    snprintf(object, sizeof object, "%lu", (unsigned long)placement->object);
    formatNumber(placement->x, bounds[0], sizeof bounds[0]);
    formatNumber(placement->y, bounds[1], sizeof bounds[1]);
    formatNumber(placement->width, bounds[2], sizeof bounds[2]);
    formatNumber(placement->height, bounds[3], sizeof bounds[3]);
  }
  printf("%5lu %6lu %7s %-6s %10lu %9s %9s %9s %9s\n", (unsigned long)page + 1,
         (unsigned long)index + 1, object, formatName(format), (unsigned long)size, bounds[0],
         bounds[1], bounds[2], bounds[3]);
}

/* Writes image `index` of the page to the folder; returns an exit code. */
static int writeImage(ZOPRADocumentLoader* loader, const ImageOptions* options, uint32_t page,
                      uint32_t index, uint32_t format, uint32_t size) {
  size_t length = strlen(options->folder) + 64;
  char* name = malloc(length);
  uint8_t* bytes = malloc(size ? size : 1);
  FILE* file;
  int32_t status = ZOPRA_STATUS_MEMORY_INSUFFICIENT;
  int result = EXIT_OK;
  if (name && bytes) {
    status = zopraDocumentLoaderGetImageBuffer(loader, bytes, size, page, index);
  }
  if (status != ZOPRA_STATUS_SUCCESS) {
    result = reportPageUnread(options->path, page, status);
  } else {
    snprintf(name, length, "%s/page-%lu-image-%lu.%s", options->folder, (unsigned long)page + 1,
             (unsigned long)index + 1, extensionFor(format));
    int written = 0;
    errno = 0;
    file = fopen(name, "wb");
    if (file) {
      written = fwrite(bytes, 1, size, file) == size;
      written = fclose(file) == 0 && written;
    }
    if (!written) {
      endProgress();
      fprintf(stderr, PROGRAM ": %s: cannot write the file (%s)\n", name,
              errno ? strerror(errno) : "short write");
      result = EXIT_WRITE_FAILED;
    }
  }
  free(bytes);
  free(name);
  return result;
}

/* Lists or writes the images of one page; returns an exit code. `written`
 * holds the objects written so far. */
static int readPage(ZOPRADocumentLoader* loader, const ImageOptions* options, uint32_t page,
                    ObjectSet* written) {
  uint32_t count = 0;
  uint32_t index;
  Placement* placements;
  int placed;
  int result = EXIT_OK;
  int32_t status = zopraDocumentLoaderGetImageCount(loader, &count, page);
  if (status != ZOPRA_STATUS_SUCCESS) return reportPageUnread(options->path, page, status);
  if (count == 0) return EXIT_OK;
  placements = malloc(count * sizeof *placements);
  if (!placements) return reportPageUnread(options->path, page, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
  placed = placeImages(loader, page, count, placements);
  for (index = 0; index < count && result != EXIT_WRITE_FAILED; ++index) {
    uint32_t format = 0;
    uint32_t size = 0;
    status = zopraDocumentLoaderGetImageFormat(loader, &format, page, index);
    if (status == ZOPRA_STATUS_SUCCESS) {
      status = zopraDocumentLoaderGetImageBufferSize(loader, &size, page, index);
    }
    if (status != ZOPRA_STATUS_SUCCESS) {
      result = reportPageUnread(options->path, page, status);
      continue;
    }
    if (options->list) printRow(page, index, placed ? &placements[index] : NULL, format, size);
    if (options->folder) {
      /* An image drawn again, here or on an earlier page, is written once.
       * Without its object number it cannot be known to be the same. */
      int fresh = placed ? insertObject(written, placements[index].object) : 1;
      int step = EXIT_OK;
      if (fresh < 0) {
        step = reportPageUnread(options->path, page, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
      } else if (fresh > 0) {
        step = writeImage(loader, options, page, index, format, size);
      }
      if (step != EXIT_OK) result = step;
    }
  }
  free(placements);
  return result;
}

static int parseImageArguments(int argc, char** argv, ImageOptions* options) {
  int i;
  int result = EXIT_OK;
  memset(options, 0, sizeof *options);
  for (i = 0; i < argc; ++i) {
    if (takePageOption(argc, argv, &i, 0, &options->range, &result)) {
      if (result != EXIT_OK) return result;
    } else if (strcmp(argv[i], "-o") == 0 && i + 1 < argc) {
      options->folder = argv[++i];
      if (options->folder[0] == '\0') return usageError("empty folder name", NULL);
    } else if (strcmp(argv[i], "--list") == 0) {
      options->list = 1;
    } else {
      int taken = takeArgument(argv[i], &options->path);
      if (taken != EXIT_OK) return taken;
    }
  }
  if (!options->path) return usageError("no file given", NULL);
  /* Listing is what there is to do when no folder is given. */
  if (!options->folder) options->list = 1;
  return EXIT_OK;
}

int runImages(int argc, char** argv) {
  ImageOptions options;
  ZOPRADocumentLoader* loader = NULL;
  ObjectSet written = {NULL, 0, 0};
  uint32_t page;
  uint32_t first;
  uint32_t last;
  int progress;
  int result = parseImageArguments(argc, argv, &options);
  if (result == EXIT_HELP_SHOWN) return EXIT_OK;
  if (result != EXIT_OK) return result;
  result = openPages(options.path, &options.range, &loader, &first, &last);
  if (result != EXIT_OK) return result;
  /* The folder itself is made, once the input is known to be good; its
   * parents must exist. */
  if (result == EXIT_OK && options.folder && mkdir(options.folder, 0777) != 0 && errno != EEXIST) {
    fprintf(stderr, PROGRAM ": %s: cannot create the folder (%s)\n", options.folder, strerror(errno));
    result = EXIT_WRITE_FAILED;
  }
  if (result != EXIT_OK) {
    zopraDocumentLoaderDestroy(loader);
    return result;
  }
  progress = last - first > 1 && progressWanted(!options.list);
  if (options.list) {
    printf("%5s %6s %7s %-6s %10s %9s %9s %9s %9s\n", "page", "index", "object", "format", "bytes",
           "x", "y", "width", "height");
  }
  for (page = first; page < last; ++page) {
    int step;
    if (progress) showProgress(page + 1, last);
    step = readPage(loader, &options, page, &written);
    if (step != EXIT_OK) result = step;
    if (step == EXIT_WRITE_FAILED) break;
  }
  endProgress();
  free(written.numbers);
  zopraDocumentLoaderDestroy(loader);
  return result != EXIT_OK ? result : finishOutput();
}
