// LZW decoding (known answers, code-width switches, predictors) and Flate
// streams damaged part way, which give what inflated before the fault.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "filter_test_helpers.h"
#include "pdf/filters/filters.h"
#include "pdf/model/document.h"
#include "support/load_helpers.h"

namespace zopra::pdf {
namespace {

using test::bytesOf;
using test::compressed;
using test::lzwEncoded;
using test::outcome;

// Text long enough for the LZW table to pass 511, 1023 and 2047 entries
// (each code width) and to be cleared when it fills.
Bytes sample() {
  Bytes data;
  std::uint32_t state = 12345;
  for (int i = 0; i < 60000; ++i) {
    state = state * 1103515245u + 12345u;
    data.push_back(static_cast<std::uint8_t>("abcdefgh ,."[(state >> 16) % 11]));
  }
  return data;
}

TEST(Lzw, KnownAnswersAndCodeWidths) {
  // The classic example of the format: "-----A---B" as the nine-bit codes
  // 256 45 258 258 65 259 66 257.
  const Bytes example{0x80, 0x0B, 0x60, 0x50, 0x22, 0x0C, 0x0C, 0x85, 0x01};
  const Bytes data = sample();
  const std::string text(data.begin(), data.end());
  const std::size_t all = kMaxDecodedStreamSize;
  struct Case {
    const char* rule;
    Bytes input;
    int earlyChange;
    std::size_t limit;
    std::string expected;
  };
  const Case cases[] = {
      {"example, early change", example, 1, all, "-----A---B"},
      {"example, late change", example, 0, all, "-----A---B"},
      {"all widths, early change", lzwEncoded(data, 1), 1, all, text},
      {"all widths, late change", lzwEncoded(data, 0), 0, all, text},
      {"ends without the end code", Bytes(example.begin(), example.end() - 2), 1, all, "-----A---"},
      {"code past the table", Bytes{0x80, 0x0B, 0x7F, 0xC0}, 1, all, "!invalid LZW stream"},
      {"first code not a byte", Bytes{0x80, 0x40, 0x80}, 1, all, "!invalid LZW stream"},
      {"limit", lzwEncoded(data, 1), 1, data.size() - 1, "!decoded stream is too large"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(outcome([&] { return lzwDecode(c.input, c.earlyChange, c.limit); }), c.expected) << c.rule;
  }
  // The code width switch is one entry apart between the two settings: data
  // read with the wrong one goes astray once the table reaches 511 entries.
  EXPECT_NE(outcome([&] { return lzwDecode(lzwEncoded(data, 0), 1); }), text);
  EXPECT_NE(outcome([&] { return lzwDecode(lzwEncoded(data, 1), 0); }), text);
}

TEST(Lzw, ThroughTheStreamDictionaryWithPredictor) {
  // Two PNG rows tagged Sub and Up: 1 3 then 2 5.
  const Bytes rows{1, 1, 2, 2, 1, 2};
  Document document;
  auto decoded = [&](std::uint32_t number, ValueDictionary dictionary, const Bytes& data) {
    Object& stream = zopra::test::putObject(document, number, Value::Dictionary(std::move(dictionary)));
    stream.isStream = true;
    stream.data = data;
    return outcome([&] { return document.decodeStream(stream); });
  };
  Value png = Value::Dictionary({{"Predictor", Value::Number(12)}, {"Columns", Value::Number(2)}});
  Value pngLate = Value::Dictionary(
      {{"Predictor", Value::Number(12)}, {"Columns", Value::Number(1)}, {"EarlyChange", Value::Number(0)}});
  EXPECT_EQ(decoded(1, {{"Filter", Value::Name("LZWDecode")}, {"DecodeParms", png}}, lzwEncoded(rows, 1)),
            std::string("\x01\x03\x02\x05", 4));
  const Bytes data = sample();
  EXPECT_EQ(decoded(2, {{"Filter", Value::Name("LZW")}, {"DecodeParms", pngLate}},
                    lzwEncoded(Bytes{0, 'x', 0, 'y'}, 0)),
            "xy");
  EXPECT_EQ(decoded(3, {{"Filter", Value::Name("LZWDecode")},
                        {"DecodeParms", Value::Dictionary({{"EarlyChange", Value::Number(0)}})}},
                    lzwEncoded(data, 0)),
            std::string(data.begin(), data.end()));
}

TEST(DamagedFlate, KeepsWhatInflatedBeforeTheFault) {
  const Bytes data = sample();
  const Bytes flate = compressed(data);
  Bytes corrupt = flate;
  corrupt[corrupt.size() / 2] ^= 0x55;
  Bytes longer = data;
  longer.insert(longer.end(), data.begin(), data.end());
  Document document;
  std::uint32_t number = 10;
  // Cut at several points, or corrupt in the middle: the start comes out
  // (after a corrupt byte, zlib may give some garbage before it notices)
  // and the document notes the damage without failing.
  struct Case {
    Bytes input;
    std::size_t exact;  // how many bytes from the start must be right
  };
  const Case cases[] = {{Bytes(flate.begin(), flate.begin() + 200), SIZE_MAX},
                        {Bytes(flate.begin(), flate.end() - 300), SIZE_MAX},
                        {Bytes(flate.begin(), flate.end() - 1), SIZE_MAX},
                        {corrupt, data.size() / 4}};
  for (const Case& c : cases) {
    Object& stream = zopra::test::putObject(document, number, Value::Dictionary({{"Filter", Value::Name("FlateDecode")}}));
    stream.isStream = true;
    stream.data = c.input;
    document.errorMessage.clear();
    Bytes out = document.decodeStream(stream);
    ASSERT_FALSE(out.empty());
    ASSERT_LE(out.size(), data.size());
    std::size_t exact = std::min(c.exact, out.size());
    ASSERT_GE(out.size(), c.exact == SIZE_MAX ? 1 : c.exact);
    EXPECT_TRUE(std::equal(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(exact), data.begin()))
        << c.input.size();
    EXPECT_NE(document.errorMessage.find("damaged Flate stream in object " + std::to_string(number)),
              std::string::npos);
    EXPECT_EQ(document.error, Error::None);
    ++number;
  }
  // Nothing out at all still fails; a damaged stream keeps the size limit.
  bool damaged = false;
  EXPECT_EQ(outcome([&] { return flateDecodeLenient(Bytes(flate.begin(), flate.begin() + 2), damaged); }),
            "!invalid Flate stream");
  Bytes cutLonger = compressed(longer);
  cutLonger.resize(cutLonger.size() - 10);
  EXPECT_EQ(outcome([&] { return flateDecodeLenient(cutLonger, damaged, data.size()); }),
            "!decoded stream is too large");
  EXPECT_EQ(outcome([&] { return flateDecode(Bytes(flate.begin(), flate.end() - 1)); }), "!invalid Flate stream");
}

}  // namespace
}  // namespace zopra::pdf
