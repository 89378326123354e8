// One indirect object of a document, with its optional stream.
#pragma once

#include <cstdint>

#include "pdf/model/value.h"

namespace zopra::pdf {

struct Object {
  std::uint32_t number = 0;
  std::uint32_t generation = 0;
  // False for an object known only from a cross-reference entry: it is parsed
  // on first access by Document::object.
  bool loaded = false;
  // The object's value; for a stream, its dictionary.
  Value value;
  bool isStream = false;
  // Stream bytes held in memory (decrypted, rewritten or created). When empty,
  // the stream's bytes are the file range [streamOffset, streamOffset + streamLength).
  Bytes data;
  // Set for streams made in memory, whose `data` is already plain.
  bool createdStream = false;
  // File offset of the "N G obj" header.
  std::uint64_t offset = 0;
  std::uint64_t streamOffset = 0;
  std::uint64_t streamLength = 0;
};

}  // namespace zopra::pdf
