// Lines of a page grouped by baseline, and each group cut into segments
// that no column-sized gap interrupts: the shared first step of the room
// and the alignment of items.
#pragma once

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>
#include <vector>

namespace zopra::pdf {

struct BaselineGroups {
  // Line indices, top baseline first, each group left to right.
  std::vector<std::size_t> order;
  // Ranges [first, end) of `order`, one per baseline.
  std::vector<std::pair<std::size_t, std::size_t>> groups;
};

// `Line` has `baseline`, `size`, `box` (x0, x1), `segmentLeft` and
// `segmentRight`, and may have `alone`. Lines whose baselines lie within
// sameLine times the first one's size share a group; a gap wider than gap
// times the larger size of the two lines beside it starts a new segment.
// Sets each line's segment extent (and whether it is alone in it).
template <typename Line>
BaselineGroups groupByBaseline(std::vector<Line>& lines, double sameLine, double gap) {
  BaselineGroups result;
  std::vector<std::size_t>& order = result.order;
  order.resize(lines.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(), [&](std::size_t l, std::size_t r) {
    return lines[l].baseline != lines[r].baseline ? lines[l].baseline > lines[r].baseline
                                                  : lines[l].box.x0 < lines[r].box.x0;
  });
  std::size_t start = 0;
  while (start < order.size()) {
    const Line& first = lines[order[start]];
    std::size_t end = start + 1;
    while (end < order.size() && first.baseline - lines[order[end]].baseline <= sameLine * first.size) ++end;
    std::sort(order.begin() + static_cast<std::ptrdiff_t>(start), order.begin() + static_cast<std::ptrdiff_t>(end),
              [&](std::size_t l, std::size_t r) { return lines[l].box.x0 < lines[r].box.x0; });
    std::size_t segment = start;
    while (segment < end) {
      const double left = lines[order[segment]].box.x0;
      double right = lines[order[segment]].box.x1;
      std::size_t next = segment + 1;
      while (next < end) {
        const Line& line = lines[order[next]];
        if (line.box.x0 - right > gap * std::max(line.size, lines[order[next - 1]].size)) break;
        right = std::max(right, line.box.x1);
        ++next;
      }
      for (std::size_t k = segment; k < next; ++k) {
        Line& line = lines[order[k]];
        line.segmentLeft = left;
        line.segmentRight = right;
        if constexpr (requires { line.alone; }) line.alone = next - segment == 1;
      }
      segment = next;
    }
    result.groups.emplace_back(start, end);
    start = end;
  }
  return result;
}

}  // namespace zopra::pdf
