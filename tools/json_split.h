/* Large JSON documents read on two threads (json_split.c). */
#ifndef ZOPRA_PDF_JSON_SPLIT_H
#define ZOPRA_PDF_JSON_SPLIT_H

#include <jansson.h>
#include <stddef.h>

/* json_loadb(text, length, flags, error), with the elements of one large
 * array read in two halves on two threads when `jobs` is above 1: the
 * document itself when `member` is NULL, or the value of its top-level
 * member `member` (as "segments" of a segments file). Whenever that cannot
 * be done, or a half does not read, the whole text is read on this thread,
 * so errors name the same line and column as json_loadb's. */
json_t* jsonLoadSplit(const char* text, size_t length, size_t flags, const char* member, unsigned jobs,
                      json_error_t* error);

#endif
