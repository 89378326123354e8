#include "pdf/layout/block_flow.h"

#include <algorithm>
#include <cmath>

#include "pdf/content/bidi_order.h"
#include "pdf/edit/text_drawing.h"
#include "pdf/edit/true_type.h"
#include "pdf/fonts/unicode.h"
#include "pdf/layout/block_text.h"
#include "pdf/layout/item_geometry.h"
#include "pdf/layout/page_rules.h"
#include "pdf/layout/text_flow.h"

namespace zopra::pdf {

namespace {

// A line of Chinese or Japanese may end after character `i`: one of the two
// characters at the break is Han, kana or a full-width form, the next does
// not close (punctuation, a small kana, a prolonged sound mark) and this
// one does not open (a bracket or quote).
bool breaksAfter(const std::vector<std::uint32_t>& text, std::size_t i) {
  if (i + 1 >= text.size() || text[i + 1] == ' ') return false;
  const std::uint32_t c = text[i], next = text[i + 1];
  if (!unspacedScript(c) && !unspacedScript(next)) return false;
  static const std::uint32_t kOpening[] = {0x300C, 0x300E, 0xFF08, 0xFF3B, 0xFF5B, 0x3008, 0x300A, 0x3010,
                                           0x3014, 0x201C, 0x2018, '(', '[', '{'};
  static const std::uint32_t kClosing[] = {0x3001, 0x3002, 0xFF0C, 0xFF0E, 0x30FB, 0xFF1A, 0xFF1B, 0xFF1F, 0xFF01,
                                           0x300D, 0x300F, 0xFF09, 0xFF3D, 0xFF5D, 0x3009, 0x300B, 0x3011, 0x3015,
                                           0x30FC, 0x3005, 0x309D, 0x309E, 0x30FD, 0x30FE, 0x201D, 0x2019, ')',
                                           ']', '}', ',', '.', ':', ';', '?', '!'};
  static const std::uint32_t kSmallKana[] = {0x3041, 0x3043, 0x3045, 0x3047, 0x3049, 0x3063, 0x3083, 0x3085,
                                             0x3087, 0x308E, 0x30A1, 0x30A3, 0x30A5, 0x30A7, 0x30A9, 0x30C3,
                                             0x30E3, 0x30E5, 0x30E7, 0x30EE, 0x30F5, 0x30F6};
  const auto in = [](const auto& list, std::uint32_t x) {
    return std::find(std::begin(list), std::end(list), x) != std::end(list);
  };
  return !in(kOpening, c) && !in(kClosing, next) && !in(kSmallKana, next);
}

constexpr std::uint32_t kSpace = 0x20;
// Below a fifth of its size a block's text is unreadable.
constexpr double kDefaultMinimumScale = 0.2;
// Blocks of a page compared with the block being flowed.
constexpr std::size_t kMaxNeighbourBlocks = 3000;

double overlapOf(double a0, double a1, double b0, double b1) { return std::min(a1, b1) - std::max(a0, b0); }

// The lowest baseline extra lines may take: above the first block, rule,
// box or image below the block across its width, inside the box holding
// it, and above the page's bottom margin.
double floorBelow(const FlowPage& page, const TextBlock& block, double left, double right, double size) {
  const std::vector<TextBlock>& blocks = *page.blocks;
  // A page of more blocks than the budget gets no room below its blocks:
  // looking for their neighbours would cost the square of their number.
  if (blocks.size() > kMaxNeighbourBlocks) return block.box.y0 + 0.22 * size;
  // The bottom of the page's text, or a bottom margin as wide as the top
  // one when the text ends higher (the last paragraph of a short page).
  double floor = block.box.y0;
  double top = block.box.y1;
  for (const TextBlock& other : blocks) {
    floor = std::min(floor, other.box.y0);
    top = std::max(top, other.box.y1);
  }
  const double pageTop = page.pageBox.y + page.pageBox.height;
  floor = std::min(floor, page.pageBox.y + std::max(pageTop - top, 36.0));
  floor = std::max(floor, page.pageBox.y);
  const auto raise = [&](double obstacle) { floor = std::max(floor, obstacle); };
  for (const TextBlock& other : blocks) {
    if (&other == &block || other.box.y1 > block.box.y0 + 0.3 * size) continue;
    if (overlapOf(left, right, other.box.x0, other.box.x1) > 0) raise(other.box.y1);
  }
  PageRules own;
  if (!page.rules) own = pageRules(*page.graphics);
  const PageRules& rules = page.rules ? *page.rules : own;
  for (const Rule& rule : rules.horizontal) {
    if (rule.at < block.box.y0 && overlapOf(left, right, rule.from, rule.to) > 0) raise(rule.at);
  }
  for (const ItemBox& box : rules.boxes) {
    const bool holds = box.x0 <= block.box.x0 + 1 && box.x1 >= block.box.x1 - 1 && box.y0 <= block.box.y0 + 1 &&
                       box.y1 >= block.box.y1 - 1;
    if (holds) {
      raise(box.y0);
    } else if (box.y1 <= block.box.y0 + 1 && overlapOf(left, right, box.x0, box.x1) > 0) {
      raise(box.y1);
    }
  }
  // The descent of the new line stays above the obstacle.
  return floor + 0.22 * size;
}

// The item giving matrix, size, spacing and colour: the longest of the
// block's first line.
const TextEntry& referenceItem(const FlowPage& page, const TextBlock& block) {
  const TextEntry* best = nullptr;
  for (std::uint32_t index : block.lines[0].items) {
    const TextEntry& item = (*page.items)[index];
    if (!best || item.text.size() > best->text.size()) best = &item;
  }
  return *best;
}

FlowFrame frameOf(const FlowPage& page, const TextBlock& block, double size) {
  FlowFrame frame;
  frame.alignment = block.alignment;
  frame.leading = block.leading > 0 ? block.leading : 1.2 * size;
  const double bodyLeft = block.lines.size() >= 2 ? block.lines[1].left : block.lines[0].left;
  double right = block.box.x1;
  if (block.lines.size() == 1 && block.alignment == BlockAlignment::Left && page.room) {
    // One line: it may run as far as its room.
    const TextLine& line = block.lines[0];
    for (std::uint32_t index : line.items) {
      const TextEntry& item = (*page.items)[index];
      if (index < page.room->size()) right = std::max(right, item.startX + (*page.room)[index] * std::hypot(item.a, item.b));
    }
  }
  double left = block.box.x0;
  if (block.lines.size() == 1 && block.alignment == BlockAlignment::Center) {
    // One centred line may widen evenly on both sides, within the page's
    // text area.
    double areaLeft = block.box.x0, areaRight = block.box.x1;
    for (const TextBlock& other : *page.blocks) {
      areaLeft = std::min(areaLeft, other.box.x0);
      areaRight = std::max(areaRight, other.box.x1);
    }
    const double centre = (block.box.x0 + block.box.x1) / 2;
    const double half = std::max(block.box.x1 - centre, std::min(centre - areaLeft, areaRight - centre));
    left = centre - half;
    right = centre + half;
  }
  const bool flushLeft = block.alignment == BlockAlignment::Left || block.alignment == BlockAlignment::Justified;
  for (std::size_t k = 0; k < block.lines.size(); ++k) {
    const TextLine& line = block.lines[k];
    // The first line keeps its indent (or its hanging list marker), and no
    // line runs into another block beside it (the code beside a column of
    // line numbers, a cell of a table without rules).
    const double start = flushLeft ? (k == 0 ? line.left : bodyLeft) : left;
    double end = right;
    for (std::size_t n = 0; n < page.blocks->size() && page.blocks->size() <= kMaxNeighbourBlocks; ++n) {
      const TextBlock& other = (*page.blocks)[n];
      if (&other == &block || other.box.y0 >= line.top || other.box.y1 <= line.bottom) continue;
      if (other.box.x0 >= line.right - 1 && other.box.x0 < end) end = std::max(line.right, other.box.x0 - 0.2 * size);
    }
    frame.slots.push_back({start, end, line.baseline});
  }
  frame.left = flushLeft ? bodyLeft : left;
  frame.right = right;
  frame.floor = floorBelow(page, block, frame.left, frame.right, size);
  return frame;
}

Document::DrawState stateFor(const TextEntry& item, std::uint32_t page, const std::vector<std::string>& fontPaths,
                             double fontSize) {
  Document::DrawState state;
  state.fontPaths = fontPaths;
  state.fontSize = fontSize;
  state.horizontalScaling = item.horizontalScale;
  state.charSpacing = item.charSpacing;
  state.matrix = {item.a, item.b, item.c, item.d, item.e, item.f};
  state.fill = item.fillColor;
  state.page = page;
  return state;
}

// Adds a drawn line's box to the flow's box (the first line's is the box).
void addDrawnLine(BlockFlow& result, const ItemBox& drawn, bool& first) {
  if (first) {
    result.box = drawn;
    first = false;
    return;
  }
  result.box.x0 = std::min(result.box.x0, drawn.x0);
  result.box.y0 = std::min(result.box.y0, drawn.y0);
  result.box.x1 = std::max(result.box.x1, drawn.x1);
  result.box.y1 = std::max(result.box.y1, drawn.y1);
}

// The new lines of a block that keeps its lines (code, a column of
// figures), one a line of the text: each at the start and baseline of the
// block's line of the same rank, those past its last line below it at its
// leading. One size for all: the largest at which each line fits its room
// and the lines fit above the room's floor.
Error flowKept(Document& document, std::uint32_t page, const FlowPage& context, const TextBlock& block,
               const std::string& text, const std::vector<std::string>& fontPaths, double minimumScale,
               BlockFlow& result) {
  const TextEntry& item = referenceItem(context, block);
  const double fontSize = std::fabs(item.fontSize);
  const double along = std::hypot(item.a, item.b);
  std::vector<std::string> pieces;
  for (std::size_t start = 0;;) {
    const std::size_t end = text.find('\n', start);
    pieces.push_back(codeText(text.substr(start, end == std::string::npos ? std::string::npos : end - start)));
    if (end == std::string::npos) break;
    start = end + 1;
  }
  while (!pieces.empty() && pieces.back().empty()) pieces.pop_back();
  if (pieces.empty()) return Error::InvalidArgument;
  const double size = block.size > 0 ? block.size : shownSize(item);
  const double leading = block.leading > 0 ? block.leading : 1.2 * size;
  const TextLine& lastLine = block.lines.back();
  const double left = block.box.x0;
  std::vector<double> xs, baselines, widths(pieces.size(), 0);
  double scale = 1;
  for (std::size_t k = 0; k < pieces.size(); ++k) {
    const bool own = k < block.lines.size();
    const TextLine& line = own ? block.lines[k] : lastLine;
    xs.push_back(own ? line.left : left);
    baselines.push_back(own ? line.baseline : lastLine.baseline - leading * static_cast<double>(k + 1 - block.lines.size()));
    if (pieces[k].empty()) continue;
    Document::DrawState measure = stateFor(item, page, fontPaths, fontSize);
    measure.text = pieces[k];
    const Error prepared = document.prepareText(measure);
    if (prepared != Error::None) return prepared;
    result.missingCharacters += measure.missingCharacters;
    widths[k] = measure.width * along;
    // The room of the line: as far as its items' room reaches, or the
    // listing's width for lines below it.
    double end = block.box.x1;
    if (own && context.room) {
      for (std::uint32_t index : line.items) {
        const TextEntry& entry = (*context.items)[index];
        if (index < context.room->size()) {
          end = std::max(end, entry.startX + (*context.room)[index] * std::hypot(entry.a, entry.b));
        }
      }
    }
    if (widths[k] > 0 && end - xs[k] < widths[k] * scale) scale = std::max(0.0, end - xs[k]) / widths[k];
  }
  // Lines past the listing's last one closer together, when the room below
  // is short of them.
  if (pieces.size() > block.lines.size()) {
    const double floor = floorBelow(context, block, block.box.x0, block.box.x1, size);
    const double extra = static_cast<double>(pieces.size() - block.lines.size());
    const double fitting = (lastLine.baseline - floor) / (extra * leading);
    if (fitting < 1) {
      scale = std::min(scale, std::max(0.0, fitting));
      for (std::size_t k = block.lines.size(); k < pieces.size(); ++k) {
        baselines[k] = lastLine.baseline - leading * scale * static_cast<double>(k + 1 - block.lines.size());
      }
    }
  }
  result.overflows = scale < minimumScale - 1e-9;
  scale = std::clamp(scale, std::min(minimumScale, 1.0), 1.0);
  result.scale = scale;
  result.shownSize = size * scale;
  result.linesUsed = static_cast<std::uint32_t>(pieces.size());
  bool first = true;
  for (std::size_t k = 0; k < pieces.size(); ++k) {
    if (pieces[k].empty()) continue;
    Document::DrawState state = stateFor(item, page, fontPaths, fontSize * scale);
    state.text = pieces[k];
    state.matrix.e = xs[k];
    state.matrix.f = baselines[k];
    Error step = document.prepareText(state);
    if (step == Error::None) step = document.drawText(page, state);
    if (step != Error::None) return step;
    const ItemBox drawn{xs[k], baselines[k] - 0.25 * result.shownSize, xs[k] + state.width * along,
                        baselines[k] + result.shownSize};
    addDrawnLine(result, drawn, first);
  }
  return Error::None;
}

}  // namespace

Error flowBlock(Document& document, std::uint32_t page, const FlowPage& context, std::size_t blockIndex,
                const std::string& text, const std::vector<std::string>& fontPaths, double minimumShownSize,
                BlockFlow& result) {
  result = BlockFlow();
  if (fontPaths.empty() || !context.items || !context.blocks || !context.graphics || blockIndex >= context.blocks->size()) {
    return Error::InvalidArgument;
  }
  const TextBlock& block = (*context.blocks)[blockIndex];
  bool valid = false;
  decodeUtf8(text, &valid);
  const std::string plain = plainText(text);
  if (!valid || plain.empty() || block.lines.empty() || block.lines[0].items.empty()) return Error::InvalidArgument;
  TextEntry item = referenceItem(context, block);
  // The character spacing of a justified line stretched that line; the new
  // lines are stretched between words instead.
  if (block.alignment == BlockAlignment::Justified) item.charSpacing = 0;
  const double fontSize = std::fabs(item.fontSize);
  const double along = std::hypot(item.a, item.b);
  result.blockLines = static_cast<std::uint32_t>(block.lines.size());
  if (!validFontSize(fontSize) || !(along > 0) || !std::isfinite(along)) {
    // Text set at no usable size shows nothing; nothing can stand in its
    // place.
    result.overflows = true;
    return Error::None;
  }
  const double size = block.size > 0 ? block.size : shownSize(item);
  const double minimumScale =
      minimumShownSize > 0 && size > 0 ? std::min(1.0, minimumShownSize / size) : kDefaultMinimumScale;
  if (block.keepsLines && block.lines[0].upright) {
    return flowKept(document, page, context, block, text, fontPaths, minimumScale, result);
  }
  // Measured once at the block's size; each line is measured again as drawn.
  Document::DrawState measure = stateFor(item, page, fontPaths, fontSize);
  measure.text = plain;
  measure.givenOrder = true;
  const Error prepared = document.prepareText(measure);
  if (prepared != Error::None) return prepared;
  result.missingCharacters = measure.missingCharacters;
  // Words, their widths in page units, and their text. Each character's
  // advance is in the units of the font of the chain that has it.
  const auto unitOf = [&](std::size_t i) {
    const std::size_t font = i < measure.fontIndices.size() ? measure.fontIndices[i] : 0;
    const double perEm = font < measure.fonts.size() && measure.fonts[font] ? measure.fonts[font]->unitsPerEm
                                                                           : measure.unitsPerEm;
    return fontSize / std::max(1.0, perEm) * item.horizontalScale * along;
  };
  const double spacing = item.charSpacing * item.horizontalScale * along;
  // Words of a right-to-left text stand from the right; a line drawn whole
  // is put in visual order when drawn.
  const std::vector<std::uint32_t>& codePoints = measure.codePoints;
  const bool rightToLeft = letterDirections(codePoints).rightToLeftLine();
  std::vector<FlowWord> words;
  std::vector<std::vector<std::uint32_t>> wordText;
  double space = 0.25 * fontSize * along;
  bool address = false;
  for (std::size_t i = 0; i < codePoints.size(); ++i) {
    if (codePoints[i] == kSpace) {
      space = measure.advances[i] * unitOf(i) + spacing;
      if (!wordText.empty() && !wordText.back().empty()) {
        wordText.emplace_back();
        words.emplace_back();
      }
      address = false;
      continue;
    }
    if (wordText.empty()) {
      wordText.emplace_back();
      words.emplace_back();
    }
    wordText.back().push_back(codePoints[i]);
    words.back().glyphs += measure.advances[i] * unitOf(i);
    words.back().spacing += spacing;
    address = address || (i >= 2 && codePoints[i] == '/' && codePoints[i - 1] == '/' && codePoints[i - 2] == ':');
    // A web address may break after a slash that a letter or digit follows
    // (not inside its "//"), as the address was broken in the source.
    // Chinese and Japanese break between characters, but not before
    // closing punctuation or after an opening bracket.
    if ((address && !rightToLeft && codePoints[i] == '/' && codePoints[i - 1] != '/' && i + 1 < codePoints.size() &&
         (isAsciiLetter(codePoints[i + 1]) || (codePoints[i + 1] >= '0' && codePoints[i + 1] <= '9'))) ||
        breaksAfter(codePoints, i)) {
      wordText.emplace_back();
      words.emplace_back();
      words.back().glued = true;
    }
  }
  if (!wordText.empty() && wordText.back().empty()) {
    wordText.pop_back();
    words.pop_back();
  }
  // The font has none of the characters: nothing to draw.
  if (words.empty()) return Error::None;

  FlowResult flow;
  if (block.lines[0].upright) {
    flow = flowText(words, space, frameOf(context, block, size), minimumScale);
  } else {
    // Text in any other direction (rotated, mirrored) keeps the item's own
    // matrix and place: one line, shrunk to the item's length.
    double glyphs = 0, fixed = 0;
    for (const FlowWord& word : words) {
      glyphs += word.glyphs;
      fixed += word.spacing;
    }
    for (std::size_t w = 1; w < words.size(); ++w) glyphs += words[w].glued ? 0 : space;
    const double room = std::fabs(item.width) * along;
    const double fitting = glyphs > 0 ? (room - fixed) / glyphs : 1.0;
    flow.scale = std::clamp(fitting, std::min(minimumScale, 1.0), 1.0);
    flow.overflows = fitting < flow.scale - 1e-9;
    FlowLine line;
    line.endWord = words.size();
    line.x = item.e;
    line.baseline = item.f;
    line.width = glyphs * flow.scale + fixed;
    flow.lines.push_back(line);
  }
  result.scale = flow.scale;
  result.shownSize = size * flow.scale;
  result.overflows = flow.overflows;
  result.linesUsed = static_cast<std::uint32_t>(flow.lines.size());
  bool first = true;
  for (const FlowLine& line : flow.lines) {
    // A justified line is drawn word by word at stretched positions: the
    // word spacing operator does not act on the two-byte codes of the
    // embedded font. Words glued together are drawn as one.
    const bool byWord = line.extraSpace > 0;
    double x = line.x;
    double lineEnd = line.x;
    for (std::size_t w = line.firstWord; w < line.endWord;) {
      std::size_t end = byWord ? w + 1 : line.endWord;
      while (end < line.endWord && words[end].glued) ++end;
      std::vector<std::uint32_t> shown;
      for (std::size_t k = w; k < end; ++k) {
        if (k > w && !words[k].glued) shown.push_back(kSpace);
        const std::size_t word = byWord && rightToLeft ? line.firstWord + line.endWord - 1 - k : k;
        shown.insert(shown.end(), wordText[word].begin(), wordText[word].end());
      }
      Document::DrawState state = stateFor(item, page, fontPaths, fontSize * flow.scale);
      state.text = encodeUtf8(shown);
      state.matrix.e = x;
      state.matrix.f = line.baseline;
      Error step = document.prepareText(state);
      if (step == Error::None) step = document.drawText(page, state);
      if (step != Error::None) return step;
      lineEnd = x + state.width * along;
      x = lineEnd + (byWord ? space * flow.scale + line.extraSpace : 0);
      w = end;
    }
    const ItemBox drawn{line.x, line.baseline - 0.25 * result.shownSize, lineEnd,
                        line.baseline + result.shownSize};
    addDrawnLine(result, drawn, first);
  }
  return Error::None;
}

}  // namespace zopra::pdf
