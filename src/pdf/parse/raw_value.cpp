// The raw value check; see raw_value.h. A recursive descent over the same
// token rules as the lexer, stricter where the lexer repairs: anything it
// would have to guess at is left to the parser.
#include "pdf/parse/raw_value.h"

#include <string_view>

#include "pdf/parse/lexer.h"

namespace zopra::pdf {

namespace {

bool isDigit(std::uint8_t c) { return c >= '0' && c <= '9'; }

bool isHexDigit(std::uint8_t c) { return isDigit(c) || ((c | 0x20) >= 'a' && (c | 0x20) <= 'f'); }

class RawScanner {
 public:
  RawScanner(const std::uint8_t* data, std::size_t size, std::vector<std::uint32_t>& references)
      : data_(data), size_(size), references_(references) {}

  std::size_t position() const { return position_; }

  void skipWhiteSpace() {
    while (position_ < size_) {
      const std::uint8_t c = data_[position_];
      if (c == '%') {
        while (position_ < size_ && data_[position_] != '\n' && data_[position_] != '\r') ++position_;
      } else if (isWhiteSpace(c)) {
        ++position_;
      } else {
        return;
      }
    }
  }

  // One value at the position (white space skipped first).
  bool value(int depth) {
    skipWhiteSpace();
    if (position_ >= size_) return false;
    const std::uint8_t c = data_[position_];
    switch (c) {
      case '(':
        return literalString();
      case '<':
        if (position_ + 1 < size_ && data_[position_ + 1] == '<') return dictionary(depth);
        return hexString();
      case '[':
        return array(depth);
      case '/':
        return name();
      default:
        break;
    }
    if (c == '+' || c == '-' || c == '.' || isDigit(c)) return numberOrReference();
    return keyword();
  }

 private:
  bool atDelimiterOrEnd() const { return position_ >= size_ || isDelimiter(data_[position_]); }

  bool literalString() {
    ++position_;
    int depth = 1;
    while (position_ < size_) {
      const std::uint8_t c = data_[position_++];
      if (c == '\\') {
        if (position_ >= size_) return false;
        ++position_;
      } else if (c == '(') {
        ++depth;
      } else if (c == ')' && --depth == 0) {
        return true;
      }
    }
    return false;
  }

  bool hexString() {
    ++position_;
    while (position_ < size_) {
      const std::uint8_t c = data_[position_++];
      if (c == '>') return true;
      if (!isHexDigit(c) && !isWhiteSpace(c)) return false;
    }
    return false;
  }

  bool name() {
    ++position_;
    while (!atDelimiterOrEnd()) ++position_;
    return true;
  }

  bool array(int depth) {
    if (depth >= Lexer::kMaxDepth) return false;
    ++position_;
    for (;;) {
      skipWhiteSpace();
      if (position_ >= size_) return false;
      if (data_[position_] == ']') {
        ++position_;
        return true;
      }
      if (!value(depth + 1)) return false;
    }
  }

  bool dictionary(int depth) {
    if (depth >= Lexer::kMaxDepth) return false;
    position_ += 2;
    for (;;) {
      skipWhiteSpace();
      if (position_ >= size_) return false;
      if (data_[position_] == '>') {
        if (position_ + 1 >= size_ || data_[position_ + 1] != '>') return false;
        position_ += 2;
        return true;
      }
      if (data_[position_] != '/' || !name() || !value(depth + 1)) return false;
    }
  }

  // [+-]digits[.digits] or [+-].digits; `whole` tells an unsigned integer
  // below 2^32 (a candidate for a reference's parts) and gives its value.
  bool number(bool& whole, std::uint64_t& integer) {
    const std::size_t start = position_;
    bool sign = false;
    if (data_[position_] == '+' || data_[position_] == '-') {
      sign = true;
      ++position_;
    }
    std::size_t digits = 0;
    integer = 0;
    while (position_ < size_ && isDigit(data_[position_])) {
      if (integer <= 0xFFFFFFFFull) integer = integer * 10 + (data_[position_] - '0');
      ++position_;
      ++digits;
    }
    bool point = false;
    if (position_ < size_ && data_[position_] == '.') {
      point = true;
      ++position_;
      while (position_ < size_ && isDigit(data_[position_])) {
        ++position_;
        ++digits;
      }
    }
    whole = !sign && !point && integer <= 0xFFFFFFFFull;
    return digits > 0 && position_ > start && atDelimiterOrEnd();
  }

  bool numberOrReference() {
    bool whole = false;
    std::uint64_t first = 0;
    if (!number(whole, first)) return false;
    if (!whole) return true;
    // "N G R": the lexer reads it as one reference when both numbers are
    // whole and R follows.
    const std::size_t afterFirst = position_;
    skipWhiteSpace();
    if (position_ < size_ && isDigit(data_[position_])) {
      bool secondWhole = false;
      std::uint64_t second = 0;
      if (number(secondWhole, second) && secondWhole) {
        skipWhiteSpace();
        if (position_ < size_ && data_[position_] == 'R') {
          ++position_;
          if (atDelimiterOrEnd()) {
            references_.push_back(static_cast<std::uint32_t>(first));
            return true;
          }
        }
      }
    }
    position_ = afterFirst;
    return true;
  }

  bool keyword() {
    const std::size_t start = position_;
    while (!atDelimiterOrEnd()) ++position_;
    const std::string_view word(reinterpret_cast<const char*>(data_ + start), position_ - start);
    return word == "true" || word == "false" || word == "null";
  }

  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t position_ = 0;
  std::vector<std::uint32_t>& references_;
};

}  // namespace

bool scanRawValue(const std::uint8_t* data, std::size_t size, RawValue& value) {
  value.references.clear();
  RawScanner scanner(data, size, value.references);
  scanner.skipWhiteSpace();
  value.begin = scanner.position();
  if (!scanner.value(0)) return false;
  value.end = scanner.position();
  scanner.skipWhiteSpace();
  return scanner.position() == size;
}

}  // namespace zopra::pdf
