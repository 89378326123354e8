// Graphics extraction: the painted pieces of the path and the drawn images of
// a page as entries in page space, cut to a clip rectangle; and the list of
// images a page draws.
#include <algorithm>
#include <utility>

#include "pdf/content/graphics_entry.h"
#include "pdf/content/interpreter.h"
#include "pdf/model/document.h"

namespace zopra::pdf {

namespace {

// One axis of a subpath's box cut to the clip, as [low, high]. A box without
// extent on this axis (a vertical or horizontal line, a point) is kept when
// it lies inside the clip or on its edge, so rules drawn along a table's
// border survive; it is not tested with Rectangle::empty for that reason.
bool cutAxis(double origin, double size, double clipOrigin, double clipSize, double& low,
             double& high) {
  if (size == 0) {
    if (origin < clipOrigin || origin > clipOrigin + clipSize) return false;
    low = high = origin;
    return true;
  }
  low = std::max(clipOrigin, origin);
  high = std::min(clipOrigin + clipSize, origin + size);
  return !(low > high);
}

// The union of the subpaths' boxes.
Rectangle pathBounds(const std::vector<Subpath>& path) {
  Rectangle first = pointsBounds(path.front().points);
  double left = first.x, bottom = first.y;
  double right = first.x + first.width, top = first.y + first.height;
  for (std::size_t i = 1; i < path.size(); ++i) {
    Rectangle box = pointsBounds(path[i].points);
    left = std::min(left, box.x);
    bottom = std::min(bottom, box.y);
    right = std::max(right, box.x + box.width);
    top = std::max(top, box.y + box.height);
  }
  return Rectangle{left, bottom, right - left, top - bottom};
}

Rectangle entryFrame(double x0, double y0, double x1, double y1) {
  return Rectangle{x0, y0, x1 - x0, y1 - y0};
}

}  // namespace

void Interpreter::paint(bool stroke, bool fill) {
  // The clip applies before anything is reported, so that `W f` is reported
  // against the clip it has just narrowed.
  if (clipPending) {
    clipPending = false;
    if (!path.empty()) state.clip = state.clip.intersect(pathBounds(path));
  }
  if ((stroke || fill) && graphics) {
    const Rectangle& clip = state.clip;
    for (const Subpath& subpath : path) {
      if (subpath.points.empty()) continue;
      Rectangle box = pointsBounds(subpath.points);
      double x0 = 0, x1 = 0, y0 = 0, y1 = 0;
      if (!cutAxis(box.x, box.width, clip.x, clip.width, x0, x1)) continue;
      if (!cutAxis(box.y, box.height, clip.y, clip.height, y0, y1)) continue;
      // Either extent reaching the threshold keeps the piece: a long thin
      // rule matters as much as a box.
      if (minimumGraphicsSize > x1 - x0 && minimumGraphicsSize > y1 - y0) continue;

      GraphicsEntry entry;
      entry.type = GraphicsEntry::kPath;
      entry.bounds = entryFrame(x0, y0, x1, y1);
      entry.clip = clip;
      entry.isLine = subpath.points.size() == 2 && !subpath.closed;
      if (entry.isLine) {
        entry.start = subpath.points.front();
        entry.end = subpath.points.back();
      } else {
        entry.start = {box.x, box.y};
        entry.end = {box.x + box.width, box.y + box.height};
      }
      entry.closed = subpath.closed;
      entry.stroke = stroke;
      entry.fill = fill;
      entry.lineWidth = state.lineWidth;
      entry.fillColor = state.fillColor;
      entry.strokeColor = state.strokeColor;
      chargeGraphics();
      graphics->push_back(entry);
    }
  }
  path.clear();
  pathPoints = 0;
}

void Interpreter::drawImage(std::uint32_t objectNumber) {
  if (images) {
    chargeGraphics();
    images->push_back(objectNumber);
  }
  if (!graphics) return;
  // An image fills the unit square of its user space.
  const Matrix& ctm = state.ctm;
  const std::pair<double, double> corners[4] = {ctm.point(0, 0), ctm.point(1, 0),
                                                ctm.point(1, 1), ctm.point(0, 1)};
  Rectangle unit = pointsBounds(corners);
  Rectangle visible = unit.intersect(state.clip);
  if (visible.empty()) return;
  if (minimumGraphicsSize > visible.width && minimumGraphicsSize > visible.height) return;

  GraphicsEntry entry;
  entry.type = GraphicsEntry::kImage;
  entry.bounds = visible;
  entry.clip = state.clip;
  entry.start = {unit.x, unit.y};
  entry.end = {unit.x + unit.width, unit.y + unit.height};
  entry.closed = true;
  entry.lineWidth = 1.0;
  entry.objectNumber = objectNumber;
  chargeGraphics();
  graphics->push_back(entry);
}

namespace {

// Runs the page with the given collectors; the extraction calls differ only
// in what they collect.
Error runCollectors(Document& document, std::uint32_t pageIndex,
                    std::vector<GraphicsEntry>* graphics, std::vector<std::uint32_t>* images,
                    double minimumSize) {
  const Page& page = document.pages[pageIndex];
  Rectangle box{page.x, page.y, page.width, page.height};
  Document::TransientObjects transient(document);
  try {
    Interpreter interpreter(document, page, nullptr, graphics, images, minimumSize, box);
    interpreter.runPage();
  } catch (const Exception& failure) {
    document.setError(failure.kind(), failure.message());
    return failure.kind();
  }
  return Error::None;
}

}  // namespace

Error Document::extractGraphics(std::uint32_t pageIndex, double minimumSize,
                                std::vector<GraphicsEntry>& entries) {
  if (pageIndex >= pages.size()) return Error::InvalidArgument;
  entries.clear();
  return runCollectors(*this, pageIndex, &entries, nullptr, minimumSize);
}

Error Document::extractImages(std::uint32_t pageIndex, std::vector<std::uint32_t>& images) {
  if (pageIndex >= pages.size()) return Error::InvalidArgument;
  images.clear();
  // Text is not collected: fonts are still built and text runs still counted
  // against the page budget, so a page fails here exactly when its text
  // extraction fails.
  return runCollectors(*this, pageIndex, nullptr, &images, 0.0);
}

}  // namespace zopra::pdf
