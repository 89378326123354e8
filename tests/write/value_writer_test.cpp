// The text of values as the writer puts them into files.
#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <locale>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "pdf/write/content_strings.h"
#include "pdf/write/value_writer.h"

namespace zopra::pdf {
namespace {

std::string written(const Value& value) {
  std::ostringstream out;
  writeValue(out, value);
  return out.str();
}

ValueDictionary dictionary(std::vector<std::pair<std::string, Value>> entries) {
  return ValueDictionary::fromEntries(std::move(entries));
}

struct Case {
  const char* name;
  Value value;
  std::string text;
};

std::vector<Case> cases() {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  return {
      {"null", Value(), "null"},
      {"true", Value::Boolean(true), "true"},
      {"one", Value::Number(1), "1"},
      {"half", Value::Number(0.5), "0.5"},
      {"tiny", Value::Number(1e-12), "0.000000000001"},
      // PDF has no exponents: small magnitudes in full decimals, never 0 ...
      {"far below one", Value::Number(-1e-21), "-0.000000000000000000001"},
      // ... and integers past 2^53 as reals, which readers do not take as
      // (overflowing) integers.
      {"past 2^53", Value::Number(1e19), "10000000000000000000.0"},
      {"2^53 - 1", Value::Number(9007199254740991.0), "9007199254740991"},
      {"2^53", Value::Number(9007199254740992.0), "9007199254740992.0"},
      {"negative", Value::Number(-3.25), "-3.25"},
      {"twelve digits", Value::Number(123456789012.0), "123456789012"},
      {"rounding noise", Value::Number(0.1 + 0.2), "0.3"},
      {"twelve decimals", Value::Number(1.0 / 3.0), "0.333333333333"},
      {"nan", Value::Number(nan), "0"},
      {"infinity", Value::Number(-inf), "0"},
      {"string", Value::String(std::string("Hi\0\xFF", 4)), "<486900ff>"},
      {"name", Value::Name("Type"), "/Type"},
      {"empty name", Value::Name(""), "/"},
      {"name with space", Value::Name("A B"), "/A#20B"},
      {"name with hash", Value::Name("a#b"), "/a#23b"},
      {"name with delimiters", Value::Name("x/y(z)<>[]{}%"), "/x#2Fy#28z#29#3C#3E#5B#5D#7B#7D#25"},
      {"name with non-ASCII", Value::Name("\xC3\xA9\x7F\x01~!"), "/#C3#A9#7F#01~!"},
      {"array", Value::Array({Value::Number(1), Value::Number(2)}), "[1 2 ]"},
      {"nested array", Value::Array({Value::Array({}), Value::Name("N")}), "[[] /N ]"},
      {"empty dictionary", Value::Dictionary({}), "<<\n>>"},
      {"dictionary in key order",
       Value::Dictionary(dictionary({{"b c", Value::Reference(7, 0)},
                                     {"A", Value::Dictionary({})},
                                     {"B", Value::String("x")}})),
       "<<\n/A <<\n>>\n/B <78>\n/b#20c 7 0 R\n>>"},
      {"reference", Value::Reference(12, 3), "12 3 R"},
      {"keyword", Value::Keyword("endobj"), "endobj"},
  };
}

TEST(ValueWriterTest, EveryKindHasItsWrittenForm) {
  for (const Case& c : cases()) {
    EXPECT_EQ(written(c.value), c.text) << c.name;
  }
}

// A locale with a decimal comma and digit grouping, like de_DE, built here so
// the check never depends on the locales installed.
struct CommaPunctuation : std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

TEST(ValueWriterTest, OutputIgnoresTheLocale) {
  const std::locale comma(std::locale::classic(), new CommaPunctuation);
  const std::locale previous = std::locale::global(comma);
  std::ostringstream foreign;
  foreign.imbue(comma);
  foreign.width(20);  // a width left on the caller's stream pads nothing either
  std::string numbers;
  for (const Case& c : cases()) writeValue(foreign, c.value);
  // Content streams take ten significant digits.
  for (double n : {0.5, 1234567.25, -3.25, 1.0 / 3.0}) numbers += numberText(n) + " ";
  std::locale::global(previous);

  std::string expected;
  for (const Case& c : cases()) expected += c.text;
  EXPECT_EQ(foreign.str(), expected);
  EXPECT_EQ(numbers, "0.5 1234567.25 -3.25 0.3333333333 ");
}

// Numbers written without an exponent read as %g gives them: random
// values over the magnitudes content uses, at the digits content and
// dictionaries take, against the standard library's exact rounding.
TEST(ValueWriterTest, NumbersAsPrintfWritesThem) {
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> exponent(-5, 15.9);  // below 2^53, where integers get ".0"
  std::uniform_int_distribution<int> digits(1, 17);
  int compared = 0;
  for (int k = 0; k < 200000; ++k) {
    double value = std::pow(10.0, exponent(random));
    if (k % 3 == 0) value = std::round(value * 1000) / 1000;  // few decimals, as coordinates have
    if (k % 2 == 0) value = -value;
    const int precision = k % 4 == 0 ? digits(random) : (k % 4 == 1 ? 6 : 12);
    char expected[64];
    const auto end = std::to_chars(expected, expected + sizeof expected, value, std::chars_format::general, precision).ptr;
    const std::string oracle(expected, end);
    if (oracle.find('e') != std::string::npos) continue;
    ASSERT_EQ(numberText(value, precision), oracle) << "precision " << precision;
    ++compared;
  }
  EXPECT_GT(compared, 100000);
  // Halfway cases, where the scaled value's fraction is about one half.
  for (double value : {0.125, 2.5, 0.0625, 1.0000005, 123.4565, 8.9664, 730.039, 1e-4, 999999.5, 9.9999995}) {
    for (int precision : {1, 3, 6, 7, 12}) {
      char expected[64];
      const auto end = std::to_chars(expected, expected + sizeof expected, value, std::chars_format::general, precision).ptr;
      const std::string oracle(expected, end);
      if (oracle.find('e') == std::string::npos) {
        EXPECT_EQ(numberText(value, precision), oracle) << value;
      }
    }
  }
}

TEST(ContentStringsTest, HexStringsBecomeLiteralOnlyWhereShorter) {
  const struct {
    std::string content;
    std::string expected;
  } cases[] = {
      {std::string("BT <0041> Tj ET"), std::string("BT (\0A) Tj ET", 13)},
      // Dictionaries, literal strings and comments are not strings to convert.
      {"<< /A <41> >> BDC (a<41>b) Tj % <41>\n", "<< /A (A) >> BDC (a<41>b) Tj % <41>\n"},
      // Escapes count: "(\(\)\\)" is shorter than its 10 hex bytes, "(\r\n)"
      // is not shorter than "<0D0A>".
      {"<28 29 5C> Tj <0D0A> Tj", "(\\(\\)\\\\) Tj <0D0A> Tj"},
      // An odd last digit stands for a byte ending in 0; a bad digit or a
      // string left open stays as written.
      {"<414> Tj <4G> Tj <41", "(A@) Tj <4G> Tj <41"},
  };
  for (const auto& c : cases) {
    const Bytes content(c.content.begin(), c.content.end());
    const Bytes written = literalContentStrings(content);
    EXPECT_EQ(std::string(written.begin(), written.end()), c.expected) << c.content;
  }
}

}  // namespace
}  // namespace zopra::pdf
