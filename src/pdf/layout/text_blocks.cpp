#include "pdf/layout/text_blocks.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "pdf/content/bidi_order.h"
#include "pdf/fonts/unicode.h"
#include "pdf/layout/block_text.h"
#include "pdf/layout/page_rules.h"
#include "pdf/layout/reading_order.h"

namespace zopra::pdf {

namespace {

// Blocks still open to a next line; the oldest are closed past this many
// (lines are visited top to bottom, so only recent blocks can take one).
constexpr std::size_t kMaxOpenBlocks = 64;
// Sizes within this fraction of each other are one size.
constexpr double kSizeTolerance = 0.12;
// A line farther below a block than this (em), with no leading yet to go
// by, starts a new block.
constexpr double kMaxFirstGap = 1.7;
// Edges this close (em) are aligned.
constexpr double kEdgeTolerance = 0.6;
// Rule and box comparisons made while grouping one page.
constexpr std::size_t kMaxRuleWork = 50000000;

// A code line below a listing by at most this much (em; a blank line
// between two lines of code is part of the listing) continues it.
constexpr double kMaxCodeGap = 2.6;
// Code lines starting this far left of a listing (em) still belong to it
// (an outdented line after an indented first one).
constexpr double kCodeOutdent = 8;

// Prose lines are joined and flowed; lines of code and the rows of a
// column of a table without rules (figures, or one word a line) keep their
// breaks.
enum class LineMode : std::uint8_t { Prose, Code, Column };
// Lines of one word each, at least this many, make a column.
constexpr std::size_t kMinWordColumn = 3;
// A line starting this many em left of the lines above and below it, or
// more, is the term of a description list hung in the margin (a first-line
// indent is less).
constexpr double kHungTerm = 3.0;
// Dot leaders (". . . . 12"): at least this many dots with nothing but
// spaces between them. A block with a leader on at least one line in
// kLeaderShare is a table of contents or an index, whose lines are entries.
constexpr int kLeaderDots = 4;
constexpr std::size_t kLeaderShare = 5;
// Text smaller than this part of its line's size (the line numbers of a
// listing) does not decide whether the line is code.
constexpr double kLineNumberSize = 0.75;

struct Building {
  TextBlock block;
  std::vector<std::string> texts;
  bool bold = false;
  // The block is one bold line that ends in the body face: the next line
  // of body text goes on with it.
  bool runIn = false;
  LineMode mode = LineMode::Prose;
  // A listing whose first line starts with a line number.
  bool numbered = false;
  // The least and the greatest left edge of the lines after the first.
  double bodyLeast = 0, bodyGreatest = 0;
  // The first line was set apart from the block above by its indent.
  bool indented = false;
};

// The item opens with words in a proportional face, which hold a third or
// more of its Latin letters: prose naming code ("in a pathname,
// lookup_dentry calls"). A listing's lines open with code or a line number,
// and its guards or comments in other faces do not count.
bool mostlyProportional(const TextEntry& item) {
  return item.opensInProse && 3 * std::size_t{item.proportionalLength} >= asciiLetterCount(item.text);
}

// The line starts with a line number: figures smaller than the rest.
bool numberedLine(const std::vector<TextEntry>& items, const TextLine& line) {
  if (line.items.size() < 2) return false;
  const TextEntry& first = items[line.items[0]];
  if (!(shownSize(first) < kLineNumberSize * line.size) || first.text.empty()) return false;
  return std::all_of(first.text.begin(), first.text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// Numbers, signs and units of a table's figures ("-1.6", "2.20x", "25%",
// "4450 ± 56"), at least one digit among them.
bool figuresOnly(const std::string& text) {
  bool digit = false;
  for (std::uint32_t c : decodeUtf8(text, nullptr)) {
    if (c >= '0' && c <= '9') {
      digit = true;
      continue;
    }
    static const std::uint32_t kAllowed[] = {' ', '.', ',', '+', '-', '%', 'x', '(', ')', 0x2212, 0x2013, 0x2014, 0xD7, 0xB1};
    if (std::find(std::begin(kAllowed), std::end(kAllowed), c) == std::end(kAllowed)) return false;
  }
  return digit;
}

// The item whose style most of the block's text has: text is counted by
// the kind of face it is set in (bold, italic, serif, fixed pitch), so
// several fonts of one face add up, and the longest stretch of that kind
// names the face.
std::uint32_t blockStyleItem(const std::vector<TextEntry>& items, const TextBlock& block) {
  auto kind = [](const FontStyle* style) {
    return style ? 1 + (style->bold ? 2 : 0) + (style->italic ? 4 : 0) + (style->serif ? 8 : 0) +
                       (style->fixedPitch ? 16 : 0)
                 : 0;
  };
  std::size_t weight[32] = {};
  for (const TextLine& line : block.lines) {
    for (std::uint32_t index : line.items) weight[kind(items[index].style.get())] += items[index].styleLength;
  }
  int heaviest = 0;
  for (int k = 1; k < 32; ++k) {
    if (weight[k] > weight[heaviest]) heaviest = k;
  }
  constexpr std::uint32_t kNone = 0xFFFFFFFFu;
  std::uint32_t first = kNone, chosen = kNone;
  for (const TextLine& line : block.lines) {
    for (std::uint32_t index : line.items) {
      if (first == kNone) first = index;
      if (kind(items[index].style.get()) == heaviest &&
          (chosen == kNone || items[index].styleLength > items[chosen].styleLength)) {
        chosen = index;
      }
    }
  }
  return chosen != kNone ? chosen : first;
}

// Most of the line's text (four fifths) is bold: a line that opens with a
// bold run-in heading ("Keywords", "Categories and Subject Descriptors")
// and goes on in the body face is body text.
bool lineBold(const std::vector<TextEntry>& items, const TextLine& line) {
  std::size_t bold = 0, all = 0;
  for (std::uint32_t index : line.items) {
    const TextEntry& item = items[index];
    all += item.text.size();
    if (item.style && item.style->bold) bold += item.text.size();
  }
  return all > 0 && 5 * bold >= 4 * all;
}

// The line ends in a face that is not bold after bold text: a bold label
// ("Figure 1. Sample program.", "Closing the loop.") that opens a paragraph
// or a caption set on in the body face. A heading ends in its own face.
bool endsPlain(const std::vector<TextEntry>& items, const TextLine& line) {
  if (line.items.empty()) return false;
  const TextEntry& last = items[line.items.back()];
  const FontStyle* end = last.lastStyle ? last.lastStyle : last.style.get();
  const std::size_t length = last.lastStyle ? last.lastLength : last.styleLength;
  return end != nullptr && !end->bold && length >= 2;
}

// A bullet, a dash, or a short number or letter with "." or ")" and a
// space: the start of a list item.
bool startsListItem(const std::string& text) {
  const std::vector<std::uint32_t> c = decodeUtf8(text, nullptr);
  if (c.empty()) return false;
  static const std::uint32_t kBullets[] = {0x2022, 0x25E6, 0x25AA, 0x25CF, 0x2023, 0x2013, 0x2014, '-', '*', 0xB7, 0x25A0};
  for (std::uint32_t bullet : kBullets) {
    if (c[0] == bullet) return c.size() == 1 || c[1] == ' ';
  }
  std::size_t i = c[0] == '(' ? 1 : 0;
  const std::size_t start = i;
  while (i < c.size() && i < start + 3 && ((c[i] >= '0' && c[i] <= '9') || (c[i] >= 'a' && c[i] <= 'z'))) ++i;
  if (i == start || i >= c.size()) return false;
  // One letter only: "a." or "(b)", not a word such as "in."
  bool digits = true;
  for (std::size_t k = start; k < i; ++k) digits = digits && c[k] >= '0' && c[k] <= '9';
  if (!digits && i - start > 1) return false;
  if (c[i] != '.' && c[i] != ')') return false;
  return i + 1 < c.size() && c[i + 1] == ' ';
}

bool startsCaption(const std::string& text) {
  static const char* const kWords[] = {"Figure ", "Fig. ", "Table ", "Tab. ", "Abbildung ", "Tabelle ", "Listing "};
  for (const char* word : kWords) {
    const std::string prefix(word);
    if (text.compare(0, prefix.size(), prefix) == 0 && text.size() > prefix.size() &&
        ((text[prefix.size()] >= '0' && text[prefix.size()] <= '9') || text[prefix.size()] == 'I' ||
         text[prefix.size()] == 'V' || text[prefix.size()] == 'X')) {
      return true;
    }
  }
  return false;
}

bool contains(const ItemBox& box, double x, double y) { return x >= box.x0 && x <= box.x1 && y >= box.y0 && y <= box.y1; }

// An edge of the box runs through the line's text, not around it: the
// box is no frame of that line (an image or a shape whose bounds reach
// under the text of the next column).
bool edgeThrough(const ItemBox& box, const TextLine& line) {
  const double inY = 0.15 * line.size, inX = 0.5 * line.size;
  const auto through = [](double edge, double low, double high, double in) {
    return edge > low + in && edge < high - in;
  };
  return through(box.y0, line.bottom, line.top, inY) || through(box.y1, line.bottom, line.top, inY) ||
         through(box.x0, line.left, line.right, inX) || through(box.x1, line.left, line.right, inX);
}

// True when a box holds one of the two lines and not the other: they sit
// in different cells or frames.
bool boxBetween(const PageRules& rules, const TextLine& a, const TextLine& b) {
  const double ax = (a.left + a.right) / 2, ay = (a.bottom + a.top) / 2;
  const double bx = (b.left + b.right) / 2, by = (b.bottom + b.top) / 2;
  for (const ItemBox& box : rules.boxes) {
    if (contains(box, ax, ay) != contains(box, bx, by) && !edgeThrough(box, a) && !edgeThrough(box, b)) return true;
  }
  return false;
}

double overlap(double a0, double a1, double b0, double b1) { return std::min(a1, b1) - std::max(a0, b0); }

// The left edge of a block's body: its second line's (the first may be
// indented, or hang out with a list marker).
double bodyLeft(const TextBlock& block) { return block.lines.size() >= 2 ? block.lines[1].left : block.lines[0].left; }

// Under a block of one line that does not end a sentence, the line starts a
// web address a little right of it, as the hanging lines of a reference do.
bool hangingAddress(const Building& b, const TextLine& line, const std::string& text) {
  const double indent = line.left - b.block.lines[0].left;
  const char end = b.texts.empty() || b.texts[0].empty() ? '.' : b.texts[0].back();
  return b.block.lines.size() == 1 && indent > 0.5 * line.size && indent <= 4 * line.size &&
         std::strchr(".!?:", end) == nullptr && text.find("://") != std::string::npos;
}

// The line comes next below the block's last line, at its leading.
bool followsBelow(const TextBlock& block, const TextLine& line) {
  const TextLine& last = block.lines.back();
  const double em = std::max(line.size, last.size);
  const double gap = last.baseline - line.baseline;
  const double maxGap = block.lines.size() >= 2 ? block.leading + 0.35 * em : kMaxFirstGap * em;
  return gap >= 0.5 * em && gap <= maxGap;
}

// The line is the indented first line of a new paragraph: one that runs to
// the block's right edge, or, in a block whose lines after the first start
// together, any after a line that ended short of that edge (the last line
// of the paragraph before). A block begun by an indented line holds a
// whole paragraph in that line when the next starts as far in and runs
// clearly further: the next is the indented start of another.
bool indentedStart(const Building& b, const TextLine& line) {
  const TextBlock& block = b.block;
  const TextLine& last = block.lines.back();
  const double em = std::max(line.size, last.size);
  if (block.lines.size() == 1) {
    return b.indented && std::fabs(line.left - last.left) <= kEdgeTolerance * em && last.right < line.right - em;
  }
  const double body = bodyLeft(block);
  if (!(line.left > body + 0.8 * em && line.left < body + 4 * em)) return false;
  const bool fullLine = std::fabs(line.right - block.box.x1) < kEdgeTolerance * em;
  const bool bodyFlush = b.bodyGreatest - b.bodyLeast <= kEdgeTolerance * em;
  return fullLine || (bodyFlush && last.right < block.box.x1 - 2 * em);
}

bool accepts(const Building& b, const TextLine& line, bool bold, const std::string& text, const PageRules& rules,
             std::size_t& work) {
  const TextBlock& block = b.block;
  const TextLine& last = block.lines.back();
  const double em = std::max(line.size, last.size);
  if (!followsBelow(block, line)) return false;
  if (std::fabs(line.size - block.size) > kSizeTolerance * std::max(line.size, block.size)) return false;
  // After a run-in label the line goes on with the paragraph: the label's
  // line runs at least as far right as this one, as a first line of a
  // justified or ragged paragraph does over its next.
  if (bold != b.bold && !(b.runIn && !bold && last.right >= line.right - em)) return false;
  // Overlapping by half the narrower, or a short line (the last of a
  // paragraph) starting at the block's left edge.
  const double width = std::min(line.right - line.left, block.box.x1 - block.box.x0);
  const double shared = overlap(line.left, line.right, block.box.x0, block.box.x1);
  if (shared <= 0 || (shared < 0.5 * width && std::fabs(line.left - block.box.x0) > 3 * em)) return false;
  // A new list item, or an indented first line of a new paragraph.
  if (startsListItem(text)) return false;
  if (indentedStart(b, line)) return false;
  // Nothing between them: no rule, no cell border. The comparisons with the
  // page's rules and boxes have a budget: past it (a page of thousands of
  // lines and strokes) lines are grouped by their geometry alone.
  work += rules.horizontal.size() + rules.boxes.size();
  if (work > kMaxRuleWork) return true;
  if (ruleBetween(rules, line.baseline + 0.5 * line.size, last.baseline - 0.25 * last.size, line.left, line.right)) {
    return false;
  }
  return !boxBetween(rules, last, line);
}

// A line of code continues a listing of lines of code of its size just
// above it, within its width, with no rule or box between them. Lines of
// one baseline (code beside its line numbers) are all taken. A line of
// figures continues a column of figures it overlaps.
bool acceptsKept(const Building& b, LineMode mode, const TextLine& line, const PageRules& rules, std::size_t& work) {
  const TextBlock& block = b.block;
  if (b.mode != mode) return false;
  const TextLine& last = block.lines.back();
  const double em = std::max(line.size, last.size);
  const double gap = last.baseline - line.baseline;
  if (gap < -0.3 * em || gap > kMaxCodeGap * em) return false;
  if (std::fabs(line.size - block.size) > kSizeTolerance * std::max(line.size, block.size)) return false;
  if (mode == LineMode::Code ? line.left > block.box.x1 || line.left < block.box.x0 - kCodeOutdent * em
                             : overlap(line.left, line.right, block.box.x0, block.box.x1) <= 0) {
    return false;
  }
  // The rules between the rows of a ruled table part the cells of a column
  // of figures, not the column: its rows keep their places anyway.
  if (mode == LineMode::Column) return true;
  work += rules.horizontal.size() + rules.boxes.size();
  if (work > kMaxRuleWork) return true;
  if (gap > 0.3 * em &&
      ruleBetween(rules, line.baseline + 0.5 * line.size, last.baseline - 0.25 * last.size, line.left, line.right)) {
    return false;
  }
  return !boxBetween(rules, last, line);
}

// Kept lines top to bottom, those of one baseline left to right, the
// block's text one of its lines a line, and its leading the median
// distance between baselines that differ.
void finishKept(Building& b) {
  TextBlock& block = b.block;
  std::vector<std::size_t> order(block.lines.size());
  for (std::size_t k = 0; k < order.size(); ++k) order[k] = k;
  const double tolerance = 0.3 * block.size;
  const auto baseline = [&](std::size_t k) { return block.lines[k].baseline; };
  std::stable_sort(order.begin(), order.end(), [&](std::size_t l, std::size_t r) { return baseline(l) > baseline(r); });
  // Lines within the tolerance of a run's first baseline share it.
  for (std::size_t start = 0; start < order.size();) {
    std::size_t end = start + 1;
    while (end < order.size() && baseline(order[start]) - baseline(order[end]) <= tolerance) ++end;
    std::stable_sort(order.begin() + static_cast<std::ptrdiff_t>(start), order.begin() + static_cast<std::ptrdiff_t>(end),
                     [&](std::size_t l, std::size_t r) { return block.lines[l].left < block.lines[r].left; });
    start = end;
  }
  std::vector<TextLine> lines;
  std::string text;
  for (std::size_t k : order) {
    if (!lines.empty()) text += '\n';
    lines.push_back(std::move(block.lines[k]));
    text += codeText(b.texts[k]);
  }
  block.lines = std::move(lines);
  block.text = std::move(text);
  std::vector<double> gaps;
  for (std::size_t i = 1; i < block.lines.size(); ++i) {
    const double gap = block.lines[i - 1].baseline - block.lines[i].baseline;
    if (gap > tolerance) gaps.push_back(gap);
  }
  block.leading = 1.2 * block.size;
  if (!gaps.empty()) {
    std::nth_element(gaps.begin(), gaps.begin() + static_cast<std::ptrdiff_t>(gaps.size() / 2), gaps.end());
    block.leading = gaps[gaps.size() / 2];
  }
  block.keepsLines = true;
  block.kind = b.mode == LineMode::Code ? BlockKind::Code : BlockKind::TableCell;
  block.alignment = BlockAlignment::Left;
}

bool hasLeader(const std::string& line) {
  int dots = 0;
  for (char c : line) {
    if (c == '.') {
      if (++dots >= kLeaderDots) return true;
    } else if (c != ' ') {
      dots = 0;
    }
  }
  return false;
}

void addLine(Building& b, const TextLine& line, std::string text) {
  TextBlock& block = b.block;
  if (block.lines.empty()) {
    block.box = {line.left, line.bottom, line.right, line.top};
    block.size = line.size;
  } else {
    block.box.x0 = std::min(block.box.x0, line.left);
    block.box.x1 = std::max(block.box.x1, line.right);
    block.box.y0 = std::min(block.box.y0, line.bottom);
    block.box.y1 = std::max(block.box.y1, line.top);
  }
  if (block.lines.size() == 1) {
    b.bodyLeast = b.bodyGreatest = line.left;
  } else if (block.lines.size() >= 2) {
    b.bodyLeast = std::min(b.bodyLeast, line.left);
    b.bodyGreatest = std::max(b.bodyGreatest, line.left);
  }
  block.lines.push_back(line);
  b.texts.push_back(std::move(text));
  // The median baseline distance.
  if (block.lines.size() >= 2) {
    std::vector<double> gaps;
    for (std::size_t i = 1; i < block.lines.size(); ++i) gaps.push_back(block.lines[i - 1].baseline - block.lines[i].baseline);
    std::nth_element(gaps.begin(), gaps.begin() + static_cast<std::ptrdiff_t>(gaps.size() / 2), gaps.end());
    block.leading = gaps[gaps.size() / 2];
  }
}

// Splits prose blocks before each term of a description list: a line far
// left of the line above it, whose next line comes back to where that one
// started, and whose own text after the term starts there too. Text that
// wraps around a picture comes back left for good, and ragged-left text
// has no such break in its lines: both stay one block.
std::vector<Building> splitAtHungTerms(std::vector<Building> building, const std::vector<TextEntry>& items) {
  std::vector<Building> parts;
  parts.reserve(building.size());
  for (Building& b : building) {
    const std::vector<TextLine>& lines = b.block.lines;
    std::vector<std::size_t> starts{0};
    for (std::size_t k = 1; b.mode == LineMode::Prose && k + 1 < lines.size(); ++k) {
      const double em = lines[k].size;
      const double body = lines[k - 1].left;
      if (lines[k].items.size() >= 2 && lines[k].left < body - kHungTerm * em &&
          std::fabs(lines[k + 1].left - body) < 0.5 * em &&
          std::any_of(lines[k].items.begin() + 1, lines[k].items.end(),
                      [&](std::uint32_t index) { return std::fabs(items[index].startX - body) < 0.5 * em; })) {
        starts.push_back(k);
      }
    }
    if (starts.size() == 1) {
      parts.push_back(std::move(b));
      continue;
    }
    starts.push_back(lines.size());
    for (std::size_t s = 0; s + 1 < starts.size(); ++s) {
      Building part;
      part.bold = b.bold;
      part.mode = b.mode;
      for (std::size_t k = starts[s]; k < starts[s + 1]; ++k) addLine(part, lines[k], std::move(b.texts[k]));
      parts.push_back(std::move(part));
    }
  }
  return parts;
}

bool aligned(const std::vector<double>& values, double tolerance) {
  if (values.empty()) return true;
  const auto [low, high] = std::minmax_element(values.begin(), values.end());
  return *high - *low <= tolerance;
}

BlockAlignment alignmentOf(const TextBlock& block, double areaLeft, double areaRight, bool listItem) {
  const double tolerance = kEdgeTolerance * block.size;
  const std::size_t n = block.lines.size();
  if (n == 1) {
    const TextLine& line = block.lines[0];
    const double centre = (line.left + line.right) / 2;
    if (line.left > areaLeft + 3 * block.size && std::fabs(centre - (areaLeft + areaRight) / 2) < block.size) {
      return BlockAlignment::Center;
    }
    // A line of Hebrew or Arabic starts at its right end.
    if (letterDirections(decodeUtf8(block.text, nullptr)).rightToLeftLine()) return BlockAlignment::Right;
    return BlockAlignment::Left;
  }
  std::vector<double> lefts, rights, allRights, centres;
  for (std::size_t i = 0; i < n; ++i) {
    const TextLine& line = block.lines[i];
    if (i > 0) lefts.push_back(line.left);
    if (i + 1 < n) rights.push_back(line.right);
    allRights.push_back(line.right);
    centres.push_back((line.left + line.right) / 2);
  }
  const bool leftsEqual = aligned(lefts, tolerance) && block.lines[0].left >= block.lines[1].left - 4 * block.size;
  if (leftsEqual && n >= 3 && aligned(rights, tolerance)) return BlockAlignment::Justified;
  // Two lines, the first reaching the right edge of the page's text: a
  // short paragraph of a justified page.
  if (leftsEqual && n == 2 && !listItem && std::fabs(block.lines[0].right - areaRight) <= tolerance &&
      block.lines[1].right < areaRight - tolerance) {
    return BlockAlignment::Justified;
  }
  // A list item's lines after the first start together; its marker hangs
  // out. That is no sign of centred or right-aligned text.
  if (listItem && leftsEqual) return BlockAlignment::Left;
  std::vector<double> allLefts = lefts;
  allLefts.push_back(block.lines[0].left);
  // Centred lines start at clearly different places (a hanging indent of
  // an em or so is no sign of centring).
  if (!aligned(allLefts, 2 * tolerance) && aligned(centres, tolerance)) return BlockAlignment::Center;
  if (!aligned(allLefts, tolerance) && aligned(allRights, tolerance)) return BlockAlignment::Right;
  return BlockAlignment::Left;
}

bool insideCell(const TextBlock& block, const PageRules& rules) {
  const double midY = (block.box.y0 + block.box.y1) / 2;
  // A box holding the block closely from above and below is its cell; one
  // much taller is a frame or a background.
  const double height = block.box.y1 - block.box.y0;
  for (const ItemBox& box : rules.boxes) {
    if (box.x0 <= block.box.x0 + 1 && box.x1 >= block.box.x1 - 1 && box.y0 <= block.box.y0 + 1 &&
        box.y1 >= block.box.y1 - 1 && box.y1 - box.y0 <= 2 * height + 2 * block.size) {
      return true;
    }
  }
  // Vertical rules close on both sides.
  const double reach = 3 * block.size;
  bool left = false, right = false;
  for (const Rule& rule : rules.vertical) {
    if (rule.from > midY || rule.to < midY) continue;
    left = left || (rule.at <= block.box.x0 + 1 && rule.at >= block.box.x0 - reach);
    right = right || (rule.at >= block.box.x1 - 1 && rule.at <= block.box.x1 + reach);
  }
  return left && right;
}

// An image or frame just above or below the block, whose centre the block
// shares: the block describes it.
bool besideFigure(const TextBlock& block, const PageRules& rules) {
  const double centre = (block.box.x0 + block.box.x1) / 2;
  for (const ItemBox& box : rules.boxes) {
    const bool below = block.box.y1 <= box.y0 + 1 && box.y0 - block.box.y1 < 3 * block.size;
    const bool above = block.box.y0 >= box.y1 - 1 && block.box.y0 - box.y1 < 3 * block.size;
    if ((below || above) && std::fabs(centre - (box.x0 + box.x1) / 2) < 2 * block.size) return true;
  }
  return false;
}

// Superscripts and subscripts (footnote marks, exponents, indices) are
// lines of their own to textLines, their baselines off the line's. A short
// line of smaller text within reach of a larger line's ends and baseline
// joins that line, so that a footnote mark makes no block of its own.
constexpr std::size_t kScriptItems = 3;
constexpr double kScriptRatio = 0.9;   // the script's size to the line's, at most
constexpr double kScriptRise = 0.75;   // em of the line, the script's baseline above it
constexpr double kScriptDrop = 0.45;   // em of the line, below it
constexpr double kScriptReach = 0.6;   // em of the line, the script's gap to its ends
constexpr double kScriptWidth = 3.0;   // em of the line, the script's width
constexpr std::size_t kScriptWindow = 8;  // lines searched on either side (they are sorted by baseline)
// Letters of the line's own size set a little off its baseline (the
// lowered E of the TeX logo) belong to the line too: no other line comes
// that close.
constexpr double kShiftedRise = 0.35;   // em of the line, at most, up or down
constexpr double kShiftedRatio = 1.05;  // the letter's size to the line's, at most

std::vector<TextLine> attachScripts(std::vector<TextLine> lines, const std::vector<TextEntry>& items) {
  constexpr std::size_t kNone = SIZE_MAX;
  std::vector<std::size_t> host(lines.size(), kNone);
  for (std::size_t s = 0; s < lines.size(); ++s) {
    const TextLine& script = lines[s];
    if (!script.upright || script.items.size() > kScriptItems || !(script.size > 0)) continue;
    double nearest = 0;
    const std::size_t from = s > kScriptWindow ? s - kScriptWindow : 0;
    const std::size_t to = std::min(lines.size(), s + kScriptWindow + 1);
    for (std::size_t m = from; m < to; ++m) {
      const TextLine& line = lines[m];
      if (m == s || host[m] != kNone || !line.upright) continue;
      const double rise = script.baseline - line.baseline;
      const bool shifted = script.size <= kShiftedRatio * line.size && std::fabs(rise) <= kShiftedRise * line.size &&
                           line.right - line.left > script.right - script.left;
      if (script.size > kScriptRatio * line.size && !shifted) continue;
      if (rise > kScriptRise * line.size || rise < -kScriptDrop * line.size) continue;
      if (script.left > line.right + kScriptReach * line.size || script.right < line.left - kScriptReach * line.size ||
          script.right - script.left > kScriptWidth * line.size) {
        continue;
      }
      if (host[s] == kNone || std::fabs(rise) < nearest) {
        host[s] = m;
        nearest = std::fabs(rise);
      }
    }
  }
  for (std::size_t s = 0; s < lines.size(); ++s) {
    std::size_t m = host[s];
    // A host that is itself a script passes it on; each step is to larger
    // text, so chains are short.
    for (int step = 0; m != kNone && host[m] != kNone && step < 8; ++step) m = host[m];
    if (m == kNone || host[m] != kNone) {
      host[s] = kNone;
      continue;
    }
    TextLine& line = lines[m];
    const TextLine& script = lines[s];
    line.items.insert(line.items.end(), script.items.begin(), script.items.end());
    line.left = std::min(line.left, script.left);
    line.right = std::max(line.right, script.right);
    line.bottom = std::min(line.bottom, script.bottom);
    line.top = std::max(line.top, script.top);
    std::stable_sort(line.items.begin(), line.items.end(),
                     [&](std::uint32_t l, std::uint32_t r) { return items[l].startX < items[r].startX; });
  }
  std::vector<TextLine> kept;
  kept.reserve(lines.size());
  for (std::size_t s = 0; s < lines.size(); ++s) {
    if (host[s] == kNone) kept.push_back(std::move(lines[s]));
  }
  return kept;
}

}  // namespace

std::vector<TextBlock> textBlocks(const std::vector<TextEntry>& items, const std::vector<GraphicsEntry>& graphics,
                                  std::size_t budget) {
  const PageRules rules = pageRules(graphics);
  const std::vector<TextLine> lines = attachScripts(textLines(items, rules, budget), items);
  std::vector<Building> building;
  std::vector<std::size_t> open;
  // Code listings and columns of figures still open to a next line.
  std::vector<std::size_t> openKept;
  std::size_t work = 0;
  for (const TextLine& line : lines) {
    const bool bold = lineBold(items, line);
    // Lines of code make listings of their own: their breaks and
    // indentation carry meaning, so their text is never flowed as prose.
    // A line with proportional text beside fixed-pitch text, in items of
    // their own, ending one or making much of one, is prose that quotes
    // code.
    // Much smaller text beside it (the line numbers of a listing) does not
    // count.
    bool fixed = false, proportional = false;
    for (std::uint32_t index : line.items) {
      const TextEntry& item = items[index];
      if (shownSize(item) < kLineNumberSize * line.size) continue;
      const bool pitch = item.style && item.style->fixedPitch &&
                         (!item.lastStyle || item.lastStyle == item.style.get()) && !mostlyProportional(item);
      fixed = fixed || pitch;
      proportional = proportional || !pitch;
    }
    const bool code = line.upright && fixed && !proportional;
    std::string text = code ? codeLineText(items, line) : lineText(items, line);
    // A line of figures alone is a row of a table's column, unless it ends a
    // sentence ("1996." closing a reference).
    const char end = text.empty() ? '\0' : text.back();
    LineMode mode = code ? LineMode::Code
                    : line.upright && figuresOnly(text) && end != '.' && end != ',' && end != ';' ? LineMode::Column
                                                                                                 : LineMode::Prose;
    // One word in a fixed-pitch font that goes on with the paragraph above,
    // at the left edge of its body (a URL broken over the lines of a
    // reference), is prose; so is a URL that starts the hanging lines under
    // a first line going on past its end ("[Key] Title," then the address).
    if (mode == LineMode::Code && line.upright && text.find(' ') == std::string::npos) {
      std::string prose = lineText(items, line);
      for (std::size_t k : open) {
        const TextBlock& above = building[k].block;
        const bool body = above.lines.size() >= 2 ? std::fabs(line.left - bodyLeft(above)) <= 0.5 * line.size
                                                  : hangingAddress(building[k], line, text);
        if (body && accepts(building[k], line, bold, prose, rules, work)) {
          mode = LineMode::Prose;
          text = std::move(prose);
          break;
        }
      }
    }
    // A numbered line (a small line number first) goes on with a numbered
    // listing, whatever its face: the guards and comments of a listing are
    // set in other faces.
    if (mode == LineMode::Prose && line.upright && numberedLine(items, line)) {
      for (std::size_t k : openKept) {
        if (building[k].numbered && acceptsKept(building[k], LineMode::Code, line, rules, work)) {
          mode = LineMode::Code;
          text = codeLineText(items, line);
          break;
        }
      }
    }
    const bool grouped = line.upright && mode == LineMode::Prose;
    const bool kept = line.upright && mode != LineMode::Prose;
    std::size_t chosen = building.size();
    double bestGap = 0;
    bool indented = false;
    static const std::vector<std::size_t> kNoBlocks;
    for (std::size_t k : grouped ? open : kept ? openKept : kNoBlocks) {
      const Building& candidate = building[k];
      if (grouped ? !accepts(candidate, line, bold, text, rules, work)
                  : !acceptsKept(candidate, mode, line, rules, work)) {
        indented = indented || (grouped && followsBelow(candidate.block, line) && indentedStart(candidate, line));
        continue;
      }
      const double gap = std::fabs(candidate.block.lines.back().baseline - line.baseline);
      if (chosen == building.size() || gap < bestGap) {
        chosen = k;
        bestGap = gap;
      }
    }
    if (chosen == building.size()) {
      building.emplace_back();
      building.back().bold = bold;
      building.back().runIn = bold && grouped && endsPlain(items, line);
      building.back().mode = mode;
      building.back().numbered = mode == LineMode::Code && numberedLine(items, line);
      building.back().indented = indented;
      std::vector<std::size_t>& list = kept ? openKept : open;
      if (grouped || kept) {
        list.push_back(chosen);
        if (list.size() > kMaxOpenBlocks) list.erase(list.begin());
      }
    }
    addLine(building[chosen], line, std::move(text));
    if (building[chosen].runIn && building[chosen].block.lines.size() > 1) {
      building[chosen].runIn = false;
      building[chosen].bold = bold;
    }
    // Blocks far above this line can take no more lines, and prose below a
    // listing or column across its width ends it.
    std::erase_if(open, [&](std::size_t k) {
      const TextBlock& block = building[k].block;
      return block.lines.back().baseline - line.baseline > 4 * std::max(block.size, line.size) + block.leading;
    });
    std::erase_if(openKept, [&](std::size_t k) {
      const TextBlock& block = building[k].block;
      const double gap = block.lines.back().baseline - line.baseline;
      return gap > kMaxCodeGap * std::max(block.size, line.size) ||
             (grouped && gap > 0.3 * line.size && overlap(line.left, line.right, block.box.x0, block.box.x1) > 0);
    });
  }
  // The text area and the body size: the size that covers the most width.
  double areaLeft = 0, areaRight = 0;
  bool first = true;
  std::vector<std::pair<double, double>> sizes;
  for (const Building& b : building) {
    for (const TextLine& line : b.block.lines) {
      areaLeft = first ? line.left : std::min(areaLeft, line.left);
      areaRight = first ? line.right : std::max(areaRight, line.right);
      first = false;
      bool known = false;
      for (auto& [size, width] : sizes) {
        if (std::fabs(size - line.size) <= kSizeTolerance * size) {
          width += line.right - line.left;
          known = true;
          break;
        }
      }
      if (!known && sizes.size() < 64) sizes.emplace_back(line.size, line.right - line.left);
    }
  }
  double bodySize = 0, bodyWidth = -1;
  for (const auto& [size, width] : sizes) {
    if (width > bodyWidth) {
      bodyWidth = width;
      bodySize = size;
    }
  }
  building = splitAtHungTerms(std::move(building), items);
  std::vector<TextBlock> blocks;
  blocks.reserve(building.size());
  for (Building& b : building) {
    TextBlock& block = b.block;
    // A single line of figures (a page number) is an ordinary line; lines
    // of one word each (the names of a table's rows) are a column.
    if (b.mode == LineMode::Column && block.lines.size() < 2) b.mode = LineMode::Prose;
    if (b.mode == LineMode::Prose && block.lines.size() >= kMinWordColumn &&
        std::none_of(b.texts.begin(), b.texts.end(), [](const std::string& line) {
          return line.find(' ') != std::string::npos;
        })) {
      b.mode = LineMode::Column;
    }
    if (b.mode == LineMode::Prose && block.lines.size() >= 2 &&
        kLeaderShare * static_cast<std::size_t>(std::count_if(b.texts.begin(), b.texts.end(), hasLeader)) >=
            block.lines.size()) {
      b.mode = LineMode::Column;
    }
    if (b.mode != LineMode::Prose) {
      finishKept(b);
    } else {
      if (block.lines.size() < 2) block.leading = 1.2 * block.size;
      block.text = joinLines(b.texts);
    }
    if (block.text.find_first_not_of('\n') == std::string::npos) continue;
    block.styleItem = blockStyleItem(items, block);
    // A listing is set in its code's face, not in that of its line numbers
    // or guards.
    if (b.mode == LineMode::Code) {
      std::size_t longest = 0;
      for (const TextLine& line : block.lines) {
        for (std::uint32_t index : line.items) {
          const TextEntry& item = items[index];
          if (item.style && item.style->fixedPitch && item.text.size() > longest) {
            longest = item.text.size();
            block.styleItem = index;
          }
        }
      }
    }
    if (block.styleItem < items.size()) block.style = items[block.styleItem].style;
    if (block.keepsLines) {
      blocks.push_back(std::move(block));
      continue;
    }
    block.alignment = alignmentOf(block, areaLeft, areaRight, startsListItem(block.text));
    const std::size_t words = std::count(block.text.begin(), block.text.end(), ' ') + 1;
    const bool figure = besideFigure(block, rules);
    const bool heading = block.size > bodySize * (1 + kSizeTolerance) ||
                         (b.bold && block.lines.size() <= 2 && words <= 15 && bodySize > 0);
    // A numbered heading ("2. Results") is a heading, not a list item.
    if (startsListItem(block.text) && !heading) {
      block.kind = BlockKind::ListItem;
    } else if (startsCaption(block.text) || (figure && block.lines.size() <= 3)) {
      block.kind = BlockKind::Caption;
      // A caption of one line centred under its figure is centred.
      if (figure && block.lines.size() == 1) block.alignment = BlockAlignment::Center;
    } else if (insideCell(block, rules)) {
      block.kind = BlockKind::TableCell;
    } else if (heading) {
      block.kind = BlockKind::Heading;
    }
    blocks.push_back(std::move(block));
  }
  sortReadingOrder(blocks);
  return blocks;
}

}  // namespace zopra::pdf
