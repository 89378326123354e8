#include "pdf/layout/text_alignment.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "pdf/layout/baseline_groups.h"
#include "pdf/layout/item_geometry.h"

namespace zopra::pdf {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr std::size_t kNone = static_cast<std::size_t>(-1);
// Painted pieces at most this wide or high (PDF units) are rules.
constexpr double kRuleThickness = 2.0;
// Graphics are filed in horizontal strips, at most this many; filings past
// the budget are left out, so a page of extreme graphics only loses cells.
constexpr double kStripHeight = 4.0;
constexpr std::size_t kMaxStrips = 4096;
constexpr std::size_t kMaxFilings = std::size_t{1} << 22;
// Neighbour lines looked at per item, above and below.
constexpr std::size_t kMaxNeighbourScan = 64;
// Lines looked at per item for text beside it, within this many sizes of
// its baseline.
constexpr std::size_t kMaxBandScan = 512;
constexpr double kNearBand = 1.0;
// Fractions of the shown size.
constexpr double kSameLine = 0.2;        // baselines this close are one line
constexpr double kColumnGap = 1.5;       // a wider gap on a line separates columns
constexpr double kNeighbourNear = 0.5;   // lines above and below lie between these
constexpr double kNeighbourFar = 3.0;
constexpr double kMatch = 0.1;           // edges and centres this close match
constexpr double kProbeHeight = 0.25;    // the band is probed at a quarter em
constexpr double kPageMatch = 0.25;      // centred on the page within this
constexpr double kTextGap = 0.3;         // kept after the text before: a word space
constexpr double kGraphicsGap = 0.2;     // kept after a rule or cell side

struct Line {
  std::size_t item;
  ItemBox box;
  double baseline;
  double probe;
  double size;
  // The extent of the item's run of text on its line, and whether the item
  // is that run's only item.
  double segmentLeft = 0, segmentRight = 0;
  bool alone = false;
  // The ends of the nearest text before and after it on its line.
  double previousEnd = -kInfinity, nextStart = kInfinity;
};

struct Piece {
  double x0, x1, y0, y1;
  bool rule;
};

bool leftToRight(const TextEntry& item, const ItemBox& box, double size) {
  return std::isfinite(item.a) && std::isfinite(item.b) && item.a > 0 && std::fabs(item.b) <= 0.02 * item.a &&
         std::isfinite(size) && size > 1e-6 && std::isfinite(box.x0) && std::isfinite(box.x1) &&
         std::isfinite(box.y0) && std::isfinite(box.y1) && std::isfinite(item.startY);
}

double tolerance(double size) { return kMatch * size + 0.5; }

// Groups the lines by baseline; on each baseline, records each line's run
// of text (items no column-sized gap separates) and its nearest neighbours.
void findRuns(std::vector<Line>& lines) {
  const BaselineGroups grouped = groupByBaseline(lines, kSameLine, kColumnGap);
  const std::vector<std::size_t>& order = grouped.order;
  for (const auto& [start, end] : grouped.groups) {
    for (std::size_t k = start; k < end; ++k) {
      if (k > start) lines[order[k]].previousEnd = lines[order[k - 1]].box.x1;
      if (k + 1 < end) lines[order[k]].nextStart = lines[order[k + 1]].box.x0;
    }
  }
}

// The nearest line above (direction +1) or below (-1) whose run overlaps
// the item's, kNone when there is none.
std::size_t neighbourLine(const std::vector<Line>& lines, const std::vector<std::size_t>& byBaseline,
                          const Line& item, int direction) {
  auto below = [&](std::size_t k, double y) { return lines[k].baseline < y; };
  const double far = kNeighbourFar * item.size;
  auto overlaps = [&](const Line& line) {
    return line.segmentLeft <= item.segmentRight && line.segmentRight >= item.segmentLeft;
  };
  std::size_t scanned = 0;
  if (direction > 0) {
    auto it = std::lower_bound(byBaseline.begin(), byBaseline.end(), item.baseline + kNeighbourNear * item.size,
                               below);
    for (; it != byBaseline.end() && scanned < kMaxNeighbourScan; ++it, ++scanned) {
      if (lines[*it].baseline - item.baseline > far) break;
      if (overlaps(lines[*it])) return *it;
    }
  } else {
    auto it = std::lower_bound(byBaseline.begin(), byBaseline.end(), item.baseline - kNeighbourNear * item.size,
                               below);
    while (it != byBaseline.begin() && scanned < kMaxNeighbourScan) {
      --it;
      ++scanned;
      if (item.baseline - lines[*it].baseline > far) break;
      if (overlaps(lines[*it])) return *it;
    }
  }
  return kNone;
}

// Graphics pieces that can bound a cell, filed by the strips their height
// crosses.
class CellGraphics {
 public:
  CellGraphics(const std::vector<GraphicsEntry>& graphics, double low, double high) : low_(low) {
    const double span = std::max(0.0, high - low);
    const double wanted = std::min(static_cast<double>(kMaxStrips), span / kStripHeight + 1);
    const auto count = static_cast<std::size_t>(std::max(1.0, wanted));
    height_ = std::max(kStripHeight, span / static_cast<double>(count));
    strips_.resize(count);
    std::size_t filings = 0;
    for (const GraphicsEntry& entry : graphics) {
      const Rectangle& b = entry.bounds;
      if (entry.type != GraphicsEntry::kPath || !std::isfinite(b.x) || !std::isfinite(b.y) ||
          !std::isfinite(b.width) || !std::isfinite(b.height) || b.height <= kRuleThickness) {
        continue;
      }
      const bool rule = b.width <= kRuleThickness;
      if (!rule && entry.isLine) continue;
      const double x = b.x + b.width / 2;
      Piece piece{rule ? x : b.x, rule ? x : b.x + b.width, b.y, b.y + b.height, rule};
      const double top = low_ + height_ * static_cast<double>(strips_.size());
      if (!(piece.y1 >= low_) || !(piece.y0 <= top)) continue;
      const std::size_t first = stripOf(piece.y0);
      const std::size_t last = stripOf(piece.y1);
      filings += last - first + 1;
      if (filings > kMaxFilings) break;
      pieces_.push_back(piece);
      for (std::size_t s = first; s <= last; ++s) strips_[s].push_back(pieces_.size() - 1);
    }
  }

  // The cell around the line across its probe: the tightest sides from
  // boxes around it and rules beside it; infinite sides when none.
  void cell(const Line& line, double& left, double& right) const {
    const double slack = tolerance(line.size);
    left = -kInfinity;
    right = kInfinity;
    for (std::size_t id : strips_[stripOf(line.probe)]) {
      const Piece& p = pieces_[id];
      if (!(p.y0 <= line.probe && line.probe <= p.y1)) continue;
      if (p.rule) {
        if (p.x0 <= line.box.x0 + slack) left = std::max(left, p.x0);
        if (p.x0 >= line.box.x1 - slack) right = std::min(right, p.x0);
      } else if (p.x0 <= line.box.x0 + slack && p.x1 >= line.box.x1 - slack) {
        left = std::max(left, p.x0);
        right = std::min(right, p.x1);
      }
    }
  }

 private:
  std::size_t stripOf(double y) const {
    const double position = (y - low_) / height_;
    if (!(position > 0)) return 0;
    return static_cast<std::size_t>(std::min(static_cast<double>(strips_.size() - 1), position));
  }

  double low_;
  double height_ = kStripHeight;
  std::vector<Piece> pieces_;
  std::vector<std::vector<std::size_t>> strips_;
};

// Centred or right-aligned between two sides, or not aligned to them.
bool alignedBetween(double left, double right, const Line& line, Alignment& alignment) {
  const double slack = tolerance(line.size);
  const double leftGap = line.box.x0 - left;
  const double rightGap = right - line.box.x1;
  if (!std::isfinite(leftGap) || !std::isfinite(rightGap)) return false;
  if (std::fabs(leftGap - rightGap) <= slack) {
    // Text that fills its cell shows no alignment.
    if (leftGap <= 0.5 * line.size) return false;
    alignment = Alignment::Center;
    return true;
  }
  if (rightGap < leftGap / 3 && leftGap - rightGap > line.size) {
    alignment = Alignment::Right;
    return true;
  }
  return false;
}

// Centred or right-aligned against a neighbour line: they share a centre or
// a right end, but not a start.
bool alignedWith(const Line& line, const Line& neighbour, Alignment& alignment) {
  const double slack = tolerance(std::max(line.size, neighbour.size));
  if (std::fabs(line.segmentLeft - neighbour.segmentLeft) <= slack) return false;
  if (std::fabs(line.segmentRight - neighbour.segmentRight) <= slack) {
    alignment = Alignment::Right;
    return true;
  }
  const double centre = (line.segmentLeft + line.segmentRight) / 2;
  const double other = (neighbour.segmentLeft + neighbour.segmentRight) / 2;
  if (std::fabs(centre - other) <= slack) {
    alignment = Alignment::Center;
    return true;
  }
  return false;
}

}  // namespace

std::vector<AlignedItem> textAlignment(const std::vector<TextEntry>& items,
                                       const std::vector<GraphicsEntry>& graphics, const Rectangle& pageBox) {
  std::vector<AlignedItem> alignment(items.size());
  std::vector<Line> lines;
  for (std::size_t i = 0; i < items.size(); ++i) {
    const TextEntry& item = items[i];
    const ItemBox box = itemBox(item);
    const double size = shownSize(item);
    if (!leftToRight(item, box, size)) continue;
    const double probe = item.startY + kProbeHeight * item.fontSize * item.d;
    if (!std::isfinite(probe)) continue;
    lines.push_back({i, box, item.startY, probe, size});
  }
  if (lines.empty()) return alignment;
  findRuns(lines);

  std::vector<std::size_t> byBaseline(lines.size());
  for (std::size_t k = 0; k < lines.size(); ++k) byBaseline[k] = k;
  std::sort(byBaseline.begin(), byBaseline.end(),
            [&](std::size_t l, std::size_t r) { return lines[l].baseline < lines[r].baseline; });
  double low = kInfinity, high = -kInfinity;
  double textLeft = kInfinity, textRight = -kInfinity;
  const double pageLeft = pageBox.x;
  const double pageRight = pageBox.x + pageBox.width;
  const bool pageKnown = std::isfinite(pageLeft) && std::isfinite(pageRight) && pageRight > pageLeft;
  for (const Line& line : lines) {
    low = std::min(low, line.probe);
    high = std::max(high, line.probe);
    if (pageKnown && (line.box.x1 < pageLeft || line.box.x0 > pageRight)) continue;
    textLeft = std::min(textLeft, line.box.x0);
    textRight = std::max(textRight, line.box.x1);
  }
  const CellGraphics cells(graphics, low, high);
  // The nearest end of text before each line whose box crosses its probe,
  // on its baseline or not (a column beside it on other baselines).
  for (Line& line : lines) {
    auto below = [&](std::size_t k, double y) { return lines[k].baseline < y; };
    auto it = std::lower_bound(byBaseline.begin(), byBaseline.end(), line.baseline - kNearBand * line.size, below);
    for (std::size_t scanned = 0; it != byBaseline.end() && scanned < kMaxBandScan; ++it, ++scanned) {
      const Line& other = lines[*it];
      if (other.baseline > line.baseline + kNearBand * line.size) break;
      if (&other == &line || !(other.box.y0 <= line.probe && line.probe <= other.box.y1)) continue;
      if (other.box.x1 <= line.box.x0 + tolerance(line.size)) line.previousEnd = std::max(line.previousEnd, other.box.x1);
    }
  }

  // Each line's neighbours over and under it, and whether it starts where
  // one of them starts.
  std::vector<std::pair<std::size_t, std::size_t>> neighbours(lines.size());
  std::vector<bool> leftFlush(lines.size(), false);
  for (std::size_t k = 0; k < lines.size(); ++k) {
    neighbours[k] = {neighbourLine(lines, byBaseline, lines[k], +1), neighbourLine(lines, byBaseline, lines[k], -1)};
    for (std::size_t n : {neighbours[k].first, neighbours[k].second}) {
      if (n == kNone) continue;
      const double shared = tolerance(std::max(lines[k].size, lines[n].size));
      if (std::fabs(lines[k].segmentLeft - lines[n].segmentLeft) <= shared) leftFlush[k] = true;
    }
  }

  for (const Line& line : lines) {
    Alignment found = Alignment::Left;
    double left = 0, right = 0;
    cells.cell(line, left, right);
    // Alone in its cell on this line: no other text between the sides.
    const double slack = tolerance(line.size);
    // Outside a cell the page's left text margin bounds the space; the
    // leftmost text itself may reach a twentieth of the page from its edge.
    double margin = line.box.x0;
    if (std::isfinite(left)) {
      margin = left + kGraphicsGap * line.size;
    } else if (line.box.x0 > textLeft + slack) {
      margin = textLeft;
    } else if (pageKnown) {
      margin = pageLeft + 0.05 * (pageRight - pageLeft);
    }
    const double before = std::max(line.previousEnd + kTextGap * line.size, margin);
    alignment[line.item].spaceBefore = std::isfinite(before) ? std::max(0.0, line.box.x0 - before) : 0.0;
    if (line.previousEnd <= left + slack && line.nextStart >= right - slack &&
        alignedBetween(left, right, line, found)) {
      alignment[line.item].alignment = found;
      continue;
    }
    if (!line.alone) continue;
    // A line that starts where a line over or under it starts is
    // left-aligned. Sharing a right end with a line of a left-flush block
    // is justification, not right alignment: the indented first line of a
    // justified paragraph shares only its right end with the next.
    const std::size_t k = static_cast<std::size_t>(&line - lines.data());
    if (leftFlush[k]) continue;
    bool decided = false;
    for (std::size_t n : {neighbours[k].first, neighbours[k].second}) {
      if (n != kNone && alignedWith(line, lines[n], found) && !(found == Alignment::Right && leftFlush[n])) {
        decided = true;
        break;
      }
    }
    if (!decided && std::isfinite(textLeft) && line.box.x0 - textLeft > 2 * line.size &&
        line.box.x1 - line.box.x0 < 0.9 * (textRight - textLeft)) {
      const double centre = (line.box.x0 + line.box.x1) / 2;
      const double pageSlack = kPageMatch * line.size + 1.0;
      if (std::fabs(centre - (textLeft + textRight) / 2) <= pageSlack ||
          (pageKnown && std::fabs(centre - (pageLeft + pageRight) / 2) <= pageSlack)) {
        found = Alignment::Center;
        decided = true;
      }
    }
    if (decided) alignment[line.item].alignment = found;
  }
  return alignment;
}

}  // namespace zopra::pdf
