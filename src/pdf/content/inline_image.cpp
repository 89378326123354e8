// Inline images: the BI dictionary, the predicted data length and the search
// for the EI that ends the data.
#include <cstdint>
#include <limits>
#include <map>
#include <string>

#include "pdf/content/content_lexer.h"
#include "pdf/model/value.h"

namespace zopra::pdf {

namespace {

bool whiteSpace(std::uint8_t byte) {
  return byte == 0x00 || byte == 0x09 || byte == 0x0A || byte == 0x0C || byte == 0x0D ||
         byte == 0x20;
}

bool isKeyword(const Token& token, const char* text) {
  return token.kind == Token::Kind::Keyword && token.text == text;
}

// The entry under its abbreviation, else under its full name.
const Token* entry(const std::map<std::string, Token>& dictionary, const char* shortName,
                   const char* longName) {
  auto it = dictionary.find(shortName);
  if (it == dictionary.end()) it = dictionary.find(longName);
  return it == dictionary.end() ? nullptr : &it->second;
}

constexpr double kMaxDimension = 16777216.0;

// A positive whole Number token, or 0.
double positiveWhole(const Token* token) {
  if (!token || token->kind != Token::Kind::Number) return 0;
  return isWholeNumber(token->number, 1, std::numeric_limits<double>::max()) ? token->number : 0;
}

int colorComponents(const Token* colorSpace) {
  if (colorSpace && colorSpace->kind == Token::Kind::Array) {
    colorSpace = colorSpace->elements.empty() ? nullptr : &colorSpace->elements.front();
  }
  if (!colorSpace || colorSpace->kind != Token::Kind::Name) return -1;
  const std::string& name = colorSpace->text;
  if (name == "G" || name == "DeviceGray" || name == "CalGray" || name == "I" || name == "Indexed") {
    return 1;
  }
  if (name == "RGB" || name == "DeviceRGB" || name == "CalRGB") return 3;
  if (name == "CMYK" || name == "DeviceCMYK") return 4;
  return -1;
}

// "EI" at `at`, followed by a delimiter or the end of data.
bool endMarkerAt(const Bytes& data, std::uint64_t at) {
  if (data.size() < 2 || at > data.size() - 2) return false;
  if (data[at] != 'E' || data[at + 1] != 'I') return false;
  return at + 2 == data.size() || contentDelimiter(data[at + 2]);
}

}  // namespace

std::map<std::string, Token> readInlineImageDictionary(ContentLexer& lexer) {
  std::map<std::string, Token> dictionary;
  Token token;
  while (lexer.next(token)) {
    if (isKeyword(token, "ID")) break;
    if (token.kind != Token::Kind::Name) continue;
    std::string key = token.text;
    Token value;
    if (!lexer.next(value) || isKeyword(value, "ID")) break;
    if (isKeyword(value, "<<")) {
      // Nested dictionaries are skipped; the key keeps the "<<" token.
      std::uint64_t depth = 1;
      Token inner;
      while (depth > 0 && lexer.next(inner)) {
        if (isKeyword(inner, "<<")) ++depth;
        if (isKeyword(inner, ">>")) --depth;
      }
    }
    // A repeated key keeps its last value.
    dictionary[key] = std::move(value);
  }
  return dictionary;
}

std::int64_t inlineImageLength(const std::map<std::string, Token>& dictionary) {
  const Token* filter = entry(dictionary, "F", "Filter");
  if (filter && !(filter->kind == Token::Kind::Array && filter->elements.empty())) return -1;

  double width = positiveWhole(entry(dictionary, "W", "Width"));
  double height = positiveWhole(entry(dictionary, "H", "Height"));
  if (width == 0 || height == 0) return -1;

  double bitsPerComponent = 1;
  int components = 1;
  const Token* mask = entry(dictionary, "IM", "ImageMask");
  if (!(mask && isKeyword(*mask, "true"))) {
    bitsPerComponent = positiveWhole(entry(dictionary, "BPC", "BitsPerComponent"));
    if (bitsPerComponent == 0) return -1;
    components = colorComponents(entry(dictionary, "CS", "ColorSpace"));
    if (components < 0) return -1;
  }
  if (width > kMaxDimension || height > kMaxDimension) return -1;

  // Sizes that do not fit the signed 64-bit result are unknown as well.
  constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
  std::int64_t pixelsPerRow = static_cast<std::int64_t>(width) * components;
  if (bitsPerComponent > static_cast<double>((kMax - 7) / pixelsPerRow)) return -1;
  std::int64_t rowBits = static_cast<std::int64_t>(bitsPerComponent) * pixelsPerRow;
  std::int64_t rowBytes = (rowBits + 7) / 8;
  std::int64_t rows = static_cast<std::int64_t>(height);
  if (rowBytes > kMax / rows) return -1;
  return rowBytes * rows;
}

void skipInlineImageData(ContentLexer& lexer, const std::map<std::string, Token>& dictionary) {
  const Bytes& data = lexer.data;
  const std::uint64_t size = data.size();
  std::uint64_t start = lexer.position;
  if (start >= size) {
    lexer.position = size;
    return;
  }
  if (whiteSpace(data[start])) ++start;

  std::int64_t length = inlineImageLength(dictionary);
  if (length >= 0 && static_cast<std::uint64_t>(length) <= size - start) {
    std::uint64_t at = start + static_cast<std::uint64_t>(length);
    while (at < size && whiteSpace(data[at])) ++at;
    if (endMarkerAt(data, at)) {
      lexer.position = at + 2;
      return;
    }
  }

  // An "EI" inside binary data is rejected unless the 16 bytes after it look
  // like content text.
  for (std::uint64_t i = start; size >= 2 && i <= size - 2; ++i) {
    if (i == 0 || !whiteSpace(data[i - 1]) || !endMarkerAt(data, i)) continue;
    std::uint64_t checkEnd = size - i > kInlineImageEndCheck ? i + kInlineImageEndCheck : size;
    bool printable = true;
    for (std::uint64_t j = i + 2; j < checkEnd && printable; ++j) {
      printable = whiteSpace(data[j]) || (data[j] >= 0x20 && data[j] <= 0x7E);
    }
    if (printable) {
      lexer.position = i + 2;
      return;
    }
  }
  lexer.position = size;
}

void skipInlineImage(ContentLexer& lexer) {
  const bool decodeValues = lexer.decodeValues;
  lexer.decodeValues = true;
  skipInlineImageData(lexer, readInlineImageDictionary(lexer));
  lexer.decodeValues = decodeValues;
}

}  // namespace zopra::pdf
