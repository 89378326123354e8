/* Font files for new text, chosen among the installed fonts through
 * fontconfig: a primary TrueType face that matches an item's style (serif,
 * sans or mono; bold; italic) and fallbacks that have the characters the
 * primary lacks, each character's fallback chosen for it alone, so that a
 * text's chain does not depend on the texts before it. Choices are cached,
 * so a long document asks fontconfig once per style and once per style and
 * character that the primary lacks. */
#ifndef ZOPRA_PDF_FONT_CHOICE_H
#define ZOPRA_PDF_FONT_CHOICE_H

#include <stdint.h>

#include "zopra_document_loader.h"

/* The most fonts a chain holds (the library takes at most 16). */
#define FONT_CHAIN_MAX 8

typedef struct FontChoice FontChoice;

/* A new chooser. `forcedPrimary` (may be NULL) is the primary face of every
 * chain; the fallbacks are still chosen. NULL when fontconfig cannot be
 * initialised or memory runs out. */
FontChoice* fontChoiceCreate(const char* forcedPrimary);
void fontChoiceDestroy(FontChoice* choice);

/* The chain for `text` (UTF-8) set in the item style `style`: the primary
 * face first, then the fallbacks that have characters of the text that the
 * fonts before them lack. Fills `paths` (FONT_CHAIN_MAX entries) with strings
 * owned by the chooser, valid until it is destroyed; returns the count, 0
 * when no TrueType font is installed. */
uint32_t fontChoiceChain(FontChoice* choice, const ZOPRADocumentLoaderTextStyle* style, const char* text,
                         const char** paths);

/* Leaves the font out of every later chain (the library could not use it).
 * Returns 0 for the forced primary, which cannot be left out. */
int fontChoiceReject(FontChoice* choice, const char* path);

#endif
