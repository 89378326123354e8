// TIFF and PNG predictors for 8-bit components.
#include <cstdint>
#include <utility>

#include "pdf/filters/filters.h"
#include "pdf/model/error.h"

namespace zopra::pdf {

namespace {

// Each byte adds the byte one pixel to its left, row by row. Rows are cut
// from the start of the buffer; a trailing partial row is kept unchanged.
Bytes undoTiffPredictor(Bytes data, std::size_t rowSize, std::size_t pixelSize) {
  if (rowSize <= pixelSize || rowSize > data.size()) return data;
  for (std::size_t row = 0; data.size() - row >= rowSize; row += rowSize) {
    for (std::size_t j = 0; j + pixelSize < rowSize; ++j) {
      data[row + j + pixelSize] = static_cast<std::uint8_t>(data[row + j + pixelSize] + data[row + j]);
    }
  }
  return data;
}

std::uint8_t paeth(int left, int up, int upperLeft) {
  int estimate = left + up - upperLeft;
  int distanceLeft = estimate > left ? estimate - left : left - estimate;
  int distanceUp = estimate > up ? estimate - up : up - estimate;
  int distanceUpperLeft = estimate > upperLeft ? estimate - upperLeft : upperLeft - estimate;
  if (distanceLeft <= distanceUp && distanceLeft <= distanceUpperLeft) return static_cast<std::uint8_t>(left);
  if (distanceUp <= distanceUpperLeft) return static_cast<std::uint8_t>(up);
  return static_cast<std::uint8_t>(upperLeft);
}

// Every row carries a leading filter tag (None, Sub, Up, Average, Paeth) that
// says how it was predicted from the row rebuilt before it.
Bytes undoPngPredictor(const Bytes& data, std::size_t rowSize, std::size_t pixelSize, bool prefix) {
  // Checked before anything is allocated: Columns x Colors can claim a row
  // of hundreds of megabytes in a stream of a few bytes.
  std::size_t end = data.size();
  if (prefix) end -= end % (rowSize + 1);
  if (end > 0 && end < rowSize + 1) throw Exception(Error::Stream, "truncated PNG predictor row");
  Bytes output;
  output.reserve(end / (rowSize + 1) * rowSize);
  Bytes previous(end > 0 ? rowSize : 0, 0);
  Bytes row(end > 0 ? rowSize : 0, 0);
  std::size_t position = 0;
  while (position < end) {
    if (end - position < rowSize + 1) {
      throw Exception(Error::Stream, "truncated PNG predictor row");
    }
    std::uint8_t tag = data[position];
    if (tag > 4) throw Exception(Error::Stream, "invalid PNG predictor");
    const std::uint8_t* encoded = data.data() + position + 1;
    for (std::size_t i = 0; i < rowSize; ++i) {
      int left = i >= pixelSize ? row[i - pixelSize] : 0;
      int up = previous[i];
      int upperLeft = i >= pixelSize ? previous[i - pixelSize] : 0;
      int addend = 0;
      switch (tag) {
        case 1: addend = left; break;
        case 2: addend = up; break;
        case 3: addend = (left + up) / 2; break;
        case 4: addend = paeth(left, up, upperLeft); break;
        default: break;
      }
      row[i] = static_cast<std::uint8_t>(encoded[i] + addend);
    }
    output.insert(output.end(), row.begin(), row.end());
    previous.swap(row);
    position += rowSize + 1;
  }
  return output;
}

}  // namespace

Bytes applyPredictor(Bytes input, const PredictorParameters& parameters, bool prefix) {
  if (parameters.predictor <= 1) return input;
  // A row larger than any buffer a filter may produce cannot be real; the
  // bound also keeps Columns × Colors far from overflow.
  constexpr auto kMaxRow = static_cast<std::int64_t>(kMaxDecodedStreamSize);
  if (parameters.colors < 1 || parameters.bitsPerComponent != 8 || parameters.columns < 1 ||
      parameters.colors > kMaxRow || parameters.columns > kMaxRow / parameters.colors) {
    throw Exception(Error::Stream, "unsupported stream predictor layout");
  }
  auto pixelSize = static_cast<std::size_t>(parameters.colors);
  auto rowSize = static_cast<std::size_t>(parameters.columns * parameters.colors);
  if (parameters.predictor == 2) return undoTiffPredictor(std::move(input), rowSize, pixelSize);
  if (parameters.predictor >= 10 && parameters.predictor <= 15) {
    return undoPngPredictor(input, rowSize, pixelSize, prefix);
  }
  throw Exception(Error::Stream, "unsupported stream predictor");
}

}  // namespace zopra::pdf
