/* jsonLoadSplit: one pass finds the array and a comma between its elements
 * near the middle of what follows its start; the two halves are read as
 * arrays of their own, one on another thread, and joined. A replace map of
 * a thousand-page book is several megabytes, and jansson reads about 60 MB
 * a second: the second half costs no time on a second processor. */
#include "json_split.h"

#include <pthread.h>
#include <stdlib.h>
#include <string.h>

/* Smaller documents are read whole: a thread costs more than it saves.
 * The fuzz target splits every document. */
#ifndef JSON_SPLIT_FROM
#define JSON_SPLIT_FROM (1u << 20)
#endif
static const size_t splitFrom = JSON_SPLIT_FROM;

typedef struct {
  size_t open;  /* the array's "[" */
  size_t comma; /* the "," between its halves */
  size_t close; /* its "]" */
} Split;

/* 1 and the places of the split when the array is there and a comma of its
 * own lies past the middle of the text after its start; 0 otherwise (also
 * for text that is not well nested: the whole read then reports it). */
static int findSplit(const char* text, size_t length, const char* member, Split* split) {
  const size_t memberLength = member ? strlen(member) : 0;
  size_t depth = 0, arrayDepth = 0, keyStart = 0, keyEnd = 0, middle = 0, i;
  int stage = 0; /* 0: looking for the array, 1: in it, 2: past it */
  char last = 0; /* the last byte outside strings and white space */
  split->comma = 0;
  for (i = 0; i < length; ++i) {
    const char c = text[i];
    if (c == '"') {
      const size_t start = i + 1;
      if (!member && depth == 0) return 0;
      /* The closing quote: the next one after an even run of backslashes. */
      for (++i;; ++i) {
        const char* quote = memchr(text + i, '"', length - i);
        size_t slashes = 0;
        if (!quote) return 0;
        i = (size_t)(quote - text);
        while (slashes < i - start && text[i - 1 - slashes] == '\\') ++slashes;
        if (slashes % 2 == 0) break;
      }
      if (depth == 1) {
        keyStart = start;
        keyEnd = i;
      }
      last = '"';
      continue;
    }
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r') continue;
    /* A document that is the array holds nothing else. */
    if (!member && depth == 0 && (c != '[' || stage != 0)) return 0;
    if (c == '[' || c == '{') {
      ++depth;
      if (stage == 0 && c == '[' &&
          (member ? depth == 2 && last == ':' && keyEnd - keyStart == memberLength &&
                        memcmp(text + keyStart, member, memberLength) == 0
                  : depth == 1)) {
        stage = 1;
        arrayDepth = depth;
        split->open = i;
        middle = i + (length - i) / 2;
      }
    } else if (c == ']' || c == '}') {
      if (depth == 0) return 0;
      if (stage == 1 && depth == arrayDepth) {
        if (c != ']') return 0;
        split->close = i;
        stage = 2;
      }
      --depth;
    } else if (c == ',' && stage == 1 && depth == arrayDepth && split->comma == 0 && i >= middle && last != '[' &&
               last != ',') {
      split->comma = i;
    }
    last = c;
  }
  if (stage != 2 || depth != 0 || split->comma == 0) return 0;
  /* Each half holds an element: an array ending in a comma ("[1, 2,]") is
   * no JSON, though both halves would read. */
  for (i = split->comma + 1; i < length && strchr(" \t\n\r", text[i]) != NULL && text[i] != '\0';) ++i;
  return i < length && text[i] != ']' && text[i] != ',';
}

typedef struct {
  char* text;
  size_t length;
  size_t flags;
  json_t* value;
  json_error_t error;
} Piece;

/* `a` and `b` joined, with `before` and `after` around them. */
static int makePiece(Piece* piece, const char* before, const char* a, size_t aLength, const char* b, size_t bLength,
                     const char* after, size_t flags) {
  const size_t beforeLength = strlen(before), afterLength = strlen(after);
  memset(piece, 0, sizeof *piece);
  piece->length = beforeLength + aLength + bLength + afterLength;
  piece->text = malloc(piece->length ? piece->length : 1);
  if (!piece->text) return 0;
  memcpy(piece->text, before, beforeLength);
  memcpy(piece->text + beforeLength, a, aLength);
  memcpy(piece->text + beforeLength + aLength, b, bLength);
  memcpy(piece->text + beforeLength + aLength + bLength, after, afterLength);
  piece->flags = flags;
  return 1;
}

static void* readPiece(void* context) {
  Piece* piece = context;
  piece->value = json_loadb(piece->text, piece->length, piece->flags, &piece->error);
  free(piece->text);
  piece->text = NULL;
  return NULL;
}

json_t* jsonLoadSplit(const char* text, size_t length, size_t flags, const char* member, unsigned jobs,
                      json_error_t* error) {
  Split split = {0, 0, 0};
  Piece front, back, rest;
  pthread_t thread;
  int started = 0;
  json_t* array = NULL;
  if (jobs < 2 || length < splitFrom || !findSplit(text, length, member, &split)) {
    return json_loadb(text, length, flags, error);
  }
  memset(&front, 0, sizeof front);
  memset(&back, 0, sizeof back);
  memset(&rest, 0, sizeof rest);
  /* The front half ends its array where the comma was; the back half starts
   * one; the rest (a member's array) keeps the document around an empty
   * array. */
  if (!makePiece(&front, "", text + split.open, split.comma - split.open, "", 0, "]", flags) ||
      !makePiece(&back, "[", text + split.comma + 1, split.close + 1 - (split.comma + 1), "", 0, "", flags) ||
      (member && !makePiece(&rest, "", text, split.open + 1, text + split.close, length - split.close, "", flags))) {
    free(front.text);
    free(back.text);
    return json_loadb(text, length, flags, error);
  }
  /* jansson seeds its hash function once, on first use: done here, before a
   * second thread can race for it. */
  json_object_seed(0);
  started = pthread_create(&thread, NULL, readPiece, &back) == 0;
  readPiece(&front);
  if (member) readPiece(&rest);
  if (started) {
    pthread_join(thread, NULL);
  } else {
    readPiece(&back);
  }
  if (front.value && back.value && (!member || rest.value)) {
    if (!member && json_array_extend(front.value, back.value) == 0) {
      json_decref(back.value);
      return front.value;
    }
    /* The member's array, empty in the rest, takes both halves. */
    array = member ? json_object_get(rest.value, member) : NULL;
    if (member && json_is_array(array) && json_array_size(array) == 0 && json_array_extend(array, front.value) == 0 &&
        json_array_extend(array, back.value) == 0) {
      json_decref(front.value);
      json_decref(back.value);
      return rest.value;
    }
  }
  json_decref(front.value);
  json_decref(back.value);
  json_decref(rest.value);
  return json_loadb(text, length, flags, error);
}
