#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "pdf/model/error.h"
#include "pdf/parse/lexer.h"

namespace zopra::pdf {
namespace {

Bytes bytesOf(const std::string& text) { return Bytes(text.begin(), text.end()); }

// A value as text: numbers bare, /names, (strings), refs as "N G R", arrays
// and dictionaries in their brackets, keywords in braces.
std::string describe(const Value& value) {
  std::ostringstream out;
  switch (value.kind) {
    case Value::Kind::Null: out << "null"; break;
    case Value::Kind::Boolean: out << (value.boolean ? "true" : "false"); break;
    case Value::Kind::Number: out << value.number; break;
    case Value::Kind::String: out << '(' << value.text << ')'; break;
    case Value::Kind::Name: out << '/' << value.text; break;
    case Value::Kind::Reference: out << value.objectNumber << ' ' << value.generation << " R"; break;
    case Value::Kind::Keyword: out << '{' << value.text << '}'; break;
    case Value::Kind::Array:
      out << '[';
      for (const Value& element : value.array) out << describe(element) << (&element == &value.array.back() ? "" : " ");
      out << ']';
      break;
    case Value::Kind::Dictionary:
      out << "<<";
      for (const auto& [key, element] : value.dictionary) out << " /" << key << ' ' << describe(element);
      out << " >>";
      break;
  }
  return out.str();
}

// The first value of `text` and where the lexer stopped, or "!" and the error.
std::string parse(const std::string& text) {
  Bytes data = bytesOf(text);
  Lexer lexer(data.data(), data.size());
  try {
    Value value = lexer.value(0);
    return describe(value) + " @" + std::to_string(lexer.position());
  } catch (const Exception& e) {
    return (e.kind() == Error::Format ? "!" : "!(other kind) ") + e.message();
  }
}

TEST(Lexer, Values) {
  const std::pair<std::string, std::string> cases[] = {
      // A reference needs two whole numbers and "R" standing alone.
      {"12 0 R", "12 0 R @6"}, {"12 0 Rx", "12 @2"}, {"12 -1 R", "12 @2"}, {"1.5 0 R", "1.5 @3"},
      {"4294967296 0 R", "4.29497e+09 @10"},
      {"-", "!invalid PDF number"}, {"+.", "!invalid PDF number"}, {std::string(400, '9'), "!invalid PDF number"},
      // Literal strings: nesting, line continuations, octal and named escapes.
      {"(a(b)c)", "(a(b)c) @7"}, {"(a\\\r\nb)", "(ab) @7"}, {"(a\\\nb)", "(ab) @6"},
      {"(\\101\\60x\\777\\n\\q)", "(A0x\xFF\nq) @18"}, {"(\\0053)", "(\x05" "3) @7"},
      {"(abc", "!unterminated PDF string"}, {"(abc\\", "!unterminated PDF string"},
      // Hex strings: white space skipped, an odd digit padded, may run to the end.
      {"<41 42 4>", "(AB@) @9"}, {"<7>", "(p) @3"}, {"<4142", "(AB) @5"}, {"<", "() @1"},
      {"<4G>", "!invalid PDF hex string"},
      // Names: #xx only with two hex digits.
      {"/A#20B", "/A B @6"}, {"/A#2", "/A#2 @4"}, {"/A#zzB", "/A#zzB @6"}, {"/", "/ @1"},
      // Containers: the last of a repeated key wins; comments are white space.
      {"<< /A 1 /B [true false null /N (s)] /A 2 % comment\n /C << >> >>",
       "<< /A 2 /B [true false null /N (s)] /C << >> >> @63"},
      {"endobj", "{endobj} @6"},
      {"[1 2", "!unterminated PDF array"}, {"<< 1 2 >>", "!invalid PDF dictionary key"},
      {"<< /A", "!unexpected end of PDF object"}, {"  % only a comment", "!unexpected end of PDF object"},
      // 101 arrays nest fine; the innermost of 102 is one too deep.
      {std::string(101, '[') + std::string(101, ']'), std::string(101, '[') + std::string(101, ']') + " @202"},
      {std::string(102, '[') + std::string(102, ']'), "!PDF object nesting is too deep"},
      {std::string(100000, '['), "!PDF object nesting is too deep"},
  };
  for (const auto& [input, expected] : cases) EXPECT_EQ(parse(input), expected) << input;
}

// The object at offset 0 as "number generation stream? offset+length end",
// or "no object".
std::string parseObject(const std::string& text) {
  Bytes data = bytesOf(text);
  Object object;
  std::uint64_t end = 0;
  try {
    if (!parseObjectAt(data, 0, object, end)) return "no object";
  } catch (const Exception& e) {
    return "!" + e.message();
  }
  std::string result = std::to_string(object.number) + " " + std::to_string(object.generation);
  if (object.isStream) result += " stream " + std::to_string(object.streamOffset) + "+" + std::to_string(object.streamLength);
  return result + " end " + std::to_string(end);
}

TEST(ParseObjectAt, HeadersStreamsAndEndobjWindow) {
  const std::pair<std::string, std::string> cases[] = {
      {"7 3 obj\n<< /A 1 >>\nendobj\n", "7 3 end 25"},
      {"0 0 obj\nnull\nendobj", "no object"},
      {"1 0 objx\nnull\nendobj", "no object"},
      {"1 0 obj\nnull\n", "no object"},
      {"1.5 0 obj null endobj", "no object"},
      // "endobj" may begin at most 64 bytes after the value.
      {"1 0 obj null" + std::string(64, ' ') + "endobj", "1 0 end 82"},
      {"1 0 obj null" + std::string(65, ' ') + "endobj", "no object"},
      // A direct Length is trusted even when "endstream" comes later.
      {"1 0 obj\n<< /Length 10 >>\nstream\r\n0123456789AB\nendstream\nendobj\n", "1 0 stream 33+10 end 62"},
      // An indirect Length is measured up to "endstream", without line ends.
      {"2 0 obj\n<< /Length 5 0 R >>\nstream\nabc\r\n\r\nendstream endobj", "2 0 stream 35+3 end 58"},
      // So is a Length past the end of the file.
      {"3 0 obj << /Length 99999 >> stream\rxyz\nendstream\nendobj", "3 0 stream 35+3 end 55"},
      {"4 0 obj << >> stream\nno end", "!unterminated PDF stream"},
      // A damaged "endstream" after data of the right length: the object
      // ends at its own "endobj", not at a later object's "endstream".
      {"5 0 obj << /Length 3 >> stream\nabc\nendstreXm\nendobj\n6 0 obj << /Length 1 >> stream\n" +
           std::string(80, ' ') + "\nendstream\nendobj",
       "5 0 stream 31+3 end 51"},
  };
  for (const auto& [input, expected] : cases) EXPECT_EQ(parseObject(input), expected) << input;
}

}  // namespace
}  // namespace zopra::pdf
