// Small helpers shared by the stream-filter tests.
#pragma once

#include <zlib.h>

#include <string>
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
