// FlateDecode through zlib.
#include <zlib.h>

#include <algorithm>
#include <array>
#include <limits>

#include "pdf/filters/filters.h"
#include "pdf/model/error.h"

namespace zopra::pdf {

namespace {

constexpr std::size_t kChunkSize = 32768;

// Owns an initialised inflate stream so that every exit path ends it.
class InflateStream {
 public:
  InflateStream() {
    if (inflateInit_(&stream_, "1.2.12", static_cast<int>(sizeof(z_stream))) != Z_OK) {
      throw Exception(Error::Stream, "zlib initialization failed");
    }
  }
  ~InflateStream() { inflateEnd(&stream_); }
  InflateStream(const InflateStream&) = delete;
  InflateStream& operator=(const InflateStream&) = delete;

  z_stream& get() { return stream_; }

 private:
  z_stream stream_{};
};

}  // namespace

Bytes flateDecode(const Bytes& input, std::size_t limit) {
  InflateStream inflater;
  z_stream& stream = inflater.get();

  // zlib counts input in 32-bit units; a larger buffer is handed over in
  // successive pieces.
  constexpr std::size_t kMaxPiece = std::numeric_limits<uInt>::max();
  std::size_t consumed = 0;
  auto feed = [&] {
    std::size_t piece = std::min(input.size() - consumed, kMaxPiece);
    // zlib's interface is not const-correct; it never writes through next_in.
    stream.next_in = const_cast<Bytef*>(input.data() + consumed);
    stream.avail_in = static_cast<uInt>(piece);
    consumed += piece;
  };
  feed();

  Bytes output;
  std::array<Bytef, kChunkSize> chunk;
  int result = Z_OK;
  while (result == Z_OK) {
    if (stream.avail_in == 0 && consumed < input.size()) feed();
    stream.next_out = chunk.data();
    stream.avail_out = static_cast<uInt>(chunk.size());
    result = inflate(&stream, Z_NO_FLUSH);
    std::size_t produced = chunk.size() - stream.avail_out;
    if (produced > 0) {
      checkDecodedSize(output.size() + produced, limit);
      output.insert(output.end(), chunk.data(), chunk.data() + produced);
    }
  }
  if (result != Z_STREAM_END) throw Exception(Error::Stream, "invalid Flate stream");
  return output;
}

}  // namespace zopra::pdf
