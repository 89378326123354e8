#include "pdf/layout/text_lines.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "pdf/layout/item_geometry.h"

namespace zopra::pdf {

namespace {

// Baselines this close (in em) are one line; superscripts and subscripts
// sit farther off and make short lines of their own.
constexpr double kBaselineTolerance = 0.3;
// A gap wider than this (in em of the larger size) between two items of a
// baseline separates columns or table cells; the word spaces of even a
// badly stretched justified line are narrower.
constexpr double kColumnGap = 2.0;
// A gap of more than this (em) is a gutter when at least kGutterLines
// lines of the page start at the same x (within a point), at the start of
// their band or after such a gap: the left edge of a column.
constexpr double kNarrowGutter = 0.6;
constexpr int kGutterLines = 5;
// Gaps remembered for that comparison; a page with more is a table or a
// picture, and its lines split at the wide gaps alone.
constexpr std::size_t kMaxGutterSpans = 4000;
// Lines farther than this (em) above or below share no gap with a line.
constexpr double kSharedGapReach = 8.0;
// Wide gaps of one line, at least this many, within this fraction of each
// other and no wider than this (em), are the word spaces of a stretched
// justified line.
constexpr int kStretchedGaps = 2;
constexpr double kStretchedSpread = 0.05;
constexpr double kStretchedWidest = 6.0;
// A justified line also stretches the space after a sentence more than its
// word spaces (up to three times as much in TeX): one wide gap after a full
// stop, no wider than this (em), in a line whose word spaces are stretched
// to at least kSentenceShare of it, parts sentences, not columns.
constexpr double kSentenceSpaceWidest = 3.0;
constexpr double kSentenceShare = 0.33;
// Lines this near (in size of the line) above and below a narrow gap whose
// text runs across it show that the gap parts words, not columns.
constexpr double kCrossingReach = 1.6;

struct Placed {
  std::uint32_t index = 0;
  double x0 = 0, x1 = 0, y = 0, size = 0;
  ItemBox box;
};

TextLine lineOf(const std::vector<Placed>& run, std::size_t begin, std::size_t end) {
  TextLine line;
  line.left = run[begin].x0;
  line.right = run[begin].x1;
  line.bottom = run[begin].box.y0;
  line.top = run[begin].box.y1;
  double bestWeight = -1;
  double weightedBaseline = 0, totalWeight = 0;
  // Sizes by the width they cover.
  std::vector<std::pair<double, double>> sizes;
  for (std::size_t i = begin; i < end; ++i) {
    const Placed& p = run[i];
    line.items.push_back(p.index);
    line.left = std::min(line.left, p.x0);
    line.right = std::max(line.right, p.x1);
    line.bottom = std::min(line.bottom, p.box.y0);
    line.top = std::max(line.top, p.box.y1);
    const double weight = std::max(p.x1 - p.x0, 1e-3);
    weightedBaseline += p.y * weight;
    totalWeight += weight;
    bool known = false;
    for (auto& [size, covered] : sizes) {
      if (std::fabs(size - p.size) < 0.05 * p.size) {
        covered += weight;
        known = true;
      }
    }
    if (!known && sizes.size() < 16) sizes.emplace_back(p.size, weight);
  }
  for (const auto& [size, covered] : sizes) {
    if (covered > bestWeight) {
      bestWeight = covered;
      line.size = size;
    }
  }
  line.baseline = weightedBaseline / totalWeight;
  return line;
}

}  // namespace

bool uprightItem(const TextEntry& item) {
  const double scale = std::hypot(item.a, item.b);
  return item.a > 0 && item.d > 0 && std::fabs(item.b) <= 1e-3 * scale && std::fabs(item.c) <= 1e-3 * scale &&
         std::isfinite(item.startX) && std::isfinite(item.startY) && std::isfinite(item.endX) &&
         item.endX >= item.startX;
}

std::vector<TextLine> textLines(const std::vector<TextEntry>& items, const PageRules& rules,
                                std::size_t budget) {
  std::vector<TextLine> lines;
  std::vector<Placed> placed;
  for (std::uint32_t i = 0; i < items.size(); ++i) {
    const TextEntry& item = items[i];
    const double size = shownSize(item);
    const ItemBox box = itemBox(item);
    if (!uprightItem(item) || !(size > 0) || !std::isfinite(size) || placed.size() >= budget) {
      TextLine alone;
      alone.items.push_back(i);
      alone.left = box.x0;
      alone.right = box.x1;
      alone.bottom = box.y0;
      alone.top = box.y1;
      alone.baseline = item.startY;
      alone.size = std::isfinite(size) ? size : 0;
      // Damaged numbers must not reach the sorting below.
      for (double* value : {&alone.left, &alone.right, &alone.bottom, &alone.top, &alone.baseline}) {
        if (!std::isfinite(*value)) *value = 0;
      }
      alone.upright = uprightItem(item) && size > 0 && std::isfinite(size);
      lines.push_back(std::move(alone));
      continue;
    }
    placed.push_back({i, item.startX, item.endX, item.startY, size, box});
  }
  // Top to bottom, then left to right; equal baselines keep content order.
  std::stable_sort(placed.begin(), placed.end(), [](const Placed& l, const Placed& r) { return l.y > r.y; });
  // Bands: items whose baselines lie within the tolerance of the band's
  // first, left to right.
  std::vector<std::vector<Placed>> bands;
  for (std::size_t begin = 0; begin < placed.size();) {
    std::size_t end = begin + 1;
    while (end < placed.size() &&
           placed[begin].y - placed[end].y <= kBaselineTolerance * std::min(placed[begin].size, placed[end].size)) {
      ++end;
    }
    bands.emplace_back(placed.begin() + static_cast<std::ptrdiff_t>(begin),
                       placed.begin() + static_cast<std::ptrdiff_t>(end));
    std::stable_sort(bands.back().begin(), bands.back().end(),
                     [](const Placed& l, const Placed& r) { return l.x0 < r.x0; });
    begin = end;
  }
  // A narrow gutter (as narrow as an em) is told from a wide word space by
  // the other lines of the page: many of them start at the x after it, or
  // have a gap as wide across the same stretch of the page.
  std::map<long, int> resumes;
  // Gaps as (from, to, baseline).
  struct Span {
    double from, to, y;
  };
  std::vector<Span> spans;
  const auto gapOf = [](const std::vector<Placed>& band, std::size_t k, double reach) {
    return (band[k].x0 - reach) / std::max(band[k].size, band[k - 1].size);
  };
  // Half-point buckets: the lines of a column start at one x. Coordinates
  // far off the page (or not numbers) share the outermost buckets: lround
  // of them is undefined, and a neighbour bucket must not overflow.
  const auto bucket = [](double x) {
    constexpr double kFar = 1e15;
    const double half = x * 2;
    if (!(half > -kFar)) return -static_cast<long>(kFar);
    return half < kFar ? std::lround(half) : static_cast<long>(kFar);
  };
  for (const std::vector<Placed>& band : bands) {
    ++resumes[bucket(band[0].x0)];
    double reach = band[0].x1;
    for (std::size_t k = 1; k < band.size(); ++k) {
      const double gap = gapOf(band, k, reach);
      if (gap > kNarrowGutter) {
        ++resumes[bucket(band[k].x0)];
        if (spans.size() < kMaxGutterSpans) spans.push_back({reach, band[k].x0, band[k].y});
      }
      reach = std::max(reach, band[k].x1);
    }
  }
  const auto gutter = [&](double x) {
    int count = 0;
    for (long key = bucket(x) - 1; key <= bucket(x) + 1; ++key) {
      auto found = resumes.find(key);
      if (found != resumes.end()) count += found->second;
    }
    return count >= kGutterLines;
  };
  // Only gaps of nearby lines count: a column's gutter runs down the lines
  // around it, while a code listing or a table elsewhere on the page lines
  // up its gaps at any x.
  const auto sharedGap = [&](double from, double to, double y, double em) {
    int count = 0;
    for (const Span& span : spans) {
      if (std::fabs(span.y - y) <= kSharedGapReach * em && std::min(to, span.to) - std::max(from, span.from) >= 0.4 * em &&
          ++count >= kGutterLines) {
        return true;
      }
    }
    return false;
  };
  // Words hold letters: figures spread evenly (the ticks of an axis, the
  // numbers of a grid) are no stretched line.
  const auto hasLetter = [&](const Placed& word) {
    for (unsigned char c : items[word.index].text) {
      if ((c | 0x20) >= 'a' && (c | 0x20) <= 'z') return true;
      if (c >= 0x80) return true;
    }
    return false;
  };
  // Text runs across [from, to] on the line just above or just below band
  // `b`: a gutter has none beside it, however many gaps line up with it.
  const auto crossedAround = [&](std::size_t b, double from, double to) {
    const auto crosses = [&](std::size_t other) {
      if (std::fabs(bands[other][0].y - bands[b][0].y) > kCrossingReach * bands[b][0].size) return false;
      return std::any_of(bands[other].begin(), bands[other].end(),
                         [&](const Placed& p) { return p.x0 <= from && p.x1 >= to; });
    };
    return b > 0 && b + 1 < bands.size() && crosses(b - 1) && crosses(b + 1);
  };
  std::vector<bool> hard, wide;
  std::vector<double> gaps;
  for (std::size_t bandIndex = 0; bandIndex < bands.size(); ++bandIndex) {
    const std::vector<Placed>& band = bands[bandIndex];
    // Splits at gutters, at gaps lined up with those of nearby lines and at
    // rules; and the wide gaps between.
    hard.assign(band.size(), false);
    wide.assign(band.size(), false);
    gaps.assign(band.size(), 0);
    double reach = band[0].x1;
    for (std::size_t k = 1; k < band.size(); ++k) {
      const double gap = gapOf(band, k, reach);
      const double em = std::max(band[k].size, band[k - 1].size);
      const double low = std::min(band[k].y, band[k - 1].y) - 0.2 * em;
      gaps[k] = gap;
      wide[k] = gap > kColumnGap;
      // Text of one size on both sides of the gap, with the lines beside it
      // running across, is one line, whatever lines up with the gap.
      const bool lined = gap > kNarrowGutter && (gutter(band[k].x0) || sharedGap(reach, band[k].x0, band[k].y, em));
      hard[k] = (lined && !(std::fabs(band[k].size - band[k - 1].size) <= 0.1 * em &&
                            crossedAround(bandIndex, reach, band[k].x0))) ||
                ruleAcross(rules, low, low + em, reach - 0.1 * em, band[k].x0 + 0.1 * em);
      reach = std::max(reach, band[k].x1);
    }
    // A justified line stretched far (a long word pushed to the next line)
    // has word spaces wider than a column gap, all of one width: between
    // two hard splits, two or more wide gaps of one width between words
    // part words, not columns.
    for (std::size_t start = 0; start < band.size();) {
      std::size_t end = start + 1;
      while (end < band.size() && !hard[end]) ++end;
      double narrowest = 0, widest = 0;
      int count = 0;
      std::size_t lastWide = start;
      bool words = true;
      for (std::size_t k = start; k < end && words; ++k) {
        words = hasLetter(band[k]);
        if (k == start || !wide[k]) continue;
        narrowest = count == 0 ? gaps[k] : std::min(narrowest, gaps[k]);
        widest = std::max(widest, gaps[k]);
        lastWide = k;
        ++count;
      }
      if (words && count >= kStretchedGaps && widest <= kStretchedWidest &&
          widest - narrowest <= kStretchedSpread * widest) {
        for (std::size_t k = start + 1; k < end; ++k) wide[k] = false;
      }
      if (words && count == 1 && widest <= kSentenceSpaceWidest) {
        const std::string& before = items[band[lastWide - 1].index].text;
        const bool sentenceEnd = !before.empty() && (before.back() == '.' || before.back() == '?' || before.back() == '!');
        bool stretched = false;
        for (std::size_t k = start + 1; k < end; ++k) {
          stretched = stretched || (k != lastWide && gaps[k] >= kSentenceShare * widest);
        }
        if (sentenceEnd && stretched) wide[lastWide] = false;
      }
      start = end;
    }
    std::size_t first = 0;
    for (std::size_t k = 1; k <= band.size(); ++k) {
      if (k == band.size() || hard[k] || wide[k]) {
        lines.push_back(lineOf(band, first, k));
        first = k;
      }
    }
  }
  std::stable_sort(lines.begin(), lines.end(), [](const TextLine& l, const TextLine& r) {
    if (l.baseline != r.baseline) return l.baseline > r.baseline;
    return l.left < r.left;
  });
  return lines;
}

}  // namespace zopra::pdf
