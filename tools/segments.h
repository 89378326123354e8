/* Segments: the blocks of the pages (paragraphs, headings, list items, table
 * cells, captions) as a translator exchanges them, in JSON or XLIFF 2.1. */
#ifndef ZOPRA_PDF_SEGMENTS_H
#define ZOPRA_PDF_SEGMENTS_H

#include <jansson.h>
#include <stdio.h>

#include "font_choice.h"

typedef enum { SEGMENTS_JSON = 0, SEGMENTS_XLIFF = 1 } SegmentFormat;

/* "json" or "xliff"; 0 when `text` is neither. */
int parseSegmentFormat(const char* text, SegmentFormat* format);

/* Writes the segments (the array of segment objects segments writes in
 * JSON: "id", "text", "kind", ...) as an XLIFF 2.1 document, one unit per
 * segment, its id the unit id. 0 on success. */
int writeSegmentsXliff(FILE* out, const char* original, json_t* segments);

/* Reads an XLIFF 2.1 file into an array of {"id", "text"}: per unit, the
 * targets of its segments joined, or their sources when it has no target.
 * NULL after a one-line report. */
json_t* readSegmentsXliff(const char* path);

/* zopra-pdf replace IN OUT --segments FILE. */
typedef struct {
  const char* input;
  const char* output;
  const char* segmentsPath;
  FontChoice* fonts; /* faces by the style of each block's first item */
  const char* fontPath; /* --font, or NULL: each thread's font choice */
  unsigned jobs; /* -j: threads editing the document's pages */
  double minSize; /* points; 0 for the library's floor */
  int plain;
  SegmentFormat format;
} SegmentReplace;
int replaceSegments(const SegmentReplace* job);

int runSegments(int argc, char** argv);

#endif
