#include "pdf/layout/text_fit.h"

#include <algorithm>
#include <cmath>

#include "pdf/edit/text_drawing.h"

namespace zopra::pdf {

namespace {

// Measuring is exact arithmetic on the same advances, so one resize
// normally fits; rounding may need one more. The bound keeps a hostile
// item from looping.
constexpr int kMaxFitRounds = 4;
// A resize aims this much under the width left, against rounding.
constexpr double kAim = 1.0 - 1e-9;

// The part of the state's width that does not grow with the font size:
// character and word spacing, scaled.
double spacingWidth(const Document::DrawState& state) {
  double spacing = 0;
  for (std::uint32_t codePoint : state.codePoints) {
    spacing += state.charSpacing + (codePoint == 0x20 ? state.wordSpacing : 0.0);
  }
  return spacing * state.horizontalScaling;
}

}  // namespace

double shownScale(const TextEntry& item) {
  const double along = std::hypot(item.a, item.b);
  const double scale = along > 1e-12 ? std::fabs(item.a * item.d - item.b * item.c) / along
                                     : std::hypot(item.c, item.d);
  return std::isfinite(scale) ? scale : 0.0;
}

Error fitText(Document& document, Document::DrawState& state, const std::string& text, const TextEntry& item,
              double room, Alignment alignment, double minimumShownSize, TextFit& fit) {
  const double scale = shownScale(item);
  const double ownWidth = std::isfinite(item.width) ? item.width : 0.0;
  if (!std::isfinite(room) || room < ownWidth) room = ownWidth;
  // A centred item keeps its centre: the room right of the centre is
  // taken to be free on the left as well.
  const double budget = alignment == Alignment::Center ? 2 * room - ownWidth : room;
  const double floor = std::max(minimumShownSize, kMinimumShownFloor);
  // Never larger than the size the text came with; without a usable scale
  // the size cannot be judged in points, and stays.
  const double smallest = scale > 0 ? std::min(state.fontSize, floor / scale) : state.fontSize;

  for (int round = 0; round < kMaxFitRounds; ++round) {
    if (!(state.width > budget) || !(state.fontSize > smallest)) break;
    const double spacing = spacingWidth(state);
    const double perSize = (state.width - spacing) / state.fontSize;
    double size = smallest;
    if (perSize > 0 && budget > spacing) size = std::max(smallest, (budget - spacing) / perSize * kAim);
    if (!std::isfinite(size) || !(size < state.fontSize) || !validFontSize(size)) break;
    state.fontSize = size;
    state.text = text;
    const Error kind = document.prepareText(state);
    if (kind != Error::None) return kind;
  }

  double offset = 0;
  if (std::isfinite(state.width)) {
    if (alignment == Alignment::Center) offset = (ownWidth - state.width) / 2;
    if (alignment == Alignment::Right) offset = ownWidth - state.width;
  }
  if (offset != 0) moveText(state, offset, 0);

  fit.fontSize = state.fontSize;
  fit.shownSize = state.fontSize * scale;
  fit.width = state.width;
  fit.room = room;
  fit.offset = offset;
  fit.alignment = alignment;
  fit.missingCharacters = state.missingCharacters;
  fit.overflows = state.width > budget * (1 + 1e-9) + 1e-9;
  return Error::None;
}

}  // namespace zopra::pdf
