#include "pdf/parse/lexer.h"

#include <array>
#include <charconv>
#include <cstring>
#include <string_view>

#include "pdf/model/error.h"
#include "pdf/parse/keyword_index.h"

namespace zopra::pdf {

namespace {

// Byte classes, decided by table rather than <cctype>, which is locale dependent.
constexpr std::uint8_t kWhite = 1;
constexpr std::uint8_t kDelimiter = 2;
constexpr std::uint8_t kDigit = 4;

constexpr auto kClasses = [] {
  std::array<std::uint8_t, 256> table{};
  for (std::uint8_t c : {0, 9, 10, 12, 13, 32}) table[c] = kWhite | kDelimiter;
  for (char c : std::string_view("%()/<>[]{}")) table[static_cast<std::uint8_t>(c)] = kDelimiter;
  for (int c = '0'; c <= '9'; ++c) table[c] = kDigit;
  return table;
}();

int hexValue(std::uint8_t c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool isDigit(std::uint8_t c) { return (kClasses[c] & kDigit) != 0; }

[[noreturn]] void fail(const char* message) { throw Exception(Error::Format, message); }

}  // namespace

bool isWhiteSpace(std::uint8_t byte) { return (kClasses[byte] & kWhite) != 0; }
bool isDelimiter(std::uint8_t byte) { return (kClasses[byte] & kDelimiter) != 0; }

void Lexer::skipWhiteSpace() {
  while (position_ < size_) {
    std::uint8_t c = data_[position_];
    if (isWhiteSpace(c)) {
      ++position_;
    } else if (c == '%') {
      while (position_ < size_ && data_[position_] != '\n' && data_[position_] != '\r') ++position_;
    } else {
      break;
    }
  }
}

double Lexer::number() {
  skipWhiteSpace();
  std::uint64_t start = position_;
  if (position_ < size_ && (data_[position_] == '+' || data_[position_] == '-')) ++position_;
  std::uint64_t digitsStart = position_;
  while (position_ < size_ && isDigit(data_[position_])) ++position_;
  std::uint64_t integerDigits = position_ - digitsStart;
  std::uint64_t fractionDigits = 0;
  if (position_ < size_ && data_[position_] == '.') {
    ++position_;
    std::uint64_t fractionStart = position_;
    while (position_ < size_ && isDigit(data_[position_])) ++position_;
    fractionDigits = position_ - fractionStart;
  }
  if (integerDigits == 0 && fractionDigits == 0) {
    position_ = start;
    fail("invalid PDF number");
  }
  if (integerDigits + fractionDigits <= 15) {
    // An exact integer divided by an exact power of ten: one division
    // rounds it correctly, as from_chars would.
    static constexpr double kPowers[] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8,
                                         1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    std::uint64_t mantissa = 0;
    for (std::uint64_t at = digitsStart; at < position_; ++at) {
      if (data_[at] != '.') mantissa = mantissa * 10 + static_cast<std::uint64_t>(data_[at] - '0');
    }
    double value = static_cast<double>(mantissa) / kPowers[fractionDigits];
    return data_[start] == '-' ? -value : value;
  }
  // from_chars is locale independent; it accepts neither a leading "+" nor a
  // trailing "." without digits, so both are dropped from the text it sees.
  const char* first = reinterpret_cast<const char*>(data_ + start);
  const char* last = reinterpret_cast<const char*>(data_ + position_);
  if (*first == '+') ++first;
  if (fractionDigits == 0 && last[-1] == '.') --last;
  double result = 0;
  auto [end, error] = std::from_chars(first, last, result);
  if (error != std::errc() || end != last) fail("invalid PDF number");
  return result;
}

std::string Lexer::word() {
  skipWhiteSpace();
  std::uint64_t start = position_;
  while (position_ < size_ && !isDelimiter(data_[position_])) ++position_;
  if (position_ == start) fail("expected a PDF token");
  return std::string(reinterpret_cast<const char*>(data_ + start), position_ - start);
}

std::string Lexer::name() {
  if (position_ >= size_ || data_[position_] != '/') fail("expected PDF name");
  ++position_;
  std::string result;
  while (position_ < size_ && !isDelimiter(data_[position_])) {
    std::uint8_t c = data_[position_];
    if (c == '#' && size_ - position_ > 2) {
      int high = hexValue(data_[position_ + 1]);
      int low = hexValue(data_[position_ + 2]);
      if (high >= 0 && low >= 0) {
        result.push_back(static_cast<char>(high * 16 + low));
        position_ += 3;
        continue;
      }
    }
    result.push_back(static_cast<char>(c));
    ++position_;
  }
  return result;
}

bool Lexer::match(std::string_view text) {
  skipWhiteSpace();
  if (size_ - position_ < text.size()) return false;
  if (std::memcmp(data_ + position_, text.data(), text.size()) != 0) return false;
  std::uint64_t after = position_ + text.size();
  if (after < size_ && !isDelimiter(data_[after])) return false;
  position_ = after;
  return true;
}

Value Lexer::value(int depth) {
  // Arrays and dictionaries are read with an explicit stack rather than by
  // recursion: a malformed value then fails from this one frame, however deep
  // it was nested. Unwinding a hundred frames per failed attempt made the
  // recovery scan of a file full of deeply nested junk take seconds per
  // megabyte.
  struct Container {
    bool isDictionary = false;
    ValueArray items;
    std::vector<std::pair<std::string, Value>> entries;
    std::string key;
  };
  std::vector<Container> open;
  for (;;) {
    Value item;
    bool closed = false;
    skipWhiteSpace();
    if (!open.empty()) {
      Container& top = open.back();
      if (top.isDictionary) {
        if (size_ - position_ >= 2 && data_[position_] == '>' && data_[position_ + 1] == '>') {
          position_ += 2;
          item = Value::Dictionary(ValueDictionary::fromEntries(std::move(top.entries)));
          closed = true;
        } else {
          if (position_ >= size_ || data_[position_] != '/') fail("invalid PDF dictionary key");
          top.key = name();
        }
      } else {
        if (position_ >= size_) fail("unterminated PDF array");
        if (data_[position_] == ']') {
          ++position_;
          // Values are large and arrays (annotation lists, widths) are kept
          // for the document's lifetime: drop the growth slack.
          top.items.shrink_to_fit();
          item = Value::Array(std::move(top.items));
          closed = true;
        }
      }
      if (closed) open.pop_back();
    }
    if (!closed) {
      if (depth + static_cast<int>(open.size()) > kMaxDepth) fail("PDF object nesting is too deep");
      skipWhiteSpace();
      if (position_ >= size_) fail("unexpected end of PDF object");
      std::uint8_t c = data_[position_];
      if (c == '[' || (c == '<' && position_ + 1 < size_ && data_[position_ + 1] == '<')) {
        position_ += c == '[' ? 1 : 2;
        open.emplace_back().isDictionary = c == '<';
        continue;
      }
      item = scalar();
    }
    if (open.empty()) return item;
    Container& parent = open.back();
    if (parent.isDictionary) {
      parent.entries.emplace_back(std::move(parent.key), std::move(item));
    } else {
      parent.items.push_back(std::move(item));
    }
  }
}

Value Lexer::scalar() {
  std::uint8_t c = data_[position_];
  switch (c) {
    case '(':
      return Value::String(literalString());
    case '<':
      return Value::String(hexString());
    case '/':
      return Value::Name(name());
    default:
      break;
  }
  if (c == '+' || c == '-' || c == '.' || isDigit(c)) return numberOrReference();
  std::string text = word();
  if (text == "null") return Value();
  if (text == "true") return Value::Boolean(true);
  if (text == "false") return Value::Boolean(false);
  return Value::Keyword(std::move(text));
}

std::string Lexer::literalString() {
  ++position_;  // "("
  std::string result;
  int depth = 1;
  while (true) {
    if (position_ >= size_) fail("unterminated PDF string");
    std::uint8_t c = data_[position_++];
    if (c == '(') {
      ++depth;
      result.push_back('(');
    } else if (c == ')') {
      if (--depth == 0) break;
      result.push_back(')');
    } else if (c == '\\') {
      if (position_ >= size_) fail("unterminated PDF string");
      std::uint8_t e = data_[position_++];
      switch (e) {
        case 'n': result.push_back('\n'); break;
        case 'r': result.push_back('\r'); break;
        case 't': result.push_back('\t'); break;
        case 'b': result.push_back('\b'); break;
        case 'f': result.push_back('\f'); break;
        case '\n': break;
        case '\r':
          if (position_ < size_ && data_[position_] == '\n') ++position_;
          break;
        default:
          if (e >= '0' && e <= '7') {
            unsigned value = e - '0';
            for (int i = 0; i < 2 && position_ < size_ && data_[position_] >= '0' &&
                            data_[position_] <= '7';
                 ++i) {
              value = value * 8 + (data_[position_++] - '0');
            }
            result.push_back(static_cast<char>(value & 0xFF));
          } else {
            result.push_back(static_cast<char>(e));
          }
      }
    } else {
      result.push_back(static_cast<char>(c));
    }
  }
  return result;
}

std::string Lexer::hexString() {
  ++position_;  // "<"
  std::string result;
  int pending = -1;
  while (position_ < size_) {
    std::uint8_t c = data_[position_];
    if (isWhiteSpace(c)) {
      ++position_;
      continue;
    }
    if (c == '>') {
      ++position_;
      break;
    }
    int nibble = hexValue(c);
    if (nibble < 0) fail("invalid PDF hex string");
    ++position_;
    if (pending < 0) {
      pending = nibble;
    } else {
      result.push_back(static_cast<char>(pending * 16 + nibble));
      pending = -1;
    }
  }
  if (pending >= 0) result.push_back(static_cast<char>(pending * 16));
  return result;
}

Value Lexer::numberOrReference() {
  double first = number();
  std::uint64_t afterFirst = position_;
  if (isWholeNumber(first, 0, 4294967295.0)) {
    skipWhiteSpace();
    if (position_ < size_ &&
        (data_[position_] == '+' || data_[position_] == '-' || isDigit(data_[position_]))) {
      try {
        double second = number();
        if (isWholeNumber(second, 0, 4294967295.0) && match("R")) {
          return Value::Reference(static_cast<std::uint32_t>(first),
                                  static_cast<std::uint32_t>(second));
        }
      } catch (const Exception&) {
        // Not a reference after all.
      }
    }
  }
  position_ = afterFirst;
  return Value::Number(first);
}

namespace {

// Position of "endstream" in [from, size), or npos.
std::size_t findEndstream(ByteView bytes, const KeywordIndex* index, std::size_t from,
                          std::size_t size) {
  if (from >= size) return std::string_view::npos;
  if (index) return index->next(from, size);
  std::string_view haystack(reinterpret_cast<const char*>(bytes.data()), size);
  return haystack.find("endstream", from);
}

// "endobj" must follow within this many bytes; only that window is searched.
constexpr std::uint64_t kEndObjectWindow = 64;

bool readObject(ByteView bytes, std::size_t size, Lexer& lexer, std::uint64_t offset,
                Object& object, std::uint64_t& end, const KeywordIndex* endstreams) {
  double number = lexer.number();
  double generation = lexer.number();
  if (!isWholeNumber(number, 1, 4294967295.0) || !isWholeNumber(generation, 0, 4294967295.0)) {
    return false;
  }
  if (!lexer.match("obj")) return false;
  object.number = static_cast<std::uint32_t>(number);
  object.generation = static_cast<std::uint32_t>(generation);
  object.offset = offset;
  object.value = lexer.value(0);

  std::uint64_t readPosition = lexer.position();
  if (object.value.isDictionary() && lexer.match("stream")) {
    std::uint64_t start = lexer.position();
    if (start < size && bytes[start] == '\r') {
      ++start;
      if (start < size && bytes[start] == '\n') ++start;
    } else if (start < size && bytes[start] == '\n') {
      ++start;
    }
    std::uint64_t dataEnd = 0;
    const Value* length = object.value.find("Length");
    if (length && length->isNumber() && isWholeNumber(length->number, 0, 18446744073709551616.0) &&
        start <= size && length->number <= static_cast<double>(size - start)) {
      dataEnd = start + static_cast<std::uint64_t>(length->number);
    } else {
      std::size_t found = findEndstream(bytes, endstreams, start, size);
      if (found == std::string_view::npos) {
        lexer.setPosition(size);
        throw Exception(Error::Format, "unterminated PDF stream");
      }
      dataEnd = found;
      while (dataEnd > start && (bytes[dataEnd - 1] == '\r' || bytes[dataEnd - 1] == '\n')) {
        --dataEnd;
      }
    }
    object.isStream = true;
    object.streamOffset = start;
    object.streamLength = dataEnd - start;
    readPosition = dataEnd;
    std::size_t endStream = findEndstream(bytes, endstreams, dataEnd, size);
    if (endStream != std::string_view::npos) readPosition = endStream + 9;
    // A damaged "endstream" keyword after data of the right length: the
    // next one found belongs to a later object. An "endobj" right after the
    // data then ends this object, so that the objects between stay visible.
    if (endStream != std::string_view::npos && endStream - dataEnd > kEndObjectWindow) {
      std::string_view near(reinterpret_cast<const char*>(bytes.data()) + dataEnd,
                            std::min<std::uint64_t>(size - dataEnd, kEndObjectWindow + 6));
      if (near.find("endobj") != std::string_view::npos) readPosition = dataEnd;
    }
  }

  if (readPosition > size) return false;
  std::uint64_t windowEnd = std::min<std::uint64_t>(size, readPosition + kEndObjectWindow + 6);
  std::string_view window(reinterpret_cast<const char*>(bytes.data()) + readPosition,
                          windowEnd - readPosition);
  lexer.setPosition(windowEnd);
  std::size_t found = window.find("endobj");
  if (found == std::string_view::npos) return false;
  end = readPosition + found + 6;
  return true;
}

}  // namespace

bool parseObjectAt(ByteView bytes, std::uint64_t offset, Object& object, std::uint64_t& end,
                   ScanBounds* bounds, const KeywordIndex* endstreams) {
  const std::size_t size =
      bounds ? static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), bounds->limit))
             : bytes.size();
  Lexer lexer(bytes.data(), size, offset);
  try {
    bool ok = readObject(bytes, size, lexer, offset, object, end, endstreams);
    if (bounds) bounds->reached = ok ? end : lexer.position();
    return ok;
  } catch (...) {
    if (bounds) bounds->reached = lexer.position();
    throw;
  }
}

}  // namespace zopra::pdf
