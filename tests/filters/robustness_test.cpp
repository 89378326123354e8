// Feeds random and mutated data to every filter and predictor: whatever the
// input, the only thing allowed to escape is the engine's Exception.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "filter_test_helpers.h"
#include "pdf/filters/filters.h"
#include "pdf/model/document.h"

namespace zopra::pdf {
namespace {

using test::bytesOf;
using test::compressed;

// Small limit so that expanding inputs stay cheap.
constexpr std::size_t kLimit = 1 << 20;

Bytes randomBytes(std::mt19937& random, std::size_t maxSize, std::string_view alphabet = {}) {
  std::size_t size = std::uniform_int_distribution<std::size_t>(0, maxSize)(random);
  Bytes out(size);
  for (auto& byte : out) {
    if (alphabet.empty()) {
      byte = static_cast<std::uint8_t>(random());
    } else {
      byte = static_cast<std::uint8_t>(alphabet[random() % alphabet.size()]);
    }
  }
  return out;
}

Bytes mutated(std::mt19937& random, Bytes data) {
  int edits = 1 + static_cast<int>(random() % 4);
  for (int i = 0; i < edits; ++i) {
    switch (random() % 4) {
      case 0:
        if (!data.empty()) data[random() % data.size()] = static_cast<std::uint8_t>(random());
        break;
      case 1:
        if (!data.empty()) data.resize(random() % data.size());
        break;
      case 2:
        data.insert(data.begin() + static_cast<std::ptrdiff_t>(random() % (data.size() + 1)),
                    static_cast<std::uint8_t>(random()));
        break;
      default:
        if (!data.empty()) data[random() % data.size()] ^= static_cast<std::uint8_t>(1u << (random() % 8));
        break;
    }
  }
  return data;
}

void expectOnlyEngineExceptions(const std::function<void()>& action, const char* what, int round) {
  try {
    action();
  } catch (const Exception& failure) {
    EXPECT_EQ(failure.kind(), Error::Stream) << what << " round " << round;
  } catch (...) {
    ADD_FAILURE() << what << " let a foreign exception escape in round " << round;
  }
}

TEST(FilterRobustness, RandomAndMutatedInputs) {
  std::mt19937 random(20240611);
  Bytes plain;
  for (int i = 0; i < 3000; ++i) plain.push_back(static_cast<std::uint8_t>((i * i) % 7 + 'a'));
  const Bytes flateSeed = compressed(plain);
  const Bytes hexSeed = bytesOf("48656C6C6F20776F726C64 0a>");
  const Bytes a85Seed = bytesOf("87cURD]i,\"Ebo80z!!~>");
  const Bytes runSeed{0x02, 'a', 'b', 'c', 0xFE, 'x', 0x81, 'y', 0x00, 'z', 0x80};

  for (int round = 0; round < 3000; ++round) {
    bool mutate = round % 2 == 0;
    Bytes noise = randomBytes(random, 300);
    expectOnlyEngineExceptions([&] { flateDecode(mutate ? mutated(random, flateSeed) : noise, kLimit); },
                               "Flate", round);
    expectOnlyEngineExceptions(
        [&] {
          asciiHexDecode(mutate ? mutated(random, hexSeed) : randomBytes(random, 64, "0123456789abcdefABCDEF \n>g"),
                         kLimit);
        },
        "ASCIIHex", round);
    expectOnlyEngineExceptions(
        [&] {
          ascii85Decode(mutate ? mutated(random, a85Seed) : randomBytes(random, 64, "!#$%&09AZaquz~> \r\x01\x7f"),
                        kLimit);
        },
        "ASCII85", round);
    expectOnlyEngineExceptions([&] { runLengthDecode(mutate ? mutated(random, runSeed) : noise, kLimit); },
                               "RunLength", round);

    // Predictor layouts around the interesting boundaries, on random rows.
    static const std::int64_t kSizes[] = {-1, 0, 1, 2, 3, 4, 7, 1000, std::int64_t{1} << 40,
                                          INT64_MAX};
    static const std::int64_t kPredictors[] = {-3, 1, 2, 3, 10, 11, 12, 13, 14, 15, 16};
    PredictorParameters parameters;
    parameters.predictor = kPredictors[random() % std::size(kPredictors)];
    parameters.colors = kSizes[random() % std::size(kSizes)];
    parameters.columns = kSizes[random() % std::size(kSizes)];
    parameters.bitsPerComponent = random() % 8 == 0 ? 16 : 8;
    Bytes rows = randomBytes(random, 200);
    if (random() % 2 == 0) {
      for (std::size_t i = 0; i < rows.size(); ++i) rows[i] = static_cast<std::uint8_t>(rows[i] % 6);
    }
    expectOnlyEngineExceptions([&] { applyPredictor(rows, parameters); }, "predictor", round);
  }
}

// Whole streams with random filter chains and parameter values, through the
// document, including odd numbers (negative, fractional, huge) for the layout.
TEST(FilterRobustness, RandomFilterChains) {
  std::mt19937 random(977);
  static const char* const kNames[] = {"FlateDecode", "AHx", "A85", "RL", "Crypt", "Fl", "LZWDecode"};
  static const double kNumbers[] = {-1, 0, 0.5, 1, 2, 2.9, 3, 12, 15, 16, 1e300, -1e300, 4294967297.0};
  Bytes plain = bytesOf("0200FF0101 02>");
  Bytes flate = compressed(plain);
  for (int round = 0; round < 2000; ++round) {
    Document document;
    ValueArray filters;
    ValueArray parameters;
    std::size_t count = random() % 4;
    for (std::size_t i = 0; i < count; ++i) {
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
    stream.loaded = true;
    stream.isStream = true;
    stream.value = Value::Dictionary({{"Filter", Value::Array(std::move(filters))},
                                      {"DecodeParms", Value::Array(std::move(parameters))}});
    stream.data = mutated(random, random() % 2 ? flate : plain);
    expectOnlyEngineExceptions([&] { document.decodeStream(stream); }, "decodeStream", round);
  }
}

}  // namespace
}  // namespace zopra::pdf
