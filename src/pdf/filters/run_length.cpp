// RunLengthDecode.
#include "pdf/filters/filters.h"
#include "pdf/model/error.h"

namespace zopra::pdf {

Bytes runLengthDecode(const Bytes& input, std::size_t limit) {
  Bytes output;
  std::size_t position = 0;
  while (position < input.size()) {
    std::size_t length = input[position++];
    if (length == 128) break;
    if (length < 128) {
      std::size_t count = length + 1;
      if (count > input.size() - position) throw Exception(Error::Stream, "invalid RunLength stream");
      checkDecodedSize(output.size() + count, limit);
      output.insert(output.end(), input.begin() + static_cast<std::ptrdiff_t>(position),
                    input.begin() + static_cast<std::ptrdiff_t>(position + count));
      position += count;
    } else {
      if (position >= input.size()) throw Exception(Error::Stream, "invalid RunLength stream");
      std::size_t count = 257 - length;
      checkDecodedSize(output.size() + count, limit);
      output.insert(output.end(), count, input[position++]);
    }
  }
  return output;
}

}  // namespace zopra::pdf
