// One extracted text item and the record of where its glyphs came from in the
// content streams (consumed by text removal).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "pdf/content/color.h"
#include "pdf/fonts/font_style.h"

namespace zopra::pdf {

struct TextSource {
  // The ordinal of an operator that text removal cannot name (see
  // OperationReader): its glyphs cannot be removed one by one.
  static constexpr std::uint32_t kNoOrdinal = 0xFFFFFFFFu;

  // One element of a text-showing operator's operand: a string (raw bytes and
  // its index in the operand) or a TJ adjustment number.
  struct OperatorElement {
    bool isString = false;
    std::string bytes;
    std::uint32_t index = 0;
    double number = 0;
  };

  // A text-showing operator (Tj, TJ, ' or ") as it stands in its stream.
  struct Operator {
    // 0 for the page's own content, else the Form XObject's object number.
    std::uint32_t stream = 0;
    // Position among the text-showing operators of that stream family,
    // from 0, as OperationReader counts them for extraction and removal.
    std::uint32_t ordinal = 0;
    std::string name;
    // Operands of the " operator.
    double wordSpacing = 0;
    double charSpacing = 0;
    std::vector<OperatorElement> elements;
  };

  // The part of an item that one string of one operator produced.
  struct Run {
    std::shared_ptr<const Operator> source;
    std::uint32_t element = 0;
    // How far the string moved the text matrix: the advance of all its
    // glyphs, those without text included, in unscaled text space.
    double width = 0;
    double fontSize = 0;
    double horizontalScale = 1;
    // Where the string's baseline starts, in page space.
    double x = 0, y = 0;
  };
};

// Metrics of one shown string, used by the spacing rules.
struct RunMetrics {
  // Advance of the glyphs that produced text (the spacing rules' measure) ...
  double advance = 0;
  // ... and of all the string's glyphs: how far the text matrix moved.
  double glyphAdvance = 0;
  double negativeSpacing = 0;
  bool hasFirst = false;
  std::uint32_t firstCode = 0;
  double firstWidth = 0;
  double lastWidth = 0;
};

struct TextEntry {
  std::string text;  // UTF-8
  // Text matrix of the first run (text rise added to f), in page space.
  double a = 1, b = 0, c = 0, d = 1, e = 0, f = 0;
  double fontSize = 0;
  double horizontalScale = 1;
  double charSpacing = 0;
  double wordSpacing = 0;
  // Advance along the direction, updated on merging; then the first run's advance.
  double width = 0;
  double firstAdvance = 0;
  double endX = 0, endY = 0;
  double startX = 0, startY = 0;
  double firstWidth = 0;
  double lastWidth = 0;
  double spaceScale = 0;
  double leading = 0;
  bool leadingSpace = false;
  bool trailingSpace = false;
  // White space characters trimmed from the front of the first string (the
  // indentation of a line of code written with spaces): startX is where
  // they start.
  std::uint32_t leadingSpaces = 0;
  Color fillColor;
  // Operator range: stream key and first/last text-operator ordinals.
  std::uint32_t stream = 0;
  std::uint32_t firstOperator = 0;
  std::uint32_t lastOperator = 0;
  bool rangeValid = false;
  std::string operatorName;
  std::vector<TextSource::Run> sources;
  std::string fontName;
  // The style of the font that shows the item's longest stretch of
  // consecutive runs (a line opened by a brace from a symbol font is styled
  // by the text after it; a line of many short roman strings around one
  // italic word stays roman), shared by the font's items; null when that
  // font is not a dictionary. `styleLength` is that stretch's length in
  // bytes; `lastStyle` and `lastLength` are the stretch the item ends with.
  std::shared_ptr<const FontStyle> style;
  std::size_t styleLength = 0;
  const FontStyle* lastStyle = nullptr;
  std::size_t lastLength = 0;
  // How many Latin letters of the text are in fonts known not to be
  // fixed-pitch, and whether the item opens with such letters: a line of
  // prose that names a command in a typewriter face is not code, however
  // long that name is.
  std::uint32_t proportionalLength = 0;
  bool opensInProse = false;

  // While pieces of a line are put in front of the item (right-to-left
  // lines are drawn from the right, a phrase or number at a time, each
  // piece's glyphs from its left): the place in `text` where the next piece
  // continues the one put in front, and whether a space goes there once no
  // piece follows.
  struct Front {
    bool open = false;
    std::size_t at = 0;
    // Where the last piece ended and where the text after `at` starts.
    double x = 0, y = 0;
    double nextX = 0, nextY = 0;
    // Spaces trimmed from the last piece's end and from the next text's start.
    bool trailing = false, nextSpace = false;
    // Glyph widths on both sides of `at`, in thousandths of an em, and the
    // scale that turns them into page space.
    double lastWidth = 0, nextWidth = 0, scale = 0;
  } front;
};

}  // namespace zopra::pdf
