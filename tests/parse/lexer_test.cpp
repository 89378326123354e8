#include <gtest/gtest.h>

#include <string>

#include "pdf/model/error.h"
#include "pdf/parse/lexer.h"

namespace zopra::pdf {
namespace {

Bytes bytesOf(const std::string& text) { return Bytes(text.begin(), text.end()); }

Value parse(const std::string& text, std::uint64_t* position = nullptr) {
  Bytes data = bytesOf(text);
  Lexer lexer(data.data(), data.size());
  Value value = lexer.value(0);
  if (position) *position = lexer.position();
  return value;
}

std::string errorOf(const std::string& text) {
  try {
    parse(text);
  } catch (const Exception& e) {
    EXPECT_EQ(e.kind(), Error::Format);
    return e.message();
  }
  return "no error";
}

TEST(Lexer, NumbersAndReferences) {
  std::uint64_t position = 0;
  Value ref = parse("12 0 R", &position);
  ASSERT_TRUE(ref.isReference());
  EXPECT_EQ(ref.objectNumber, 12u);
  EXPECT_EQ(ref.generation, 0u);
  EXPECT_EQ(position, 6u);

  Value notRef = parse("12 0 Rx", &position);
  ASSERT_TRUE(notRef.isNumber());
  EXPECT_EQ(notRef.number, 12);
  EXPECT_EQ(position, 2u);

  EXPECT_TRUE(parse("12 -1 R").isNumber());
  Value fraction = parse("1.5 0 R", &position);
  EXPECT_EQ(fraction.number, 1.5);
  EXPECT_EQ(position, 3u);

  EXPECT_EQ(parse("5.").number, 5);
  EXPECT_EQ(parse(".5").number, 0.5);
  EXPECT_EQ(parse("-.5").number, -0.5);
  EXPECT_EQ(parse("+7").number, 7);
  EXPECT_EQ(parse("4294967296 0 R").kind, Value::Kind::Number);
  EXPECT_EQ(errorOf("-"), "invalid PDF number");
  EXPECT_EQ(errorOf("+."), "invalid PDF number");
  EXPECT_EQ(errorOf(std::string(400, '9')), "invalid PDF number");
}

TEST(Lexer, StringsAndNames) {
  EXPECT_EQ(parse("(a(b)c)").text, "a(b)c");
  EXPECT_EQ(parse("(a\\\r\nb)").text, "ab");
  EXPECT_EQ(parse("(a\\\nb)").text, "ab");
  EXPECT_EQ(parse("(\\101\\60x\\777\\n\\q)").text, std::string("A0x\xFF\nq"));
  EXPECT_EQ(parse("(\\0053)").text, std::string("\x05" "3"));
  EXPECT_EQ(parse("(line\r\nkept)").text, "line\r\nkept");
  EXPECT_EQ(errorOf("(abc"), "unterminated PDF string");
  EXPECT_EQ(errorOf("(abc\\"), "unterminated PDF string");

  EXPECT_EQ(parse("<41 42 4>").text, std::string("AB\x40"));
  EXPECT_EQ(parse("<7>").text, std::string("\x70"));
  EXPECT_EQ(parse("<4142").text, "AB");
  EXPECT_EQ(parse("<").text, "");
  EXPECT_EQ(errorOf("<4G>"), "invalid PDF hex string");

  EXPECT_EQ(parse("/A#20B").text, "A B");
  EXPECT_EQ(parse("/A#2").text, "A#2");
  EXPECT_EQ(parse("/A#zzB").text, "A#zzB");
  EXPECT_EQ(parse("/").text, "");
  EXPECT_TRUE(parse("/Name").isName("Name"));
}

TEST(Lexer, ContainersKeywordsAndErrors) {
  Value dict = parse("<< /A 1 /B [true false null /N (s)] /A 2 % comment\n /C << >> >>");
  ASSERT_TRUE(dict.isDictionary());
  EXPECT_EQ(dict.find("A")->number, 2);
  ASSERT_EQ(dict.find("B")->array.size(), 5u);
  EXPECT_EQ(dict.find("B")->array[0].kind, Value::Kind::Boolean);
  EXPECT_TRUE(dict.find("B")->array[2].isNull());
  EXPECT_TRUE(dict.find("C")->isDictionary());
  EXPECT_EQ(parse("endobj").kind, Value::Kind::Keyword);

  EXPECT_EQ(errorOf("[1 2"), "unterminated PDF array");
  EXPECT_EQ(errorOf("<< 1 2 >>"), "invalid PDF dictionary key");
  EXPECT_EQ(errorOf("<< /A"), "unexpected end of PDF object");
  EXPECT_EQ(errorOf("  % only a comment"), "unexpected end of PDF object");
  EXPECT_EQ(errorOf(")"), "expected a PDF token");
  EXPECT_EQ(errorOf("}"), "expected a PDF token");

  // 101 arrays nest fine; the innermost of 102 is read at depth 101.
  EXPECT_TRUE(parse(std::string(101, '[') + std::string(101, ']')).isArray());
  EXPECT_EQ(errorOf(std::string(102, '[') + std::string(102, ']')),
            "PDF object nesting is too deep");
  EXPECT_EQ(errorOf(std::string(100000, '[')), "PDF object nesting is too deep");
}

bool parseObject(const std::string& text, Object& object, std::uint64_t& end) {
  Bytes data = bytesOf(text);
  return parseObjectAt(data, 0, object, end);
}

TEST(ParseObjectAt, HeadersAndEndobjWindow) {
  Object object;
  std::uint64_t end = 0;
  ASSERT_TRUE(parseObject("7 3 obj\n<< /A 1 >>\nendobj\n", object, end));
  EXPECT_EQ(object.number, 7u);
  EXPECT_EQ(object.generation, 3u);
  EXPECT_FALSE(object.isStream);
  EXPECT_EQ(end, 25u);

  EXPECT_FALSE(parseObject("0 0 obj\nnull\nendobj", object, end));
  EXPECT_FALSE(parseObject("1 0 objx\nnull\nendobj", object, end));
  EXPECT_FALSE(parseObject("1 0 obj\nnull\n", object, end));
  EXPECT_FALSE(parseObject("1.5 0 obj null endobj", object, end));

  // "endobj" may begin at most 64 bytes after the value.
  EXPECT_TRUE(parseObject("1 0 obj null" + std::string(64, ' ') + "endobj", object, end));
  EXPECT_FALSE(parseObject("1 0 obj null" + std::string(65, ' ') + "endobj", object, end));
}

TEST(ParseObjectAt, StreamLengths) {
  Object object;
  std::uint64_t end = 0;
  // A direct Length is trusted even when "endstream" comes later.
  std::string text = "1 0 obj\n<< /Length 10 >>\nstream\r\n0123456789AB\nendstream\nendobj\n";
  ASSERT_TRUE(parseObject(text, object, end));
  EXPECT_TRUE(object.isStream);
  EXPECT_EQ(object.streamOffset, text.find("0123"));
  EXPECT_EQ(object.streamLength, 10u);

  // An indirect Length is measured by searching for "endstream", trimming line ends.
  text = "2 0 obj\n<< /Length 5 0 R >>\nstream\nabc\r\n\r\nendstream endobj";
  ASSERT_TRUE(parseObject(text, object, end));
  EXPECT_EQ(object.streamLength, 3u);

  // A Length past the end of the file falls back to the search as well.
  text = "3 0 obj << /Length 99999 >> stream\rxyz\nendstream\nendobj";
  ASSERT_TRUE(parseObject(text, object, end));
  EXPECT_EQ(object.streamLength, 3u);
  EXPECT_EQ(object.streamOffset, text.find("xyz"));

  try {
    parseObject("4 0 obj << >> stream\nno end", object, end);
    FAIL() << "expected an exception";
  } catch (const Exception& e) {
    EXPECT_EQ(e.message(), "unterminated PDF stream");
  }
}

}  // namespace
}  // namespace zopra::pdf
