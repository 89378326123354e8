/* A strict JSON reader: recursive descent with bounded nesting. */
#include "json_reader.h"

#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

typedef struct {
  const unsigned char* text;
  size_t length;
  size_t position;
  unsigned long line;
  unsigned long column;
  char* error;
  size_t errorSize;
  int failed;
} Parser;

static int failAt(Parser* parser, unsigned long line, unsigned long column, const char* reason) {
  if (!parser->failed) {
    snprintf(parser->error, parser->errorSize, "%lu:%lu: %s", line, column, reason);
    parser->failed = 1;
  }
  return 0;
}

static int fail(Parser* parser, const char* reason) {
  return failAt(parser, parser->line, parser->column, reason);
}

static int atEnd(const Parser* parser) { return parser->position >= parser->length; }

static int peek(const Parser* parser) { return atEnd(parser) ? -1 : parser->text[parser->position]; }

static void advance(Parser* parser) {
  if (atEnd(parser)) return;
  if (parser->text[parser->position] == '\n') {
    ++parser->line;
    parser->column = 1;
  } else {
    ++parser->column;
  }
  ++parser->position;
}

static void skipSpace(Parser* parser) {
  for (;;) {
    int c = peek(parser);
    if (c != ' ' && c != '\t' && c != '\n' && c != '\r') return;
    advance(parser);
  }
}

static int isDigit(int c) { return c >= '0' && c <= '9'; }

/* Reads a number at `text[*position]`, following the JSON grammar exactly;
 * returns 0 (position unspecified) when there is none. */
static int scanNumber(const unsigned char* text, size_t length, size_t* position, double* value) {
  size_t p = *position;
  int negative = 0;
  uint64_t mantissa = 0;
  int significant = 0;
  long exponent = 0;
  long written = 0;
  int exponentNegative = 0;
  if (p < length && text[p] == '-') {
    negative = 1;
    ++p;
  }
  if (p >= length || !isDigit(text[p])) return 0;
  if (text[p] == '0') {
    ++p;
  } else {
    for (; p < length && isDigit(text[p]); ++p) {
      /* Digits past the 19th only scale the value. */
      if (significant < 19) {
        mantissa = mantissa * 10 + (uint64_t)(text[p] - '0');
        if (mantissa != 0) ++significant;
      } else {
        ++exponent;
      }
    }
  }
  if (p < length && text[p] == '.') {
    ++p;
    if (p >= length || !isDigit(text[p])) return 0;
    for (; p < length && isDigit(text[p]); ++p) {
      if (significant < 19) {
        mantissa = mantissa * 10 + (uint64_t)(text[p] - '0');
        if (mantissa != 0) ++significant;
        --exponent;
      }
    }
  }
  if (p < length && (text[p] == 'e' || text[p] == 'E')) {
    ++p;
    if (p < length && (text[p] == '+' || text[p] == '-')) {
      exponentNegative = text[p] == '-';
      ++p;
    }
    if (p >= length || !isDigit(text[p])) return 0;
    for (; p < length && isDigit(text[p]); ++p) {
      /* Beyond this every double is 0 or infinite anyway. */
      if (written < 100000) written = written * 10 + (text[p] - '0');
    }
  }
  exponent += exponentNegative ? -written : written;
  if (mantissa == 0) {
    *value = 0.0;
  } else if (exponent < 0 && exponent >= -22) {
    /* Powers of ten up to 1e22 are exact, so the quotient is correctly rounded. */
    *value = (double)mantissa / pow(10.0, (double)-exponent);
  } else {
    *value = (double)mantissa * pow(10.0, (double)exponent);
  }
  if (negative) *value = -*value;
  *position = p;
  return 1;
}

static int hexDigit(int c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

/* Four hex digits after "\u"; -1 when they are not there. */
static long readHex4(Parser* parser) {
  long value = 0;
  int i;
  for (i = 0; i < 4; ++i) {
    int digit = hexDigit(peek(parser));
    if (digit < 0) return -1;
    value = value * 16 + digit;
    advance(parser);
  }
  return value;
}

static size_t putUtf8(char* out, unsigned long codePoint) {
  if (codePoint < 0x80) {
    out[0] = (char)codePoint;
    return 1;
  }
  if (codePoint < 0x800) {
    out[0] = (char)(0xC0 | (codePoint >> 6));
    out[1] = (char)(0x80 | (codePoint & 0x3F));
    return 2;
  }
  if (codePoint < 0x10000) {
    out[0] = (char)(0xE0 | (codePoint >> 12));
    out[1] = (char)(0x80 | ((codePoint >> 6) & 0x3F));
    out[2] = (char)(0x80 | (codePoint & 0x3F));
    return 3;
  }
  out[0] = (char)(0xF0 | (codePoint >> 18));
  out[1] = (char)(0x80 | ((codePoint >> 12) & 0x3F));
  out[2] = (char)(0x80 | ((codePoint >> 6) & 0x3F));
  out[3] = (char)(0x80 | (codePoint & 0x3F));
  return 4;
}

/* The length of the well-formed UTF-8 sequence at `text` (at most `left`
 * bytes), or 0: no overlong forms, no surrogates, nothing above U+10FFFF. */
static size_t utf8Length(const unsigned char* text, size_t left) {
  unsigned char lead = text[0];
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
  size_t length;
  size_t i;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return 0;
  }
  if (left < length || text[1] < low || text[1] > high) return 0;
  for (i = 2; i < length; ++i) {
    if (text[i] < 0x80 || text[i] > 0xBF) return 0;
  }
  return length;
}

/* Parses a string whose opening quote is at the current position into a
 * new buffer. The decoded text is never longer than its source. */
static char* parseString(Parser* parser) {
  size_t end = parser->position + 1;
  char* out;
  size_t used = 0;
  while (end < parser->length && parser->text[end] != '"') end += parser->text[end] == '\\' ? 2 : 1;
  if (end >= parser->length) {
    fail(parser, "unterminated string");
    return NULL;
  }
  out = malloc(end - parser->position);
  if (!out) {
    fail(parser, "out of memory");
    return NULL;
  }
  advance(parser);
  while (peek(parser) != '"') {
    int c = peek(parser);
    if (c < 0x20) {
      fail(parser, "control character in a string (write it as an escape)");
    } else if (c >= 0x80) {
      size_t length = utf8Length(parser->text + parser->position, parser->length - parser->position);
      size_t i;
      if (length == 0) {
        fail(parser, "invalid UTF-8 in a string");
      } else {
        for (i = 0; i < length; ++i) {
          out[used++] = (char)parser->text[parser->position];
          advance(parser);
        }
        continue;
      }
    } else if (c != '\\') {
      out[used++] = (char)c;
      advance(parser);
      continue;
    } else {
      long unit;
      advance(parser);
      c = peek(parser);
      advance(parser);
      switch (c) {
        case '"': case '\\': case '/': out[used++] = (char)c; continue;
        case 'b': out[used++] = '\b'; continue;
        case 'f': out[used++] = '\f'; continue;
        case 'n': out[used++] = '\n'; continue;
        case 'r': out[used++] = '\r'; continue;
        case 't': out[used++] = '\t'; continue;
        case 'u': break;
        default: fail(parser, "invalid escape in a string"); break;
      }
      if (parser->failed) break;
      unit = readHex4(parser);
      if (unit < 0) {
        fail(parser, "\\u needs four hexadecimal digits");
      } else if (unit >= 0xDC00 && unit <= 0xDFFF) {
        fail(parser, "unpaired surrogate escape in a string");
      } else if (unit >= 0xD800 && unit <= 0xDBFF) {
        long low = -1;
        if (peek(parser) == '\\') {
          advance(parser);
          if (peek(parser) == 'u') {
            advance(parser);
            low = readHex4(parser);
          }
        }
        if (low < 0xDC00 || low > 0xDFFF) {
          fail(parser, "unpaired surrogate escape in a string");
        } else {
          used += putUtf8(out + used, 0x10000ul + (((unsigned long)unit - 0xD800) << 10) +
                                          ((unsigned long)low - 0xDC00));
          continue;
        }
      } else if (unit == 0) {
        fail(parser, "\\u0000 is not supported in a string");
      } else {
        used += putUtf8(out + used, (unsigned long)unit);
        continue;
      }
    }
    break;
  }
  if (parser->failed) {
    free(out);
    return NULL;
  }
  advance(parser); /* the closing quote */
  out[used] = '\0';
  return out;
}

static int parseValue(Parser* parser, JsonValue* out, int depth);

/* Grows a list of `size`-byte elements to hold one more than `count`. */
static int grow(Parser* parser, void** list, size_t* capacity, size_t count, size_t size) {
  void* larger;
  size_t wanted;
  if (count < *capacity) return 1;
  wanted = *capacity ? 2 * *capacity : 4;
  if (wanted > (size_t)-1 / size) return fail(parser, "out of memory");
  larger = realloc(*list, wanted * size);
  if (!larger) return fail(parser, "out of memory");
  *list = larger;
  *capacity = wanted;
  return 1;
}

static int parseArray(Parser* parser, JsonValue* out, int depth) {
  size_t capacity = 0;
  void* items = NULL;
  advance(parser);
  skipSpace(parser);
  if (peek(parser) == ']') {
    advance(parser);
    return 1;
  }
  for (;;) {
    JsonValue* list;
    if (!grow(parser, &items, &capacity, out->count, sizeof(JsonValue))) break;
    list = items;
    out->items = list;
    if (!parseValue(parser, &list[out->count], depth + 1)) {
      jsonFree(&list[out->count]);
      break;
    }
    ++out->count;
    skipSpace(parser);
    if (peek(parser) == ']') {
      advance(parser);
      return 1;
    }
    if (peek(parser) != ',') {
      fail(parser, "expected ',' or ']' in an array");
      break;
    }
    advance(parser);
    skipSpace(parser);
  }
  out->items = items;
  return 0;
}

static int compareKeys(const void* left, const void* right) {
  return strcmp((*(const JsonMember* const*)left)->key, (*(const JsonMember* const*)right)->key);
}

/* Fails when two members share a key; sorting keeps large maps fast. */
static int checkUniqueKeys(Parser* parser, const JsonValue* object) {
  const JsonMember** sorted;
  size_t i;
  int unique = 1;
  if (object->count < 2) return 1;
  sorted = malloc(object->count * sizeof *sorted);
  if (!sorted) return fail(parser, "out of memory");
  for (i = 0; i < object->count; ++i) sorted[i] = &object->members[i];
  qsort(sorted, object->count, sizeof *sorted, compareKeys);
  for (i = 1; i < object->count && unique; ++i) {
    if (strcmp(sorted[i - 1]->key, sorted[i]->key) == 0) {
      /* Reported at the later of the two, in the file's order. */
      const JsonMember* second = sorted[i - 1] > sorted[i] ? sorted[i - 1] : sorted[i];
      unique = failAt(parser, second->line, second->column, "repeated key in an object");
    }
  }
  free(sorted);
  return unique;
}

static int parseObject(Parser* parser, JsonValue* out, int depth) {
  size_t capacity = 0;
  void* members = NULL;
  advance(parser);
  skipSpace(parser);
  if (peek(parser) == '}') {
    advance(parser);
    return 1;
  }
  for (;;) {
    JsonMember* list;
    char* key;
    unsigned long line = parser->line;
    unsigned long column = parser->column;
    if (peek(parser) != '"') {
      fail(parser, "expected a string key in an object");
      break;
    }
    key = parseString(parser);
    if (!key) break;
    if (!grow(parser, &members, &capacity, out->count, sizeof(JsonMember))) {
      free(key);
      break;
    }
    list = members;
    out->members = list;
    list[out->count].key = key;
    list[out->count].line = line;
    list[out->count].column = column;
    memset(&list[out->count].value, 0, sizeof list[out->count].value);
    ++out->count;
    skipSpace(parser);
    if (peek(parser) != ':') {
      fail(parser, "expected ':' after a key");
      break;
    }
    advance(parser);
    if (!parseValue(parser, &list[out->count - 1].value, depth + 1)) break;
    skipSpace(parser);
    if (peek(parser) == '}') {
      advance(parser);
      out->members = members;
      return checkUniqueKeys(parser, out);
    }
    if (peek(parser) != ',') {
      fail(parser, "expected ',' or '}' in an object");
      break;
    }
    advance(parser);
    skipSpace(parser);
  }
  out->members = members;
  return 0;
}

static int matchWord(Parser* parser, const char* word) {
  size_t length = strlen(word);
  size_t i;
  if (parser->length - parser->position < length ||
      memcmp(parser->text + parser->position, word, length) != 0) {
    return fail(parser, "unexpected character");
  }
  for (i = 0; i < length; ++i) advance(parser);
  return 1;
}

static int parseValue(Parser* parser, JsonValue* out, int depth) {
  int c;
  memset(out, 0, sizeof *out);
  skipSpace(parser);
  out->line = parser->line;
  out->column = parser->column;
  c = peek(parser);
  if ((c == '[' || c == '{') && depth >= JSON_MAX_DEPTH) return fail(parser, "arrays and objects nested too deeply");
  switch (c) {
    case -1:
      return fail(parser, "unexpected end of the text");
    case '{':
      out->kind = JSON_OBJECT;
      return parseObject(parser, out, depth);
    case '[':
      out->kind = JSON_ARRAY;
      return parseArray(parser, out, depth);
    case '"':
      out->string = parseString(parser);
      if (!out->string) return 0;
      out->kind = JSON_STRING;
      return 1;
    case 't':
      out->kind = JSON_TRUE;
      return matchWord(parser, "true");
    case 'f':
      out->kind = JSON_FALSE;
      return matchWord(parser, "false");
    case 'n':
      return matchWord(parser, "null");
    default: {
      size_t end = parser->position;
      if (!scanNumber(parser->text, parser->length, &end, &out->number)) {
        return fail(parser, c == '-' || isDigit(c) ? "malformed number" : "unexpected character");
      }
      out->kind = JSON_NUMBER;
      while (parser->position < end) advance(parser);
      return 1;
    }
  }
}

int jsonParse(const char* text, size_t length, JsonValue* out, char* error, size_t errorSize) {
  Parser parser;
  parser.text = (const unsigned char*)text;
  parser.length = length;
  parser.position = 0;
  parser.line = 1;
  parser.column = 1;
  parser.error = error;
  parser.errorSize = errorSize;
  parser.failed = 0;
  /* A byte-order mark, as some editors write one. */
  if (length >= 3 && memcmp(text, "\xEF\xBB\xBF", 3) == 0) parser.position = 3;
  if (parseValue(&parser, out, 0)) {
    skipSpace(&parser);
    if (atEnd(&parser)) return 1;
    fail(&parser, "unexpected text after the JSON value");
  }
  jsonFree(out);
  return 0;
}

void jsonFree(JsonValue* value) {
  size_t i;
  if (value->items) {
    for (i = 0; i < value->count; ++i) jsonFree(&value->items[i]);
  }
  if (value->members) {
    for (i = 0; i < value->count; ++i) {
      free(value->members[i].key);
      jsonFree(&value->members[i].value);
    }
  }
  free(value->items);
  free(value->members);
  free(value->string);
  memset(value, 0, sizeof *value);
}

int jsonNumber(const char* text, double* value) {
  size_t length = strlen(text);
  size_t position = 0;
  return scanNumber((const unsigned char*)text, length, &position, value) && position == length;
}

const JsonValue* jsonMember(const JsonValue* object, const char* key) {
  size_t i;
  if (object->kind != JSON_OBJECT) return NULL;
  for (i = 0; i < object->count; ++i) {
    if (strcmp(object->members[i].key, key) == 0) return &object->members[i].value;
  }
  return NULL;
}
