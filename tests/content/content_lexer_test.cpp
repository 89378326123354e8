#include "pdf/content/content_lexer.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace zopra::pdf {
namespace {

Bytes bytesOf(const std::string& text) { return Bytes(text.begin(), text.end()); }

std::vector<Token> tokenize(const std::string& text) {
  Bytes data = bytesOf(text);
  ContentLexer lexer(data);
  std::vector<Token> tokens;
  Token token;
  while (lexer.next(token)) tokens.push_back(token);
  return tokens;
}

// Tokens as text: numbers bare, /names, (strings), [arrays], keywords in
// braces; with `ranges`, each followed by @start-end.
std::string describe(const std::vector<Token>& tokens, bool ranges = false) {
  std::ostringstream out;
  for (const Token& t : tokens) {
    if (out.tellp() > 0) out << ' ';
    switch (t.kind) {
      case Token::Kind::Number: out << t.number; break;
      case Token::Kind::Name: out << '/' << t.text; break;
      case Token::Kind::String: out << '(' << t.text << ')'; break;
      case Token::Kind::Array: out << '[' << describe(t.elements, ranges) << ']'; break;
      case Token::Kind::Keyword: out << '{' << t.text << '}'; break;
    }
    if (ranges) out << '@' << t.start << '-' << t.end;
  }
  return out.str();
}

TEST(ContentLexer, Tokens) {
  const std::pair<std::string, std::string> cases[] = {
      // Literal strings: nesting, octal escapes (wrapping past 255), line
      // continuations, named escapes; an open string runs to the end.
      {"(a(b)c)", "(a(b)c)"},
      {"(\\101\\60x)", "(A0x)"},
      {"(\\0053)", std::string("(\x05" "3)")},
      {"(a\\\nb)(a\\\r\nb)", "(ab) (ab)"},
      {"(\\n\\r\\t\\b\\f)", "(\n\r\t\b\f)"},
      {"(\\(\\)\\\\\\q)", "(()\\q)"},
      {"(a\\", "(a\\)"},
      // Hex strings: white space and bad digits skipped, odd digit padded.
      {"<48 65 6C6C 6F>", "(Hello)"},
      {"<4G1>", "(A)"},
      {"<6162", "(ab)"},
      // Names: #xx escapes only with two hex digits; "/" alone is empty.
      {"/A#20B /A#2 /A#zz /#4a#4A", "/A B /A#2 /A#zz /JJ"},
      {"/ /F1/F2(x)", "/ /F1 /F2 (x)"},
      // Numbers: a lone sign or dot is a keyword; no exponents; "1.2.3" is two.
      {"-.5 5. +12 +.25", "-0.5 5 12 0.25"},
      {"- + . -.", "{-} {+} {.} {-.}"},
      {"-1" + std::string(400, '0'), "-inf"},
      // Arrays nest; dictionary markers and stray closers are keywords.
      {"[1 <<%c\n", "[1 {<<}]"},
      {"<</A 1>>]) > q{ }", "{<<} /A 1 {>>} {]} {)} {>} {q{} {}}"},
      // Comments and the NUL byte are white space.
      {"%comment\nBT%x\r\n% only\n", "{BT}"},
      {std::string("\x00\t \x0C%c", 6), ""},
  };
  for (const auto& [input, expected] : cases) EXPECT_EQ(describe(tokenize(input)), expected) << input;

  const std::pair<std::string, std::string> ranges[] = {
      {"/ /F1/F2(x)", "/@0-1 /F1@2-5 /F2@5-8 (x)@8-11"},
      {"5. 1.2.3", "5@0-2 1.2@3-6 0.3@6-8"},
      {"[1 [2] (x)]", "[1@1-2 [2@4-5]@3-6 (x)@7-10]@0-11"},
      {"%comment\nBT", "{BT}@9-11"},
  };
  for (const auto& [input, expected] : ranges) EXPECT_EQ(describe(tokenize(input), true), expected) << input;

  // A byte left in the vector's spare capacity must not join the number.
  Bytes data = bytesOf("12");
  data.push_back('3');
  data.pop_back();
  ContentLexer lexer(data);
  Token last;
  last.text = "kept";
  ASSERT_TRUE(lexer.next(last));
  EXPECT_DOUBLE_EQ(last.number, 12);
  // At the end the token is left untouched.
  last.text = "kept";
  EXPECT_FALSE(lexer.next(last));
  EXPECT_EQ(last.text, "kept");
}

TEST(InlineImage, DictionaryAndLength) {
  Bytes data = bytesOf("/W 4 /Width 9 /H 2 /BPC 8 /CS /G /DP << /K << >> >> /F [] 7 ID xy");
  ContentLexer lexer(data);
  std::map<std::string, Token> dictionary = readInlineImageDictionary(lexer);
  EXPECT_EQ(lexer.position, data.size() - 3);
  EXPECT_EQ(dictionary["DP"].text, "<<");
  EXPECT_EQ(dictionary.count("K"), 0u);
  EXPECT_EQ(inlineImageLength(dictionary), 8);

  // Rows are whole bytes; -1 when the data length cannot be known.
  const std::pair<const char*, std::int64_t> lengths[] = {
      {"/Width 3 /Height 2 /BitsPerComponent 4 /ColorSpace /DeviceRGB", 10},
      {"/W 10 /H 3 /IM true", 6},
      {"/W 2 /H 2 /BPC 8 /CS /CMYK", 16},
      {"/W 16777216 /H 16777216 /BPC 8 /CS /CMYK", 1125899906842624LL},
      {"/W 2 /H 2 /BPC 8 /CS /G /F /AHx", -1},
      {"/W 2 /H 2 /BPC 8 /CS /Lab", -1},
      {"/W 2 /H 2 /BPC 8", -1},
      {"/W 2.5 /H 2 /BPC 8 /CS /G", -1},
      {"/W 16777217 /H 1 /BPC 8 /CS /G", -1},
      {"/W 16777216 /H 16777216 /BPC 1000000 /CS /G", -1},
      {"/W 2 /H 2 /BPC 8 /CS /G /CS (x)", -1},
  };
  for (const auto& [entries, length] : lengths) {
    Bytes bytes = bytesOf(std::string(entries) + " ID");
    ContentLexer reader(bytes);
    EXPECT_EQ(inlineImageLength(readInlineImageDictionary(reader)), length) << entries;
  }
}

TEST(InlineImage, SkippingTheData) {
  // Each case: the content, and what follows the image (the lexer stops just before it).
  const std::pair<std::string, std::string> cases[] = {
      // The length skips over an " EI " inside the data.
      {"BI /W 4 /H 2 /BPC 8 /CS /G ID a EI bcd EI Q", " Q"},
      // Without the length, scanning stops at the first acceptable EI.
      {"BI /W 4 /H 2 /BPC 8 /CS /G /F /AHx ID 0a0b0c0d> EI Q", " Q"},
      {"BI /W 4 /H 2 ID a EI b c EI Q", " b c EI Q"},
      // An EI in binary data followed within 16 bytes by 0x01 is data.
      {"BI /F /DCT ID \x80\x81 EI \x01\x02\x03 EI\nQ", "\nQ"},
      {"BI /F /DCT ID \x80 EI 0123456789abcd\x01 EI", ""},
      {"BI /F /DCT ID \x80 EI 0123456789abcde\x01 EI", " 0123456789abcde\x01 EI"},
      // EI must stand alone: after white space, before a delimiter.
      {"BI /F /DCT ID xEI EIx EI/", "/"},
      // No acceptable EI: the rest of the content goes.
      {"BI /W 4 /H 2 /BPC 8 /CS /G ID \x01\x02\x03 EI\x01", ""},
      {"BI /W 1 ID", ""},
      // A length larger than the data falls back to scanning.
      {"BI /W 100 /H 100 /BPC 8 /CS /G ID ab EI Q", " Q"},
  };
  for (const auto& [content, rest] : cases) {
    Bytes data = bytesOf(content);
    ContentLexer lexer(data);
    Token bi;
    ASSERT_TRUE(lexer.next(bi));
    skipInlineImageData(lexer, readInlineImageDictionary(lexer));
    EXPECT_EQ(content.substr(lexer.position), rest) << content;
  }
}

}  // namespace
}  // namespace zopra::pdf
