// Fuzz target: zopra-pdf's reading of a large map or segments file in two
// halves gives what jansson gives reading it whole: the same value, or the
// same error at the same place. Built with every document split.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" {
#include "json_split.h"
}

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

void compare(const char* text, std::size_t size, const char* member) {
  json_error_t wholeError, splitError;
  json_t* whole = json_loadb(text, size, JSON_REJECT_DUPLICATES, &wholeError);
  json_t* split = jsonLoadSplit(text, size, JSON_REJECT_DUPLICATES, member, 2, &splitError);
  require((whole == nullptr) == (split == nullptr));
  if (whole) {
    require(json_equal(whole, split) == 1);
  } else {
    require(wholeError.line == splitError.line && wholeError.column == splitError.column &&
            std::strcmp(wholeError.text, splitError.text) == 0);
  }
  json_decref(whole);
  json_decref(split);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const char* text = reinterpret_cast<const char*>(data);
  compare(text, size, nullptr);
  compare(text, size, "segments");
  return 0;
}
