// Stream filters and predictors as free functions on whole buffers. Each one
// throws Exception(Error::Stream, ...) on malformed input and never returns a
// partial result (flateDecodeLenient excepted). Document::decodeStream chains them; they are declared here
// so they can be exercised on their own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "pdf/model/value.h"

namespace zopra::pdf {

// Upper bound on what any filter may produce. A few hundred bytes of Flate or
// RunLength data can expand to gigabytes; past this size decoding fails with
// "decoded stream is too large" instead of exhausting memory.
inline constexpr std::size_t kMaxDecodedStreamSize = std::size_t{256} * 1024 * 1024;

// Throws "decoded stream is too large" when `size` exceeds `limit`.
void checkDecodedSize(std::size_t size, std::size_t limit);

// zlib inflate of a complete zlib stream (header included).
Bytes flateDecode(const Bytes& input, std::size_t limit = kMaxDecodedStreamSize);

// The start of what flateDecode would give: inflating ends once `stopAt`
// bytes are out (the result may hold a little more). `input` may itself be
// the start of a zlib stream (`inputIsPrefix`); running out of it then also
// ends the output. `stopped` tells whether the result is only a prefix.
// With `damaged`, a stream that fails part way gives what inflated before
// the fault and sets `*damaged`, unless nothing came out at all.
Bytes flateDecodePrefix(const Bytes& input, std::size_t stopAt, bool inputIsPrefix, bool& stopped,
                        bool* damaged = nullptr);
// flateDecode that keeps the output of a damaged stream: data cut short or
// corrupt part way gives what inflated before the fault and sets `damaged`.
// A stream that yields nothing still throws "invalid Flate stream".
Bytes flateDecodeLenient(const Bytes& input, bool& damaged, std::size_t limit = kMaxDecodedStreamSize);
Bytes asciiHexDecode(const Bytes& input, std::size_t limit = kMaxDecodedStreamSize);
Bytes ascii85Decode(const Bytes& input, std::size_t limit = kMaxDecodedStreamSize);
Bytes runLengthDecode(const Bytes& input, std::size_t limit = kMaxDecodedStreamSize);
// LZW with 9- to 12-bit codes. `earlyChange` 1 (the default of the format)
// widens the codes one entry before the table needs it, 0 exactly when it
// does. Data that ends without the end code is taken as ended.
Bytes lzwDecode(const Bytes& input, int earlyChange = 1, std::size_t limit = kMaxDecodedStreamSize);

// Integer predictor parameters, already truncated toward zero and clamped to
// the range of std::int64_t.
struct PredictorParameters {
  std::int64_t predictor = 1;
  std::int64_t colors = 1;
  std::int64_t bitsPerComponent = 8;
  std::int64_t columns = 1;
};

// Undoes a TIFF (2) or PNG (10 to 15) predictor; Predictor 1 or less returns
// the input unchanged. With `prefix`, the input is the start of the data: a
// PNG row cut at its end is dropped instead of failing.
Bytes applyPredictor(Bytes input, const PredictorParameters& parameters, bool prefix = false);

}  // namespace zopra::pdf
