#include "pdf/write/value_writer.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>

namespace zopra::pdf {

namespace {

// Values come from the lexer, whose nesting is bounded far below this, or
// from the engine's own edits; deeper values are cut off as null rather than
// recursing without limit.
constexpr int kMaxDepth = 1000;

constexpr char kHexUpper[] = "0123456789ABCDEF";
constexpr char kHexLower[] = "0123456789abcdef";

// Room for any double in plain decimals: 309 integer digits for the
// largest, 17 significant digits after 323 zeros for the smallest.
constexpr std::size_t kNumberBuffer = 400;
// From here on a double no longer holds every integer, and readers that take
// integer tokens as 64-bit integers fail past 2^63: such numbers are written
// as reals (a decimal point and one zero).
constexpr double kLargestInteger = 9007199254740992.0;  // 2^53

// %.{precision}g in the C locale, except that PDF syntax has no exponents: a
// number that format would write with one (8e-06, 1.2e+12) is written with
// the same significant digits in plain decimals (0.000008, 1200000000000.0),
// however small it is. NaN and infinities have no PDF syntax either and
// would make readers reject the file, so they are written as 0.
// The common case of formatNumber, done with integer arithmetic: a
// magnitude from 0.0001 up to 10^15 that %g writes without an exponent,
// scaled to an integer of `precision` digits that is clearly nearer one
// integer than the next. Empty when the number is not such a case; what
// it writes is then what the general path writes.
std::string_view formatPlainly(double number, int precision, char (&buffer)[kNumberBuffer]) {
  static constexpr double kPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9, 1e10,
                                       1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20};
  const double magnitude = std::fabs(number);
  if (!(magnitude >= 1e-4 && magnitude < 1e15) || precision > 15) return {};
  // The decimal exponent: 10^exponent <= magnitude < 10^(exponent + 1).
  int exponent = -4;
  while (exponent < 14 && magnitude >= (exponent + 1 >= 0 ? kPowers[exponent + 1] : 1.0 / kPowers[-(exponent + 1)])) {
    ++exponent;
  }
  if (exponent >= precision) return {};
  const int decimals = precision - 1 - exponent;
  if (decimals > 20) return {};
  const double scaled = magnitude * kPowers[decimals];
  if (!(scaled < 9007199254740992.0)) return {};
  // The product may be off by a few units in its last place: a fraction
  // near one half could round either way, and is left to the exact path.
  const double floor = std::floor(scaled);
  const double fraction = scaled - floor;
  if (std::fabs(fraction - 0.5) <= scaled * 1e-15 + 1e-9) return {};
  auto digits = static_cast<std::uint64_t>(fraction > 0.5 ? floor + 1 : floor);
  int shown = decimals;
  while (shown > 0 && digits % 10 == 0) {
    digits /= 10;
    --shown;
  }
  char text[32];
  const auto end = std::to_chars(text, text + sizeof text, digits).ptr;
  const int length = static_cast<int>(end - text);
  char* out = buffer;
  if (number < 0) *out++ = '-';
  if (length <= shown) {
    *out++ = '0';
    *out++ = '.';
    for (int k = length; k < shown; ++k) *out++ = '0';
    for (int k = 0; k < length; ++k) *out++ = text[k];
  } else {
    for (int k = 0; k < length - shown; ++k) *out++ = text[k];
    if (shown > 0) {
      *out++ = '.';
      for (int k = length - shown; k < length; ++k) *out++ = text[k];
    }
  }
  return std::string_view(buffer, static_cast<std::size_t>(out - buffer));
}

std::string_view formatNumber(double number, int precision, char (&buffer)[kNumberBuffer]) {
  if (!std::isfinite(number)) number = 0.0;
  if (const std::string_view plain = formatPlainly(number, precision, buffer); !plain.empty()) return plain;
  auto result = std::to_chars(buffer, buffer + sizeof buffer - 2, number, std::chars_format::general,
                              precision);
  std::string_view text(buffer, static_cast<std::size_t>(result.ptr - buffer));
  if (text.find('e') != std::string_view::npos) {
    const int exponent = static_cast<int>(std::floor(std::log10(std::fabs(number))));
    const int decimals = std::max(precision - 1 - exponent, 0);
    result = std::to_chars(buffer, buffer + sizeof buffer - 2, number, std::chars_format::fixed, decimals);
    text = std::string_view(buffer, static_cast<std::size_t>(result.ptr - buffer));
    if (text.find('.') != std::string_view::npos) {
      while (text.back() == '0') text.remove_suffix(1);
      if (text.back() == '.') text.remove_suffix(1);
    }
    if (text == "-0" || text.empty()) text = "0";
  }
  if (std::fabs(number) >= kLargestInteger && text.find('.') == std::string_view::npos) {
    // The two bytes kept free above.
    buffer[text.size()] = '.';
    buffer[text.size() + 1] = '0';
    text = std::string_view(buffer, text.size() + 2);
  }
  return text;
}

void text(std::ostream& out, std::string_view piece) { writeText(out, piece); }

void writeHexString(std::ostream& out, const std::string& bytes) {
  char chunk[512];
  std::size_t used = 0;
  chunk[used++] = '<';
  for (char c : bytes) {
    if (used + 2 > sizeof chunk) {
      out.write(chunk, static_cast<std::streamsize>(used));
      used = 0;
    }
    auto byte = static_cast<unsigned char>(c);
    chunk[used++] = kHexLower[byte >> 4];
    chunk[used++] = kHexLower[byte & 0x0F];
  }
  if (used + 1 > sizeof chunk) {
    out.write(chunk, static_cast<std::streamsize>(used));
    used = 0;
  }
  chunk[used++] = '>';
  out.write(chunk, static_cast<std::streamsize>(used));
}

void writeNested(std::ostream& out, const Value& value, int depth, StringForm strings) {
  if (depth > kMaxDepth) {
    text(out, "null");
    return;
  }
  switch (value.kind) {
    case Value::Kind::Null:
      text(out, "null");
      break;
    case Value::Kind::Boolean:
      text(out, (value.boolean ? "true" : "false"));
      break;
    case Value::Kind::Number: {
      char buffer[kNumberBuffer];
      text(out, formatNumber(value.number, 12, buffer));
      break;
    }
    case Value::Kind::String: {
      const std::string literal = strings == StringForm::Shortest ? literalString(value.text) : std::string();
      if (literal.empty()) {
        writeHexString(out, value.text);
      } else {
        text(out, literal);
      }
      break;
    }
    case Value::Kind::Name:
      text(out, escapeName(value.text));
      break;
    case Value::Kind::Array:
      out.put('[');
      for (const Value& item : value.array) {
        writeNested(out, item, depth + 1, strings);
        out.put(' ');
      }
      out.put(']');
      break;
    case Value::Kind::Dictionary:
      text(out, "<<");
      for (const auto& [key, item] : value.dictionary) {
        out.put('\n');
        text(out, escapeName(key));
        out.put(' ');
        writeNested(out, item, depth + 1, strings);
      }
      text(out, "\n>>");
      break;
    case Value::Kind::Reference:
      writeUnsigned(out, value.objectNumber);
      out.put(' ');
      writeUnsigned(out, value.generation);
      text(out, " R");
      break;
    case Value::Kind::Keyword:
      text(out, value.text);
      break;
  }
}

}  // namespace

// "(...)" with backslash escapes for the backslash, both parentheses and
// the line-end bytes (which readers would otherwise normalise); every other
// byte stands for itself. Empty when the hex form is not longer.
const char* literalEscape(char c) {
  switch (c) {
    case '\\': return "\\\\";
    case '(': return "\\(";
    case ')': return "\\)";
    case '\r': return "\\r";
    case '\n': return "\\n";
    default: return nullptr;
  }
}

std::string literalString(const std::string& bytes) {
  std::string literal;
  literal.reserve(bytes.size() + 2);
  literal.push_back('(');
  for (char c : bytes) {
    if (const char* escape = literalEscape(c)) {
      literal += escape;
    } else {
      literal.push_back(c);
    }
    if (literal.size() >= 2 * bytes.size() + 2) return std::string();
  }
  literal.push_back(')');
  return literal.size() <= 2 * bytes.size() + 2 ? literal : std::string();
}

void writeText(std::ostream& out, std::string_view piece) {
  out.write(piece.data(), static_cast<std::streamsize>(piece.size()));
}

void writeUnsigned(std::ostream& out, std::uint64_t number) {
  char buffer[24];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
  out.write(buffer, result.ptr - buffer);
}

void writeValue(std::ostream& out, const Value& value, StringForm strings) {
  writeNested(out, value, 0, strings);
}

bool nameNeedsEscape(unsigned char byte) {
  if (byte < 0x21 || byte > 0x7E) return true;
  switch (byte) {
    case '#': case '%': case '(': case ')': case '/':
    case '<': case '>': case '[': case ']': case '{': case '}':
      return true;
    default:
      return false;
  }
}

std::string escapeName(std::string_view name) {
  std::string result;
  result.reserve(name.size() + 1);
  result.push_back('/');
  for (char c : name) {
    auto byte = static_cast<unsigned char>(c);
    if (nameNeedsEscape(byte)) {
      result.push_back('#');
      result.push_back(kHexUpper[byte >> 4]);
      result.push_back(kHexUpper[byte & 0x0F]);
    } else {
      result.push_back(c);
    }
  }
  return result;
}

std::string numberText(double number) { return numberText(number, 10); }

std::string numberText(double number, int significantDigits) {
  char buffer[kNumberBuffer];
  return std::string(formatNumber(number, std::clamp(significantDigits, 1, 17), buffer));
}

}  // namespace zopra::pdf
