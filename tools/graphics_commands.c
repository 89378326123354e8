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

static void printJsonColor(uint32_t type, const double* components) {
  uint32_t i;
  if (type < 1 || type > 3) {
    fputs("null", stdout);
    return;
  }
  printf("{\"space\":\"%s\",\"components\":[", kColorSpaces[type - 1]);
  for (i = 0; i < kColorComponents[type - 1]; ++i) {
    char number[64];
    formatNumber(components[i], number, sizeof number);
    printf("%s%s", i ? "," : "", number);
  }
  fputs("]}", stdout);
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
    printf("%s{\"kind\":\"%s\",\"x\":%s,\"y\":%s,\"width\":%s,\"height\":%s,"
           "\"start\":[%s,%s],\"end\":[%s,%s],\"clip\":[%s,%s,%s,%s],"
           "\"closed\":%s,\"stroke\":%s,\"fill\":%s,\"line_width\":%s,\"fill_color\":",
           first ? "" : ",", kindName(info), text[0], text[1], text[2], text[3], text[4], text[5],
           text[6], text[7], text[8], text[9], text[10], text[11], info->closed ? "true" : "false",
           info->stroke ? "true" : "false", info->fill ? "true" : "false", text[12]);
    printJsonColor(info->fillColorType, info->fillColor);
    fputs(",\"stroke_color\":", stdout);
    printJsonColor(info->strokeColorType, info->strokeColor);
    printf(",\"object\":%lu}", (unsigned long)info->objectNumber);
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
    printJsonString(path);
    fputs(",\"pages\":[", stdout);
  }
  /* A page that cannot be read is reported and skipped (in JSON its entry
   * list holds what was printed before the failure); the exit status tells. */
  for (page = first; page < last; ++page) {
    int32_t status;
    if (progress) showProgress(page + 1, last);
    if (json) {
      printf("%s{\"page\":%lu,\"entries\":[", page > first ? "," : "", (unsigned long)page + 1);
    }
    status = printPage(loader, page, minimumSize, json, slice);
    if (json) fputs("]}", stdout);
    if (status != ZOPRA_STATUS_SUCCESS) result = reportPageFailure(path, page, status);
  }
  endProgress();
  if (json) fputs("]}\n", stdout);
  free(slice);
  zopraDocumentLoaderDestroy(loader);
  return result != EXIT_OK ? result : finishOutput();
}
