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
// How many ASCII letters (a to z, A to Z) the UTF-8 text holds.
std::size_t asciiLetterCount(std::string_view text);

}  // namespace zopra::pdf
