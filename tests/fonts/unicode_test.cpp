#include "pdf/fonts/unicode.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace zopra::pdf {
namespace {

using CodePoints = std::vector<std::uint32_t>;

std::string bytes(std::initializer_list<int> values) {
  std::string out;
  for (int v : values) out += static_cast<char>(v);
  return out;
}

TEST(Unicode, Utf8BothWays) {
  const struct {
    std::string input;
    CodePoints expected;
    bool valid;
  } cases[] = {
      {bytes({0xC3, 0xA9}), {0xE9}, true},
      {bytes({0x41, 0xE3, 0x81, 0x82, 0xF0, 0x9F, 0x98, 0x80}), {0x41, 0x3042, 0x1F600}, true},
      {"", {}, true},
      // Overlong forms, surrogates and values past U+10FFFF are replaced.
      {bytes({0xC0, 0x80}), {0xFFFD}, false},
      {bytes({0xED, 0xA0, 0x80}), {0xFFFD}, false},
      {bytes({0xF4, 0x90, 0x80, 0x80}), {0xFFFD}, false},
      // Stray continuation bytes and 0xF8..0xFF go one byte at a time; a
      // broken sequence resumes at the offending byte.
      {bytes({0x80, 0xF8, 0x41}), {0xFFFD, 0xFFFD, 0x41}, false},
      {bytes({0xE3, 0x41, 0x42}), {0xFFFD, 0x41, 0x42}, false},
  };
  for (const auto& c : cases) {
    bool valid = !c.valid;
    EXPECT_EQ(decodeUtf8(c.input, &valid), c.expected) << c.input;
    EXPECT_EQ(valid, c.valid) << c.input;
  }
  EXPECT_EQ(decodeUtf8(bytes({0xFF}), nullptr), CodePoints{0xFFFD});

  const std::pair<std::uint32_t, std::string> encoded[] = {
      {0x41, "A"}, {0, std::string(1, '\0')}, {0x7FF, bytes({0xDF, 0xBF})}, {0x3042, bytes({0xE3, 0x81, 0x82})},
      {0xD800, bytes({0xED, 0xA0, 0x80})}, {0x10FFFF, bytes({0xF4, 0x8F, 0xBF, 0xBF})}, {0x110000, ""},
  };
  for (const auto& [codePoint, text] : encoded) EXPECT_EQ(encodeUtf8(codePoint), text) << codePoint;
  EXPECT_EQ(encodeUtf8(CodePoints{0x41, 0x110000, 0xE9, 0x1F600}), bytes({0x41, 0xC3, 0xA9, 0xF0, 0x9F, 0x98, 0x80}));
  const CodePoints sample{0x7F, 0x80, 0x800, 0xFFFF, 0x10000, 0x10FFFF};
  EXPECT_EQ(decodeUtf8(encodeUtf8(sample), nullptr), sample);
}

}  // namespace
}  // namespace zopra::pdf
