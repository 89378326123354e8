// The object-syntax lexer of the file body, and the reader of one whole
// indirect object. Both work in place on a byte buffer they do not own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "pdf/model/object.h"
#include "pdf/model/value.h"

namespace zopra::pdf {

// NUL, TAB, LF, FF, CR and SPACE.
bool isWhiteSpace(std::uint8_t byte);
// The white-space bytes and % ( ) / < > [ ] { }.
bool isDelimiter(std::uint8_t byte);

class Lexer {
 public:
  // Arrays and dictionaries nest at most this deep below the top-level value.
  static constexpr int kMaxDepth = 100;

  Lexer(const std::uint8_t* data, std::size_t size, std::uint64_t position = 0)
      : data_(data), size_(size), position_(position) {}

  std::uint64_t position() const { return position_; }
  void setPosition(std::uint64_t position) { position_ = position; }
  bool atEnd() const { return position_ >= size_; }

  // Skips white space and comments.
  void skipWhiteSpace();
  // Reads a number (no exponent); throws "invalid PDF number".
  double number();
  // The next run of non-delimiters; throws "expected a PDF token".
  std::string word();
  // The name at the position, which must be "/"; throws "expected PDF name".
  std::string name();
  // Consumes `text` if it comes next and is followed by a delimiter or the end.
  bool match(std::string_view text);
  // The next complete value.
  Value value(int depth);

 private:
  std::string literalString();
  std::string hexString();
  // A value that is not an array or dictionary, at the current position.
  Value scalar();
  Value numberOrReference();

  const std::uint8_t* data_;
  std::size_t size_;
  std::uint64_t position_;
};

// Limits of one attempt of the recovery scan: bytes from `limit` on count as
// the end of the data, and `reached` tells how far the attempt read, also when
// it failed.
struct ScanBounds {
  std::uint64_t limit = UINT64_MAX;
  std::uint64_t reached = 0;
};

class KeywordIndex;

// Reads one indirect object ("N G obj" value [stream] "endobj") at `offset`.
// Returns false when the header, "obj" or "endobj" is missing or misplaced;
// lexer errors inside the value are thrown. `endstreams`, when given, holds
// the positions of "endstream" in `bytes` and spares the searches through
// the rest of the file.
bool parseObjectAt(ByteView bytes, std::uint64_t offset, Object& object, std::uint64_t& end,
                   ScanBounds* bounds = nullptr, const KeywordIndex* endstreams = nullptr);

}  // namespace zopra::pdf
