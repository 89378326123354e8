/* Segments in XLIFF 2.1, the exchange format of translation tools, written
 * and read with libxml2. One <unit> per segment, its id the segment's id;
 * its <source> the block's text. Reading takes each unit's <target> (the
 * translation), or its <source> when it has none. */
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlwriter.h>
#include <stdio.h>
#include <string.h>

#include "cli.h"
#include "segments.h"

#define XLIFF_NAMESPACE "urn:oasis:names:tc:xliff:document:2.0"
/* Nesting the reader walks at most: units sit at depth 3 (xliff, file,
 * group...); groups nest, but not without end. */
#define MAX_XLIFF_DEPTH 64
/* Bytes of target text per unit: a paragraph, not a book. */
#define MAX_UNIT_TEXT (16ul << 20)

static const xmlChar* text(const char* value) { return (const xmlChar*)value; }

/* The value of a string member, "" when missing. */
static const char* member(json_t* object, const char* key) {
  const char* value = json_string_value(json_object_get(object, key));
  return value ? value : "";
}

int writeSegmentsXliff(FILE* out, const char* original, json_t* segments) {
  xmlBufferPtr buffer = xmlBufferCreate();
  xmlTextWriterPtr writer = buffer ? xmlNewTextWriterMemory(buffer, 0) : NULL;
  size_t i;
  int failed = !writer;
  json_t* segment;
  if (!failed) {
    xmlTextWriterSetIndent(writer, 1);
    failed |= xmlTextWriterStartDocument(writer, "1.0", "UTF-8", NULL) < 0;
    failed |= xmlTextWriterStartElement(writer, text("xliff")) < 0;
    failed |= xmlTextWriterWriteAttribute(writer, text("xmlns"), text(XLIFF_NAMESPACE)) < 0;
    failed |= xmlTextWriterWriteAttribute(writer, text("version"), text("2.1")) < 0;
    /* The source language is not known from the file: "und" (BCP 47). */
    failed |= xmlTextWriterWriteAttribute(writer, text("srcLang"), text("und")) < 0;
    failed |= xmlTextWriterStartElement(writer, text("file")) < 0;
    failed |= xmlTextWriterWriteAttribute(writer, text("id"), text("f1")) < 0;
    failed |= xmlTextWriterWriteAttribute(writer, text("original"), text(original)) < 0;
  }
  json_array_foreach(segments, i, segment) {
    char page[32];
    if (failed) break;
    snprintf(page, sizeof page, "%lld", (long long)json_integer_value(json_object_get(segment, "page")));
    failed |= xmlTextWriterStartElement(writer, text("unit")) < 0;
    failed |= xmlTextWriterWriteAttribute(writer, text("id"), text(member(segment, "id"))) < 0;
    failed |= xmlTextWriterWriteAttribute(writer, text("type"), text("zopra:block")) < 0;
    failed |= xmlTextWriterStartElement(writer, text("notes")) < 0;
    failed |= xmlTextWriterStartElement(writer, text("note")) < 0;
    failed |= xmlTextWriterWriteAttribute(writer, text("category"), text("kind")) < 0;
    failed |= xmlTextWriterWriteString(writer, text(member(segment, "kind"))) < 0;
    failed |= xmlTextWriterEndElement(writer) < 0;
    failed |= xmlTextWriterStartElement(writer, text("note")) < 0;
    failed |= xmlTextWriterWriteAttribute(writer, text("category"), text("page")) < 0;
    failed |= xmlTextWriterWriteString(writer, text(page)) < 0;
    failed |= xmlTextWriterEndElement(writer) < 0;
    failed |= xmlTextWriterEndElement(writer) < 0;
    failed |= xmlTextWriterStartElement(writer, text("segment")) < 0;
    failed |= xmlTextWriterStartElement(writer, text("source")) < 0;
    failed |= xmlTextWriterWriteString(writer, text(member(segment, "text"))) < 0;
    failed |= xmlTextWriterEndElement(writer) < 0;
    failed |= xmlTextWriterEndElement(writer) < 0;
    failed |= xmlTextWriterEndElement(writer) < 0;
  }
  if (!failed) failed |= xmlTextWriterEndDocument(writer) < 0;
  if (writer) xmlFreeTextWriter(writer);
  if (!failed) {
    const size_t length = (size_t)xmlBufferLength(buffer);
    failed = fwrite(xmlBufferContent(buffer), 1, length, out) != length;
  }
  if (buffer) xmlBufferFree(buffer);
  return failed;
}

static int named(xmlNodePtr node, const char* name) {
  return node->type == XML_ELEMENT_NODE && xmlStrcmp(node->name, text(name)) == 0 && node->ns &&
         xmlStrcmp(node->ns->href, text(XLIFF_NAMESPACE)) == 0;
}

/* Appends the text content of every `part` (source or target) of the
 * unit's segments to `out`; returns how many there were, -1 when the text
 * grows past the limit. Inline markup keeps its text. */
static long unitText(xmlNodePtr unit, const char* part, json_t** out) {
  long found = 0;
  size_t length = 0;
  xmlNodePtr child;
  char* joined = NULL;
  for (child = unit->children; child; child = child->next) {
    xmlNodePtr piece;
    if (!named(child, "segment") && !named(child, "ignorable")) continue;
    for (piece = child->children; piece; piece = piece->next) {
      xmlChar* content;
      size_t size;
      char* grown;
      if (!named(piece, part)) continue;
      content = xmlNodeGetContent(piece);
      size = content ? strlen((const char*)content) : 0;
      if (length + size > MAX_UNIT_TEXT) {
        xmlFree(content);
        free(joined);
        return -1;
      }
      grown = realloc(joined, length + size + 1);
      if (!grown) {
        xmlFree(content);
        free(joined);
        return -1;
      }
      joined = grown;
      if (size) memcpy(joined + length, content, size);
      length += size;
      joined[length] = '\0';
      xmlFree(content);
      ++found;
    }
  }
  *out = found ? json_stringn(joined, length) : NULL;
  free(joined);
  return found;
}

/* Walks files and groups down to units; 0, or -1 after a report. */
static int collectUnits(const char* path, xmlNodePtr parent, int depth, json_t* segments) {
  xmlNodePtr node;
  if (depth > MAX_XLIFF_DEPTH) {
    fprintf(stderr, PROGRAM ": %s: groups nest too deeply\n", path);
    return -1;
  }
  for (node = parent->children; node; node = node->next) {
    if (named(node, "file") || named(node, "group")) {
      if (collectUnits(path, node, depth + 1, segments) != 0) return -1;
    } else if (named(node, "unit")) {
      xmlChar* id = xmlGetProp(node, text("id"));
      json_t* value = NULL;
      json_t* segment;
      long targets;
      if (!id) {
        fprintf(stderr, PROGRAM ": %s:%ld: a unit has no id\n", path, (long)xmlGetLineNo(node));
        return -1;
      }
      targets = unitText(node, "target", &value);
      if (targets == 0) targets = unitText(node, "source", &value);
      if (targets < 0 || !value) {
        fprintf(stderr, PROGRAM ": %s: the text of unit %s is %s\n", path, (const char*)id,
                targets < 0 ? "too long" : "missing or not UTF-8");
        xmlFree(id);
        json_decref(value);
        return -1;
      }
      segment = json_object();
      if (!segment) {
        xmlFree(id);
        json_decref(value);
        return -1;
      }
      json_object_set_new(segment, "id", json_string((const char*)id));
      json_object_set_new(segment, "text", value);
      json_array_append_new(segments, segment);
      xmlFree(id);
    }
  }
  return 0;
}

json_t* readSegmentsXliff(const char* path) {
  /* No network, no entity expansion into the tree, no DTD loading. */
  xmlDocPtr document = xmlReadFile(path, NULL, XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
  xmlNodePtr root;
  json_t* segments;
  if (!document) {
    const xmlError* error = xmlGetLastError();
    fprintf(stderr, PROGRAM ": %s:%d: not an XML file%s%s", path, error ? error->line : 0, error ? ": " : "\n",
            error && error->message ? error->message : "");
    return NULL;
  }
  root = xmlDocGetRootElement(document);
  if (!root || !named(root, "xliff")) {
    fprintf(stderr, PROGRAM ": %s: not an XLIFF 2 document (no <xliff> in " XLIFF_NAMESPACE ")\n", path);
    xmlFreeDoc(document);
    return NULL;
  }
  segments = json_array();
  if (!segments || collectUnits(path, root, 0, segments) != 0) {
    json_decref(segments);
    segments = NULL;
  }
  xmlFreeDoc(document);
  return segments;
}
