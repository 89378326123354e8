// One painted path piece or one drawn image of a page.
#pragma once

#include <cstdint>
#include <utility>

#include "pdf/content/color.h"
#include "pdf/model/geometry.h"

namespace zopra::pdf {

struct GraphicsEntry {
  static constexpr std::uint32_t kPath = 0;
  static constexpr std::uint32_t kImage = 1;

  std::uint32_t type = kPath;
  // In page space, cut to `clip`.
  Rectangle bounds;
  // The clip rectangle in force when the entry was made.
  Rectangle clip;
  // A line's first and last point; for anything else the lower-left and
  // upper-right corners of the box before clipping.
  std::pair<double, double> start{0, 0};
  std::pair<double, double> end{0, 0};
  // Exactly two points and not closed.
  bool isLine = false;
  // Set only by `re`; always true for images.
  bool closed = false;
  bool stroke = false;
  bool fill = false;
  double lineWidth = 1.0;
  Color fillColor;
  Color strokeColor;
  // Images: the XObject's object number (0 when written in place); paths: 0.
  std::uint32_t objectNumber = 0;
};

}  // namespace zopra::pdf
