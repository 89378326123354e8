// Fuzz target: stream filters and predictors, either as the free functions
// or through Document::decodeStream with a filter chain and its parameters
// written into a stream dictionary. The layout of the input is described in
// filter_input.h.
#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "filter_input.h"
#include "pdf/filters/filters.h"
#include "pdf/model/document.h"
#include "pdf/model/error.h"

namespace {

using zopra::fuzz::FilterInput;
using zopra::pdf::Bytes;
using zopra::pdf::Value;

// Enough for every filter path; larger outputs only cost time.
constexpr std::size_t kOutputLimit = std::size_t{1} << 20;
// Decoded data up to this size is encoded again and decoded once more.
constexpr std::size_t kRoundTripLimit = std::size_t{64} << 10;

void require(bool condition) {
  if (!condition) std::abort();
}

Bytes decode(const FilterInput& input, const Bytes& data, std::size_t limit) {
  switch (input.filter) {
    case 0: return zopra::pdf::flateDecode(data, limit);
    case 1: return zopra::pdf::asciiHexDecode(data, limit);
    case 2: return zopra::pdf::ascii85Decode(data, limit);
    case 3: return zopra::pdf::runLengthDecode(data, limit);
    default: return zopra::pdf::lzwDecode(data, input.earlyChange, limit);
  }
}

// Plain encoders, written the obvious way, so that a decoder that gets a
// well-formed encoding of any byte string wrong is caught.
Bytes encodeHex(const Bytes& data) {
  static const char kDigits[] = "0123456789ABCDEF";
  Bytes out;
  for (std::uint8_t byte : data) {
    out.push_back(static_cast<std::uint8_t>(kDigits[byte >> 4]));
    out.push_back(static_cast<std::uint8_t>(kDigits[byte & 15]));
  }
  out.push_back('>');
  return out;
}

Bytes encodeAscii85(const Bytes& data) {
  Bytes out;
  for (std::size_t i = 0; i < data.size(); i += 4) {
    std::size_t count = data.size() - i < 4 ? data.size() - i : 4;
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 4; ++k) group = (group << 8) | (k < count ? data[i + k] : 0u);
    if (count == 4 && group == 0) {
      out.push_back('z');
      continue;
    }
    char digits[5];
    for (int k = 4; k >= 0; --k) {
      digits[k] = static_cast<char>('!' + group % 85);
      group /= 85;
    }
    out.insert(out.end(), digits, digits + count + 1);
  }
  out.push_back('~');
  out.push_back('>');
  return out;
}

Bytes encodeRunLength(const Bytes& data) {
  Bytes out;
  std::size_t i = 0;
  while (i < data.size()) {
    std::size_t repeat = 1;
    while (i + repeat < data.size() && repeat < 128 && data[i + repeat] == data[i]) ++repeat;
    if (repeat >= 2) {
      out.push_back(static_cast<std::uint8_t>(257 - repeat));
      out.push_back(data[i]);
      i += repeat;
      continue;
    }
    std::size_t literal = 1;
    while (i + literal < data.size() && literal < 128 &&
           !(i + literal + 1 < data.size() && data[i + literal] == data[i + literal + 1])) {
      ++literal;
    }
    out.push_back(static_cast<std::uint8_t>(literal - 1));
    out.insert(out.end(), data.begin() + static_cast<std::ptrdiff_t>(i),
               data.begin() + static_cast<std::ptrdiff_t>(i + literal));
    i += literal;
  }
  out.push_back(128);
  return out;
}

Bytes encodeFlate(const Bytes& data) {
  uLongf size = compressBound(static_cast<uLong>(data.size()));
  Bytes out(size);
  require(compress(out.data(), &size, data.data(), static_cast<uLong>(data.size())) == Z_OK);
  out.resize(size);
  return out;
}

// LZW with a clear code first and whenever the table is nearly full; the
// code width follows the table the decoder builds, which lags one entry
// behind the encoder's.
Bytes encodeLzw(const Bytes& data, int earlyChange) {
  Bytes out;
  std::uint32_t bits = 0;
  unsigned bitCount = 0;
  std::uint32_t emitted = 0;  // codes since the last clear
  auto width = [&] {
    std::uint32_t decoderNext = 258 + (emitted > 0 ? emitted - 1 : 0);
    unsigned result = 9;
    while (result < 12 && decoderNext + static_cast<std::uint32_t>(earlyChange) >= (1u << result)) ++result;
    return result;
  };
  auto put = [&](std::uint32_t code, unsigned codeWidth) {
    bits = (bits << codeWidth) | code;
    bitCount += codeWidth;
    while (bitCount >= 8) {
      bitCount -= 8;
      out.push_back(static_cast<std::uint8_t>(bits >> bitCount));
    }
    bits &= (1u << bitCount) - 1;
  };
  std::map<std::pair<std::uint32_t, std::uint8_t>, std::uint32_t> table;
  std::uint32_t next = 258;
  put(256, 9);
  bool havePrefix = false;
  std::uint32_t prefix = 0;
  for (std::uint8_t byte : data) {
    if (!havePrefix) {
      prefix = byte;
      havePrefix = true;
      continue;
    }
    auto found = table.find({prefix, byte});
    if (found != table.end()) {
      prefix = found->second;
      continue;
    }
    put(prefix, width());
    ++emitted;
    if (next < 4000) {
      table[{prefix, byte}] = next++;
    } else {
      put(256, width());
      table.clear();
      next = 258;
      emitted = 0;
    }
    prefix = byte;
  }
  if (havePrefix) {
    put(prefix, width());
    ++emitted;
  }
  put(257, width());
  if (bitCount > 0) out.push_back(static_cast<std::uint8_t>(bits << (8 - bitCount)));
  return out;
}

Bytes encode(const FilterInput& input, const Bytes& data) {
  switch (input.filter) {
    case 0: return encodeFlate(data);
    case 1: return encodeHex(data);
    case 2: return encodeAscii85(data);
    case 3: return encodeRunLength(data);
    default: return encodeLzw(data, input.earlyChange);
  }
}

void runFreeFunctions(const FilterInput& input) {
  Bytes decoded;
  try {
    decoded = decode(input, input.data, kOutputLimit);
  } catch (const zopra::pdf::Exception&) {
    return;
  }
  require(decoded.size() <= kOutputLimit);
  if (decoded.size() <= kRoundTripLimit) {
    require(decode(input, encode(input, decoded), kOutputLimit) == decoded);
  }
  try {
    Bytes predicted = zopra::pdf::applyPredictor(decoded, input.predictor);
    // Predictors only strip row tags; they never add bytes.
    require(predicted.size() <= decoded.size());
  } catch (const zopra::pdf::Exception&) {
  }
}

std::string filterName(std::uint8_t index, bool abbreviated) {
  static const char* const kNames[] = {"FlateDecode", "ASCIIHexDecode", "ASCII85Decode",
                                       "RunLengthDecode", "LZWDecode"};
  static const char* const kShortNames[] = {"Fl", "AHx", "A85", "RL", "LZW"};
  return abbreviated ? kShortNames[index] : kNames[index];
}

void runDocument(const FilterInput& input) {
  zopra::pdf::Document document;
  std::vector<std::string> names{filterName(input.filter, input.abbreviated)};
  static const char* const kOtherNames[] = {"Crypt", "DCTDecode", "LZWDecode"};
  if (input.secondFilter >= 1 && input.secondFilter <= 4) {
    names.push_back(filterName(static_cast<std::uint8_t>(input.secondFilter - 1), input.abbreviated));
  } else if (input.secondFilter >= 5) {
    names.push_back(kOtherNames[input.secondFilter - 5]);
  }

  zopra::pdf::ValueDictionary dictionary;
  if (names.size() == 1 && input.loneName) {
    dictionary["Filter"] = Value::Name(names.front());
  } else {
    zopra::pdf::ValueArray filters;
    for (const std::string& name : names) filters.push_back(Value::Name(name));
    dictionary["Filter"] = Value::Array(std::move(filters));
  }

  zopra::pdf::ValueDictionary parameters;
  parameters["Predictor"] = Value::Number(static_cast<double>(input.predictor.predictor));
  parameters["Colors"] = Value::Number(static_cast<double>(input.predictor.colors));
  parameters["Columns"] = Value::Number(static_cast<double>(input.predictor.columns));
  parameters["BitsPerComponent"] = Value::Number(static_cast<double>(input.predictor.bitsPerComponent));
  parameters["EarlyChange"] = Value::Number(input.earlyChange);
  Value parameterValue = Value::Dictionary(std::move(parameters));
  if (input.parameters == FilterInput::Parameters::Dictionary) {
    dictionary["DecodeParms"] = parameterValue;
  } else if (input.parameters != FilterInput::Parameters::None) {
    zopra::pdf::ValueArray perFilter(names.size());
    if (input.parameters == FilterInput::Parameters::Reference) {
      std::uint32_t number = document.createObject(std::move(parameterValue)).number;
      perFilter.back() = Value::Reference(number, 0);
    } else {
      perFilter.back() = std::move(parameterValue);
    }
    dictionary["DecodeParms"] = Value::Array(std::move(perFilter));
  }
  dictionary["Length"] = Value::Number(static_cast<double>(input.data.size()));

  zopra::pdf::Object stream;
  stream.loaded = true;
  stream.isStream = true;
  stream.value = Value::Dictionary(std::move(dictionary));
  stream.data = input.data;
  try {
    Bytes decoded = document.decodeStream(stream);
    require(decoded.size() <= zopra::pdf::kMaxDecodedStreamSize);
  } catch (const zopra::pdf::Exception&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FilterInput input = zopra::fuzz::readFilterInput(data, size);
  if (input.throughDocument) {
    runDocument(input);
  } else {
    runFreeFunctions(input);
  }
  return 0;
}
