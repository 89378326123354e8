// The byte-level scanner that finds text-showing operators (Tj, TJ, ' and ")
// inside BT ... ET of a content stream, the way text removal rewrites them.
// Text extraction runs the same scanner to number the operators, so that an
// extracted item names exactly the operators that removal will find: whatever
// the content, the two count the same operators.
#pragma once

#include <cstdint>
#include <vector>

#include "pdf/model/value.h"

namespace zopra::pdf {

enum class TjParseState : std::uint32_t {
  Outside = 0,
  SawB = 1,
  SawBT = 2,
  SawE = 3,
  SawET = 4,
  InText = 5,
  InArray = 6,
  InArrayString = 7,
  AfterArray = 8,
  AfterArrayT = 9,
  InString = 10,
  InHexString = 11,
  AfterString = 12,
  AfterStringT = 13,
};

class TjScanner {
 public:
  // What to do with a byte.
  enum class Action {
    Output,   // copy it to the output
    Pending,  // hold it: it may belong to a text-showing operator
    Flush,    // not an operator after all: copy what was held, then the byte
    Found,    // hold it; it ends a text-showing operator (with what was held)
    Drop,     // an undefined state: the byte is dropped
  };

  explicit TjScanner(TjParseState state = TjParseState::Outside) : state_(state) {}

  Action step(std::uint8_t byte);
  TjParseState state() const { return state_; }

 private:
  TjParseState state_;
  int depth_ = 0;
  // The byte handled before (after an escape, the escaped byte).
  std::uint8_t previous_ = 0;
  // The byte after a backslash in a string is taken as it is.
  bool escaped_ = false;
};

// Feeds content to a scanner and notes where each text-showing operator it
// finds ends (the offset of the operator's last byte, counted over all that
// was fed); an operator's ordinal is its index in `positions`.
class TextOperatorFinder {
 public:
  void feed(const std::uint8_t* bytes, std::size_t size);
  void feed(const Bytes& bytes) { feed(bytes.data(), bytes.size()); }
  std::uint64_t offset() const { return offset_; }
  const std::vector<std::uint64_t>& positions() const { return positions_; }

 private:
  TjScanner scanner_;
  std::uint64_t offset_ = 0;
  std::vector<std::uint64_t> positions_;
};

}  // namespace zopra::pdf
