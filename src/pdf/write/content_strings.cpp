// literalContentStrings: a single pass over the bytes that knows just
// enough syntax to find hex strings: literal strings (nested parentheses,
// escapes) and comments are copied as they are, and "<<" opens a
// dictionary rather than a string.
#include "pdf/write/content_strings.h"

#include <string>

#include "pdf/write/value_writer.h"


namespace zopra::pdf {

namespace {

// What each byte is inside a hex string: a digit's value, kSpace for white
// space, kOther for anything else. A table: drawn content is mostly hex
// strings.
constexpr std::int8_t kSpace = 16, kOther = -1;
struct HexClasses {
  std::int8_t of[256];
  constexpr HexClasses() : of() {
    for (int c = 0; c < 256; ++c) of[c] = kOther;
    for (int c = '0'; c <= '9'; ++c) of[c] = static_cast<std::int8_t>(c - '0');
    for (int c = 'a'; c <= 'f'; ++c) of[c] = static_cast<std::int8_t>(c - 'a' + 10);
    for (int c = 'A'; c <= 'F'; ++c) of[c] = static_cast<std::int8_t>(c - 'A' + 10);
    for (int c : {' ', '\t', '\r', '\n', '\f', '\0'}) of[c] = kSpace;
  }
};
constexpr HexClasses kHex;

// The end of the literal string opening at `at` (past its ")"), or the end
// of the data when it is not closed.
std::size_t literalEnd(const Bytes& content, std::size_t at) {
  int depth = 0;
  for (std::size_t i = at; i < content.size(); ++i) {
    if (content[i] == '\\') {
      ++i;
    } else if (content[i] == '(') {
      ++depth;
    } else if (content[i] == ')' && --depth == 0) {
      return i + 1;
    }
  }
  return content.size();
}

// Appends `bytes` as the literal string literalString() makes of them, when
// it is shorter than `hexSize` bytes of hex string; false (and nothing
// appended) otherwise. Measured first, then written in place: drawn
// content holds tens of thousands of strings.
bool appendLiteral(Bytes& out, const std::string& bytes, std::size_t hexSize) {
  std::size_t size = bytes.size() + 2;
  for (char c : bytes) size += literalEscape(c) != nullptr;
  if (size >= hexSize) return false;
  const std::size_t mark = out.size();
  out.resize(mark + size);
  std::uint8_t* at = out.data() + mark;
  *at++ = '(';
  for (char c : bytes) {
    if (const char* escape = literalEscape(c)) {
      *at++ = static_cast<std::uint8_t>(escape[0]);
      *at++ = static_cast<std::uint8_t>(escape[1]);
    } else {
      *at++ = static_cast<std::uint8_t>(c);
    }
  }
  *at = ')';
  return true;
}

}  // namespace

Bytes literalContentStrings(const Bytes& content) {
  Bytes out;
  out.reserve(content.size());
  std::string bytes;
  std::size_t i = 0;
  while (i < content.size()) {
    const std::uint8_t byte = content[i];
    std::size_t end = i + 1;
    if (byte != '(' && byte != '%' && byte != '<') {
      // Operators, numbers and names up to the next string or comment go
      // over in one piece.
      while (end < content.size() && content[end] != '(' && content[end] != '%' && content[end] != '<') ++end;
    } else if (byte == '(') {
      end = literalEnd(content, i);
    } else if (byte == '%') {
      while (end < content.size() && content[end] != '\r' && content[end] != '\n') ++end;
    } else if (byte == '<' && end < content.size() && content[end] == '<') {
      ++end;
    } else if (byte == '<') {
      // The digits, white space ignored; an odd last digit counts as if
      // followed by 0. Anything else leaves the string as it is.
      bytes.clear();
      int high = -1;
      bool valid = false;
      for (; end < content.size(); ++end) {
        const std::uint8_t c = content[end];
        const int digit = kHex.of[c];
        if (digit == kSpace) continue;
        if (digit < 0) {
          if (c == '>') {
            valid = true;
            ++end;
          }
          break;
        }
        if (high < 0) {
          high = digit;
        } else {
          bytes.push_back(static_cast<char>(high * 16 + digit));
          high = -1;
        }
      }
      if (valid) {
        if (high >= 0) bytes.push_back(static_cast<char>(high * 16));
        if (appendLiteral(out, bytes, end - i)) {
          i = end;
          continue;
        }
      } else {
        end = i + 1;
      }
    }
    out.insert(out.end(), content.begin() + static_cast<std::ptrdiff_t>(i),
               content.begin() + static_cast<std::ptrdiff_t>(end));
    i = end;
  }
  return out;
}

}  // namespace zopra::pdf
