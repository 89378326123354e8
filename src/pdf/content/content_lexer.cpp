#include "pdf/content/content_lexer.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <limits>
#include <string>
#include <utility>

namespace zopra::pdf {

namespace {

// Arrays deeper than this are flattened into the array at this depth, so that
// hostile input cannot exhaust the stack through recursion.
constexpr int kMaxArrayDepth = 256;

bool whiteSpace(std::uint8_t byte) {
  return byte == 0x00 || byte == 0x09 || byte == 0x0A || byte == 0x0C || byte == 0x0D ||
         byte == 0x20;
}

bool decimalDigit(std::uint8_t byte) { return byte >= '0' && byte <= '9'; }

// Value of a hexadecimal digit, or -1.
int hexValue(std::uint8_t byte) {
  if (byte >= '0' && byte <= '9') return byte - '0';
  if (byte >= 'a' && byte <= 'f') return byte - 'a' + 10;
  if (byte >= 'A' && byte <= 'F') return byte - 'A' + 10;
  return -1;
}

// Skips white space and comments; false when the data has ended.
bool skipSpaceAndComments(ContentLexer& lexer) {
  const Bytes& data = lexer.data;
  std::uint64_t& pos = lexer.position;
  while (pos < data.size()) {
    std::uint8_t byte = data[pos];
    if (whiteSpace(byte)) {
      ++pos;
    } else if (byte == '%') {
      while (pos < data.size() && data[pos] != 0x0A && data[pos] != 0x0D) ++pos;
    } else {
      return true;
    }
  }
  return false;
}

std::string literalString(ContentLexer& lexer) {
  const Bytes& data = lexer.data;
  std::uint64_t& pos = lexer.position;
  std::string text;
  ++pos;  // "("
  int depth = 1;
  while (pos < data.size()) {
    std::uint8_t byte = data[pos++];
    if (byte == '(') {
      ++depth;
      text.push_back('(');
    } else if (byte == ')') {
      if (--depth == 0) break;
      text.push_back(')');
    } else if (byte != '\\') {
      text.push_back(static_cast<char>(byte));
    } else if (pos >= data.size()) {
      text.push_back('\\');
    } else {
      std::uint8_t escaped = data[pos++];
      switch (escaped) {
        case 'n': text.push_back('\x0A'); break;
        case 'r': text.push_back('\x0D'); break;
        case 't': text.push_back('\x09'); break;
        case 'b': text.push_back('\x08'); break;
        case 'f': text.push_back('\x0C'); break;
        case 0x0A: break;
        case 0x0D:
          if (pos < data.size() && data[pos] == 0x0A) ++pos;
          break;
        default:
          if (escaped >= '0' && escaped <= '7') {
            unsigned value = escaped - '0';
            for (int more = 0; more < 2 && pos < data.size() && data[pos] >= '0' && data[pos] <= '7';
                 ++more) {
              value = value * 8 + (data[pos++] - '0');
            }
            text.push_back(static_cast<char>(value & 0xFF));
          } else {
            text.push_back(static_cast<char>(escaped));
          }
          break;
      }
    }
  }
  return text;
}

// The end of a literal string, found without decoding it: only parentheses
// and the byte after a backslash decide where it ends.
void skipLiteralString(ContentLexer& lexer) {
  const Bytes& data = lexer.data;
  std::uint64_t& pos = lexer.position;
  ++pos;  // "("
  int depth = 1;
  while (pos < data.size()) {
    std::uint8_t byte = data[pos++];
    if (byte == '\\') {
      if (pos < data.size()) ++pos;
    } else if (byte == '(') {
      ++depth;
    } else if (byte == ')' && --depth == 0) {
      return;
    }
  }
}

std::string name(ContentLexer& lexer) {
  const Bytes& data = lexer.data;
  std::uint64_t& pos = lexer.position;
  std::string text;
  ++pos;  // "/"
  while (pos < data.size() && !contentDelimiter(data[pos])) {
    std::uint8_t byte = data[pos];
    if (byte == '#' && data.size() - pos > 2) {
      int high = hexValue(data[pos + 1]);
      int low = hexValue(data[pos + 2]);
      if (high >= 0 && low >= 0) {
        text.push_back(static_cast<char>(high * 16 + low));
        pos += 3;
        continue;
      }
    }
    text.push_back(static_cast<char>(byte));
    ++pos;
  }
  return text;
}

// Sign, digits, and at most one dot with the digits after it. Converted like
// the C library's strtod would in the "C" locale, but independently of the
// caller's locale (which could make "," the decimal point); when nothing
// converts, the bytes become a keyword.
void number(ContentLexer& lexer, Token& out) {
  const Bytes& data = lexer.data;
  std::uint64_t& pos = lexer.position;
  std::uint64_t begin = pos;
  if (data[pos] == '+' || data[pos] == '-') ++pos;
  while (pos < data.size() && decimalDigit(data[pos])) ++pos;
  if (pos < data.size() && data[pos] == '.') {
    ++pos;
    while (pos < data.size() && decimalDigit(data[pos])) ++pos;
  }
  if (!lexer.decodeValues) {
    // What converts is what holds a digit.
    if (std::any_of(data.begin() + static_cast<std::ptrdiff_t>(begin), data.begin() + static_cast<std::ptrdiff_t>(pos),
                    [](std::uint8_t byte) { return decimalDigit(byte); })) {
      out.kind = Token::Kind::Number;
    } else {
      out.kind = Token::Kind::Keyword;
      out.text.assign(data.begin() + static_cast<std::ptrdiff_t>(begin),
                      data.begin() + static_cast<std::ptrdiff_t>(pos));
    }
    return;
  }
  // Most numbers have few digits: their value is an exact integer divided
  // by an exact power of ten, which one division rounds correctly, as
  // from_chars would.
  {
    static constexpr double kPowers[] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8,
                                         1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    std::uint64_t at = begin;
    const bool negative = data[at] == '-';
    if (data[at] == '+' || data[at] == '-') ++at;
    std::uint64_t mantissa = 0;
    int digits = 0;
    int decimals = 0;
    bool afterDot = false;
    for (; at < pos; ++at) {
      if (data[at] == '.') {
        afterDot = true;
        continue;
      }
      mantissa = mantissa * 10 + (data[at] - '0');
      ++digits;
      if (afterDot) ++decimals;
      if (digits > 15) break;
    }
    if (digits > 0 && digits <= 15) {
      double value = static_cast<double>(mantissa) / kPowers[decimals];
      out.kind = Token::Kind::Number;
      out.number = negative ? -value : value;
      return;
    }
  }
  // Converted in place; from_chars takes no "+" sign, and the value is the
  // same without it.
  const char* first = reinterpret_cast<const char*>(data.data() + begin);
  const char* last = reinterpret_cast<const char*>(data.data() + pos);
  if (first != last && *first == '+') ++first;
  double value = 0;
  auto [stop, error] = std::from_chars(first, last, value);
  if (stop != first) {
    if (error == std::errc::result_out_of_range) {
      // Like strtod: too large gives infinity, too small gives zero.
      // Only digits before the dot can make the value too large.
      const char* dot = std::find(first, stop, '.');
      bool tiny = std::none_of(first, dot, [](char c) { return c >= '1' && c <= '9'; });
      value = tiny ? 0.0 : std::numeric_limits<double>::infinity();
      if (*first == '-') value = -value;
    }
    out.kind = Token::Kind::Number;
    out.number = value;
  } else {
    out.kind = Token::Kind::Keyword;
    out.text.assign(data.begin() + static_cast<std::ptrdiff_t>(begin),
                    data.begin() + static_cast<std::ptrdiff_t>(pos));
  }
}

void keyword(ContentLexer& lexer, Token& out) {
  const Bytes& data = lexer.data;
  std::uint64_t& pos = lexer.position;
  out.kind = Token::Kind::Keyword;
  if (contentDelimiter(data[pos])) {
    out.text.push_back(static_cast<char>(data[pos++]));
    return;
  }
  std::uint64_t begin = pos;
  while (pos < data.size() && !contentDelimiter(data[pos])) ++pos;
  out.text.assign(data.begin() + static_cast<std::ptrdiff_t>(begin),
                  data.begin() + static_cast<std::ptrdiff_t>(pos));
}

bool readToken(ContentLexer& lexer, Token& out, int depth);

// Reads an array from its "["; `depth` counts it and the arrays enclosing it. At the depth limit, nested arrays are not
// built: their brackets are only counted so that the matching "]" is found,
// and their elements are appended to this array.
void array(ContentLexer& lexer, Token& out, int depth) {
  const Bytes& data = lexer.data;
  std::uint64_t& pos = lexer.position;
  out.kind = Token::Kind::Array;
  ++pos;  // "["
  std::uint64_t flattened = 0;
  while (skipSpaceAndComments(lexer)) {
    std::uint8_t byte = data[pos];
    if (byte == ']') {
      ++pos;
      if (flattened == 0) return;
      --flattened;
      continue;
    }
    if (byte == '[' && depth >= kMaxArrayDepth) {
      ++pos;
      ++flattened;
      continue;
    }
    // Without values only the array's extent matters: its elements are
    // read (a "]" inside a string does not end it) but not kept.
    Token element;
    readToken(lexer, element, depth);
    if (lexer.decodeValues) out.elements.push_back(std::move(element));
  }
}

// `depth` is the number of arrays enclosing the token.
bool readToken(ContentLexer& lexer, Token& out, int depth) {
  if (!skipSpaceAndComments(lexer)) return false;
  const Bytes& data = lexer.data;
  std::uint64_t& pos = lexer.position;
  out.kind = Token::Kind::Keyword;
  out.number = 0;
  out.text.clear();
  out.elements.clear();
  out.start = pos;

  std::uint8_t byte = data[pos];
  bool hasNext = data.size() - pos > 1;
  if (byte == '(') {
    out.kind = Token::Kind::String;
    if (lexer.decodeValues) {
      out.text = literalString(lexer);
    } else {
      skipLiteralString(lexer);
    }
  } else if (byte == '/') {
    out.kind = Token::Kind::Name;
    if (lexer.decodeValues) {
      out.text = name(lexer);
    } else {
      for (++pos; pos < data.size() && !contentDelimiter(data[pos]);) ++pos;
    }
  } else if ((byte == '<' || byte == '>') && hasNext && data[pos + 1] == byte) {
    out.text.assign(2, static_cast<char>(byte));
    pos += 2;
  } else if (byte == '<') {
    out.kind = Token::Kind::String;
    if (lexer.decodeValues) {
      out.text = lexer.hexString();
    } else {
      while (pos < data.size() && data[pos++] != '>') {
      }
    }
  } else if (byte == '[') {
    array(lexer, out, depth + 1);
  } else if (byte == '+' || byte == '-' || byte == '.' || decimalDigit(byte)) {
    number(lexer, out);
  } else {
    keyword(lexer, out);
  }
  out.end = pos;
  return true;
}

}  // namespace

bool contentDelimiter(unsigned char byte) {
  switch (byte) {
    case 0x00: case 0x09: case 0x0A: case 0x0C: case 0x0D: case 0x20:
    case '%': case '(': case ')': case '/': case '<': case '>': case '[': case ']':
      return true;
    default:
      return false;
  }
}

bool ContentLexer::next(Token& out) { return readToken(*this, out, 0); }

std::string ContentLexer::hexString() {
  std::string text;
  if (position < data.size()) ++position;  // "<"
  int high = -1;
  while (position < data.size()) {
    std::uint8_t byte = data[position++];
    if (byte == '>') break;
    int digit = hexValue(byte);
    if (digit < 0) continue;  // white space and junk alike
    if (high < 0) {
      high = digit;
    } else {
      text.push_back(static_cast<char>(high * 16 + digit));
      high = -1;
    }
  }
  if (high >= 0) text.push_back(static_cast<char>(high * 16));
  return text;
}

}  // namespace zopra::pdf
