// Affine matrices and rectangles in PDF's row-vector convention.
#pragma once

#include <algorithm>
#include <span>
#include <utility>

namespace zopra::pdf {

struct Matrix {
  double a = 1, b = 0, c = 0, d = 1, e = 0, f = 0;

  // This matrix followed by `other`.
  Matrix operator*(const Matrix& other) const {
    return Matrix{a * other.a + b * other.c,
                  a * other.b + b * other.d,
                  c * other.a + d * other.c,
                  c * other.b + d * other.d,
                  e * other.a + f * other.c + other.e,
                  e * other.b + f * other.d + other.f};
  }

  std::pair<double, double> point(double x, double y) const {
    return {a * x + c * y + e, b * x + d * y + f};
  }
};

// Origin and extent, not two corners.
struct Rectangle {
  double x = 0, y = 0, width = 0, height = 0;

  bool empty() const { return width <= 0 || height <= 0; }

  Rectangle intersect(const Rectangle& other) const {
    Rectangle r;
    r.x = std::max(x, other.x);
    r.y = std::max(y, other.y);
    r.width = std::max(0.0, std::min(x + width, other.x + other.width) - r.x);
    r.height = std::max(0.0, std::min(y + height, other.y + other.height) - r.y);
    return r;
  }
};

// The smallest rectangle holding every point; (0, 0, 0, 0) for none.
inline Rectangle pointsBounds(std::span<const std::pair<double, double>> points) {
  if (points.empty()) return Rectangle{};
  double minX = points[0].first, maxX = minX;
  double minY = points[0].second, maxY = minY;
  for (const auto& [x, y] : points.subspan(1)) {
    minX = std::min(minX, x);
    maxX = std::max(maxX, x);
    minY = std::min(minY, y);
    maxY = std::max(maxY, y);
  }
  return Rectangle{minX, minY, maxX - minX, maxY - minY};
}

}  // namespace zopra::pdf
