#include "pdf/content/content_lexer.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace zopra::pdf {
namespace {

Bytes bytesOf(const std::string& text) { return Bytes(text.begin(), text.end()); }

std::vector<Token> tokenize(const Bytes& data) {
  ContentLexer lexer(data);
  std::vector<Token> tokens;
  Token token;
  while (lexer.next(token)) tokens.push_back(token);
  return tokens;
}

std::vector<Token> tokenize(const std::string& text) { return tokenize(bytesOf(text)); }

// The single token of `text`.
Token only(const std::string& text) {
  std::vector<Token> tokens = tokenize(text);
  EXPECT_EQ(tokens.size(), 1u) << text;
  return tokens.empty() ? Token() : tokens.front();
}

TEST(ContentLexer, LiteralStrings) {
  EXPECT_EQ(only("(a(b)c)").text, "a(b)c");
  EXPECT_EQ(only("(abc").text, "abc");
  EXPECT_EQ(only("(\\101\\60x)").text, "A0x");
  EXPECT_EQ(only("(\\0053)").text, std::string("\x05" "3"));
  EXPECT_EQ(only("(\\777)").text, "\xFF");
  EXPECT_EQ(only("(a\\\nb)").text, "ab");
  EXPECT_EQ(only("(a\\\r\nb)").text, "ab");
  EXPECT_EQ(only("(a\\\r\rb)").text, "a\rb");
  EXPECT_EQ(only("(\\n\\r\\t\\b\\f)").text, "\n\r\t\b\f");
  EXPECT_EQ(only("(\\(\\)\\\\\\q)").text, "()\\q");
  EXPECT_EQ(only("(a\\").text, "a\\");
  Token token = only("  (x)");
  EXPECT_EQ(token.kind, Token::Kind::String);
  EXPECT_EQ(token.start, 2u);
  EXPECT_EQ(token.end, 5u);
}

TEST(ContentLexer, HexStrings) {
  EXPECT_EQ(only("<48 65 6C6C 6F>").text, "Hello");
  EXPECT_EQ(only("<ABC>").text, "\xAB\xC0");
  EXPECT_EQ(only("<4G1>").text, "A");
  EXPECT_EQ(only("<>").text, "");
  Token open = only("<6162");
  EXPECT_EQ(open.kind, Token::Kind::String);
  EXPECT_EQ(open.text, "ab");
  EXPECT_EQ(open.end, 5u);

  std::vector<Token> tokens = tokenize("<41>x");
  ASSERT_EQ(tokens.size(), 2u);
  EXPECT_EQ(tokens[0].end, 4u);
  EXPECT_EQ(tokens[1].text, "x");
}

TEST(ContentLexer, Names) {
  Token name = only("/A#20B");
  EXPECT_EQ(name.kind, Token::Kind::Name);
  EXPECT_EQ(name.text, "A B");
  EXPECT_EQ(only("/A#2").text, "A#2");
  EXPECT_EQ(only("/A#zz").text, "A#zz");
  EXPECT_EQ(only("/#4a#4A").text, "JJ");

  std::vector<Token> tokens = tokenize("/ /F1/F2(x)");
  ASSERT_EQ(tokens.size(), 4u);
  EXPECT_EQ(tokens[0].kind, Token::Kind::Name);
  EXPECT_EQ(tokens[0].text, "");
  EXPECT_EQ(tokens[1].text, "F1");
  EXPECT_EQ(tokens[2].text, "F2");
  EXPECT_EQ(tokens[2].end, 8u);
  EXPECT_EQ(tokens[3].kind, Token::Kind::String);
}

TEST(ContentLexer, Numbers) {
  Token token = only("-.5");
  EXPECT_EQ(token.kind, Token::Kind::Number);
  EXPECT_DOUBLE_EQ(token.number, -0.5);
  EXPECT_DOUBLE_EQ(only("5.").number, 5);
  EXPECT_DOUBLE_EQ(only("+12").number, 12);
  EXPECT_EQ(only("5.").end, 2u);

  for (const char* lone : {"-", "+", ".", "-."}) {
    Token keyword = only(lone);
    EXPECT_EQ(keyword.kind, Token::Kind::Keyword) << lone;
    EXPECT_EQ(keyword.text, lone);
  }

  std::vector<Token> exponent = tokenize("1e5");
  ASSERT_EQ(exponent.size(), 2u);
  EXPECT_EQ(exponent[0].kind, Token::Kind::Number);
  EXPECT_DOUBLE_EQ(exponent[0].number, 1);
  EXPECT_EQ(exponent[1].kind, Token::Kind::Keyword);
  EXPECT_EQ(exponent[1].text, "e5");

  std::vector<Token> dots = tokenize("1.2.3");
  ASSERT_EQ(dots.size(), 2u);
  EXPECT_DOUBLE_EQ(dots[0].number, 1.2);
  EXPECT_DOUBLE_EQ(dots[1].number, 0.3);
  EXPECT_EQ(dots[1].start, 3u);

  // Out of range: too large is infinite, too small is zero, as strtod says.
  EXPECT_EQ(only("-1" + std::string(400, '0')).number, -std::numeric_limits<double>::infinity());
  EXPECT_EQ(only("0." + std::string(400, '0') + "1").number, 0.0);
  EXPECT_DOUBLE_EQ(only("+.25").number, 0.25);

  // A sign followed by a non-digit: the sign alone is the keyword.
  std::vector<Token> sign = tokenize("-x");
  ASSERT_EQ(sign.size(), 2u);
  EXPECT_EQ(sign[0].text, "-");
  EXPECT_EQ(sign[1].text, "x");

  // The byte left in the vector's spare capacity must not join the number.
  Bytes data = bytesOf("12");
  data.push_back('3');
  data.pop_back();
  ContentLexer lexer(data);
  Token last;
  ASSERT_TRUE(lexer.next(last));
  EXPECT_DOUBLE_EQ(last.number, 12);
}

TEST(ContentLexer, ArraysAndDictionaryMarkers) {
  Token array = only("[1 [2] (x)]");
  EXPECT_EQ(array.kind, Token::Kind::Array);
  ASSERT_EQ(array.elements.size(), 3u);
  EXPECT_EQ(array.elements[1].kind, Token::Kind::Array);
  ASSERT_EQ(array.elements[1].elements.size(), 1u);
  EXPECT_DOUBLE_EQ(array.elements[1].elements[0].number, 2);
  EXPECT_EQ(array.elements[1].start, 3u);
  EXPECT_EQ(array.elements[1].end, 6u);
  EXPECT_EQ(array.elements[2].text, "x");
  EXPECT_EQ(array.end, 11u);

  Token open = only("[1 <<%c\n");
  ASSERT_EQ(open.elements.size(), 2u);
  EXPECT_EQ(open.elements[1].text, "<<");

  std::vector<Token> tokens = tokenize("<</A 1>>]) > q{ }");
  std::vector<std::string> texts;
  for (const Token& token : tokens) texts.push_back(token.text);
  EXPECT_EQ(texts, (std::vector<std::string>{"<<", "A", "", ">>", "]", ")", ">", "q{", "}"}));
}

TEST(ContentLexer, DeepArraysAreFlattenedBeyondTheLimit) {
  const int depth = 100000;
  std::string text(depth, '[');
  text += "1";
  text += std::string(depth, ']');
  text += " Tj";
  std::vector<Token> tokens = tokenize(text);
  ASSERT_EQ(tokens.size(), 2u);
  EXPECT_EQ(tokens[0].end, static_cast<std::uint64_t>(2 * depth + 1));
  EXPECT_EQ(tokens[1].text, "Tj");
  const Token* inner = &tokens[0];
  int levels = 1;
  while (!inner->elements.empty() && inner->elements[0].kind == Token::Kind::Array) {
    inner = &inner->elements[0];
    ++levels;
  }
  EXPECT_EQ(levels, 256);
  ASSERT_EQ(inner->elements.size(), 1u);
  EXPECT_DOUBLE_EQ(inner->elements[0].number, 1);

  // Unterminated: still one array, ending at the end of data.
  EXPECT_EQ(only(std::string(5000, '[')).end, 5000u);
}

TEST(ContentLexer, CommentsAndWhiteSpace) {
  std::vector<Token> tokens = tokenize("%comment\nBT%x\r\n% only\n");
  ASSERT_EQ(tokens.size(), 1u);
  EXPECT_EQ(tokens[0].text, "BT");
  EXPECT_EQ(tokens[0].start, 9u);
  EXPECT_EQ(tokens[0].end, 11u);

  Bytes nothing = bytesOf(std::string("\x00\t \x0C%c", 6));
  ContentLexer lexer(nothing);
  Token untouched;
  untouched.text = "kept";
  EXPECT_FALSE(lexer.next(untouched));
  EXPECT_EQ(untouched.text, "kept");

  std::string delimiters;
  for (int byte = 0; byte < 256; ++byte) {
    if (contentDelimiter(static_cast<unsigned char>(byte))) delimiters.push_back(static_cast<char>(byte));
  }
  EXPECT_EQ(delimiters, std::string("\x00\t\n\x0C\r %()/<>[]", 14));
}

// Runs BI handling from the start of `content` and returns the offset after EI.
std::uint64_t skipImage(const std::string& content) {
  Bytes data = bytesOf(content);
  ContentLexer lexer(data);
  Token bi;
  EXPECT_TRUE(lexer.next(bi));
  EXPECT_EQ(bi.text, "BI");
  std::map<std::string, Token> dictionary = readInlineImageDictionary(lexer);
  skipInlineImageData(lexer, dictionary);
  return lexer.position;
}

TEST(InlineImage, DictionaryAndLength) {
  Bytes data = bytesOf("/W 4 /Width 9 /H 2 /BPC 8 /CS /G /DP << /K << >> >> /F [] 7 ID xy");
  ContentLexer lexer(data);
  std::map<std::string, Token> dictionary = readInlineImageDictionary(lexer);
  EXPECT_EQ(data[lexer.position], ' ');
  EXPECT_EQ(lexer.position, data.size() - 3);
  ASSERT_EQ(dictionary.count("DP"), 1u);
  EXPECT_EQ(dictionary["DP"].text, "<<");
  EXPECT_EQ(dictionary.count("K"), 0u);
  EXPECT_EQ(inlineImageLength(dictionary), 8);

  auto lengthOf = [](const std::string& text) {
    Bytes bytes = bytesOf(text + " ID");
    ContentLexer reader(bytes);
    return inlineImageLength(readInlineImageDictionary(reader));
  };
  EXPECT_EQ(lengthOf("/Width 3 /Height 2 /BitsPerComponent 4 /ColorSpace /DeviceRGB"), 10);
  EXPECT_EQ(lengthOf("/W 10 /H 3 /IM true"), 6);
  EXPECT_EQ(lengthOf("/W 10 /H 3 /IM false /BPC 1 /CS [/Indexed /RGB 1 <>]"), 6);
  EXPECT_EQ(lengthOf("/W 2 /H 2 /BPC 8 /CS /CMYK"), 16);
  EXPECT_EQ(lengthOf("/W 2 /H 2 /BPC 8 /CS /G /F /AHx"), -1);
  EXPECT_EQ(lengthOf("/W 2 /H 2 /BPC 8 /CS /G /F [/AHx]"), -1);
  EXPECT_EQ(lengthOf("/W 2 /H 2 /BPC 8 /CS /Lab"), -1);
  EXPECT_EQ(lengthOf("/W 2 /H 2 /BPC 8 /CS []"), -1);
  EXPECT_EQ(lengthOf("/W 2 /H 2 /BPC 8"), -1);
  EXPECT_EQ(lengthOf("/W 2.5 /H 2 /BPC 8 /CS /G"), -1);
  EXPECT_EQ(lengthOf("/W 0 /H 2 /BPC 8 /CS /G"), -1);
  EXPECT_EQ(lengthOf("/W 16777217 /H 1 /BPC 8 /CS /G"), -1);
  EXPECT_EQ(lengthOf("/W 16777216 /H 16777216 /BPC 8 /CS /CMYK"), 1125899906842624LL);
  EXPECT_EQ(lengthOf("/W 16777216 /H 16777216 /BPC 1000000 /CS /G"), -1);
  EXPECT_EQ(lengthOf("/W 2 /H 2 /BPC 8 /CS /G /CS (x)"), -1);
  EXPECT_EQ(lengthOf("/W 2 /H 2 /BPC 8 /CS"), -1);
}

TEST(InlineImage, SkippingTheData) {
  const std::string head = "BI /W 4 /H 2 /BPC 8 /CS /G ID ";
  // Fast path: the data itself contains " EI " but the length skips over it.
  std::string fast = head + "a EI bcd" + " EI Q";
  EXPECT_EQ(skipImage(fast), fast.size() - 2);
  // Without the length, scanning stops at the first acceptable EI.
  std::string scanned = "BI /W 4 /H 2 /BPC 8 /CS /G /F /AHx ID 0a0b0c0d> EI Q";
  EXPECT_EQ(skipImage(scanned), scanned.size() - 2);
  std::string unknownLength = "BI /W 4 /H 2 ID a EI b c EI Q";
  EXPECT_EQ(skipImage(unknownLength), unknownLength.find(" EI") + 3);

  // An EI inside binary data followed within 16 bytes by 0x01 is data.
  std::string binary = "BI /F /DCT ID \x80\x81 EI \x01\x02\x03 EI\nQ";
  EXPECT_EQ(skipImage(binary), binary.size() - 2);
  std::string nearBinary = "BI /F /DCT ID \x80 EI 0123456789abcd\x01 EI";
  EXPECT_EQ(skipImage(nearBinary), nearBinary.size());
  std::string farBinary = "BI /F /DCT ID \x80 EI 0123456789abcde\x01 EI";
  EXPECT_EQ(skipImage(farBinary), farBinary.find(" EI") + 3);
  // EI must stand alone: preceded by white space and followed by a delimiter.
  std::string glued = "BI /F /DCT ID xEI EIx EI/";
  EXPECT_EQ(skipImage(glued), glued.size() - 1);

  // No acceptable EI: the rest of the content is swallowed.
  std::string none = "BI /W 4 /H 2 /BPC 8 /CS /G ID \x01\x02\x03 EI\x01";
  EXPECT_EQ(skipImage(none), none.size());
  EXPECT_EQ(skipImage("BI /W 1 ID"), 10u);
  // A length larger than the data falls back to scanning.
  std::string shortData = "BI /W 100 /H 100 /BPC 8 /CS /G ID ab EI Q";
  EXPECT_EQ(skipImage(shortData), shortData.size() - 2);
}

}  // namespace
}  // namespace zopra::pdf
