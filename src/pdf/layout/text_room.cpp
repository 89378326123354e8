#include "pdf/layout/text_room.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "pdf/layout/baseline_groups.h"
#include "pdf/layout/item_geometry.h"
#include "pdf/model/error.h"

namespace zopra::pdf {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
// Painted pieces at most this wide (PDF units) are vertical rules.
constexpr double kRuleThickness = 2.0;
// Obstacles are filed in horizontal strips of about this height, so that an
// item looks only at those near its baseline.
constexpr double kStripHeight = 4.0;
constexpr std::size_t kMaxStrips = 4096;
// Work limits: obstacle filings, and obstacles and neighbours looked at.
constexpr std::uint64_t kMaxFilings = std::uint64_t{1} << 23;
constexpr std::uint64_t kMaxWork = std::uint64_t{1} << 26;
// Fractions of the shown size.
constexpr double kSameLine = 0.2;       // baselines this close are one line
constexpr double kSegmentGap = 1.5;     // a wider gap on a line separates columns
constexpr double kNeighbourNear = 0.5;  // lines above and below lie between these
constexpr double kNeighbourFar = 3.0;
constexpr double kFlush = 0.05;         // line ends this close share an edge
constexpr double kTextGap = 0.3;      // kept before the next text: a word space
constexpr double kGraphicsGap = 0.2;  // kept before a rule or box edge
constexpr double kProbeHeight = 0.25;  // the band is probed at a quarter em

enum class Kind { Text, Rule, Box };

struct Obstacle {
  double x0, x1, y0, y1;
  Kind kind;
  std::uint32_t item;
};

// A left-to-right item with what the rules need, in page space.
struct Line {
  std::uint32_t index;
  ItemBox box;
  double baseline;
  double probe;
  double size;
  double segmentLeft = 0, segmentRight = 0;
};

class Budget {
 public:
  void charge(std::uint64_t amount, std::uint64_t limit) {
    used_ += amount;
    if (used_ > limit) throw Exception(Error::Format, "page layout is too complex");
  }

 private:
  std::uint64_t used_ = 0;
};

bool finite(const ItemBox& box) {
  return std::isfinite(box.x0) && std::isfinite(box.x1) && std::isfinite(box.y0) &&
         std::isfinite(box.y1);
}

// Text that runs left to right along the page's x axis, upright or mirrored.
bool leftToRight(const TextEntry& item, double size) {
  return std::isfinite(item.a) && std::isfinite(item.b) && item.a > 0 &&
         std::fabs(item.b) <= 0.02 * item.a && std::isfinite(size) && size > 1e-6 &&
         std::isfinite(item.startX) && std::isfinite(item.startY) && std::isfinite(item.width);
}

// Obstacle ids filed by the horizontal strips their vertical extent crosses.
class Strips {
 public:
  Strips(double low, double high) : low_(low) {
    // Counted in doubles first: a span of extreme coordinates must not
    // overflow the conversion.
    double span = std::max(0.0, high - low);
    double wanted = std::min(static_cast<double>(kMaxStrips), span / kStripHeight + 1);
    auto count = static_cast<std::size_t>(std::max(1.0, wanted));
    height_ = std::max(kStripHeight, span / static_cast<double>(count));
    strips_.resize(count);
  }

  void file(std::uint32_t id, double y0, double y1, Budget& budget) {
    double top = low_ + height_ * static_cast<double>(strips_.size());
    if (!(y1 >= low_) || !(y0 <= top)) return;
    std::size_t first = stripOf(y0);
    std::size_t last = stripOf(y1);
    budget.charge(last - first + 1, kMaxFilings);
    for (std::size_t s = first; s <= last; ++s) strips_[s].push_back(id);
  }

  const std::vector<std::uint32_t>& at(double y) const { return strips_[stripOf(y)]; }

 private:
  std::size_t stripOf(double y) const {
    double position = (y - low_) / height_;
    if (!(position > 0)) return 0;
    double last = static_cast<double>(strips_.size() - 1);
    return static_cast<std::size_t>(std::min(last, position));
  }

  double low_;
  double height_ = kStripHeight;
  std::vector<std::vector<std::uint32_t>> strips_;
};

std::vector<Obstacle> obstaclesOf(const std::vector<TextEntry>& items,
                                  const std::vector<ItemBox>& boxes,
                                  const std::vector<GraphicsEntry>& graphics) {
  std::vector<Obstacle> obstacles;
  obstacles.reserve(items.size() + graphics.size());
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (!finite(boxes[i])) continue;
    obstacles.push_back({boxes[i].x0, boxes[i].x1, boxes[i].y0, boxes[i].y1, Kind::Text,
                         static_cast<std::uint32_t>(i)});
  }
  for (const GraphicsEntry& entry : graphics) {
    const Rectangle& b = entry.bounds;
    if (!std::isfinite(b.x) || !std::isfinite(b.y) || !std::isfinite(b.width) ||
        !std::isfinite(b.height) || b.height <= 0) {
      continue;
    }
    Obstacle o{b.x, b.x + b.width, b.y, b.y + b.height, Kind::Box, 0};
    if (entry.type == GraphicsEntry::kPath && b.width <= kRuleThickness) {
      o.kind = Kind::Rule;
      o.x0 = o.x1 = b.x + b.width / 2;
    } else if (entry.type == GraphicsEntry::kPath &&
               (b.height <= kRuleThickness || entry.isLine)) {
      // Horizontal rules and slanted lines cross no baseline band.
      continue;
    }
    obstacles.push_back(o);
  }
  return obstacles;
}

// Groups the lines by baseline and, on each baseline, into segments that
// no column-sized gap interrupts; sets every line's segment extent.
void findSegments(std::vector<Line>& lines) { groupByBaseline(lines, kSameLine, kSegmentGap); }

constexpr std::size_t kNone = static_cast<std::size_t>(-1);

// The nearest line above (direction +1) or below (-1) whose segment lies
// over the item, the one reaching farthest right when several share that
// baseline; kNone when there is none.
std::size_t neighbourLine(const std::vector<Line>& lines, const std::vector<std::size_t>& byBaseline,
                          const Line& item, int direction, Budget& budget) {
  const double nearOffset = kNeighbourNear * item.size;
  const double farOffset = kNeighbourFar * item.size;
  auto below = [&](std::size_t k, double y) { return lines[k].baseline < y; };
  std::size_t found = kNone;
  double nearest = kInfinity;
  auto consider = [&](std::size_t k) {
    budget.charge(1, kMaxWork);
    const Line& line = lines[k];
    double distance = std::fabs(line.baseline - item.baseline);
    if (distance > farOffset || distance > nearest + kSameLine * item.size) return false;
    if (line.segmentLeft <= item.box.x1 && line.segmentRight >= item.box.x0) {
      nearest = std::min(nearest, distance);
      if (found == kNone || line.segmentRight > lines[found].segmentRight) found = k;
    }
    return true;
  };
  if (direction > 0) {
    auto it = std::lower_bound(byBaseline.begin(), byBaseline.end(), item.baseline + nearOffset,
                               below);
    for (; it != byBaseline.end() && consider(*it); ++it) {
    }
  } else {
    auto it = std::lower_bound(byBaseline.begin(), byBaseline.end(), item.baseline - nearOffset,
                               below);
    while (it != byBaseline.begin() && consider(*--it)) {
    }
  }
  return found;
}

// The nearest obstacle along the item's baseline band, as a page x.
double obstacleLimit(const Line& item, const Strips& strips, const std::vector<Obstacle>& obstacles,
                     Budget& budget) {
  const double tolerance = 0.05 * item.size + 0.25;
  const std::vector<std::uint32_t>& candidates = strips.at(item.probe);
  budget.charge(candidates.size(), kMaxWork);
  double limit = kInfinity;
  for (std::uint32_t id : candidates) {
    const Obstacle& o = obstacles[id];
    if (!(o.y0 <= item.probe && item.probe <= o.y1)) continue;
    const bool ahead = o.x0 >= item.box.x1 - tolerance;
    switch (o.kind) {
      case Kind::Text:
        if (o.item != item.index && ahead) limit = std::min(limit, o.x0 - kTextGap * item.size);
        break;
      case Kind::Rule:
        if (ahead) limit = std::min(limit, o.x0 - kGraphicsGap * item.size);
        break;
      case Kind::Box:
        if (ahead) {
          limit = std::min(limit, o.x0 - kGraphicsGap * item.size);
        } else if (o.x0 <= item.box.x0 + tolerance && o.x1 >= item.box.x1 - tolerance) {
          limit = std::min(limit, o.x1 - kGraphicsGap * item.size);
        }
        break;
    }
  }
  return limit;
}

}  // namespace

Rectangle unrotatedPageBox(const Page& page) {
  bool turned = page.rotation == 90 || page.rotation == 270;
  return Rectangle{page.x, page.y, turned ? page.height : page.width,
                   turned ? page.width : page.height};
}

std::vector<double> textRoom(const std::vector<TextEntry>& items,
                             const std::vector<GraphicsEntry>& graphics, const Rectangle& pageBox) {
  std::vector<double> room(items.size());
  std::vector<ItemBox> boxes(items.size());
  std::vector<Line> lines;
  for (std::size_t i = 0; i < items.size(); ++i) {
    const TextEntry& item = items[i];
    room[i] = item.width;
    boxes[i] = itemBox(item);
    double size = shownSize(item);
    if (!leftToRight(item, size) || !finite(boxes[i])) continue;
    // Probed a quarter em from the baseline towards the glyphs, which also
    // finds smaller text and superscripts beside the item.
    double probe = item.startY + kProbeHeight * item.fontSize * item.d;
    if (!std::isfinite(probe)) continue;
    lines.push_back({static_cast<std::uint32_t>(i), boxes[i], item.startY, probe, size});
  }
  if (lines.empty()) return room;

  Budget budget;
  findSegments(lines);
  std::vector<std::size_t> byBaseline(lines.size());
  for (std::size_t k = 0; k < lines.size(); ++k) byBaseline[k] = k;
  std::sort(byBaseline.begin(), byBaseline.end(),
            [&](std::size_t l, std::size_t r) { return lines[l].baseline < lines[r].baseline; });

  double low = kInfinity, high = -kInfinity;
  for (const Line& line : lines) {
    low = std::min(low, line.probe);
    high = std::max(high, line.probe);
  }
  std::vector<Obstacle> obstacles = obstaclesOf(items, boxes, graphics);
  Strips strips(low, high);
  for (std::size_t id = 0; id < obstacles.size(); ++id) {
    strips.file(static_cast<std::uint32_t>(id), obstacles[id].y0, obstacles[id].y1, budget);
  }

  // The page's text margins, from the text that lies on the page.
  const double pageLeft = pageBox.x;
  const double pageRight = pageBox.x + pageBox.width;
  const bool pageKnown = std::isfinite(pageLeft) && std::isfinite(pageRight) && pageRight > pageLeft;
  double textLeft = kInfinity, textRight = -kInfinity;
  for (const Line& line : lines) {
    if (pageKnown && (line.box.x1 < pageLeft || line.box.x0 > pageRight)) continue;
    textLeft = std::min(textLeft, line.box.x0);
    textRight = std::max(textRight, line.box.x1);
  }
  if (pageKnown) textRight = std::min(textRight, pageRight);

  // Each line's neighbours over and under it, and whether its segment ends
  // flush with theirs: then it belongs to a column with a straight right edge.
  std::vector<std::pair<std::size_t, std::size_t>> neighbours(lines.size());
  for (std::size_t k = 0; k < lines.size(); ++k) {
    neighbours[k] = {neighbourLine(lines, byBaseline, lines[k], +1, budget),
                     neighbourLine(lines, byBaseline, lines[k], -1, budget)};
  }
  auto edgeOf = [&](std::size_t k) { return k == kNone ? -kInfinity : lines[k].segmentRight; };
  auto flushWith = [&](std::size_t k, double end, double size) {
    return k != kNone && std::fabs(lines[k].segmentRight - end) <= kFlush * size + 0.25;
  };
  auto onColumnEdge = [&](std::size_t k) {
    return k != kNone && (flushWith(neighbours[k].first, edgeOf(k), lines[k].size) ||
                          flushWith(neighbours[k].second, edgeOf(k), lines[k].size));
  };

  for (std::size_t k = 0; k < lines.size(); ++k) {
    const Line& line = lines[k];
    const TextEntry& item = items[line.index];
    const double tolerance = 0.05 * line.size + 0.25;
    double limit = obstacleLimit(line, strips, obstacles, budget);

    // An item that ends flush with a line over or under it ends at its
    // column's edge. Otherwise a neighbour line that is part of a straight
    // edge (flush with its own neighbour) and reaches farther marks it;
    // ragged neighbours mark nothing.
    const auto [above, below] = neighbours[k];
    if (flushWith(above, line.box.x1, line.size) || flushWith(below, line.box.x1, line.size)) {
      limit = std::min(limit, line.box.x1);
    } else {
      double column = kInfinity;
      for (std::size_t n : {above, below}) {
        if (onColumnEdge(n) && edgeOf(n) > line.box.x1 + tolerance) column = std::min(column, edgeOf(n));
      }
      limit = std::min(limit, column);
    }

    if (textRight > line.box.x1 + tolerance) {
      limit = std::min(limit, textRight);
    } else if (pageKnown) {
      double margin = std::isfinite(textLeft) ? std::max(0.0, textLeft - pageLeft) : 0.0;
      limit = std::min(limit, pageRight - std::max(margin, 0.05 * pageBox.width));
    }
    if (pageKnown) limit = std::min(limit, pageRight);

    double along = std::hypot(item.a, item.b);
    double extent = (limit - item.startX) / along;
    if (std::isfinite(extent) && extent > item.width) room[line.index] = extent;
  }
  return room;
}

}  // namespace zopra::pdf
