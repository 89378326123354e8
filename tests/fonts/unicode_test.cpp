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

TEST(Unicode, Utf16be) {
  EXPECT_EQ(utf16be(bytes({0xD8, 0x3D, 0xDE, 0x00})), CodePoints{0x1F600});
  EXPECT_EQ(utf16be(bytes({0xD8, 0x3D, 0x00, 0x41})), (CodePoints{0xD83D, 0x41}));
  EXPECT_EQ(utf16be(bytes({0x00, 0x41, 0x00})), CodePoints{0x41});
  EXPECT_EQ(utf16be(bytes({0xFE, 0xFF, 0x30, 0x42})), (CodePoints{0xFEFF, 0x3042}));
  // A high surrogate at the end, or followed by an odd byte, stays as it is.
  EXPECT_EQ(utf16be(bytes({0xDB, 0xFF})), CodePoints{0xDBFF});
  EXPECT_EQ(utf16be(bytes({0xDB, 0xFF, 0xDF})), CodePoints{0xDBFF});
  EXPECT_EQ(utf16be(bytes({0xDB, 0xFF, 0xDF, 0xFF})), CodePoints{0x10FFFF});
  EXPECT_EQ(utf16be(bytes({0xDC, 0x00, 0xD8, 0x00})), (CodePoints{0xDC00, 0xD800}));
  EXPECT_TRUE(utf16be("").empty());
}

TEST(Unicode, DecodeUtf8) {
  bool ok = false;
  EXPECT_EQ(decodeUtf8(bytes({0xC3, 0xA9}), &ok), CodePoints{0xE9});
  EXPECT_TRUE(ok);
  EXPECT_EQ(decodeUtf8(bytes({0x41, 0xE3, 0x81, 0x82, 0xF0, 0x9F, 0x98, 0x80}), &ok),
            (CodePoints{0x41, 0x3042, 0x1F600}));
  EXPECT_TRUE(ok);
  EXPECT_EQ(decodeUtf8(bytes({0xC0, 0x80}), &ok), CodePoints{0xFFFD});
  EXPECT_FALSE(ok);
  EXPECT_EQ(decodeUtf8(bytes({0x41, 0xE2, 0x82}), &ok), (CodePoints{0x41, 0xFFFD}));
  EXPECT_FALSE(ok);
  EXPECT_EQ(decodeUtf8(bytes({0xED, 0xA0, 0x80}), &ok), CodePoints{0xFFFD});
  EXPECT_FALSE(ok);
  EXPECT_EQ(decodeUtf8(bytes({0xF4, 0x90, 0x80, 0x80}), &ok), CodePoints{0xFFFD});
  EXPECT_FALSE(ok);
  EXPECT_EQ(decodeUtf8(bytes({0xE0, 0x9F, 0xBF}), &ok), CodePoints{0xFFFD});
  // Stray continuation bytes and 0xF8..0xFF are replaced one byte at a time.
  EXPECT_EQ(decodeUtf8(bytes({0x80, 0xF8, 0x41}), &ok), (CodePoints{0xFFFD, 0xFFFD, 0x41}));
  EXPECT_FALSE(ok);
  // A broken sequence resumes at the offending byte.
  EXPECT_EQ(decodeUtf8(bytes({0xE3, 0x41, 0x42}), &ok), (CodePoints{0xFFFD, 0x41, 0x42}));
  EXPECT_FALSE(ok);
  EXPECT_EQ(decodeUtf8(bytes({0xC3, 0xC3, 0xA9}), &ok), (CodePoints{0xFFFD, 0xE9}));
  ok = false;
  EXPECT_TRUE(decodeUtf8("", &ok).empty());
  EXPECT_TRUE(ok);
  EXPECT_EQ(decodeUtf8(bytes({0xFF}), nullptr), CodePoints{0xFFFD});
}

TEST(Unicode, EncodeUtf8) {
  EXPECT_EQ(encodeUtf8(0x41u), "A");
  EXPECT_EQ(encodeUtf8(0x0u), std::string(1, '\0'));
  EXPECT_EQ(encodeUtf8(0x7FFu), bytes({0xDF, 0xBF}));
  EXPECT_EQ(encodeUtf8(0x3042u), bytes({0xE3, 0x81, 0x82}));
  EXPECT_EQ(encodeUtf8(0xD800u), bytes({0xED, 0xA0, 0x80}));
  EXPECT_EQ(encodeUtf8(0x10FFFFu), bytes({0xF4, 0x8F, 0xBF, 0xBF}));
  EXPECT_EQ(encodeUtf8(0x110000u), "");
  EXPECT_EQ(encodeUtf8(CodePoints{0x41, 0x110000, 0xE9, 0x1F600}),
            bytes({0x41, 0xC3, 0xA9, 0xF0, 0x9F, 0x98, 0x80}));
  const CodePoints sample{0x7F, 0x80, 0x800, 0xFFFF, 0x10000, 0x10FFFF};
  bool ok = false;
  EXPECT_EQ(decodeUtf8(encodeUtf8(sample), &ok), sample);
  EXPECT_TRUE(ok);
}

}  // namespace
}  // namespace zopra::pdf
