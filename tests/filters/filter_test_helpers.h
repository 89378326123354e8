// Small helpers shared by the stream-filter tests.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <string_view>

#include "pdf/model/error.h"
#include "pdf/model/value.h"

namespace zopra::pdf::test {

using Decoder = Bytes (*)(const Bytes&, std::size_t);

inline Bytes bytesOf(std::string_view text) { return Bytes(text.begin(), text.end()); }

inline Bytes compressed(const Bytes& plain) {
  uLongf size = compressBound(static_cast<uLong>(plain.size()));
  Bytes out(size);
  if (compress(out.data(), &size, plain.data(), static_cast<uLong>(plain.size())) != Z_OK) return {};
  out.resize(size);
  return out;
}

// LZW encoding written the plain way: a clear code first and when the table
// is nearly full, codes as wide as the decoder's table (one entry behind the
// encoder's) asks for, widened one entry early when `earlyChange` is 1.
inline Bytes lzwEncoded(const Bytes& data, unsigned earlyChange) {
  Bytes out;
  std::uint32_t bits = 0, bitCount = 0, emitted = 0, next = 258;
  auto put = [&](std::uint32_t code) {
    std::uint32_t decoderNext = 258 + (emitted > 0 ? emitted - 1 : 0), width = 9;
    while (width < 12 && decoderNext + earlyChange >= (1u << width)) ++width;
    bits = (bits << width) | code;
    for (bitCount += width; bitCount >= 8; bits &= (1u << bitCount) - 1) {
      bitCount -= 8;
      out.push_back(static_cast<std::uint8_t>(bits >> bitCount));
    }
  };
  std::map<std::pair<std::uint32_t, std::uint8_t>, std::uint32_t> table;
  put(256);
  std::int64_t prefix = -1;
  for (std::uint8_t byte : data) {
    auto found = prefix < 0 ? table.end() : table.find({static_cast<std::uint32_t>(prefix), byte});
    if (prefix >= 0 && found == table.end()) {
      put(static_cast<std::uint32_t>(prefix));
      ++emitted;
      if (next < 4000) {
        table[{static_cast<std::uint32_t>(prefix), byte}] = next++;
      } else {
        put(256);
        table.clear();
        next = 258;
        emitted = 0;
      }
    }
    prefix = found != table.end() ? found->second : byte;
  }
  if (prefix >= 0) {
    put(static_cast<std::uint32_t>(prefix));
    ++emitted;
  }
  put(257);
  if (bitCount > 0) out.push_back(static_cast<std::uint8_t>(bits << (8 - bitCount)));
  return out;
}

// The bytes `action` returns, or "!" and the message of the engine's
// exception of kind `kind` that it throws (another kind is marked).
template <class Action>
std::string outcome(Action action, Error kind = Error::Stream) {
  try {
    Bytes result = action();
    return std::string(result.begin(), result.end());
  } catch (const Exception& failure) {
    return (failure.kind() == kind ? "!" : "!(kind " + std::to_string(static_cast<int>(failure.kind())) + ") ") +
           failure.message();
  }
}

}  // namespace zopra::pdf::test
