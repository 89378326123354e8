// The stream filters one by one, the predictors, and their chaining through
// a stream's Filter and DecodeParms entries.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "filter_test_helpers.h"
#include "pdf/filters/filters.h"
#include "pdf/model/document.h"
#include "support/load_helpers.h"

namespace zopra::pdf {
namespace {

using test::bytesOf;
using test::compressed;
using test::Decoder;
using test::outcome;

TEST(Filters, EachDecoder) {
  Bytes large;
  for (int i = 0; i < 100000; ++i) large.push_back(static_cast<std::uint8_t>((i * 7919) % 251));
  const Bytes flate = compressed(large);
  Bytes badChecksum = flate;
  badChecksum.back() ^= 0xFF;
  const std::size_t all = kMaxDecodedStreamSize;
  struct Case {
    const char* rule;
    Decoder decode;
    Bytes input;
    std::size_t limit;
    std::string expected;  // the decoded bytes, or "!" and the error message
  };
  const Case cases[] = {
      {"flate over several output chunks", flateDecode, flate, all, std::string(large.begin(), large.end())},
      {"no bytes at all", flateDecode, {}, all, ""},
      {"flate without checksum", flateDecode, Bytes(flate.begin(), flate.end() - 4), all, "!invalid Flate stream"},
      {"flate bad checksum", flateDecode, badChecksum, all, "!invalid Flate stream"},
      {"flate at its limit", flateDecode, flate, large.size(), std::string(large.begin(), large.end())},
      {"flate past its limit", flateDecode, flate, large.size() - 1, "!decoded stream is too large"},
      // ASCIIHex: white space (NUL included) skipped, odd digit padded, ">" ends.
      {"hex", asciiHexDecode, bytesOf("48 65\t6c\r\n6C\f6f>"), all, "Hello"},
      {"hex with NUL", asciiHexDecode, bytesOf(std::string("4\0008", 3)), all, "H"},
      {"hex after end", asciiHexDecode, bytesOf("41>zz"), all, "A"},
      {"hex bad digit", asciiHexDecode, bytesOf("4G>"), all, "!invalid ASCIIHex stream"},
      {"hex vertical tab", asciiHexDecode, bytesOf("41\v"), all, "!invalid ASCIIHex stream"},
      {"hex limit", asciiHexDecode, bytesOf("414"), 1, "!decoded stream is too large"},
      // ASCII85: z groups, partial groups, "~" ends; the largest group wraps.
      {"a85", ascii85Decode, bytesOf("87cU RD\nZ~>"), all, "Hello"},
      {"a85 z", ascii85Decode, bytesOf("87cURz~>"), all, std::string("Hell\0\0\0\0", 8)},
      {"a85 wraps", ascii85Decode, bytesOf("uuuuu"), all, "\x08\x78\x0E\xC4"},
      {"a85 z inside a group", ascii85Decode, bytesOf("!!z"), all, "!invalid ASCII85 stream"},
      {"a85 digit out of range", ascii85Decode, bytesOf("87cv"), all, "!invalid ASCII85 stream"},
      {"a85 control byte", ascii85Decode, bytesOf("87\x01"), all, "!invalid ASCII85 stream"},
      {"a85 limit", ascii85Decode, bytesOf("zz"), 7, "!decoded stream is too large"},
      // RunLength: literals, repeats, 128 ends.
      {"run length", runLengthDecode, Bytes{0x02, 'a', 'b', 'c', 0xFE, 'x', 0x80}, all, "abcxxx"},
      {"run length short literal", runLengthDecode, Bytes{0x02, 'a', 'b'}, all, "!invalid RunLength stream"},
      {"run length repeat of nothing", runLengthDecode, Bytes{0x00, 'a', 0xFE}, all, "!invalid RunLength stream"},
      {"run length limit", runLengthDecode, Bytes{0x81, 'q'}, 127, "!decoded stream is too large"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(outcome([&] { return c.decode(c.input, c.limit); }), c.expected) << c.rule;
  }
}

PredictorParameters layout(std::int64_t predictor, std::int64_t colors, std::int64_t columns,
                           std::int64_t bits = 8) {
  PredictorParameters parameters;
  parameters.predictor = predictor;
  parameters.colors = colors;
  parameters.columns = columns;
  parameters.bitsPerComponent = bits;
  return parameters;
}

TEST(Filters, Predictors) {
  const Bytes rows{
      1, 10, 5, 250,  // Sub
      2, 1,  2, 3,    // Up
      3, 4,  6, 8,    // Average
      0, 50, 40, 60,  // None
      4, 10, 30, 7,   // Paeth choosing up, upper-left, then left
  };
  const std::string decoded{10, 15, 9, 11, 17, 12, 9, 19, 23, 50, 40, 60, 60, 80, 87};
  const char* badLayout = "!unsupported stream predictor layout";
  struct Case {
    Bytes input;
    PredictorParameters parameters;
    std::string expected;
  };
  const Case cases[] = {
      // PNG: any of 10 to 15 means "PNG"; the row tags decide.
      {rows, layout(10, 1, 3), decoded},
      // With two bytes per pixel, "left" is two bytes back.
      {{1, 1, 2, 3, 4}, layout(12, 2, 2), {1, 2, 4, 6}},
      {{}, layout(12, 1, 4), ""},
      {{0, 1, 2, 3, 4, 0, 5, 6, 7}, layout(12, 1, 4), "!truncated PNG predictor row"},
      {{0, 1, 5, 2}, layout(12, 1, 1), "!invalid PNG predictor"},
      // TIFF: left pixel added per whole row; a partial row is kept as is.
      {{1, 2, 3, 4, 10, 20, 30, 40, 7, 8}, layout(2, 2, 2), {1, 2, 4, 6, 10, 20, 40, 60, 7, 8}},
      {{200, 100, 1}, layout(2, 1, 2), {static_cast<char>(200), 44, 1}},
      {{1, 2, 3}, layout(2, 1, 4), {1, 2, 3}},
      // Predictor 1 or less changes nothing, whatever the layout.
      {{0, 1, 2}, layout(1, 1, 1, 16), {0, 1, 2}},
      {{0, 1, 2}, layout(12, 1, 2, 16), badLayout},
      {{0, 1, 2}, layout(2, 0, 2), badLayout},
      {{0, 1, 2}, layout(12, 1, 0), badLayout},
      {{0, 1, 2}, layout(12, std::int64_t{1} << 62, 4), badLayout},
      // Layout errors come before an unknown predictor.
      {{0, 1, 2}, layout(5, 1, 1, 4), badLayout},
      {{0, 1, 2}, layout(3, 1, 1), "!unsupported stream predictor"},
      {{0, 1, 2}, layout(16, 1, 1), "!unsupported stream predictor"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(outcome([&] { return applyPredictor(c.input, c.parameters); }), c.expected)
        << c.parameters.predictor << " " << c.parameters.colors << " " << c.parameters.columns;
  }
}

Value name(const char* text) { return Value::Name(text); }
Value number(double value) { return Value::Number(value); }
Value ref(std::uint32_t objectNumber) { return Value::Reference(objectNumber, 0); }
Value png(double columns) { return Value::Dictionary({{"Predictor", number(12)}, {"Columns", number(columns)}}); }

using zopra::test::putObject;

TEST(Filters, ChainsThroughTheStreamDictionary) {
  Document document;
  putObject(document, 2, name("AHx"));
  putObject(document, 3, Value::Array({name("Crypt"), number(7), name("Fl"), ref(2)}));
  putObject(document, 10, number(2));
  putObject(document, 11, Value::Dictionary({{"Predictor", number(12.9)}, {"Columns", ref(10)}}));
  putObject(document, 12, ref(11));
  putObject(document, 20, ref(21));
  putObject(document, 21, ref(20));
  // Two PNG rows of two bytes tagged Up: 1 2 2 4 once decoded.
  const std::string rows("\x02\x01\x02\x02\x01\x02", 6), upDecoded("\x01\x02\x02\x04", 4);
  const Bytes hexRows = bytesOf("020102020102");
  const Bytes flateRows = compressed(bytesOf(rows)), flateHexRows = compressed(hexRows);
  const Bytes flateHello = compressed(bytesOf("48656C6C6F>"));
  auto filters = [](std::initializer_list<Value> names) { return Value::Array(names); };
  struct Case {
    const char* rule;
    ValueDictionary dictionary;
    Bytes data;
    std::string expected;
  };
  const Case cases[] = {
      {"no filter", {}, bytesOf("raw"), "raw"},
      {"a Filter that is no name", {{"Filter", number(1)}}, bytesOf("raw"), "raw"},
      {"array order", {{"Filter", filters({name("FlateDecode"), name("ASCIIHexDecode")})}}, flateHello, "Hello"},
      // Abbreviations, Crypt, a non-name element and indirect elements.
      {"indirect array", {{"Filter", ref(3)}}, flateHello, "Hello"},
      {"A85 then RL", {{"Filter", filters({name("A85"), name("RL")})}}, bytesOf("!b#PJrciq~>"), "abcxxx"},
      {"unknown filter", {{"Filter", name("DCTDecode")}}, bytesOf("x"), "!unsupported PDF stream filter: DCTDecode"},
      {"unknown name", {{"Filter", name("JBIG2Decode")}}, bytesOf("x"), "!unsupported PDF stream filter: JBIG2Decode"},
      {"filter error", {{"Filter", name("AHx")}}, bytesOf("4x"), "!invalid ASCIIHex stream"},
      // DecodeParms: one dictionary for one filter, an array by index,
      // indirect values inside.
      {"predictor", {{"Filter", name("FlateDecode")}, {"DecodeParms", png(2)}}, flateRows, upDecoded},
      {"indirect parameters", {{"Filter", filters({name("Fl")})}, {"DecodeParms", Value::Array({ref(12)})}},
       flateRows, upDecoded},
      {"parameters of the second filter",
       {{"Filter", filters({name("Fl"), name("AHx")})}, {"DecodeParms", Value::Array({Value(), png(2)})}},
       flateHexRows, upDecoded},
      {"predictor error", {{"Filter", name("Fl")}, {"DecodeParms", png(4)}}, flateRows, "!truncated PNG predictor row"},
      {"16-bit PNG",
       {{"Filter", name("Fl")},
        {"DecodeParms", Value::Dictionary({{"Predictor", number(12)}, {"BitsPerComponent", number(16)}})}},
       flateRows, "!unsupported stream predictor layout"},
      // Parameters that do not apply are ignored.
      {"one dictionary for two filters",
       {{"Filter", filters({name("Fl"), name("AHx")})}, {"DecodeParms", png(2)}}, flateHexRows, rows},
      {"reference loop", {{"Filter", filters({name("AHx")})}, {"DecodeParms", Value::Array({ref(20)})}}, hexRows, rows},
      {"Crypt has no predictor", {{"Filter", name("Crypt")}, {"DecodeParms", png(2)}}, bytesOf(rows), rows},
      {"Predictor that is no number",
       {{"Filter", name("AHx")}, {"DecodeParms", Value::Dictionary({{"Predictor", Value::String("12")}})}}, hexRows,
       rows},
  };
  std::uint32_t next = 100;
  for (const Case& c : cases) {
    Object& stream = putObject(document, next++, Value::Dictionary(c.dictionary));
    stream.isStream = true;
    stream.data = c.data;
    EXPECT_EQ(outcome([&] { return document.decodeStream(stream); }), c.expected) << c.rule;
  }
}

}  // namespace
}  // namespace zopra::pdf
