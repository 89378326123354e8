/* How replace compares map keys with item texts. */
#ifndef ZOPRA_PDF_TEXT_MATCH_H
#define ZOPRA_PDF_TEXT_MATCH_H

#include <stddef.h>

/* The form of the UTF-8 `text` that is compared: with `exact` a copy, else
 * its NFKC form (ligatures become letters, fullwidth forms and no-break
 * spaces plain ones, combining marks compose with their letter) with every
 * run of white space made one space, none at either end. A new string; NULL
 * when memory ran out. Text that is not UTF-8 only has its white space
 * collapsed. */
char* matchKey(const char* text, int exact);

#endif
