#include "pdf/layout/text_flow.h"

#include <algorithm>
#include <cmath>

namespace zopra::pdf {

namespace {

// Steps of the search for the largest scale that fits.
constexpr int kScaleSteps = 14;
// Justification stops stretching a line whose spaces would grow past this
// many spaces each (a short line of a few words is left as it is).
constexpr double kMaxStretch = 4.0;

FlowFrame::Slot slotAt(const FlowFrame& frame, std::size_t k, double scale) {
  const double top = frame.slots.empty() ? 0 : frame.slots[0].baseline;
  if (k < frame.slots.size()) {
    FlowFrame::Slot slot = frame.slots[k];
    slot.baseline = top - (top - slot.baseline) * scale;
    return slot;
  }
  const double last = frame.slots.empty() ? top : frame.slots.back().baseline;
  const double extra = static_cast<double>(k - frame.slots.size() + 1);
  return {frame.left, frame.right, top - (top - last) * scale - extra * frame.leading * scale};
}

// The number of slots usable at a scale: the block's own lines, then lines
// below while their baseline stays at or above the floor.
std::size_t slotCount(const FlowFrame& frame, double scale) {
  std::size_t count = frame.slots.size();
  if (!(frame.leading > 0)) return count;
  // Bounded: the room below is finite and each line takes a leading.
  while (count < frame.slots.size() + 10000 && slotAt(frame, count, scale).baseline >= frame.floor) ++count;
  return count;
}

// Greedy breaking; false when the words need more than `available` lines.
bool breakLines(const std::vector<FlowWord>& words, double space, const FlowFrame& frame, double scale,
                std::size_t available, std::vector<FlowLine>& lines) {
  lines.clear();
  std::size_t next = 0;
  std::size_t k = 0;
  while (next < words.size()) {
    const FlowFrame::Slot slot = slotAt(frame, k, scale);
    const double room = slot.right - slot.left;
    FlowLine line;
    line.firstWord = next;
    line.baseline = slot.baseline;
    double width = words[next].glyphs * scale + words[next].spacing;
    ++next;
    while (next < words.size()) {
      const double gap = words[next].glued ? 0 : space * scale;
      const double wider = width + gap + words[next].glyphs * scale + words[next].spacing;
      if (wider > room * (1 + 1e-9)) break;
      width = wider;
      ++next;
    }
    line.endWord = next;
    line.width = width;
    line.x = slot.left;
    lines.push_back(line);
    ++k;
  }
  bool fits = lines.size() <= available;
  for (const FlowLine& line : lines) {
    const FlowFrame::Slot slot = slotAt(frame, static_cast<std::size_t>(&line - lines.data()), scale);
    fits = fits && line.width <= (slot.right - slot.left) * (1 + 1e-9);
  }
  return fits;
}

void align(const std::vector<FlowWord>& words, const FlowFrame& frame, double space, double scale,
           std::vector<FlowLine>& lines) {
  for (std::size_t k = 0; k < lines.size(); ++k) {
    FlowLine& line = lines[k];
    const FlowFrame::Slot slot = slotAt(frame, k, scale);
    const double free = std::max(0.0, slot.right - slot.left - line.width);
    switch (frame.alignment) {
      case BlockAlignment::Center:
        line.x = slot.left + free / 2;
        break;
      case BlockAlignment::Right:
        line.x = slot.left + free;
        break;
      case BlockAlignment::Justified: {
        std::size_t gaps = 0;
        for (std::size_t w = line.firstWord + 1; w < line.endWord; ++w) gaps += words[w].glued ? 0 : 1;
        if (k + 1 < lines.size() && gaps > 0 && free / static_cast<double>(gaps) <= kMaxStretch * space * scale) {
          line.extraSpace = free / static_cast<double>(gaps);
          line.width += free;
        }
        break;
      }
      case BlockAlignment::Left:
        break;
    }
  }
}

}  // namespace

FlowResult flowText(const std::vector<FlowWord>& words, double space, const FlowFrame& frame, double minimumScale) {
  FlowResult result;
  if (words.empty() || frame.slots.empty()) return result;
  minimumScale = std::clamp(std::isfinite(minimumScale) ? minimumScale : 1.0, 0.05, 1.0);
  std::vector<FlowLine> lines;
  if (breakLines(words, space, frame, 1.0, slotCount(frame, 1.0), lines)) {
    result.lines = std::move(lines);
  } else if (!breakLines(words, space, frame, minimumScale, slotCount(frame, minimumScale), lines)) {
    result.scale = minimumScale;
    result.lines = std::move(lines);
    result.overflows = true;
  } else {
    // The largest scale that fits, between one that fits and one that does
    // not; the breaks of the last fitting scale are kept.
    double low = minimumScale, high = 1.0;
    std::vector<FlowLine> fitting = lines;
    for (int step = 0; step < kScaleSteps; ++step) {
      const double middle = (low + high) / 2;
      if (breakLines(words, space, frame, middle, slotCount(frame, middle), lines)) {
        low = middle;
        fitting = lines;
      } else {
        high = middle;
      }
    }
    result.scale = low;
    result.lines = std::move(fitting);
  }
  align(words, frame, space, result.scale, result.lines);
  return result;
}

}  // namespace zopra::pdf
