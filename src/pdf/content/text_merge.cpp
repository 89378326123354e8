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
  run.leadingSpaces = static_cast<std::uint32_t>(first);
  run.text = encodeUtf8(std::vector<std::uint32_t>(points.begin() + static_cast<std::ptrdiff_t>(first),
                                                   points.begin() + static_cast<std::ptrdiff_t>(last)));
}

// Where a run starts and ends on its baseline, in page space.
struct RunGeometry {
  double startX = 0, startY = 0, endX = 0, endY = 0;
};

// The Latin letters that the text shows in a font known not to be
// fixed-pitch: the words of prose. Line numbers, punctuation and text of
// other scripts are often set in another face inside code.
std::uint32_t proportionalLength(const std::string& text, const FontStyle* style) {
  if (!style || style->fixedPitch) return 0;
  return static_cast<std::uint32_t>(asciiLetterCount(text));
}
std::uint32_t proportionalLength(const TextRun& run) { return proportionalLength(run.text, run.style.get()); }

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
  entry.leadingSpaces = run.leadingSpaces;
  entry.trailingSpace = trailingSpace;
  entry.fillColor = run.fillColor;
  entry.stream = run.stream;
  entry.firstOperator = run.operatorIndex;
  entry.lastOperator = run.operatorIndex;
  entry.rangeValid = run.operatorIndex != TextSource::kNoOrdinal;
  entry.operatorName = run.operatorName;
  entry.sources.push_back(std::move(run.source));
  entry.fontName = run.fontName;
  // run.text was moved into the entry above.
  entry.styleLength = entry.text.size();
  entry.lastStyle = run.style.get();
  entry.lastLength = entry.text.size();
  entry.proportionalLength = proportionalLength(entry.text, run.style.get());
  entry.opensInProse = entry.proportionalLength > 0;
  entry.style = std::move(run.style);
  return entry;
}

// `asciiPair`: the glyphs that meet across the gap are both ASCII.
bool startsNewItem(bool asciiPair, const TextEntry& previous, const TextRun& run, double gap,
                   double perpendicular) {
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

// The part of the wider of two neighbouring glyphs (in thousandths of an em)
// that a gap must reach to separate words: more for narrow glyphs.
double glyphGapThreshold(double width) {
  if (width < 400) return width * 0.5;
  if (width < 700) return width * 0.25;
  if (width < 800) return width / 5;
  return width / 6;
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
    threshold = glyphGapThreshold(previousWider ? previous.lastWidth : run.metrics.firstWidth) *
                (previousWider ? previous.spaceScale : runScale);
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

// The run's operator extends the item's range of operators, if they follow on.
void extendRange(TextEntry& item, const TextRun& run) {
  if (item.rangeValid && item.stream == run.stream && run.operatorIndex != TextSource::kNoOrdinal) {
    item.lastOperator = run.operatorIndex;
  } else {
    item.rangeValid = false;
  }
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
  previous.proportionalLength += proportionalLength(run);
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
  extendRange(previous, run);
  previous.sources.push_back(std::move(run.source));
}

bool holdsRightToLeft(const std::string& text) {
  for (std::uint32_t c : decodeUtf8(text, nullptr)) {
    if (rightToLeftLetter(c)) return true;
  }
  return false;
}

// Whether the run stands on the left of the item, ending about where the
// item starts, on a line with right-to-left text: such lines are drawn a
// piece at a time from the right (a Hebrew phrase, then the number on its
// left, then the next phrase), or a glyph at a time. Left-to-right text
// drawn later on the left (a replacement, a label) stays an item of its own.
// `gap` receives the room between the run's end and the item's start.
bool placedBefore(const TextEntry& item, const TextRun& run, const RunGeometry& g, double& gap) {
  double ux = run.matrix.a, uy = run.matrix.b;
  double uNorm = ux * ux + uy * uy;
  if (!(uNorm > 1e-12) || item.a * ux + item.b * uy <= 0) return false;
  double startBefore = ((item.startX - g.startX) * ux + (item.startY - g.startY) * uy) / uNorm;
  double room = ((item.startX - g.endX) * ux + (item.startY - g.endY) * uy) / uNorm;
  // The operator's later strings fill the room after this one: the
  // operator as a whole must end before the item.
  if (run.operatorEnded) {
    room = ((item.startX - run.operatorEndX) * ux + (item.startY - run.operatorEndY) * uy) / uNorm;
  }
  // A little overlap is kerning; more is a run drawn over the item. A
  // space drawn over the item's start belongs to the item's end.
  double overlap = run.text.empty() ? 1e-7 : 0.2 * std::fabs(run.fontSize * run.horizontalScale);
  if (!(startBefore > 1e-7 && room > -overlap)) return false;
  if (!holdsRightToLeft(run.text) && !holdsRightToLeft(item.text)) return false;
  gap = room;
  return true;
}

// Whether a space goes where a piece put in front of an item meets the text
// after it, now that no further piece follows; the space is put in.
void closeFront(TextEntry& item) {
  TextEntry::Front& front = item.front;
  if (!front.open) return;
  front.open = false;
  double norm = item.a * item.a + item.b * item.b;
  if (!(norm > 1e-12) || front.at == 0 || front.at >= item.text.size()) return;
  double gap = ((front.nextX - front.x) * item.a + (front.nextY - front.y) * item.b) / norm;
  double threshold = glyphGapThreshold(std::max(front.lastWidth, front.nextWidth)) * front.scale;
  if (!(threshold > 0)) threshold = 0.125 * 1000.0 * front.scale;
  bool space = front.trailing || front.nextSpace || gap + 1e-7 >= threshold;
  if (space && item.text[front.at - 1] != ' ' && item.text[front.at] != ' ') item.text.insert(front.at, 1, ' ');
}

// Puts the run in front of the item, which then starts where the run starts:
// the item's text stays in the order its glyphs stand on the line, left to
// right, which the reading order step turns into logical order.
void prepend(TextEntry& item, TextRun& run, const RunGeometry& g, bool leadingSpace, bool trailingSpace) {
  closeFront(item);
  TextEntry::Front& front = item.front;
  front.open = true;
  front.at = run.text.size();
  front.x = g.endX;
  front.y = g.endY;
  front.nextX = item.startX;
  front.nextY = item.startY;
  front.trailing = trailingSpace;
  front.nextSpace = item.leadingSpace;
  front.lastWidth = run.metrics.lastWidth;
  front.nextWidth = item.firstWidth;
  front.scale = std::fabs(run.fontSize * run.horizontalScale) / 1000.0;
  item.proportionalLength += proportionalLength(run);
  if (run.style && run.text.size() > item.styleLength) {
    item.style = std::move(run.style);
    item.styleLength = run.text.size();
  }
  item.text = std::move(run.text) + item.text;
  item.e = run.matrix.e;
  item.f = run.matrix.f + run.rise;
  item.startX = g.startX;
  item.startY = g.startY;
  double norm = item.a * item.a + item.b * item.b;
  if (norm > 1e-12) {
    item.width = ((item.endX - g.startX) * item.a + (item.endY - g.startY) * item.b) / norm;
  }
  item.leadingSpace = leadingSpace;
  item.leadingSpaces = run.leadingSpaces;
  item.firstWidth = run.metrics.firstWidth;
  extendRange(item, run);
  item.sources.push_back(std::move(run.source));
}

// Whether the run goes on from the piece last put in front of the item,
// towards the text that was there before; `gap` receives the room between.
bool continuesFront(const TextEntry& item, const TextRun& run, const RunGeometry& g, double& gap) {
  const TextEntry::Front& front = item.front;
  double ux = run.matrix.a, uy = run.matrix.b;
  double uNorm = ux * ux + uy * uy;
  double dNorm = item.a * item.a + item.b * item.b;
  if (!front.open || !(uNorm > 1e-12) || !(dNorm > 1e-12) || item.a * ux + item.b * uy <= 0) return false;
  double offsetX = g.startX - front.x, offsetY = g.startY - front.y;
  if (!(std::fabs(offsetX * item.b - offsetY * item.a) / std::sqrt(dNorm) < 0.01)) return false;
  double room = (offsetX * ux + offsetY * uy) / uNorm;
  double beforeNext = ((front.nextX - g.startX) * ux + (front.nextY - g.startY) * uy) / uNorm;
  double overlap = 0.2 * std::fabs(run.fontSize * run.horizontalScale);
  bool asciiPair = static_cast<unsigned char>(item.text[front.at - 1]) < 0x80 && startsWithAscii(run.text);
  if (!(room > -overlap && beforeNext > 1e-7) ||
      room + 1e-7 > (asciiPair ? 6.0 : 10.0) * run.spaceLength) {
    return false;
  }
  gap = room;
  return true;
}

// Puts the run after the piece last put in front of the item.
void insertAtFront(TextEntry& item, TextRun& run, const RunGeometry& g, double gap, bool leadingSpace,
                   bool trailingSpace) {
  TextEntry::Front& front = item.front;
  double scale = std::fabs(run.fontSize * run.horizontalScale) / 1000.0;
  double threshold = glyphGapThreshold(std::max(front.lastWidth, run.metrics.firstWidth)) * scale;
  if (!(threshold > 0)) threshold = 0.125 * 1000.0 * scale;
  bool space = (leadingSpace || front.trailing || gap + 1e-7 >= threshold) && item.text[front.at - 1] != ' ';
  item.proportionalLength += proportionalLength(run);
  if (run.style && run.text.size() > item.styleLength) {
    item.style = std::move(run.style);
    item.styleLength = run.text.size();
  }
  std::string piece = (space ? " " : "") + std::move(run.text);
  item.text.insert(front.at, piece);
  front.at += piece.size();
  front.x = g.endX;
  front.y = g.endY;
  front.trailing = trailingSpace;
  front.lastWidth = run.metrics.lastWidth;
  extendRange(item, run);
  item.sources.push_back(std::move(run.source));
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
  // A string without text (a space) counts where it stands itself.
  if (run.text.empty()) run.operatorEnded = false;
  if (!entries.empty() && entries.back().front.open) {
    TextEntry& item = entries.back();
    double frontGap = 0;
    if (continuesFront(item, run, g, frontGap)) {
      if (run.text.empty()) {
        if (trailingSpace) item.front.trailing = true;
        item.sources.push_back(std::move(run.source));
      } else {
        insertAtFront(item, run, g, frontGap, leadingSpace, trailingSpace);
      }
      return;
    }
    closeFront(item);
  }

  bool continues = false;
  bool before = false;
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
    before = placedBefore(previous, run, g, gap);
    // A piece put in front may leave room that the operator's next pieces
    // fill (a Hebrew letter between brackets): the narrower limits of two
    // ASCII neighbours do not apply to it.
    bool asciiPair = !before && endsWithAscii(previous.text) && startsWithAscii(run.text);
    continues = !startsNewItem(asciiPair, previous, run, gap, perpendicular);
  }

  if (run.text.empty()) {
    if (!entries.empty()) {
      // A space on the item's left when the run stands before it.
      bool& side = before && continues ? entries.back().leadingSpace : entries.back().trailingSpace;
      if (trailingSpace) side = true;
    }
    // Glyphs without text (spaces, codes that no map names) stay with the
    // item they continue, so that removing the item removes them too.
    if (continues) entries.back().sources.push_back(std::move(run.source));
    return;
  }
  if (!continues) {
    entries.push_back(newEntry(run, g, leadingSpace, trailingSpace));
  } else if (before) {
    prepend(entries.back(), run, g, leadingSpace, trailingSpace);
  } else {
    merge(entries.back(), run, g, gap, leadingSpace, trailingSpace);
  }
}

void closeTextItems(std::vector<TextEntry>& entries) {
  for (TextEntry& entry : entries) closeFront(entry);
}

}  // namespace zopra::pdf
