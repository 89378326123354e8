/* Map keys and item texts are compared in a normal form, so that a key
 * written from what a reader sees finds the item whatever code points the
 * PDF used: Unicode NFKC (by utf8proc, the normalisation library made for
 * exactly this) with white space collapsed, as Python's
 * unicodedata.normalize("NFKC") followed by " ".join(text.split()) gives. */
#include "text_match.h"

#include <stdlib.h>
#include <string.h>
#include <utf8proc.h>

/* White space as Python's str.split() knows it, after normalisation. */
static int isSpace(utf8proc_int32_t code) {
  return (code >= 0x09 && code <= 0x0D) || (code >= 0x1C && code <= 0x20) || code == 0x85 ||
         code == 0xA0 || code == 0x1680 || (code >= 0x2000 && code <= 0x200A) || code == 0x2028 ||
         code == 0x2029 || code == 0x202F || code == 0x205F || code == 0x3000;
}

/* Copies `text` into `out` (at least as large), collapsing white space: a
 * space is written only between two characters that are not white space.
 * Bytes that are not UTF-8 are copied one by one. */
static void collapse(const char* text, char* out) {
  const utf8proc_uint8_t* p = (const utf8proc_uint8_t*)text;
  size_t length = strlen(text);
  size_t used = 0;
  size_t i = 0;
  int pendingSpace = 0;
  while (i < length) {
    utf8proc_int32_t code = -1;
    utf8proc_ssize_t step = utf8proc_iterate(p + i, (utf8proc_ssize_t)(length - i), &code);
    if (step <= 0) {
      step = 1;
      code = -1;
    }
    if (code >= 0 && isSpace(code)) {
      pendingSpace = used > 0;
    } else {
      if (pendingSpace) out[used++] = ' ';
      pendingSpace = 0;
      memcpy(out + used, text + i, (size_t)step);
      used += (size_t)step;
    }
    i += (size_t)step;
  }
  out[used] = '\0';
}

char* matchKey(const char* text, int exact) {
  size_t length = strlen(text);
  char* normal;
  char* out;
  if (exact) {
    out = malloc(length + 1);
    if (out) memcpy(out, text, length + 1);
    return out;
  }
  /* ASCII text is its own NFKC form (most
   * keys and items are): only its white space is collapsed. */
  {
    size_t i = 0;
    while (i < length && (unsigned char)text[i] < 0x80) ++i;
    if (i == length) {
      out = malloc(length + 1);
      if (out) collapse(text, out);
      return out;
    }
  }
  /* utf8proc refuses text that is not UTF-8: such text is compared with its
   * white space collapsed only. */
  normal = (char*)utf8proc_NFKC((const utf8proc_uint8_t*)text);
  out = malloc((normal ? strlen(normal) : length) + 1);
  if (out) collapse(normal ? normal : text, out);
  free(normal);
  return out;
}
