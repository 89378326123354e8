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
// The output grows by doubling up to this size. Past it, the rest of the
// stream is first inflated only to count its bytes, then the whole stream
// once more into a buffer of exactly that size: a large stream costs its own
// size in memory rather than up to three times as much, and a decompression
// bomb fails on the size limit without holding what it inflated to.
constexpr std::size_t kGrowthLimit = std::size_t{16} << 20;

// Owns an initialised inflate stream that reads `input` (handed to zlib in
// pieces, since zlib counts input in 32-bit units).
class Inflater {
 public:
  explicit Inflater(const Bytes& input) : input_(input) {
    if (inflateInit_(&stream_, "1.2.12", static_cast<int>(sizeof(z_stream))) != Z_OK) {
      throw Exception(Error::Stream, "zlib initialization failed");
    }
  }
  ~Inflater() { inflateEnd(&stream_); }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  // Inflates into [out, out + room); returns zlib's result and the count.
  int step(Bytef* out, std::size_t room, std::size_t& produced) {
    if (stream_.avail_in == 0 && consumed_ < input_.size()) {
      std::size_t piece = std::min<std::size_t>(input_.size() - consumed_, std::numeric_limits<uInt>::max());
      // zlib's interface is not const-correct; it never writes through next_in.
      stream_.next_in = const_cast<Bytef*>(input_.data() + consumed_);
      stream_.avail_in = static_cast<uInt>(piece);
      consumed_ += piece;
    }
    stream_.next_out = out;
    stream_.avail_out = static_cast<uInt>(std::min<std::size_t>(room, std::numeric_limits<uInt>::max()));
    uInt offered = stream_.avail_out;
    int result = inflate(&stream_, Z_NO_FLUSH);
    produced = offered - stream_.avail_out;
    return result;
  }

 private:
  const Bytes& input_;
  std::size_t consumed_ = 0;
  z_stream stream_{};
};

// Inflates while zlib answers Z_OK and fewer than `stopAt` bytes are out.
// With `output`, the bytes are kept (appended, the buffer growing by
// doubling); without, only counted. `total` counts every byte; it may not
// pass `limit`.
int run(Inflater& inflater, Bytes* output, std::size_t& total, std::size_t limit, std::size_t stopAt) {
  std::array<Bytef, kChunkSize> scratch;
  std::size_t used = output ? output->size() : 0;
  int result = Z_OK;
  while (result == Z_OK && total < stopAt) {
    Bytef* target = scratch.data();
    std::size_t room = scratch.size();
    if (output) {
      if (used == output->size()) output->resize(std::max(output->size() * 2, kChunkSize));
      target = output->data() + used;
      room = output->size() - used;
    }
    // Past `stopAt` only one byte more, which tells a stream that ends
    // there from one that goes on.
    if (stopAt != SIZE_MAX && stopAt - total < room) room = stopAt - total + 1;
    std::size_t produced = 0;
    result = inflater.step(target, room, produced);
    checkDecodedSize(total + produced, limit);
    total += produced;
    used += produced;
  }
  if (output) output->resize(used);
  return result;
}

Bytes inflateAll(const Bytes& input, std::size_t limit, std::size_t stopAt, bool inputIsPrefix,
                 bool* stopped, bool* damaged) {
  Bytes output;
  std::size_t total = 0;
  Inflater inflater(input);
  int result = run(inflater, &output, total, limit, std::min(stopAt, kGrowthLimit));
  if (result == Z_OK && total < stopAt) {
    result = run(inflater, nullptr, total, limit, stopAt);
    if (result == Z_OK || result == Z_STREAM_END || (inputIsPrefix && result == Z_BUF_ERROR)) {
      output = Bytes();
      output.resize(total);
      Inflater second(input);
      std::size_t used = 0;
      int again = Z_OK;
      while (again == Z_OK && used < total) {
        std::size_t produced = 0;
        again = second.step(output.data() + used, total - used, produced);
        used += produced;
      }
      output.resize(used);
    }
  }
  if (stopped) {
    // Out of wanted bytes, or (for the start of a stream) out of input.
    *stopped = result == Z_OK || (inputIsPrefix && result == Z_BUF_ERROR);
    if (*stopped) return output;
  }
  if (result != Z_STREAM_END) {
    // Damaged data: what inflated before the fault is kept when the caller
    // accepts it; a stream that gave nothing still fails.
    if (!damaged || output.empty()) throw Exception(Error::Stream, "invalid Flate stream");
    *damaged = true;
  }
  return output;
}

}  // namespace

Bytes flateDecode(const Bytes& input, std::size_t limit) {
  // A stream stored with no bytes at all holds nothing, as every reader takes
  // it; data cut short after its first byte is still refused.
  if (input.empty()) return {};
  return inflateAll(input, limit, SIZE_MAX, false, nullptr, nullptr);
}

Bytes flateDecodeLenient(const Bytes& input, bool& damaged, std::size_t limit) {
  damaged = false;
  if (input.empty()) return {};
  return inflateAll(input, limit, SIZE_MAX, false, nullptr, &damaged);
}

Bytes flateDecodePrefix(const Bytes& input, std::size_t stopAt, bool inputIsPrefix, bool& stopped,
                        bool* damaged) {
  if (damaged) *damaged = false;
  return inflateAll(input, kMaxDecodedStreamSize, stopAt, inputIsPrefix, &stopped, damaged);
}

}  // namespace zopra::pdf
