// Assembly of shown strings ("runs") into text items: trimming, the decision
// between continuing the last item and starting a new one, and the spaces put
// between merged runs.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "pdf/content/color.h"
#include "pdf/content/text_entry.h"
#include "pdf/model/geometry.h"

namespace zopra::pdf {

// One shown string with everything the merge rules need.
struct TextRun {
  // Text matrix x CTM at the start of the run.
  Matrix matrix;
  // UTF-8, untrimmed; once trimmed, the white space characters it started
  // with.
  std::string text;
  std::uint32_t leadingSpaces = 0;
  RunMetrics metrics;
  std::uint32_t stream = 0;
  std::uint32_t operatorIndex = 0;
  std::string operatorName;
  // Space width of the current font and the operator's space threshold, in text space.
  double spaceLength = 0;
  double operatorThreshold = 0;
  // The current font has no base font name.
  bool noBaseFont = false;
  TextSource::Run source;
  // State values when the run was shown.
  std::string fontName;
  std::shared_ptr<const FontStyle> style;
  double fontSize = 0;
  double horizontalScale = 1.0;
  double charSpacing = 0;
  double wordSpacing = 0;
  double leading = 0;
  double rise = 0;
  Color fillColor;
  // Where the last string with text of the run's operator ends, in page space.
  bool operatorEnded = false;
  double operatorEndX = 0, operatorEndY = 0;
};

// White space for trimming and spacing decisions.
bool textWhiteSpace(std::uint32_t codePoint);
// Characters between which no gap produces a space.
bool cjkCharacter(std::uint32_t codePoint);

// Trims the run and either merges it into the last item of `entries` or
// appends a new item.
void appendTextRun(std::vector<TextEntry>& entries, TextRun run);

// Settles what appendTextRun left open once the page's runs are all in: the
// space between the pieces put in front of an item and the text after them.
void closeTextItems(std::vector<TextEntry>& entries);

}  // namespace zopra::pdf
