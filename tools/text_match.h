/* How replace compares map keys with item texts. */
#ifndef ZOPRA_PDF_TEXT_MATCH_H
#define ZOPRA_PDF_TEXT_MATCH_H

#include <stddef.h>
#include <stdint.h>

/* One character and its compatibility form (NFKC), in UTF-8. */
typedef struct {
  uint32_t code;
  const char* normal;
} MatchMapping;

/* Sorted by code (text_match_table.c, generated). */
extern const MatchMapping kMatchMappings[];
extern const size_t kMatchMappingCount;

/* The form of the UTF-8 `text` that is compared: with `exact` a copy, else
 * compatibility characters replaced by their normal form (ligatures by their
 * letters, fullwidth forms and no-break spaces by plain ones) and every run
 * of white space made one space, none at either end. A new string; NULL
 * when memory ran out. Bytes that are not UTF-8 are kept as they are. */
char* matchKey(const char* text, int exact);

#endif
