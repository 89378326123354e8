// The document writer behind Document::save and Document::saveCompact.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "pdf/model/document.h"

namespace zopra::pdf {

struct WriteOptions {
  // Streams the engine made or rewrote are written Flate-compressed.
  bool compressCreated = false;
  // Only the objects reached from the trailer's references are written.
  bool onlyReachable = false;
  // Strings are written in the shorter of the literal and the hex form.
  bool shortStrings = false;
  // Objects other than streams go into compressed object streams, and the
  // cross-reference table becomes a compressed cross-reference stream.
  bool objectStreams = false;
  // Threads that may deflate streams while the writer goes on; the file is
  // the same for every count.
  unsigned threads = 1;
  // Objects written in place of the document's own, by number (the
  // document keeps its objects as they are).
  std::map<std::uint32_t, Object> replacements;
  // Streams of drawn content whose hex strings are written as literal
  // strings where those are shorter (with compressCreated, as they are
  // deflated).
  std::set<std::uint32_t> literalStrings;
};

// Writes the document to `path` (under a temporary name, renamed when
// complete). Returns the error kind, recorded with setError.
Error writeDocument(Document& document, const std::string& path, WriteOptions options);

// zlib deflate of the whole buffer, as /FlateDecode takes it, at a zlib
// level (-1, zlib's default, or 0 to 9).
Bytes deflateBytes(const Bytes& data, int level = -1);

}  // namespace zopra::pdf
