#include "pdf/content/text_merge.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>
#include <utility>

#include "pdf/fonts/unicode.h"

namespace zopra::pdf {

namespace {

constexpr std::uint32_t kElement = 0x2208;
constexpr std::uint32_t kNotElement = 0x2209;

bool asciiLetter(unsigned char byte) {
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
}

bool oneOf(unsigned char byte, std::string_view set) {
  return set.find(static_cast<char>(byte)) != std::string_view::npos;
}

// The last code point of a UTF-8 text, decoding only its last sequence so that
// long items are not decoded again for every merged run.
std::uint32_t lastCodePoint(const std::string& text) {
  if (text.empty()) return 0;
  // ASCII, the common case, needs no decoder.
  if (static_cast<unsigned char>(text.back()) < 0x80) return static_cast<unsigned char>(text.back());
  std::size_t start = text.size() - 1;
  for (int back = 0; back < 3 && start > 0; ++back) {
    if ((static_cast<unsigned char>(text[start]) & 0xC0) != 0x80) break;
    --start;
  }
  std::vector<std::uint32_t> points = decodeUtf8(std::string_view(text).substr(start), nullptr);
  return points.empty() ? 0 : points.back();
}

std::uint32_t firstCodePoint(const std::string& text) {
  if (text.empty()) return 0;
  if (static_cast<unsigned char>(text.front()) < 0x80) return static_cast<unsigned char>(text.front());
  std::vector<std::uint32_t> points =
      decodeUtf8(std::string_view(text).substr(0, std::min<std::size_t>(4, text.size())), nullptr);
  return points.empty() ? 0 : points.front();
}

bool endsWithAscii(const std::string& text) {
  return !text.empty() && static_cast<unsigned char>(text.back()) < 0x80;
}

bool startsWithAscii(const std::string& text) {
  return !text.empty() && static_cast<unsigned char>(text.front()) < 0x80;
}

// Removes leading and trailing white space; reports what was removed.
void trim(TextRun& run, bool& leadingSpace, bool& trailingSpace) {
  // Run texts are well-formed UTF-8 (the text runs encode them): their ends
  // tell without decoding the whole text, which most runs need not.
  leadingSpace = !run.text.empty() && textWhiteSpace(firstCodePoint(run.text));
  trailingSpace = !run.text.empty() && textWhiteSpace(lastCodePoint(run.text));
  if (!leadingSpace && !trailingSpace) return;
  std::vector<std::uint32_t> points = decodeUtf8(run.text, nullptr);
  std::size_t first = 0;
  std::size_t last = points.size();
  while (first < last && textWhiteSpace(points[first])) ++first;
  while (last > first && textWhiteSpace(points[last - 1])) --last;
  run.text = encodeUtf8(std::vector<std::uint32_t>(points.begin() + static_cast<std::ptrdiff_t>(first),
                                                   points.begin() + static_cast<std::ptrdiff_t>(last)));
}

// Where a run starts and ends on its baseline, in page space.
struct RunGeometry {
  double startX = 0, startY = 0, endX = 0, endY = 0;
};

RunGeometry geometryOf(const TextRun& run) {
  const Matrix& m = run.matrix;
  RunGeometry g;
  g.startX = m.e + run.metrics.negativeSpacing * m.a;
  g.startY = m.f + run.metrics.negativeSpacing * m.b;
  g.endX = m.e + run.metrics.advance * m.a;
  g.endY = m.f + run.metrics.advance * m.b;
  return g;
}

TextEntry newEntry(TextRun& run, const RunGeometry& g, bool leadingSpace, bool trailingSpace) {
  TextEntry entry;
  entry.text = std::move(run.text);
  entry.a = run.matrix.a;
  entry.b = run.matrix.b;
  entry.c = run.matrix.c;
  entry.d = run.matrix.d;
  entry.e = run.matrix.e;
  entry.f = run.matrix.f + run.rise;
  entry.fontSize = run.fontSize;
  entry.horizontalScale = run.horizontalScale;
  entry.charSpacing = run.charSpacing;
  entry.wordSpacing = run.wordSpacing;
  entry.width = run.metrics.advance;
  entry.firstAdvance = run.metrics.advance;
  entry.endX = g.endX;
  entry.endY = g.endY;
  entry.startX = g.startX;
  entry.startY = g.startY;
  entry.firstWidth = run.metrics.firstWidth;
  entry.lastWidth = run.metrics.lastWidth;
  entry.spaceScale = std::fabs(run.fontSize * run.horizontalScale) / 1000.0;
  entry.leading = run.leading;
  entry.leadingSpace = leadingSpace;
  entry.trailingSpace = trailingSpace;
  entry.fillColor = run.fillColor;
  entry.stream = run.stream;
  entry.firstOperator = run.operatorIndex;
  entry.lastOperator = run.operatorIndex;
  entry.rangeValid = run.operatorIndex != TextSource::kNoOrdinal;
  entry.operatorName = run.operatorName;
  entry.sources.push_back(std::move(run.source));
  entry.fontName = run.fontName;
  entry.styleLength = run.text.size();
  entry.lastStyle = run.style.get();
  entry.lastLength = run.text.size();
  entry.style = std::move(run.style);
  return entry;
}

bool startsNewItem(const TextEntry& previous, const TextRun& run, double gap, double perpendicular) {
  bool asciiPair = endsWithAscii(previous.text) && startsWithAscii(run.text);
  double factor = asciiPair ? 6.0 : 10.0;
  if (gap + 1e-7 > factor * run.spaceLength) return true;
  double size = std::max(std::fabs(previous.fontSize), std::fabs(run.fontSize));
  if (size > 1e-12 && std::fabs(previous.fontSize - run.fontSize) > 0.02 * size && gap > 0.5 * size) {
    return true;
  }
  if (asciiPair) {
    if (gap > 1.05 * run.fontSize) return true;
    if (previous.fontName != run.fontName && gap > 0.75 * run.fontSize) return true;
  }
  return !(perpendicular < 0.01) || gap < -5.0 * run.fontSize;
}

// The gap above which two merged runs are separated by a space.
double spaceThreshold(const TextEntry& previous, const TextRun& run) {
  double scaledSize = std::fabs(run.fontSize * run.horizontalScale);
  double threshold;
  if (!previous.sources.empty() && previous.sources.back().source &&
      previous.sources.back().source == run.source.source) {
    threshold = run.operatorThreshold;
  } else {
    double runScale = scaledSize / 1000.0;
    bool previousWider = previous.lastWidth >= run.metrics.firstWidth;
    double width = previousWider ? previous.lastWidth : run.metrics.firstWidth;
    if (width < 400) {
      width *= 0.5;
    } else if (width < 700) {
      width *= 0.25;
    } else if (width < 800) {
      width /= 5;
    } else {
      width /= 6;
    }
    threshold = width * (previousWider ? previous.spaceScale : runScale);
  }
  if (!(threshold > 0)) threshold = 0.125 * scaledSize;
  return threshold;
}

// Hebrew, Arabic and their presentation forms.
bool rightToLeftLetter(std::uint32_t c) {
  return (c >= 0x0590 && c <= 0x08FF) || (c >= 0xFB1D && c <= 0xFDFF) || (c >= 0xFE70 && c <= 0xFEFF);
}

bool spaceWanted(const TextEntry& previous, const TextRun& run, double gap, bool runLeadingSpace) {
  std::uint32_t last = lastCodePoint(previous.text);
  std::uint32_t first = firstCodePoint(run.text);
  double threshold = spaceThreshold(previous, run);
  bool lastCjk = cjkCharacter(last);
  bool firstCjk = cjkCharacter(first);
  bool bothCjk = lastCjk && firstCjk;
  if (lastCjk != firstCjk) {
    threshold = std::max(threshold, 0.3 * std::fabs(run.fontSize * run.horizontalScale));
  }
  if (!bothCjk && gap + 1e-7 >= threshold) return true;

  unsigned char lastByte = previous.text.empty() ? 0 : static_cast<unsigned char>(previous.text.back());
  unsigned char firstByte = run.text.empty() ? 0 : static_cast<unsigned char>(run.text.front());
  // Right-to-left text is drawn in visual order: the punctuation that ends
  // a Hebrew or Arabic word stands at its left, at the start of the next run.
  const bool afterRightToLeft = rightToLeftLetter(last);
  if ((previous.trailingSpace || runLeadingSpace) && !oneOf(lastByte, "(/[{@") &&
      (afterRightToLeft || !oneOf(firstByte, "!%),./:;?]}@"))) {
    return true;
  }
  if (asciiLetter(lastByte) && asciiLetter(firstByte) && run.noBaseFont &&
      gap <= -0.055 * run.fontSize) {
    return true;
  }
  bool closing = last == ')' || last == ']' || last == '}' || last == 0x27E9;
  return closing && asciiLetter(firstByte) && gap >= -0.1 * std::fabs(run.fontSize);
}

void merge(TextEntry& previous, TextRun& run, const RunGeometry& g, double gap, bool leadingSpace,
           bool trailingSpace) {
  double size = std::fabs(run.fontSize);
  bool overstruck = false;
  if (gap > -1.5 * size && gap < -0.25 * size && !previous.text.empty() &&
      previous.text.back() == '/') {
    std::string element = encodeUtf8(kElement);
    if (run.text.compare(0, element.size(), element) == 0) {
      previous.text.pop_back();
      previous.text += encodeUtf8(kNotElement);
      run.text.erase(0, element.size());
      overstruck = true;
    }
  }
  if (!overstruck && spaceWanted(previous, run, gap, leadingSpace) && !previous.text.empty() &&
      !run.text.empty() && previous.text.back() != ' ') {
    previous.text += ' ';
  }
  previous.text += run.text;
  // Runs of one font add up to one stretch: pdfTeX and others write a line
  // as many short strings, so a single string says little of the line.
  if (run.style && run.style.get() == previous.lastStyle) {
    previous.lastLength += run.text.size();
  } else {
    previous.lastStyle = run.style.get();
    previous.lastLength = run.text.size();
  }
  if (run.style && previous.lastLength > previous.styleLength) {
    if (previous.style != run.style) previous.style = std::move(run.style);
    previous.styleLength = previous.lastLength;
  }

  double dx = previous.a;
  double dy = previous.b;
  double norm = dx * dx + dy * dy;
  previous.endX = g.endX;
  previous.endY = g.endY;
  if (norm > 1e-12) {
    previous.width = ((g.endX - previous.startX) * dx + (g.endY - previous.startY) * dy) / norm;
  }
  previous.trailingSpace = trailingSpace;
  previous.lastWidth = run.metrics.lastWidth;
  previous.spaceScale = std::fabs(run.fontSize * run.horizontalScale) / 1000.0;
  if (previous.rangeValid && previous.stream == run.stream &&
      run.operatorIndex != TextSource::kNoOrdinal) {
    previous.lastOperator = run.operatorIndex;
  } else {
    previous.rangeValid = false;
  }
  previous.sources.push_back(std::move(run.source));
}

}  // namespace

bool textWhiteSpace(std::uint32_t c) {
  return c == 0x00 || c == 0x09 || c == 0x0A || c == 0x0D || c == 0x20 || c == 0xA0 ||
         c == 0x1680 || (c >= 0x2000 && c <= 0x200B) || c == 0x2028 || c == 0x2029 ||
         c == 0x202F || c == 0x205F || c == 0x3000;
}

bool cjkCharacter(std::uint32_t c) {
  return (c >= 0x2E80 && c <= 0x2FDF) || (c >= 0x3000 && c <= 0x30FF) ||
         (c >= 0x3400 && c <= 0x4DBF) || (c >= 0x4E00 && c <= 0x9FFF) ||
         (c >= 0xAC00 && c <= 0xD7AF) || (c >= 0xF900 && c <= 0xFAFF) ||
         (c >= 0xFF00 && c <= 0xFFEF) || (c >= 0x20000 && c <= 0x2FFFF);
}

void appendTextRun(std::vector<TextEntry>& entries, TextRun run) {
  bool leadingSpace = false;
  bool trailingSpace = false;
  trim(run, leadingSpace, trailingSpace);
  // NUL would cut the item's text short at the C interface.
  run.text.erase(std::remove(run.text.begin(), run.text.end(), '\0'), run.text.end());

  RunGeometry g = geometryOf(run);
  bool continues = false;
  double gap = 0;
  if (!entries.empty()) {
    const TextEntry& previous = entries.back();
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    double dx = previous.a, dy = previous.b;
    double ux = run.matrix.a, uy = run.matrix.b;
    double dNorm = dx * dx + dy * dy;
    double uNorm = ux * ux + uy * uy;
    double offsetX = g.startX - previous.endX;
    double offsetY = g.startY - previous.endY;
    gap = (dNorm > 1e-12 && uNorm > 1e-12) ? (offsetX * ux + offsetY * uy) / uNorm : kInfinity;
    double perpendicular =
        dNorm > 1e-12 ? std::fabs(offsetX * dy - offsetY * dx) / std::sqrt(dNorm) : kInfinity;
    continues = !startsNewItem(previous, run, gap, perpendicular);
  }

  if (run.text.empty()) {
    if (trailingSpace && !entries.empty()) entries.back().trailingSpace = true;
    // Glyphs without text (spaces, codes that no map names) stay with the
    // item they continue, so that removing the item removes them too.
    if (continues) entries.back().sources.push_back(std::move(run.source));
    return;
  }
  if (!continues) {
    entries.push_back(newEntry(run, g, leadingSpace, trailingSpace));
    return;
  }
  merge(entries.back(), run, g, gap, leadingSpace, trailingSpace);
}

}  // namespace zopra::pdf
