// Fuzz target: the normal form in which zopra-pdf replace compares map keys
// with item texts. On any bytes, it has no white space at either end and no
// run of it, and is its own normal form.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

extern "C" {
#include "text_match.h"
}

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The tool gets NUL-terminated text; an input with a NUL ends there.
  const std::string text(reinterpret_cast<const char*>(data), size);
  char* normal = matchKey(text.c_str(), 0);
  require(normal != nullptr);
  const std::size_t length = std::strlen(normal);
  require(length == 0 || (normal[0] != ' ' && normal[length - 1] != ' '));
  require(std::strstr(normal, "  ") == nullptr);
  char* again = matchKey(normal, 0);
  require(again != nullptr && std::strcmp(again, normal) == 0);
  std::free(again);
  std::free(normal);
  return 0;
}
