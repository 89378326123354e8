// UTF-16BE, UTF-8 and code point conversions. None of them throws on bad input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zopra::pdf {

std::vector<std::uint32_t> utf16be(std::string_view bytes);
// `ok` (may be null) tells whether the whole input was well-formed.
std::vector<std::uint32_t> decodeUtf8(std::string_view bytes, bool* ok);
std::string encodeUtf8(std::uint32_t codePoint);
std::string encodeUtf8(const std::vector<std::uint32_t>& codePoints);
// An ASCII letter, a to z or A to Z, whatever the locale.
inline bool isAsciiLetter(std::uint32_t c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
// How many ASCII letters the UTF-8 text holds.
std::size_t asciiLetterCount(std::string_view text);

}  // namespace zopra::pdf
