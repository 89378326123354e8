// The header of an object stream: for each object it holds, the object's
// number and where its value starts, counted from the stream's First.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zopra::pdf {

struct ObjectStreamEntry {
  std::uint32_t number;
  std::uint64_t offset;
};

// Reads `count` entries from the start of data[0, size). Throws
// Exception(Error::Format, "invalid compressed object entry") when one is
// not two whole numbers (an object number from 1, an offset from 0).
std::vector<ObjectStreamEntry> readObjectStreamHeader(const std::uint8_t* data, std::size_t size,
                                                      std::uint64_t count);

}  // namespace zopra::pdf
