#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "filter_test_helpers.h"
#include "pdf/filters/filters.h"

namespace zopra::pdf {
namespace {

using test::bytesOf;
using test::compressed;
using test::throwsStreamError;

TEST(FlateDecode, InflatesAcrossSeveralOutputChunks) {
  Bytes plain;
  for (int i = 0; i < 100000; ++i) plain.push_back(static_cast<std::uint8_t>((i * 7919) % 251));
  EXPECT_EQ(flateDecode(compressed(plain)), plain);
  EXPECT_EQ(flateDecode(compressed({})), Bytes{});
}

TEST(FlateDecode, IncompleteOrCorruptDataYieldsNothing) {
  Bytes plain;
  for (int i = 0; i < 50000; ++i) plain.push_back(static_cast<std::uint8_t>(i % 13));
  Bytes data = compressed(plain);
  Bytes withoutChecksum(data.begin(), data.end() - 4);
  Bytes half(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(data.size() / 2));
  EXPECT_TRUE(throwsStreamError([&] { flateDecode(withoutChecksum); }, "invalid Flate stream"));
  EXPECT_TRUE(throwsStreamError([&] { flateDecode(half); }, "invalid Flate stream"));
  // A stream stored with no bytes holds nothing; one cut after a byte is refused.
  EXPECT_TRUE(flateDecode({}).empty());
  EXPECT_TRUE(throwsStreamError([&] { flateDecode(Bytes(data.begin(), data.begin() + 1)); }, "invalid Flate stream"));
  EXPECT_TRUE(throwsStreamError([] { flateDecode(bytesOf("not zlib data")); }, "invalid Flate stream"));
  Bytes badChecksum = data;
  badChecksum.back() ^= 0xFF;
  EXPECT_TRUE(throwsStreamError([&] { flateDecode(badChecksum); }, "invalid Flate stream"));
}

TEST(FlateDecode, OutputIsBounded) {
  Bytes plain(70000, 'x');
  Bytes data = compressed(plain);
  EXPECT_EQ(flateDecode(data, plain.size()).size(), plain.size());
  EXPECT_TRUE(throwsStreamError([&] { flateDecode(data, plain.size() - 1); }, "decoded stream is too large"));
}

TEST(AsciiHexDecode, DecodesDigitsAndSkipsWhiteSpace) {
  EXPECT_EQ(asciiHexDecode(bytesOf("48656C6C6F>")), bytesOf("Hello"));
  EXPECT_EQ(asciiHexDecode(bytesOf("48 65\t6c\r\n6C\f6f>")), bytesOf("Hello"));
  EXPECT_EQ(asciiHexDecode(bytesOf(std::string("4\0008", 3))), bytesOf("H"));
  EXPECT_EQ(asciiHexDecode(bytesOf("414")), (Bytes{0x41, 0x40}));
  EXPECT_EQ(asciiHexDecode(bytesOf("41>zz")), bytesOf("A"));
  EXPECT_EQ(asciiHexDecode(bytesOf("fF00")), (Bytes{0xFF, 0x00}));
  EXPECT_EQ(asciiHexDecode({}), Bytes{});
  EXPECT_TRUE(throwsStreamError([] { asciiHexDecode(bytesOf("4G>")); }, "invalid ASCIIHex stream"));
  EXPECT_TRUE(throwsStreamError([] { asciiHexDecode(bytesOf("41\v")); }, "invalid ASCIIHex stream"));
  EXPECT_TRUE(throwsStreamError([] { asciiHexDecode(bytesOf("4142"), 1); }, "decoded stream is too large"));
  EXPECT_TRUE(throwsStreamError([] { asciiHexDecode(bytesOf("414"), 1); }, "decoded stream is too large"));
}

TEST(Ascii85Decode, DecodesGroupsAndPartialGroups) {
  EXPECT_EQ(ascii85Decode(bytesOf("87cURDZ~>")), bytesOf("Hello"));
  EXPECT_EQ(ascii85Decode(bytesOf("87cU RD\nZ~>")), bytesOf("Hello"));
  EXPECT_EQ(ascii85Decode(bytesOf("z")), (Bytes{0, 0, 0, 0}));
  EXPECT_EQ(ascii85Decode(bytesOf("87cURz~>")), (Bytes{'H', 'e', 'l', 'l', 0, 0, 0, 0}));
  // A final single digit carries no byte.
  EXPECT_EQ(ascii85Decode(bytesOf("87cUR8~>")), bytesOf("Hell"));
  // "~" ends the data whatever follows.
  EXPECT_EQ(ascii85Decode(bytesOf("87cUR~}{")), bytesOf("Hell"));
  // The largest group wraps modulo 2^32 instead of failing.
  EXPECT_EQ(ascii85Decode(bytesOf("uuuuu")), (Bytes{0x08, 0x78, 0x0E, 0xC4}));
  EXPECT_EQ(ascii85Decode(bytesOf("s8W-!")), (Bytes{0xFF, 0xFF, 0xFF, 0xFF}));
  EXPECT_TRUE(throwsStreamError([] { ascii85Decode(bytesOf("!!z")); }, "invalid ASCII85 stream"));
  EXPECT_TRUE(throwsStreamError([] { ascii85Decode(bytesOf("87cv")); }, "invalid ASCII85 stream"));
  EXPECT_TRUE(throwsStreamError([] { ascii85Decode(bytesOf("87\x01")); }, "invalid ASCII85 stream"));
  EXPECT_TRUE(throwsStreamError([] { ascii85Decode(bytesOf("zz"), 7); }, "decoded stream is too large"));
}

TEST(RunLengthDecode, CopiesLiteralsAndRepeats) {
  EXPECT_EQ(runLengthDecode(Bytes{0x02, 'a', 'b', 'c', 0xFE, 'x', 0x80}), bytesOf("abcxxx"));
  EXPECT_EQ(runLengthDecode(Bytes{0x00, 'a', 0x80, 0x00, 'b'}), bytesOf("a"));
  EXPECT_EQ(runLengthDecode(Bytes{0x81, 'q'}), Bytes(128, 'q'));
  EXPECT_EQ(runLengthDecode(Bytes{0xFF, 'q', 0x01, 'r', 's'}), bytesOf("qqrs"));
  EXPECT_TRUE(throwsStreamError([] { runLengthDecode(Bytes{0x02, 'a', 'b'}); }, "invalid RunLength stream"));
  EXPECT_TRUE(throwsStreamError([] { runLengthDecode(Bytes{0x00, 'a', 0xFE}); }, "invalid RunLength stream"));
  EXPECT_TRUE(throwsStreamError([] { runLengthDecode(Bytes{0x81, 'q'}, 127); }, "decoded stream is too large"));
}

}  // namespace
}  // namespace zopra::pdf
