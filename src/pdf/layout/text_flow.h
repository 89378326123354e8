// Line breaking of a new text over the lines of a block: greedy, at spaces,
// at the block's own baselines, one size for the whole block.
#pragma once

#include <cstddef>
#include <vector>

#include "pdf/layout/text_blocks.h"

namespace zopra::pdf {

// One word of the new text: its width in page units at the block's size is
// glyphs + spacing (the part that scales with the size, and the part of the
// character spacing that does not).
struct FlowWord {
  double glyphs = 0;
  double spacing = 0;
  // Set right after the word before it, with no space: a line may still
  // break between them (a web address broken after a slash).
  bool glued = false;
};

// Where the text may go, in page units.
struct FlowFrame {
  // The block's lines: baseline, and the extent a line of new text may
  // take (the column, not the old line's own ink).
  struct Slot {
    double left = 0, right = 0, baseline = 0;
  };
  std::vector<Slot> slots;
  // Lines added below the last slot keep this extent and the leading; they
  // are allowed while their baseline is at or above `floor`.
  double left = 0, right = 0;
  double leading = 0;
  double floor = 0;
  BlockAlignment alignment = BlockAlignment::Left;
};

struct FlowLine {
  std::size_t firstWord = 0, endWord = 0;
  // Start of the baseline and the extra space after each word but the last
  // and those glued to the next (justified lines), at the chosen scale.
  double x = 0, baseline = 0, width = 0, extraSpace = 0;
};

struct FlowResult {
  // The size of the new text as a factor of the block's.
  double scale = 1;
  std::vector<FlowLine> lines;
  // Even at the smallest scale the text needs more lines than the room
  // allows: the lines go on below the floor.
  bool overflows = false;
};

// Lays `words` out: at the block's size when they fit its slots and the
// free room below, else at the largest scale down to `minimumScale` (at
// most 1) that fits. `space` is the width of a space at the block's size.
// Lines at a scale below 1 move closer together by the same factor.
FlowResult flowText(const std::vector<FlowWord>& words, double space, const FlowFrame& frame, double minimumScale);

}  // namespace zopra::pdf
