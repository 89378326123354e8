// The input layout of fuzz_filters, shared by the target that reads it and
// the seed generator that writes it: a fixed header of choices, then the
// encoded data.
//
//   byte 0  bits 0-1: the filter (Flate, ASCIIHex, ASCII85, RunLength)
//           bit 2:    run through Document::decodeStream instead of the
//                     free functions
//           bit 3:    LZW instead of the filter of bits 0-1
//           bit 4:    LZW with EarlyChange 0 (else 1)
//   byte 1  predictor, by index into {1, 2, 10, 11, 12, 13, 14, 15}
//   byte 2  Colors - 1 (1 to 4)
//   byte 3  Columns - 1 (1 to 256)
//   byte 4  BitsPerComponent, by index into {8, 1, 2, 4, 16}
//   byte 5  Document::decodeStream only:
//           bits 0-2: second filter of the chain, by index into
//                     {none, Flate, ASCIIHex, ASCII85, RunLength, Crypt,
//                      DCTDecode, LZWDecode}
//           bit 3:    write the filter names abbreviated (Fl, AHx, A85, RL)
//           bits 4-5: DecodeParms as: nothing, an array (parameters of the
//                     last filter, null for the others), an array holding a
//                     reference, a lone dictionary
//           bit 6:    a single filter is written as a name, not an array
//   then    the data
#pragma once

#include <array>
#include <cstddef>
#include <algorithm>
#include <cstdint>

#include "pdf/filters/filters.h"
#include "pdf/model/value.h"

namespace zopra::fuzz {

struct FilterInput {
  enum class Parameters : std::uint8_t { None = 0, Array = 1, Reference = 2, Dictionary = 3 };

  // 0 to 3 as in byte 0, 4 for LZW.
  std::uint8_t filter = 0;
  bool throughDocument = false;
  int earlyChange = 1;
  pdf::PredictorParameters predictor;
  std::uint8_t secondFilter = 0;
  bool abbreviated = false;
  Parameters parameters = Parameters::None;
  bool loneName = false;
  pdf::Bytes data;
};

inline constexpr std::size_t kFilterHeaderSize = 6;
inline constexpr std::array<std::int64_t, 8> kPredictors = {1, 2, 10, 11, 12, 13, 14, 15};
inline constexpr std::array<std::int64_t, 5> kBitsPerComponent = {8, 1, 2, 4, 16};

// Missing header bytes count as zero.
inline FilterInput readFilterInput(const std::uint8_t* data, std::size_t size) {
  std::uint8_t header[kFilterHeaderSize] = {};
  for (std::size_t i = 0; i < kFilterHeaderSize && i < size; ++i) header[i] = data[i];
  FilterInput input;
  input.filter = (header[0] & 8) != 0 ? 4 : header[0] & 3;
  input.earlyChange = (header[0] & 16) != 0 ? 0 : 1;
  input.throughDocument = (header[0] & 4) != 0;
  input.predictor.predictor = kPredictors[header[1] % kPredictors.size()];
  input.predictor.colors = header[2] % 4 + 1;
  input.predictor.columns = std::int64_t{header[3]} + 1;
  input.predictor.bitsPerComponent = kBitsPerComponent[header[4] % kBitsPerComponent.size()];
  input.secondFilter = header[5] & 7;
  input.abbreviated = (header[5] & 8) != 0;
  input.parameters = static_cast<FilterInput::Parameters>((header[5] >> 4) & 3);
  input.loneName = (header[5] & 64) != 0;
  if (size > kFilterHeaderSize) input.data.assign(data + kFilterHeaderSize, data + size);
  return input;
}

// Index of `value` in `table`; 0 when absent.
template <std::size_t N>
std::uint8_t indexOf(const std::array<std::int64_t, N>& table, std::int64_t value) {
  for (std::size_t i = 0; i < N; ++i) {
    if (table[i] == value) return static_cast<std::uint8_t>(i);
  }
  return 0;
}

inline pdf::Bytes writeFilterInput(const FilterInput& input) {
  pdf::Bytes out(kFilterHeaderSize + input.data.size(), 0);
  out[0] = static_cast<std::uint8_t>((input.filter & 3) | (input.throughDocument ? 4 : 0) |
                                     (input.filter == 4 ? 8 : 0) | (input.earlyChange == 0 ? 16 : 0));
  out[1] = indexOf(kPredictors, input.predictor.predictor);
  out[2] = static_cast<std::uint8_t>((input.predictor.colors - 1) & 3);
  out[3] = static_cast<std::uint8_t>((input.predictor.columns - 1) & 0xFF);
  out[4] = indexOf(kBitsPerComponent, input.predictor.bitsPerComponent);
  out[5] = static_cast<std::uint8_t>((input.secondFilter & 7) | (input.abbreviated ? 8 : 0) |
                                     (static_cast<std::uint8_t>(input.parameters) << 4) |
                                     (input.loneName ? 64 : 0));
  std::copy(input.data.begin(), input.data.end(), out.begin() + kFilterHeaderSize);
  return out;
}

}  // namespace zopra::fuzz
