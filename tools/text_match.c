/* Map keys and item texts are compared in a normal form, so that a key
 * written from what a reader sees finds the item whatever code points the
 * PDF used: the NFKC form of a chosen set of blocks (text_match_table.c) and
 * white space collapsed, as Python's unicodedata.normalize("NFKC") followed
 * by " ".join(text.split()) gives for those characters. */
#include "text_match.h"

#include <stdlib.h>
#include <string.h>

/* No normal form in the table has more than four bytes for each byte of its
 * character (scripts/match_table.py checks it). */
#define GROWTH 4

/* Decodes one UTF-8 sequence at `p` (`left` bytes); returns its length, or 0
 * when it is not well-formed (the byte is then kept alone). */
static size_t decode(const unsigned char* p, size_t left, uint32_t* code) {
  size_t length;
  size_t i;
  uint32_t value;
  if (p[0] < 0x80) {
    *code = p[0];
    return 1;
  }
  if (p[0] >= 0xC2 && p[0] <= 0xDF) {
    length = 2;
    value = p[0] & 0x1Fu;
  } else if (p[0] >= 0xE0 && p[0] <= 0xEF) {
    length = 3;
    value = p[0] & 0x0Fu;
  } else if (p[0] >= 0xF0 && p[0] <= 0xF4) {
    length = 4;
    value = p[0] & 0x07u;
  } else {
    return 0;
  }
  if (left < length) return 0;
  for (i = 1; i < length; ++i) {
    if ((p[i] & 0xC0) != 0x80) return 0;
    value = value << 6 | (p[i] & 0x3Fu);
  }
  if ((length == 3 && value < 0x800) || (length == 4 && (value < 0x10000 || value > 0x10FFFF)) ||
      (value >= 0xD800 && value <= 0xDFFF)) {
    return 0;
  }
  *code = value;
  return length;
}

/* White space as Python's str.split() knows it, after normalisation. */
static int isSpace(uint32_t code) {
  return (code >= 0x09 && code <= 0x0D) || (code >= 0x1C && code <= 0x20) || code == 0x85 ||
         code == 0xA0 || code == 0x1680 || (code >= 0x2000 && code <= 0x200A) || code == 0x2028 ||
         code == 0x2029 || code == 0x202F || code == 0x205F || code == 0x3000;
}

static const char* normalForm(uint32_t code) {
  size_t low = 0;
  size_t high = kMatchMappingCount;
  while (low < high) {
    size_t middle = low + (high - low) / 2;
    if (kMatchMappings[middle].code == code) return kMatchMappings[middle].normal;
    if (kMatchMappings[middle].code < code) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return NULL;
}

/* Appends `length` bytes, collapsing white space: a pending space is written
 * only before the next character that is not one. */
static void append(char* out, size_t* used, int* pendingSpace, const char* bytes, size_t length) {
  size_t i = 0;
  while (i < length) {
    uint32_t code = 0;
    size_t step = decode((const unsigned char*)bytes + i, length - i, &code);
    if (step == 0) {
      step = 1;
      code = 0xFFFFFFFFu;
    }
    if (isSpace(code)) {
      *pendingSpace = *used > 0;
    } else {
      if (*pendingSpace) out[(*used)++] = ' ';
      *pendingSpace = 0;
      memcpy(out + *used, bytes + i, step);
      *used += step;
    }
    i += step;
  }
}

char* matchKey(const char* text, int exact) {
  const unsigned char* p = (const unsigned char*)text;
  size_t length = strlen(text);
  size_t used = 0;
  size_t i = 0;
  int pendingSpace = 0;
  char* out;
  if (exact) {
    out = malloc(length + 1);
    if (out) memcpy(out, text, length + 1);
    return out;
  }
  if (length > ((size_t)-1) / GROWTH - 1) return NULL;
  out = malloc(length * GROWTH + 1);
  if (!out) return NULL;
  while (i < length) {
    uint32_t code = 0;
    size_t step = decode(p + i, length - i, &code);
    const char* normal = step ? normalForm(code) : NULL;
    if (step == 0) step = 1;
    if (normal) {
      append(out, &used, &pendingSpace, normal, strlen(normal));
    } else {
      append(out, &used, &pendingSpace, text + i, step);
    }
    i += step;
  }
  out[used] = '\0';
  return out;
}
