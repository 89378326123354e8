// The shared output bound of the stream filters.
#include "pdf/filters/filters.h"
#include "pdf/model/error.h"

namespace zopra::pdf {

void checkDecodedSize(std::size_t size, std::size_t limit) {
  if (size > limit) throw Exception(Error::Stream, "decoded stream is too large");
}

}  // namespace zopra::pdf
