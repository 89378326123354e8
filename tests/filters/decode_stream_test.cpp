#include <zlib.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

#include "filter_test_helpers.h"
#include "pdf/filters/filters.h"
#include "pdf/model/document.h"

namespace zopra::pdf {
namespace {

using test::bytesOf;
using test::compressed;
using test::throwsStreamError;

Value name(const char* text) { return Value::Name(text); }
Value number(double value) { return Value::Number(value); }
Value ref(std::uint32_t objectNumber) { return Value::Reference(objectNumber, 0); }

Object& addObject(Document& document, std::uint32_t objectNumber, Value value) {
  Object& object = document.objects[objectNumber];
  object.number = objectNumber;
  object.loaded = true;
  object.value = std::move(value);
  return object;
}

Object& addStream(Document& document, std::uint32_t objectNumber, ValueDictionary dictionary,
                  Bytes data) {
  Object& object = addObject(document, objectNumber, Value::Dictionary(std::move(dictionary)));
  object.isStream = true;
  object.data = std::move(data);
  return object;
}

Value pngParameters(double columns) {
  return Value::Dictionary({{"Predictor", number(12)}, {"Columns", number(columns)}});
}

// Two PNG rows of two bytes, tagged Up, whose decoded form is 1 2 2 4.
const Bytes kUpRows{2, 1, 2, 2, 1, 2};
const Bytes kUpDecoded{1, 2, 2, 4};

TEST(DecodeStream, ReturnsPlainBytesWithoutFilters) {
  Document document;
  Object& notStream = addObject(document, 1, number(3));
  EXPECT_EQ(document.decodeStream(notStream), Bytes{});

  Object& created = addStream(document, 2, {{"Filter", name("FlateDecode")}}, bytesOf("plain"));
  created.createdStream = true;
  EXPECT_EQ(document.decodeStream(created), bytesOf("plain"));

  Object& unfiltered = addStream(document, 3, {{"Filter", number(1)}}, bytesOf("raw"));
  EXPECT_EQ(document.decodeStream(unfiltered), bytesOf("raw"));

  // Stored bytes that lie outside the file are a structure error.
  Object& outside = addStream(document, 4, {}, {});
  outside.streamOffset = 10;
  outside.streamLength = 5;
  try {
    document.decodeStream(outside);
    ADD_FAILURE() << "nothing thrown";
  } catch (const Exception& failure) {
    EXPECT_EQ(failure.kind(), Error::Format);
    EXPECT_EQ(failure.message(), "invalid PDF stream range");
  }
  document.file = bytesOf("0123456789ABCDEFGHIJ");
  EXPECT_EQ(document.decodeStream(outside), bytesOf("ABCDE"));
}

TEST(DecodeStream, AppliesFiltersInArrayOrder) {
  Document document;
  Bytes data = compressed(bytesOf("48656C6C6F>"));
  Object& chained = addStream(document, 1, {{"Filter", Value::Array({name("FlateDecode"), name("ASCIIHexDecode")})}}, data);
  EXPECT_EQ(document.decodeStream(chained), bytesOf("Hello"));

  // Abbreviated names, a Crypt entry, a non-name element and indirect elements.
  addObject(document, 2, name("AHx"));
  addObject(document, 3, Value::Array({name("Crypt"), number(7), name("Fl"), ref(2)}));
  Object& indirect = addStream(document, 4, {{"Filter", ref(3)}}, data);
  EXPECT_EQ(document.decodeStream(indirect), bytesOf("Hello"));

  Object& others = addStream(document, 5, {{"Filter", Value::Array({name("A85"), name("RL")})}},
                             bytesOf("!b#PJrciq~>"));
  EXPECT_EQ(document.decodeStream(others), bytesOf("abcxxx"));
  // The test data above must really be the run-length bytes 02 a b c FE x 80.
  EXPECT_EQ(ascii85Decode(bytesOf("!b#PJrciq~>")), (Bytes{0x02, 'a', 'b', 'c', 0xFE, 'x', 0x80}));
}

TEST(DecodeStream, RefusesUnknownFiltersAndReportsStreamErrors) {
  Document document;
  for (const char* filter : {"DCTDecode", "LZWDecode", "flatedecode", "JBIG2Decode"}) {
    Object& stream = addStream(document, 1, {{"Filter", name(filter)}}, bytesOf("x"));
    EXPECT_TRUE(throwsStreamError([&] { document.decodeStream(stream); },
                                  std::string("unsupported PDF stream filter: ") + filter));
  }
  Object& broken = addStream(document, 2, {{"Filter", name("AHx")}}, bytesOf("4x"));
  EXPECT_TRUE(throwsStreamError([&] { document.decodeStream(broken); }, "invalid ASCIIHex stream"));
  Bytes flate = compressed(bytesOf("abcdef"));
  flate.pop_back();
  Object& cut = addStream(document, 3, {{"Filter", name("Fl")}}, flate);
  EXPECT_TRUE(throwsStreamError([&] { document.decodeStream(cut); }, "invalid Flate stream"));
}

TEST(DecodeStream, AppliesPredictorFromDecodeParms) {
  Document document;
  Bytes data = compressed(kUpRows);

  // A single dictionary belongs to a single filter.
  Object& single = addStream(document, 1, {{"Filter", name("FlateDecode")}, {"DecodeParms", pngParameters(2)}}, data);
  EXPECT_EQ(document.decodeStream(single), kUpDecoded);

  // Parameters held in other objects, with indirect numbers inside.
  addObject(document, 10, number(2));
  addObject(document, 11, Value::Dictionary({{"Predictor", number(12.9)}, {"Columns", ref(10)}}));
  addObject(document, 12, ref(11));
  Object& indirect = addStream(document, 2, {{"Filter", Value::Array({name("Fl")})}, {"DecodeParms", Value::Array({ref(12)})}}, data);
  EXPECT_EQ(document.decodeStream(indirect), kUpDecoded);

  // The predictor belongs to the filter at the same index.
  Bytes hex = compressed(bytesOf("020102020102"));
  Object& second = addStream(document, 3,
                             {{"Filter", Value::Array({name("Fl"), name("AHx")})},
                              {"DecodeParms", Value::Array({Value(), pngParameters(2)})}},
                             hex);
  EXPECT_EQ(document.decodeStream(second), kUpDecoded);

  // A predictor failure surfaces from decodeStream.
  Object& wrongColumns = addStream(document, 4, {{"Filter", name("Fl")}, {"DecodeParms", pngParameters(4)}}, data);
  EXPECT_TRUE(throwsStreamError([&] { document.decodeStream(wrongColumns); }, "truncated PNG predictor row"));
  Object& sixteenBits = addStream(
      document, 5,
      {{"Filter", name("Fl")},
       {"DecodeParms", Value::Dictionary({{"Predictor", number(12)}, {"BitsPerComponent", number(16)}})}},
      data);
  EXPECT_TRUE(throwsStreamError([&] { document.decodeStream(sixteenBits); }, "unsupported stream predictor layout"));
}

TEST(DecodeStream, IgnoresParametersThatDoNotApply) {
  Document document;
  Bytes hex = compressed(bytesOf("020102020102"));
  Bytes rawRows{2, 1, 2, 2, 1, 2};

  // One dictionary for two filters is ambiguous and ignored.
  Object& ambiguous = addStream(document, 1, {{"Filter", Value::Array({name("Fl"), name("AHx")})}, {"DecodeParms", pngParameters(2)}}, hex);
  EXPECT_EQ(document.decodeStream(ambiguous), rawRows);

  // Reference loops and missing objects in the array give empty entries.
  addObject(document, 20, ref(21));
  addObject(document, 21, ref(20));
  Object& loop = addStream(document, 2, {{"Filter", Value::Array({name("AHx")})}, {"DecodeParms", Value::Array({ref(20)})}}, bytesOf("020102020102"));
  EXPECT_EQ(document.decodeStream(loop), rawRows);
  Object& missing = addStream(document, 3, {{"Filter", Value::Array({name("AHx")})}, {"DecodeParms", Value::Array({ref(99)})}}, bytesOf("020102020102"));
  EXPECT_EQ(document.decodeStream(missing), rawRows);

  // Crypt never runs a predictor; a short array leaves later filters bare;
  // a non-number Predictor keeps its default.
  Object& crypt = addStream(document, 4, {{"Filter", name("Crypt")}, {"DecodeParms", pngParameters(2)}}, rawRows);
  EXPECT_EQ(document.decodeStream(crypt), rawRows);
  Object& shortArray = addStream(document, 5, {{"Filter", Value::Array({name("Fl"), name("AHx")})}, {"DecodeParms", Value::Array({Value()})}}, hex);
  EXPECT_EQ(document.decodeStream(shortArray), rawRows);
  Object& textPredictor = addStream(document, 6, {{"Filter", name("AHx")}, {"DecodeParms", Value::Dictionary({{"Predictor", Value::String("12")}})}}, bytesOf("020102020102"));
  EXPECT_EQ(document.decodeStream(textPredictor), rawRows);
}

// A compressed run of zeros just past the bound: a few hundred kilobytes
// that would inflate to 256 MiB and one byte.
TEST(DecodeStream, RefusesDecompressionBomb) {
  z_stream stream{};
  ASSERT_EQ(deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, 15, 8, Z_RLE), Z_OK);
  Bytes zeros(1 << 20, 0);
  Bytes data;
  Bytes chunk(1 << 16);
  std::size_t remaining = kMaxDecodedStreamSize + 1;
  int flush = Z_NO_FLUSH;
  do {
    std::size_t piece = std::min(remaining, zeros.size());
    stream.next_in = zeros.data();
    stream.avail_in = static_cast<uInt>(piece);
    remaining -= piece;
    flush = remaining == 0 ? Z_FINISH : Z_NO_FLUSH;
    do {
      stream.next_out = chunk.data();
      stream.avail_out = static_cast<uInt>(chunk.size());
      deflate(&stream, flush);
      data.insert(data.end(), chunk.begin(), chunk.end() - stream.avail_out);
    } while (stream.avail_out == 0);
  } while (flush != Z_FINISH);
  deflateEnd(&stream);
  ASSERT_LT(data.size(), std::size_t{1} << 20);

  Document document;
  Object& bomb = addStream(document, 1, {{"Filter", name("FlateDecode")}}, std::move(data));
  EXPECT_TRUE(throwsStreamError([&] { document.decodeStream(bomb); }, "decoded stream is too large"));
}

}  // namespace
}  // namespace zopra::pdf
