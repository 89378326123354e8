#include "pdf/fonts/glyph_widths.h"

#include <iterator>

namespace zopra::pdf {

void GlyphWidths::assign(std::uint32_t first, std::uint32_t last, double width) {
  // A range that starts before `first` and reaches into the new one keeps
  // only its part before `first` (and after `last`, when it covers both ends).
  auto it = ranges_.lower_bound(first);
  if (it != ranges_.begin()) {
    auto before = std::prev(it);
    auto [end, oldWidth] = before->second;
    if (end >= first) {
      before->second.first = first - 1;
      if (end > last) ranges_.emplace(last + 1, std::make_pair(end, oldWidth));
    }
  }
  // Ranges that start inside the new one are dropped; the last of them may
  // reach past `last` and keeps that part.
  while (it != ranges_.end() && it->first <= last) {
    auto [end, oldWidth] = it->second;
    it = ranges_.erase(it);
    if (end > last) {
      ranges_.emplace(last + 1, std::make_pair(end, oldWidth));
      break;
    }
  }
  ranges_[first] = {last, width};
}

void GlyphWidths::setIfAbsent(std::uint32_t code, double width) {
  if (!find(code)) set(code, width);
}

const double* GlyphWidths::find(std::uint32_t code) const {
  auto it = ranges_.upper_bound(code);
  if (it == ranges_.begin()) return nullptr;
  --it;
  return code <= it->second.first ? &it->second.second : nullptr;
}

std::map<std::uint32_t, double> GlyphWidths::codes() const {
  std::map<std::uint32_t, double> out;
  for (const auto& [first, range] : ranges_) {
    for (std::uint64_t code = first; code <= range.first; ++code) {
      out.emplace(static_cast<std::uint32_t>(code), range.second);
    }
  }
  return out;
}

}  // namespace zopra::pdf
