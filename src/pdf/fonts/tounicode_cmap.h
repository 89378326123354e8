// Reading a ToUnicode CMap: source codes to Unicode, plus code space.
#pragma once

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "pdf/fonts/font_info.h"
#include "pdf/model/value.h"

namespace zopra::pdf {

// Reads the decoded CMap text. Malformed sections are skipped; the map is
// bounded in entries, in code points and in the work its ranges may ask for,
// so that a hostile CMap stays small.
ToUnicodeMap readToUnicodeCMap(const Bytes& data);

using ToUnicodeEntries = std::map<std::pair<std::uint32_t, std::uint32_t>, std::vector<std::uint32_t>>;

// The compact form of (byte length, code) -> code points entries.
ToUnicodeMap compactToUnicodeMap(const ToUnicodeEntries& entries,
                                 std::vector<CodeSpaceRange> codeSpace = {});

// Appends a code space range and records its byte length in font.codeLengths
// (after the lengths already there).
void addCodeSpaceRange(FontInfo& font, const CodeSpaceRange& range);

}  // namespace zopra::pdf
