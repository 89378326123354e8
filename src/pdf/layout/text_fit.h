// Fitting new text to an item's place: the item's own size unless the text
// is wider than the room there, and the item's alignment kept.
#pragma once

#include <cstdint>
#include <string>

#include "pdf/content/text_entry.h"
#include "pdf/layout/text_alignment.h"
#include "pdf/model/document.h"

namespace zopra::pdf {

// What fitText did. Widths in the text space of the item's matrix.
struct TextFit {
  double fontSize = 0;
  double shownSize = 0;  // fontSize in points as the page shows it
  double width = 0;
  double room = 0;
  double offset = 0;  // along the baseline, for the alignment
  Alignment alignment = Alignment::Left;
  std::uint32_t missingCharacters = 0;
  bool overflows = false;
};

// Smallest size (points as shown) that fitting goes down to when the
// caller asks for none.
constexpr double kMinimumShownFloor = 1.0;

// The shown size, in points, of one text space unit of font size at the
// item: the height of the item's matrix across its baseline; 0 when the
// matrix is degenerate or not finite.
double shownScale(const TextEntry& item);

// Fits a text prepared at the item's own size (`state`, set up from the
// item by the caller and prepared once) into `room` (the item's room):
// centred items may use the room mirrored around their centre. When it is
// wider, it is prepared again at the size the width calls for, at most a
// few times, never below `minimumShownSize` (and the floor) in points as
// shown nor above the size it came with. Then it is moved along its
// baseline by the alignment's offset. Errors of prepareText are returned
// with the state as prepareText left it.
// `text` is the text as the caller gave it: prepareText leaves in the state
// the text as drawn, with missing characters replaced.
Error fitText(Document& document, Document::DrawState& state, const std::string& text, const TextEntry& item,
              double room, Alignment alignment, double minimumShownSize, TextFit& fit);

}  // namespace zopra::pdf
