// Helpers of Document::drawText that stand on their own: the ToUnicode CMap
// of an embedded font, and the flattening of a page's Contents entry.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "pdf/model/document.h"

namespace zopra::pdf {

// The ToUnicode CMap text mapping each glyph index (as a two-byte code) to
// its code point, in UTF-16 (a surrogate pair above U+FFFF).
std::string makeToUnicode(const std::map<std::uint16_t, std::uint32_t>& glyphToUnicode);

// Appends to `out` the content stream references a page's "Contents" value
// names, in order: references to arrays held by objects are followed (each
// object once, its number added to `visited`), arrays walked element by
// element, and anything else (a stream reference, a reference to a missing
// object, any other value) appended as it is. Throws
// Exception(Error::Format, "page content is too complex") past a nesting
// budget.
void appendPageContent(const Document& document, const Value& contents, ValueArray& out,
                       std::set<std::uint32_t>& visited);

// Rewrites the W array and ToUnicode map of an embedded font from its
// glyph maps, and forgets what the font cache built from the old ones.
void writeGlyphTables(Document& document, Document::EmbeddedFont& font);

// The resource name of a font embedded now, first drawn on `page`: "ZDL"
// and the count of fonts embedded before, counted on past names the
// embedded fonts or the page's Font resources already have.
std::string newFontName(const Document& document, const Page& page);

// True for a font size new text can be drawn with: finite, above 0 and at
// most 10000 text space units.
bool validFontSize(double size);

// Moves a prepared text by dx along its baseline and dy across it, in the
// text space of its matrix: the translation of the matrix moves by
// dx * (a, b) + dy * (c, d).
void moveText(Document::DrawState& state, double dx, double dy);

}  // namespace zopra::pdf
