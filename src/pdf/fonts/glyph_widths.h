// Glyph widths by character code, kept as ranges of codes that share one
// width: a composite font's W entry "c1 c2 w" costs one range however many
// codes it covers, so a few bytes of font dictionary cannot turn into
// millions of entries.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>

namespace zopra::pdf {

class GlyphWidths {
 public:
  // Gives the codes first..last (inclusive, first <= last) the width; a later
  // assignment wins over an earlier one for the codes they share.
  void assign(std::uint32_t first, std::uint32_t last, double width);
  void set(std::uint32_t code, double width) { assign(code, code, width); }
  // Sets the width only when the code has none yet.
  void setIfAbsent(std::uint32_t code, double width);
  // The code's width, or null when it has none.
  const double* find(std::uint32_t code) const;

  bool empty() const { return ranges_.empty(); }
  std::size_t rangeCount() const { return ranges_.size(); }
  // Every code with a width and that width; for small tables.
  std::map<std::uint32_t, double> codes() const;

 private:
  // First code of a range -> (last code, width). Ranges never overlap.
  std::map<std::uint32_t, std::pair<std::uint32_t, double>> ranges_;
};

}  // namespace zopra::pdf
