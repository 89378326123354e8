/* Font files for new text, chosen among the installed fonts through
 * fontconfig (see font_choice.h). The library draws TrueType outlines only,
 * so every face offered is a .ttf file whose format fontconfig reports as
 * TrueType, the first face of its file, neither variable nor colour nor a
 * symbol font. */
#define _POSIX_C_SOURCE 200809L

#include "font_choice.h"

#include <fontconfig/fontconfig.h>
/* After fontconfig.h, which it needs. */
#include <fontconfig/fcfreetype.h>
#include <stdlib.h>
#include <string.h>

/* Families: fixed pitch wins over serif, the rest is sans. */
enum { FAMILY_MONO, FAMILY_SERIF, FAMILY_SANS, FAMILY_COUNT };
#define STYLE_COUNT (FAMILY_COUNT * 4)
/* Fallbacks kept per style; a text needing more gets the first ones. */
#define MAX_FALLBACKS 32
/* Primary not looked up yet; none installed. */
#define FACE_UNKNOWN (-1)
#define FACE_NONE (-2)

typedef struct {
  char* path;
  FcCharSet* charset; /* owned */
  int rejected;
} Face;

struct FontChoice {
  FcConfig* config;
  Face* faces;
  size_t faceCount;
  size_t faceCapacity;
  int forced; /* face of the forced primary, or FACE_NONE */
  int primary[STYLE_COUNT];
  int fallbacks[STYLE_COUNT][MAX_FALLBACKS];
  size_t fallbackCount[STYLE_COUNT];
  /* Per fallback, the characters it was chosen for. */
  FcCharSet* claimed[STYLE_COUNT][MAX_FALLBACKS];
  /* Characters that no acceptable installed font has: never asked again. */
  FcCharSet* nobody;
};

/* Per family, the face asked for first and the generic family after it.
 * Most PDF text is set in Courier, Times or Helvetica (or faces as wide):
 * asking for their common names gets a face with the same widths where one
 * is installed (fontconfig's metric aliases give Liberation Mono, Serif and
 * Sans), so that a translation is no wider than the language makes it. */
static const char* const kFamilies[FAMILY_COUNT][2] = {
    {"Courier New", "monospace"}, {"Times New Roman", "serif"}, {"Arial", "sans-serif"}};

static int styleKey(const ZOPRADocumentLoaderTextStyle* style) {
  int family = style->fixedPitch ? FAMILY_MONO : style->serif ? FAMILY_SERIF : FAMILY_SANS;
  return family * 4 + (style->bold ? 2 : 0) + (style->italic ? 1 : 0);
}

static char* copyText(const char* text) {
  size_t length = strlen(text);
  char* copy = malloc(length + 1);
  if (copy) memcpy(copy, text, length + 1);
  return copy;
}

/* The face for `path`, added with a copy of `charset` when new; -1 when
 * memory ran out. */
static int faceFor(FontChoice* choice, const char* path, const FcCharSet* charset) {
  size_t i;
  Face* face;
  for (i = 0; i < choice->faceCount; ++i) {
    if (strcmp(choice->faces[i].path, path) == 0) return (int)i;
  }
  if (choice->faceCount == choice->faceCapacity) {
    size_t capacity = choice->faceCapacity ? 2 * choice->faceCapacity : 16;
    Face* larger = realloc(choice->faces, capacity * sizeof *larger);
    if (!larger) return -1;
    choice->faces = larger;
    choice->faceCapacity = capacity;
  }
  face = &choice->faces[choice->faceCount];
  face->path = copyText(path);
  face->charset = charset ? FcCharSetCopy((FcCharSet*)charset) : FcCharSetCreate();
  face->rejected = 0;
  if (!face->path || !face->charset) {
    free(face->path);
    if (face->charset) FcCharSetDestroy(face->charset);
    return -1;
  }
  return (int)choice->faceCount++;
}

static int endsWithTtf(const char* path) {
  size_t length = strlen(path);
  const char* end = path + length - 4;
  return length > 4 && end[0] == '.' && (end[1] | 0x20) == 't' && (end[2] | 0x20) == 't' && (end[3] | 0x20) == 'f';
}

static int flagSet(const FcPattern* font, const char* name) {
  FcBool value = FcFalse;
  return FcPatternGetBool(font, name, 0, &value) == FcResultMatch && value;
}

/* The file and character set of a font the library can draw with, or 0. */
static int acceptable(const FontChoice* choice, const FcPattern* font, const char** path, FcCharSet** charset) {
  FcChar8* file = NULL;
  FcChar8* format = NULL;
  int index = 0;
  size_t i;
  if (FcPatternGetString(font, FC_FILE, 0, &file) != FcResultMatch ||
      FcPatternGetString(font, FC_FONTFORMAT, 0, &format) != FcResultMatch ||
      FcPatternGetCharSet(font, FC_CHARSET, 0, charset) != FcResultMatch) {
    return 0;
  }
  if (strcmp((const char*)format, "TrueType") != 0 || !endsWithTtf((const char*)file)) return 0;
  if (FcPatternGetInteger(font, FC_INDEX, 0, &index) == FcResultMatch && index != 0) return 0;
  if (flagSet(font, FC_VARIABLE) || flagSet(font, FC_COLOR) || flagSet(font, FC_SYMBOL)) return 0;
  for (i = 0; i < choice->faceCount; ++i) {
    if (choice->faces[i].rejected && strcmp(choice->faces[i].path, (const char*)file) == 0) return 0;
  }
  *path = (const char*)file;
  return 1;
}

/* The installed fonts for a style, best first, weighed by `charset` too when
 * given; NULL when fontconfig has none or memory ran out. */
static FcFontSet* sortedFonts(FontChoice* choice, int key, const FcCharSet* charset) {
  FcResult result = FcResultNoMatch;
  FcFontSet* fonts = NULL;
  FcPattern* pattern = FcPatternCreate();
  if (!pattern) return NULL;
  if (FcPatternAddString(pattern, FC_FAMILY, (const FcChar8*)kFamilies[key / 4][0]) &&
      FcPatternAddString(pattern, FC_FAMILY, (const FcChar8*)kFamilies[key / 4][1]) &&
      FcPatternAddInteger(pattern, FC_WEIGHT, key & 2 ? FC_WEIGHT_BOLD : FC_WEIGHT_REGULAR) &&
      FcPatternAddInteger(pattern, FC_SLANT, key & 1 ? FC_SLANT_ITALIC : FC_SLANT_ROMAN) &&
      FcPatternAddString(pattern, FC_FONTFORMAT, (const FcChar8*)"TrueType") &&
      (!charset || FcPatternAddCharSet(pattern, FC_CHARSET, (FcCharSet*)charset)) &&
      FcConfigSubstitute(choice->config, pattern, FcMatchPattern)) {
    FcDefaultSubstitute(pattern);
    fonts = FcFontSort(choice->config, pattern, FcFalse, NULL, &result);
  }
  FcPatternDestroy(pattern);
  return fonts;
}

/* Whether the face has the weight and slant of the style: bold at semibold
 * or more, regular from book to below semibold, italic for any slant. */
static int hasStyle(const FcPattern* font, int key) {
  int weight = FC_WEIGHT_REGULAR;
  int slant = FC_SLANT_ROMAN;
  FcPatternGetInteger(font, FC_WEIGHT, 0, &weight);
  FcPatternGetInteger(font, FC_SLANT, 0, &slant);
  if ((key & 2) ? weight < FC_WEIGHT_DEMIBOLD : (weight < FC_WEIGHT_BOOK || weight >= FC_WEIGHT_DEMIBOLD)) return 0;
  return (key & 1) ? slant != FC_SLANT_ROMAN : slant == FC_SLANT_ROMAN;
}

/* The first face, in fontconfig's order, of the style's two best families
 * that has its weight and slant (a family without an italic gives way to
 * the next one that has it); else the best face. */
static int primaryFace(FontChoice* choice, int key) {
  FcFontSet* fonts;
  const FcPattern* best = NULL;
  const FcPattern* chosen = NULL;
  FcChar8* families[2] = {NULL, NULL};
  int i;
  if (choice->forced != FACE_NONE) return choice->forced;
  if (choice->primary[key] != FACE_UNKNOWN) return choice->primary[key];
  choice->primary[key] = FACE_NONE;
  fonts = sortedFonts(choice, key, NULL);
  for (i = 0; fonts && i < fonts->nfont && !chosen; ++i) {
    const char* path;
    FcCharSet* charset;
    FcChar8* family = NULL;
    if (!acceptable(choice, fonts->fonts[i], &path, &charset)) continue;
    FcPatternGetString(fonts->fonts[i], FC_FAMILY, 0, &family);
    if (!best) {
      best = fonts->fonts[i];
      families[0] = family;
    } else if (family && families[0] && strcmp((const char*)family, (const char*)families[0]) != 0 &&
               (!families[1] || strcmp((const char*)family, (const char*)families[1]) != 0)) {
      if (families[1]) break;
      families[1] = family;
    }
    if (hasStyle(fonts->fonts[i], key)) chosen = fonts->fonts[i];
  }
  if (!chosen) chosen = best;
  if (chosen) {
    const char* path;
    FcCharSet* charset;
    int face;
    acceptable(choice, chosen, &path, &charset);
    face = faceFor(choice, path, charset);
    /* Out of memory: looked up again next time. */
    choice->primary[key] = face >= 0 ? face : FACE_UNKNOWN;
  }
  if (fonts) FcFontSetDestroy(fonts);
  return choice->primary[key];
}

/* The next character of UTF-8 text, or NULL at a malformed byte (which the
 * caller skips). */
static const char* nextCharacter(const char* text, FcChar32* character) {
  const unsigned char* bytes = (const unsigned char*)text;
  int length = FcUtf8ToUcs4(bytes, character, (int)strnlen(text, 4));
  return length > 0 ? text + length : NULL;
}

/* The style's fallback slot for `face`, added when new; -1 when the slots
 * are full or memory ran out. */
static int fallbackSlot(FontChoice* choice, int key, int face) {
  size_t i;
  for (i = 0; i < choice->fallbackCount[key]; ++i) {
    if (choice->fallbacks[key][i] == face) return (int)i;
  }
  if (i == MAX_FALLBACKS) return -1;
  choice->claimed[key][i] = FcCharSetCreate();
  if (!choice->claimed[key][i]) return -1;
  choice->fallbacks[key][i] = face;
  choice->fallbackCount[key] = i + 1;
  return (int)i;
}

/* The fallback slot of the style for a character the primary lacks: the
 * first acceptable font that has it, in fontconfig's order for the style
 * and that character alone. Each character is decided on its own, so a
 * text gets the same fonts whatever texts were set before it (pages done on
 * several threads choose alike). -1 when no font has it (it joins
 * choice->nobody) or memory or the slots ran out. */
static int fallbackFor(FontChoice* choice, int key, FcChar32 character) {
  FcCharSet* wanted;
  FcFontSet* fonts;
  size_t i;
  int slot = -1;
  int k;
  for (i = 0; i < choice->fallbackCount[key]; ++i) {
    if (!choice->faces[choice->fallbacks[key][i]].rejected && FcCharSetHasChar(choice->claimed[key][i], character)) {
      return (int)i;
    }
  }
  if (FcCharSetHasChar(choice->nobody, character)) return -1;
  wanted = FcCharSetCreate();
  if (!wanted) return -1;
  fonts = FcCharSetAddChar(wanted, character) ? sortedFonts(choice, key, wanted) : NULL;
  FcCharSetDestroy(wanted);
  for (k = 0; fonts && k < fonts->nfont; ++k) {
    const char* path;
    FcCharSet* charset;
    int face;
    if (!acceptable(choice, fonts->fonts[k], &path, &charset) || !FcCharSetHasChar(charset, character)) continue;
    face = faceFor(choice, path, charset);
    slot = face >= 0 ? fallbackSlot(choice, key, face) : -1;
    if (slot >= 0 && !FcCharSetAddChar(choice->claimed[key][slot], character)) slot = -1;
    break;
  }
  if (fonts && k == fonts->nfont) FcCharSetAddChar(choice->nobody, character);
  if (fonts) FcFontSetDestroy(fonts);
  return slot;
}

static int comparePaths(const void* left, const void* right) {
  return strcmp(*(const char* const*)left, *(const char* const*)right);
}

uint32_t fontChoiceChain(FontChoice* choice, const ZOPRADocumentLoaderTextStyle* style, const char* text,
                         const char** paths) {
  const int key = styleKey(style);
  const int primary = primaryFace(choice, key);
  unsigned char used[MAX_FALLBACKS];
  const char* fallbacks[MAX_FALLBACKS];
  uint32_t count = 0;
  size_t i;
  size_t usedCount = 0;
  if (primary < 0) return 0;
  memset(used, 0, sizeof used);
  while (*text) {
    FcChar32 character = 0;
    const char* next = nextCharacter(text, &character);
    int slot;
    if (!next) {
      ++text;
      continue;
    }
    text = next;
    if (character < 0x20 || FcCharSetHasChar(choice->faces[primary].charset, character)) continue;
    slot = fallbackFor(choice, key, character);
    if (slot >= 0) used[slot] = 1;
  }
  for (i = 0; i < choice->fallbackCount[key]; ++i) {
    if (used[i]) fallbacks[usedCount++] = choice->faces[choice->fallbacks[key][i]].path;
  }
  /* In an order of their own, not that of their finding. */
  qsort((void*)fallbacks, usedCount, sizeof *fallbacks, comparePaths);
  paths[count++] = choice->faces[primary].path;
  for (i = 0; i < usedCount && count < FONT_CHAIN_MAX; ++i) {
    if (strcmp(fallbacks[i], paths[0]) != 0) paths[count++] = fallbacks[i];
  }
  return count;
}

int fontChoiceReject(FontChoice* choice, const char* path) {
  size_t i;
  int key;
  for (i = 0; i < choice->faceCount; ++i) {
    if (strcmp(choice->faces[i].path, path) != 0) continue;
    if ((int)i == choice->forced) return 0;
    choice->faces[i].rejected = 1;
    for (key = 0; key < STYLE_COUNT; ++key) {
      if (choice->primary[key] == (int)i) choice->primary[key] = FACE_UNKNOWN;
    }
    return 1;
  }
  return 0;
}

FontChoice* fontChoiceCreate(const char* forcedPrimary) {
  FontChoice* choice = calloc(1, sizeof *choice);
  int key;
  if (!choice) return NULL;
  choice->forced = FACE_NONE;
  for (key = 0; key < STYLE_COUNT; ++key) choice->primary[key] = FACE_UNKNOWN;
  choice->config = FcInitLoadConfigAndFonts();
  choice->nobody = FcCharSetCreate();
  if (!choice->config || !choice->nobody) {
    fontChoiceDestroy(choice);
    return NULL;
  }
  if (forcedPrimary) {
    /* The forced file's own characters decide what falls back; a file that
     * is no font has none, and the library says why it cannot be used. */
    int fonts = 0;
    FcPattern* pattern = FcFreeTypeQuery((const FcChar8*)forcedPrimary, 0, NULL, &fonts);
    FcCharSet* charset = NULL;
    if (pattern) FcPatternGetCharSet(pattern, FC_CHARSET, 0, &charset);
    choice->forced = faceFor(choice, forcedPrimary, charset);
    if (pattern) FcPatternDestroy(pattern);
    if (choice->forced < 0) {
      fontChoiceDestroy(choice);
      return NULL;
    }
  }
  return choice;
}

void fontChoiceDestroy(FontChoice* choice) {
  size_t i;
  int key;
  if (!choice) return;
  for (i = 0; i < choice->faceCount; ++i) {
    free(choice->faces[i].path);
    FcCharSetDestroy(choice->faces[i].charset);
  }
  free(choice->faces);
  for (key = 0; key < STYLE_COUNT; ++key) {
    for (i = 0; i < choice->fallbackCount[key]; ++i) FcCharSetDestroy(choice->claimed[key][i]);
  }
  if (choice->nobody) FcCharSetDestroy(choice->nobody);
  if (choice->config) FcConfigDestroy(choice->config);
  free(choice);
}
