// The straight strokes and boxes of a page that separate text: rules between
// paragraphs, the borders of table cells, the frames of images.
#pragma once

#include <vector>

#include "pdf/content/graphics_entry.h"
#include "pdf/layout/item_geometry.h"

namespace zopra::pdf {

// A horizontal or vertical segment in page space: `at` is its y (horizontal)
// or x (vertical), [from, to] its extent along the other axis.
struct Rule {
  double at = 0;
  double from = 0;
  double to = 0;
};

struct PageRules {
  std::vector<Rule> horizontal;
  std::vector<Rule> vertical;
  // Closed rectangles (stroked or filled) and images: cells, frames,
  // figures. Text is not laid out across their edges.
  std::vector<ItemBox> boxes;
};

// The rules and boxes of the page's graphics. Thin filled rectangles count
// as rules, the four sides of a stroked rectangle as rules too. Only the
// first kMaxRules entries of each kind are kept: a page drawn from
// thousands of strokes (a plot, a scanned vector page) is not a table, and
// the layout must stay linear in its size.
PageRules pageRules(const std::vector<GraphicsEntry>& graphics);

inline constexpr std::size_t kMaxRules = 4000;

// True when a horizontal rule crosses the band between the heights `low`
// and `high` (exclusive) over the x range [x0, x1].
bool ruleBetween(const PageRules& rules, double low, double high, double x0, double x1);

// True when a vertical rule crosses the height `y` between x0 and x1.
bool ruleAcross(const PageRules& rules, double y0, double y1, double x0, double x1);

}  // namespace zopra::pdf
