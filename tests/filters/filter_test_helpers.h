// Small helpers shared by the stream-filter tests.
#pragma once

#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <string_view>

#include "pdf/model/error.h"
#include "pdf/model/value.h"

namespace zopra::pdf::test {

inline Bytes bytesOf(std::string_view text) { return Bytes(text.begin(), text.end()); }

inline Bytes compressed(const Bytes& plain) {
  uLongf size = compressBound(static_cast<uLong>(plain.size()));
  Bytes out(size);
  if (compress(out.data(), &size, plain.data(), static_cast<uLong>(plain.size())) != Z_OK) {
    ADD_FAILURE() << "compress failed";
    return {};
  }
  out.resize(size);
  return out;
}

// Succeeds when `action` throws Exception(Error::Stream, message).
template <class Action>
::testing::AssertionResult throwsStreamError(Action action, const std::string& message) {
  try {
    action();
  } catch (const Exception& failure) {
    if (failure.kind() == Error::Stream && failure.message() == message) {
      return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure()
           << "kind " << static_cast<int>(failure.kind()) << ", message \"" << failure.message() << '"';
  }
  return ::testing::AssertionFailure() << "nothing thrown";
}

}  // namespace zopra::pdf::test
