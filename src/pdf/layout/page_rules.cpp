#include "pdf/layout/page_rules.h"

#include <algorithm>
#include <cmath>

namespace zopra::pdf {

namespace {

// A stroke or filled bar at most this thick (PDF units) is a rule.
constexpr double kRuleThickness = 3.0;
// Shorter pieces are glyph parts, bullets or dots, not separators.
constexpr double kMinRuleLength = 4.0;

void addHorizontal(PageRules& rules, double y, double x0, double x1) {
  if (x1 - x0 < kMinRuleLength || rules.horizontal.size() >= kMaxRules) return;
  rules.horizontal.push_back({y, x0, x1});
}

void addVertical(PageRules& rules, double x, double y0, double y1) {
  if (y1 - y0 < kMinRuleLength || rules.vertical.size() >= kMaxRules) return;
  rules.vertical.push_back({x, y0, y1});
}

}  // namespace

PageRules pageRules(const std::vector<GraphicsEntry>& graphics) {
  PageRules rules;
  for (const GraphicsEntry& entry : graphics) {
    const Rectangle& r = entry.bounds;
    const double x0 = r.x, y0 = r.y, x1 = r.x + r.width, y1 = r.y + r.height;
    if (!std::isfinite(x0) || !std::isfinite(y0) || !std::isfinite(x1) || !std::isfinite(y1)) continue;
    if (entry.type == GraphicsEntry::kImage) {
      if (rules.boxes.size() < kMaxRules) rules.boxes.push_back({x0, y0, x1, y1});
      continue;
    }
    if (r.height <= kRuleThickness && r.width > r.height) {
      addHorizontal(rules, (y0 + y1) / 2, x0, x1);
    } else if (r.width <= kRuleThickness && r.height > r.width) {
      addVertical(rules, (x0 + x1) / 2, y0, y1);
    } else if (entry.closed) {
      if (rules.boxes.size() < kMaxRules) rules.boxes.push_back({x0, y0, x1, y1});
      if (entry.stroke) {
        addHorizontal(rules, y0, x0, x1);
        addHorizontal(rules, y1, x0, x1);
        addVertical(rules, x0, y0, y1);
        addVertical(rules, x1, y0, y1);
      }
    }
  }
  return rules;
}

bool ruleBetween(const PageRules& rules, double low, double high, double x0, double x1) {
  for (const Rule& rule : rules.horizontal) {
    if (rule.at <= low || rule.at >= high) continue;
    const double overlap = std::min(rule.to, x1) - std::max(rule.from, x0);
    if (overlap > 0.5 * std::min(x1 - x0, rule.to - rule.from)) return true;
  }
  return false;
}

bool ruleAcross(const PageRules& rules, double y0, double y1, double x0, double x1) {
  for (const Rule& rule : rules.vertical) {
    if (rule.at <= x0 || rule.at >= x1) continue;
    if (rule.from < y1 && rule.to > y0) return true;
  }
  return false;
}

}  // namespace zopra::pdf
