/*
 * A small, strict JSON reader for the tool's input files (RFC 8259).
 *
 * The whole text is parsed into a tree. Strings come out as NUL-terminated
 * UTF-8: escapes are undone (\u surrogate pairs joined), raw bytes must be
 * valid UTF-8, and a string holding U+0000 is refused, since the C interface
 * takes NUL-terminated text. Nesting is bounded; everything else is bounded
 * by the input. Numbers are read without the C locale's help.
 */
#ifndef ZOPRA_PDF_JSON_READER_H
#define ZOPRA_PDF_JSON_READER_H

#include <stddef.h>

typedef enum {
  JSON_NULL,
  JSON_FALSE,
  JSON_TRUE,
  JSON_NUMBER,
  JSON_STRING,
  JSON_ARRAY,
  JSON_OBJECT
} JsonKind;

typedef struct JsonMember JsonMember;

typedef struct JsonValue {
  JsonKind kind;
  double number;
  /* Strings; NUL-terminated UTF-8 owned by the value. */
  char* string;
  /* Arrays: `count` items. Objects: `count` members, in the file's order,
   * keys unique. */
  struct JsonValue* items;
  JsonMember* members;
  size_t count;
  /* Where the value starts in the text, from 1, for messages. */
  unsigned long line;
  unsigned long column;
} JsonValue;

struct JsonMember {
  char* key;
  JsonValue value;
  /* Where the key starts. */
  unsigned long line;
  unsigned long column;
};

/* Arrays and objects nest at most this deep. */
#define JSON_MAX_DEPTH 64

/* Parses `length` bytes of `text` into `out`. Returns 1 on success; on
 * failure returns 0, leaves `out` empty (JSON_NULL, nothing to free) and
 * writes "LINE:COLUMN: reason" into `error`. */
int jsonParse(const char* text, size_t length, JsonValue* out, char* error, size_t errorSize);

/* Releases what a value owns; the value becomes JSON_NULL. */
void jsonFree(JsonValue* value);

/* Reads a whole NUL-terminated JSON number ("12", "-0.5", "1e3") into
 * `value`; returns 0 when `text` is not exactly one. */
int jsonNumber(const char* text, double* value);

/* The member of an object with that key, or NULL. */
const JsonValue* jsonMember(const JsonValue* object, const char* key);

#endif
