// A colour as the interpreter tracks it.
#pragma once

#include <cstdint>

namespace zopra::pdf {

struct Color {
  // 0 not set, 1 grey, 2 RGB, 3 CMYK.
  std::uint32_t kind = 0;
  // Unused components hold -1.
  double components[4] = {-1, -1, -1, -1};
};

}  // namespace zopra::pdf
