// The text of a block as a reader and a translator want it: lines joined by
// a space, words hyphenated at a line end joined back, ligatures spelled out.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pdf/content/text_entry.h"
#include "pdf/layout/text_lines.h"

namespace zopra::pdf {

// The items of one line joined: a space where the gap between two items is
// wider than a fifth of an em and neither already has one there.
std::string lineText(const std::vector<TextEntry>& items, const TextLine& line);

// The text of a line of code: its indentation written with spaces kept,
// and each gap between its items as many spaces as fill it at the font's
// pitch (at least one).
std::string codeLineText(const std::vector<TextEntry>& items, const TextLine& line);

// Lines joined. A line that ends in a hyphen after a lower-case letter,
// followed by a line that starts with a lower-case letter, is joined
// without the hyphen ("infor-" "mation" gives "information"), unless the
// word already holds a hyphen (a compound: "state-of-the-" "art"); any
// other hyphen at a line end is kept and joined without a space ("1999-"
// "2004"). Lines of Chinese or Japanese join without a space.
std::string joinLines(const std::vector<std::string>& lines);

// Han, kana, and their punctuation and full-width forms: Chinese and
// Japanese are written without spaces between words. Hangul is not: Korean
// spaces its words.
bool unspacedScript(std::uint32_t c);

// Ligatures and presentation forms (U+FB00 to U+FB06) become their letters;
// runs of white space become one space, none at either end.
std::string plainText(const std::string& text);

// A line of code: ligatures become their letters and white space a space
// each, so that indentation stays; none at the end.
std::string codeText(const std::string& text);

}  // namespace zopra::pdf
