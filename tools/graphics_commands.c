/* zopra-pdf graphics: what the pages paint, one graphics record per line. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "cli.h"
#include "zopra_document_loader.h"

/* Records are copied from the handle in slices of this many. */
#define RECORD_SLICE 256

static const char* kindName(const ZOPRADocumentLoaderGraphicsInfo* info) {
  if (info->type == 1) return "image";
  if (info->isLine) return "line";
  return info->closed ? "rect" : "path";
}

static const char* paintName(const ZOPRADocumentLoaderGraphicsInfo* info) {
  if (info->type == 1) return "-";
  if (info->stroke && info->fill) return "fill+stroke";
  return info->stroke ? "stroke" : "fill";
}

static const char* const kColorSpaces[] = {"gray", "rgb", "cmyk"};
static const uint32_t kColorComponents[] = {1, 3, 4};

/* "-", or the space and its components: gray:0.5, rgb:1,0,0, cmyk:0,0,0,1. */
static void formatColor(uint32_t type, const double* components, char* out, size_t size) {
  size_t used;
  uint32_t i;
  if (type < 1 || type > 3) {
    snprintf(out, size, "-");
    return;
  }
  used = (size_t)snprintf(out, size, "%s:", kColorSpaces[type - 1]);
  for (i = 0; i < kColorComponents[type - 1] && used < size; ++i) {
    char number[64];
    formatNumber(components[i], number, sizeof number);
    used += (size_t)snprintf(out + used, size - used, "%s%s", i ? "," : "", number);
  }
}

/* null, or {"space":S,"components":[...]}. */
static json_t* jsonColor(uint32_t type, const double* components) {
  json_t* color;
  json_t* list;
  uint32_t i;
  if (type < 1 || type > 3) return json_null();
  color = json_object();
  list = json_array();
  for (i = 0; i < kColorComponents[type - 1]; ++i) json_array_append_new(list, jsonNumber(components[i]));
  json_object_set_new(color, "space", json_string(kColorSpaces[type - 1]));
  json_object_set_new(color, "components", list);
  return color;
}

/* A JSON array of the numbers. */
static json_t* jsonNumbers(const double* values, size_t count) {
  json_t* list = json_array();
  size_t i;
  for (i = 0; i < count; ++i) json_array_append_new(list, jsonNumber(values[i]));
  return list;
}

static void printRecord(const ZOPRADocumentLoaderGraphicsInfo* info, uint32_t page, int json,
                        int first) {
  const double values[] = {info->x,      info->y,        info->width,    info->height,
                           info->startX, info->startY,   info->endX,     info->endY,
                           info->clipX,  info->clipY,    info->clipWidth, info->clipHeight,
                           info->lineWidth};
  char text[13][64];
  size_t i;
  for (i = 0; i < 13; ++i) formatNumber(values[i], text[i], sizeof text[i]);
  if (json) {
    json_t* record = json_object();
    json_object_set_new(record, "kind", json_string(kindName(info)));
    json_object_set_new(record, "x", jsonNumber(info->x));
    json_object_set_new(record, "y", jsonNumber(info->y));
    json_object_set_new(record, "width", jsonNumber(info->width));
    json_object_set_new(record, "height", jsonNumber(info->height));
    json_object_set_new(record, "start", jsonNumbers(values + 4, 2));
    json_object_set_new(record, "end", jsonNumbers(values + 6, 2));
    json_object_set_new(record, "clip", jsonNumbers(values + 8, 4));
    json_object_set_new(record, "closed", json_boolean(info->closed));
    json_object_set_new(record, "stroke", json_boolean(info->stroke));
    json_object_set_new(record, "fill", json_boolean(info->fill));
    json_object_set_new(record, "line_width", jsonNumber(info->lineWidth));
    json_object_set_new(record, "fill_color", jsonColor(info->fillColorType, info->fillColor));
    json_object_set_new(record, "stroke_color", jsonColor(info->strokeColorType, info->strokeColor));
    json_object_set_new(record, "object", json_integer(info->objectNumber));
    if (!first) putchar(',');
    printJson(stdout, record);
  } else {
    char fill[160];
    char stroke[160];
    formatColor(info->fillColorType, info->fillColor, fill, sizeof fill);
    formatColor(info->strokeColorType, info->strokeColor, stroke, sizeof stroke);
    printf("%lu\t%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\t%lu\n", (unsigned long)page + 1,
           kindName(info), text[0], text[1], text[2], text[3], paintName(info), text[12], fill,
           stroke, (unsigned long)info->objectNumber);
  }
}

/* Extracts and prints one page; returns the library status. */
static int32_t printPage(ZOPRADocumentLoader* loader, uint32_t page, double minimumSize,
                         int json, ZOPRADocumentLoaderGraphicsInfo* slice) {
  uint32_t count = 0;
  uint32_t start;
  int32_t status = zopraDocumentLoaderExtractPageGraphics(loader, page, minimumSize);
  if (status == ZOPRA_STATUS_SUCCESS) {
    status = zopraDocumentLoaderGetPageGraphicsCount(loader, &count, page);
  }
  if (status != ZOPRA_STATUS_SUCCESS) return status;
  for (start = 0; start < count; start += RECORD_SLICE) {
    uint32_t length = count - start < RECORD_SLICE ? count - start : RECORD_SLICE;
    uint32_t i;
    status = zopraDocumentLoaderGetGraphicsArray(loader, slice, length, start);
    if (status != ZOPRA_STATUS_SUCCESS) return status;
    for (i = 0; i < length; ++i) printRecord(&slice[i], page, json, start + i == 0);
  }
  return ZOPRA_STATUS_SUCCESS;
}

int runGraphics(int argc, char** argv) {
  const char* path = NULL;
  PageRange range = {0, 0};
  double minimumSize = 0.0;
  int json = 0;
  ZOPRADocumentLoader* loader = NULL;
  ZOPRADocumentLoaderGraphicsInfo* slice;
  uint32_t first;
  uint32_t last;
  uint32_t page;
  int progress;
  int result = EXIT_OK;
  int i;
  for (i = 0; i < argc; ++i) {
    if (takePageOption(argc, argv, &i, 1, &range, &result)) {
      if (result != EXIT_OK) return result;
    } else if (strcmp(argv[i], "--min") == 0 && i + 1 < argc) {
      if (!parseSize(argv[++i], &minimumSize)) return usageError("not a size", argv[i]);
    } else if (strcmp(argv[i], "--json") == 0) {
      json = 1;
    } else {
      int taken = takeArgument(argv[i], &path);
      if (taken != EXIT_OK) return taken == EXIT_HELP_SHOWN ? EXIT_OK : taken;
    }
  }
  if (!path) return usageError("no file given", NULL);
  result = openPages(path, &range, &loader, &first, &last);
  if (result != EXIT_OK) return result;
  slice = malloc(sizeof *slice * RECORD_SLICE);
  if (!slice) {
    zopraDocumentLoaderDestroy(loader);
    return reportFailure(path, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
  }
  progress = last - first > 1 && progressWanted(0);
  if (json) {
    fputs("{\"file\":", stdout);
    printJson(stdout, jsonString(path));
    fputs(",\"pages\":[", stdout);
  }
  /* A page that cannot be read is named and skipped (in JSON its entry
   * list holds what was printed before the failure); the exit status tells. */
  for (page = first; page < last; ++page) {
    int32_t status;
    if (progress) showProgress(page + 1, last);
    if (json) {
      printf("%s{\"page\":%lu,\"entries\":[", page > first ? "," : "", (unsigned long)page + 1);
    }
    status = printPage(loader, page, minimumSize, json, slice);
    if (json) fputs("]}", stdout);
    if (status != ZOPRA_STATUS_SUCCESS) result = reportPageUnread(path, page, status);
  }
  endProgress();
  if (json) fputs("]}\n", stdout);
  free(slice);
  zopraDocumentLoaderDestroy(loader);
  return result != EXIT_OK ? result : finishOutput();
}
