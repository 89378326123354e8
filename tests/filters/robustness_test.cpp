// Random and mutated data through every filter and predictor, alone and in
// random chains with odd parameter values: whatever the input, the only
// thing allowed to escape is the engine's Exception of the stream kind.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <iterator>
#include <random>

#include "filter_test_helpers.h"
#include "pdf/filters/filters.h"
#include "pdf/model/document.h"

namespace zopra::pdf {
namespace {

Bytes mutated(std::mt19937& random, Bytes data) {
  for (int edits = 1 + static_cast<int>(random() % 4); edits > 0; --edits) {
    const std::size_t at = data.empty() ? 0 : random() % data.size();
    switch (random() % 3) {
      case 0: if (!data.empty()) data[at] = static_cast<std::uint8_t>(random()); break;
      case 1: data.resize(at); break;
      default: data.insert(data.begin() + static_cast<std::ptrdiff_t>(at), static_cast<std::uint8_t>(random()));
    }
  }
  return data;
}

void expectOnlyStreamErrors(const std::function<void()>& action, const char* what, int round) {
  try {
    action();
  } catch (const Exception& failure) {
    EXPECT_EQ(failure.kind(), Error::Stream) << what << " round " << round;
  } catch (...) {
    ADD_FAILURE() << what << " let a foreign exception escape in round " << round;
  }
}

TEST(FilterRobustness, RandomAndMutatedInputs) {
  constexpr std::size_t kLimit = 1 << 20;  // keeps expanding inputs cheap
  std::mt19937 random(20240611);
  Bytes plain;
  for (int i = 0; i < 3000; ++i) plain.push_back(static_cast<std::uint8_t>((i * i) % 7 + 'a'));
  const std::pair<test::Decoder, Bytes> seeds[] = {
      {flateDecode, test::compressed(plain)},
      {asciiHexDecode, test::bytesOf("48656C6C6F20776F726C64 0a>")},
      {ascii85Decode, test::bytesOf("87cURD]i,\"Ebo80z!!~>")},
      {runLengthDecode, Bytes{0x02, 'a', 'b', 'c', 0xFE, 'x', 0x81, 'y', 0x00, 'z', 0x80}},
  };
  static const std::int64_t kSizes[] = {-1, 0, 1, 2, 3, 4, 7, 1000, std::int64_t{1} << 40, INT64_MAX};
  static const std::int64_t kPredictors[] = {-3, 1, 2, 3, 10, 11, 12, 13, 14, 15, 16};
  for (int round = 0; round < 3000; ++round) {
    Bytes noise(random() % 300);
    for (auto& byte : noise) byte = static_cast<std::uint8_t>(round % 2 ? random() : "0123456789abcdefz~> \n"[random() % 21]);
    for (const auto& seed : seeds) {
      expectOnlyStreamErrors([&] { seed.first(round % 3 ? mutated(random, seed.second) : noise, kLimit); }, "decoder",
                             round);
    }
    PredictorParameters layout;
    layout.predictor = kPredictors[random() % std::size(kPredictors)];
    layout.colors = kSizes[random() % std::size(kSizes)];
    layout.columns = kSizes[random() % std::size(kSizes)];
    layout.bitsPerComponent = random() % 8 == 0 ? 16 : 8;
    // Small bytes make valid PNG row tags likely.
    if (random() % 2 == 0) for (auto& byte : noise) byte %= 6;
    expectOnlyStreamErrors([&] { applyPredictor(noise, layout); }, "predictor", round);
  }
}

TEST(FilterRobustness, RandomFilterChains) {
  std::mt19937 random(977);
  static const char* const kNames[] = {"FlateDecode", "AHx", "A85", "RL", "Crypt", "Fl", "LZWDecode"};
  static const double kNumbers[] = {-1, 0, 0.5, 1, 2, 2.9, 3, 12, 15, 16, 1e300, -1e300, 4294967297.0};
  const Bytes plain = test::bytesOf("0200FF0101 02>");
  const Bytes flate = test::compressed(plain);
  for (int round = 0; round < 2000; ++round) {
    Document document;
    ValueArray filters, parameters;
    for (std::size_t i = random() % 4; i > 0; --i) {
      filters.push_back(Value::Name(kNames[random() % std::size(kNames)]));
      ValueDictionary entries;
      for (const char* key : {"Predictor", "Colors", "Columns", "BitsPerComponent"}) {
        if (random() % 3 != 0) entries[key] = Value::Number(kNumbers[random() % std::size(kNumbers)]);
      }
      parameters.push_back(random() % 5 == 0 ? Value::Reference(1 + random() % 3, 0)
                                             : Value::Dictionary(std::move(entries)));
    }
    Object& stream = document.objects[1];
    stream.number = 1;
    stream.loaded = stream.isStream = true;
    stream.value = Value::Dictionary({{"Filter", Value::Array(std::move(filters))},
                                      {"DecodeParms", Value::Array(std::move(parameters))}});
    stream.data = mutated(random, random() % 2 ? flate : plain);
    expectOnlyStreamErrors([&] { document.decodeStream(stream); }, "decodeStream", round);
  }
}

}  // namespace
}  // namespace zopra::pdf
