// A check of one value's source text that finds the objects it refers to
// without building the value. The compact writer copies unchanged objects of
// object streams as they stand when this check passes: parsing tens of
// thousands of objects only to write them back costs more than the rest of
// the write.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zopra::pdf {

// Where one value's text lies in a buffer, and what it refers to.
struct RawValue {
  std::size_t begin = 0;  // the first byte of the value
  std::size_t end = 0;    // one past its last byte
  std::vector<std::uint32_t> references;  // object numbers, in text order
};

// Reads the one value in data[0, size): white space and comments may stand
// around it, nothing else. True when the text is plain enough to copy as it
// stands: arrays and dictionaries nested at most as deep as the lexer takes
// them, dictionary keys that are names, numbers without exponents, strings
// that end, and no keyword but true, false, null and the R of a reference.
// False means "parse it instead", not "it is broken".
bool scanRawValue(const std::uint8_t* data, std::size_t size, RawValue& value);

}  // namespace zopra::pdf
