#include "pdf/layout/reading_order.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

namespace zopra::pdf {

void sortReadingOrder(std::vector<TextBlock>& blocks) {
  if (blocks.size() < 2) return;
  double left = blocks[0].box.x0, right = blocks[0].box.x1;
  for (const TextBlock& block : blocks) {
    left = std::min(left, block.box.x0);
    right = std::max(right, block.box.x1);
  }
  const double middle = (left + right) / 2;
  const double slack = 0.01 * (right - left);
  const auto spans = [&](const TextBlock& b) { return b.box.x0 < middle - slack && b.box.x1 > middle + slack; };
  // Band boundaries: the tops of the spanning blocks.
  struct Keyed {
    std::size_t band = 0;
    int column = 0;
    double top = 0;
    double left = 0;
    std::size_t index = 0;
  };
  std::vector<double> cuts;
  for (const TextBlock& block : blocks) {
    if (spans(block)) cuts.push_back(block.box.y1);
  }
  std::sort(cuts.begin(), cuts.end(), std::greater<double>());
  std::vector<Keyed> keys(blocks.size());
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    const TextBlock& block = blocks[i];
    // The band of a block: how many cuts lie at or above its top (a
    // spanning block opens its own band).
    const double top = block.box.y1;
    const auto band = static_cast<std::size_t>(
        std::upper_bound(cuts.begin(), cuts.end(), top, std::greater<double>()) - cuts.begin());
    keys[i] = {band, spans(block) ? 0 : (block.box.x1 <= middle + slack ? 0 : 1), top, block.box.x0, i};
    // A spanning block leads its band.
    if (spans(block)) keys[i].column = -1;
  }
  std::stable_sort(keys.begin(), keys.end(), [](const Keyed& l, const Keyed& r) {
    if (l.band != r.band) return l.band < r.band;
    if (l.column != r.column) return l.column < r.column;
    if (l.top != r.top) return l.top > r.top;
    return l.left < r.left;
  });
  std::vector<TextBlock> sorted;
  sorted.reserve(blocks.size());
  for (const Keyed& key : keys) sorted.push_back(std::move(blocks[key.index]));
  blocks = std::move(sorted);
  // The cells of a table (a run of cells in that order) are read row by
  // row, each row left to right, as the table is meant to be read.
  for (std::size_t begin = 0; begin < blocks.size();) {
    std::size_t end = begin;
    while (end < blocks.size() && blocks[end].kind == BlockKind::TableCell) ++end;
    if (end - begin >= 2) {
      const auto first = blocks.begin() + static_cast<std::ptrdiff_t>(begin);
      const auto last = blocks.begin() + static_cast<std::ptrdiff_t>(end);
      std::stable_sort(first, last, [](const TextBlock& l, const TextBlock& r) { return l.box.y1 > r.box.y1; });
      // Rows: cells whose tops lie within half a line of the row's first.
      std::vector<std::pair<std::size_t, std::size_t>> rowOf;  // (row, index)
      double rowTop = first->box.y1;
      std::size_t row = 0;
      for (auto cell = first; cell != last; ++cell) {
        if (cell->box.y1 < rowTop - 0.5 * std::max(cell->size, 1.0)) {
          ++row;
          rowTop = cell->box.y1;
        }
        rowOf.emplace_back(row, static_cast<std::size_t>(cell - first));
      }
      std::vector<TextBlock> cells(std::make_move_iterator(first), std::make_move_iterator(last));
      std::stable_sort(rowOf.begin(), rowOf.end(), [&](const auto& l, const auto& r) {
        if (l.first != r.first) return l.first < r.first;
        return cells[l.second].box.x0 < cells[r.second].box.x0;
      });
      for (std::size_t k = 0; k < rowOf.size(); ++k) blocks[begin + k] = std::move(cells[rowOf[k].second]);
    }
    begin = end == begin ? begin + 1 : end;
  }
}

}  // namespace zopra::pdf
