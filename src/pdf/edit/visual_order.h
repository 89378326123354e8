// The order and forms in which the characters of a new text stand on the
// line. A page shows Hebrew and Arabic in visual order, glyph after glyph
// from the left; a text to draw comes in reading (logical) order.
#pragma once

#include <cstdint>
#include <vector>

namespace zopra::pdf {

struct VisualText {
  // The characters to find glyphs for, left to right: right-to-left runs
  // reversed by the Unicode Bidirectional Algorithm, brackets in them
  // mirrored, Arabic letters in the presentation form of their joining.
  std::vector<std::uint32_t> shown;
  // Per entry of `shown`, the character its glyph stands for, as a reader
  // extracts it: the mirrored bracket, but the letter of a joining form.
  std::vector<std::uint32_t> named;
};

// Both empty for text without a right-to-left letter, which keeps its order
// and characters. The line's base direction is that of most of its letters
// (see letterDirections), as text extraction takes it.
VisualText visualOrder(const std::vector<std::uint32_t>& logical);

}  // namespace zopra::pdf
