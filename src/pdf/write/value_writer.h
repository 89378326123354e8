// The text form of PDF values as the document writer puts them into a file.
// Numbers are formatted without any locale, so the output is the same
// whatever the host program has set.
#pragma once

#include <ostream>
#include <string>
#include <string_view>

#include "pdf/model/value.h"

namespace zopra::pdf {

// Writes the bytes unformatted, so that a width or fill left on the caller's
// stream cannot pad the output.
void writeText(std::ostream& out, std::string_view piece);
// A whole number in decimal, independent of the stream's locale.
void writeUnsigned(std::ostream& out, std::uint64_t number);

// How strings are written: always as lower-case hex strings, or in the
// shorter of that and a literal string with escapes.
enum class StringForm { Hex, Shortest };

// Appends the text of one value: strings as `strings` says (hex by
// default), names escaped, numbers with 12 significant digits.
void writeValue(std::ostream& out, const Value& value, StringForm strings = StringForm::Hex);
// The bytes as a literal string, "(...)" with backslash escapes for the
// backslash, both parentheses and the line-end bytes; empty when that is
// longer than the hex form.
std::string literalString(const std::string& bytes);
// The two-character escape a literal string writes for `c`, or null when
// `c` stands as it is.
const char* literalEscape(char c);
// "/" and the name's bytes, with "#XX" for bytes that cannot stand in a name.
std::string escapeName(std::string_view name);
// Whether a name byte must be written as #XX: outside '!'..'~', or a
// delimiter, '%' or '#'.
bool nameNeedsEscape(unsigned char byte);
// A number with 10 significant digits in the shortest general form, but in
// plain decimals where that form has an exponent, which PDF syntax lacks
// (1 is "1", 0.5 is "0.5", 1e-12 is "0.000000000001"), and as a real from
// 2^53 on, where integer forms stop being exact (1e19 is
// "10000000000000000000.0"). NaN and infinities are written as 0.
std::string numberText(double number);
// The same with `significantDigits` (1 to 17) significant digits.
std::string numberText(double number, int significantDigits);

}  // namespace zopra::pdf
