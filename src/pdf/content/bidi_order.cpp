// Visual to logical order through GNU FriBidi. Text drawn on a page is in
// visual order; reordering a visual line with the algorithm once more gives
// back the logical order for the lines that real files hold (runs of one
// direction, numbers inside right-to-left text, mirrored brackets).
#include "pdf/content/bidi_order.h"

#include <fribidi.h>

#include <cstdint>
#include <limits>

#include "pdf/fonts/unicode.h"

namespace zopra::pdf {

namespace {

bool rightToLeft(FriBidiCharType type) { return type == FRIBIDI_TYPE_RTL || type == FRIBIDI_TYPE_AL; }

// Whether the UTF-8 text may hold a right-to-left letter: a lead byte of
// U+0580 to U+0FFF (Hebrew, Arabic, Syriac, Thaana, N'Ko and their
// extensions), of U+F000 to U+FFFF (the presentation forms) or of the
// supplementary planes. Most text has none and skips the decoding.
bool mayHoldRightToLeft(const std::string& text) {
  for (unsigned char byte : text) {
    if ((byte >= 0xD6 && byte <= 0xE0) || byte == 0xEF || byte == 0xF0) return true;
  }
  return false;
}

// Whether every closing round, square or curly bracket of the text follows
// an opening one that it closes.
bool bracketsPaired(const std::vector<std::uint32_t>& text) {
  std::vector<std::uint32_t> open;
  for (std::uint32_t c : text) {
    if (c == '(' || c == '[' || c == '{') {
      open.push_back(c);
    } else if (c == ')' || c == ']' || c == '}') {
      std::uint32_t wanted = c == ')' ? '(' : c == ']' ? '[' : '{';
      if (open.empty() || open.back() != wanted) return false;
      open.pop_back();
    }
  }
  return open.empty();
}

}  // namespace

LetterDirections letterDirections(const std::vector<std::uint32_t>& text) {
  LetterDirections directions;
  for (std::uint32_t c : text) {
    const FriBidiCharType type = fribidi_get_bidi_type(c);
    if (rightToLeft(type)) ++directions.rightToLeft;
    if (type == FRIBIDI_TYPE_LTR) ++directions.leftToRight;
  }
  return directions;
}

std::string logicalOrder(const std::string& visual) {
  if (!mayHoldRightToLeft(visual)) return visual;
  bool ok = true;
  std::vector<std::uint32_t> decoded = decodeUtf8(visual, &ok);
  if (!ok || decoded.empty() ||
      decoded.size() > static_cast<std::size_t>(std::numeric_limits<FriBidiStrIndex>::max())) {
    return visual;
  }
  const LetterDirections directions = letterDirections(decoded);
  if (directions.rightToLeft == 0) return visual;
  FriBidiParType base = directions.rightToLeftLine() ? FRIBIDI_PAR_RTL : FRIBIDI_PAR_LTR;
  std::vector<FriBidiChar> text(decoded.begin(), decoded.end());
  const auto length = static_cast<FriBidiStrIndex>(text.size());
  std::vector<FriBidiCharType> types(text.size());
  fribidi_get_bidi_types(text.data(), length, types.data());
  std::vector<FriBidiBracketType> brackets(text.size());
  fribidi_get_bracket_types(text.data(), length, types.data(), brackets.data());
  std::vector<FriBidiLevel> levels(text.size());
  if (fribidi_get_par_embedding_levels_ex(types.data(), brackets.data(), length, &base, levels.data()) == 0) {
    return visual;
  }
  // The levels before reordering tell which characters stand in
  // right-to-left runs; the map tells where each one comes from.
  const std::vector<FriBidiLevel> logicalLevels = levels;
  std::vector<FriBidiStrIndex> map(text.size());
  for (FriBidiStrIndex i = 0; i < length; ++i) map[static_cast<std::size_t>(i)] = i;
  std::vector<FriBidiChar> reordered = text;
  if (fribidi_reorder_line(FRIBIDI_FLAG_REORDER_NSM, types.data(), length, 0, base, levels.data(),
                           reordered.data(), map.data()) == 0) {
    return visual;
  }
  // A bracket drawn in a right-to-left run shows its mirror image. Most
  // files name the glyph by its shape, and the character is mirrored back;
  // some name it by the character it stands for already. The reading whose
  // brackets open before they close is the one meant.
  std::vector<std::uint32_t> plain(reordered.begin(), reordered.end());
  std::vector<std::uint32_t> mirrored = plain;
  for (std::size_t i = 0; i < mirrored.size(); ++i) {
    FriBidiChar mirror = 0;
    if ((logicalLevels[static_cast<std::size_t>(map[i])] & 1) != 0 && fribidi_get_mirror_char(mirrored[i], &mirror)) {
      mirrored[i] = mirror;
    }
  }
  if (!bracketsPaired(mirrored) && bracketsPaired(plain)) return encodeUtf8(plain);
  return encodeUtf8(mirrored);
}

void reorderRightToLeft(std::vector<TextEntry>& entries) {
  for (TextEntry& entry : entries) entry.text = logicalOrder(entry.text);
}

}  // namespace zopra::pdf
