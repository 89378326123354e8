// The ToUnicode CMap of a font: source codes to Unicode, plus code space.
#pragma once

#include "pdf/fonts/font_info.h"
#include "pdf/model/value.h"

namespace zopra::pdf {

// Reads the decoded CMap text into font.toUnicode and appends its code space
// ranges to font.codeSpace (their byte lengths to font.codeLengths). Malformed
// sections are skipped; ranges are bounded so hostile maps stay small.
void readToUnicodeCMap(const Bytes& data, FontInfo& font);

// Appends a code space range and records its byte length in font.codeLengths
// (after the lengths already there).
void addCodeSpaceRange(FontInfo& font, const CodeSpaceRange& range);

}  // namespace zopra::pdf
