// Tokens of page content streams. Unlike the object lexer, it produces flat
// tokens that remember the byte range they were read from.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "pdf/model/value.h"

namespace zopra::pdf {

struct Token {
  enum class Kind : std::uint32_t { Number = 0, Name = 1, String = 2, Array = 3, Keyword = 4 };
  Kind kind = Kind::Keyword;
  double number = 0;
  std::string text;
  std::vector<Token> elements;
  std::uint64_t start = 0;
  std::uint64_t end = 0;
};

// The six white-space bytes and % ( ) / < > [ ]; braces are not delimiters here.
bool contentDelimiter(unsigned char byte);

class ContentLexer {
 public:
  explicit ContentLexer(const Bytes& bytes) : data(bytes) {}

  // Reads the next token; false (token untouched) when only white space and
  // comments remain. Never fails on malformed input.
  bool next(Token& out);
  // With `position` on a "<" not followed by "<": the decoded bytes.
  std::string hexString();

  const Bytes& data;
  std::uint64_t position = 0;
  // False: tokens get their kinds and ranges (and keywords their text), but
  // strings and names are not decoded, numbers not converted and array
  // elements not kept, for callers that only need to know where tokens are.
  // The ranges are the same.
  bool decodeValues = true;
};

// Number of data bytes an inline image with this dictionary must have, or -1.
std::int64_t inlineImageLength(const std::map<std::string, Token>& dictionary);

// After the BI keyword: reads the inline image dictionary up to ID.
std::map<std::string, Token> readInlineImageDictionary(ContentLexer& lexer);
// With the lexer just after ID: moves it just past the EI that ends the data.
// Where the data's length is unknown, an EI ends it only when the bytes that
// follow it, up to kInlineImageEndCheck from its start, read as content text:
// an edit that moves other bytes into that reach can change where the data
// ends.
void skipInlineImageData(ContentLexer& lexer, const std::map<std::string, Token>& dictionary);
inline constexpr std::uint64_t kInlineImageEndCheck = 18;
// After the BI keyword: moves the lexer past the whole inline image. Where
// its data ends depends on the values of its dictionary, so they are read
// decoded whatever the lexer's setting, which is then as it was.
void skipInlineImage(ContentLexer& lexer);

}  // namespace zopra::pdf
