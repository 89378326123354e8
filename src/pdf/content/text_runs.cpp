// Text-showing operators: cutting strings into codes, advancing the text
// matrix and handing each shown string to the text collector.
#include <algorithm>
#include <cmath>
#include <memory>
#include <string_view>
#include <utility>

#include "pdf/content/interpreter.h"
#include "pdf/fonts/unicode.h"

namespace zopra::pdf {

namespace {

// Moves the text matrix past one glyph of `width` thousandths of an em,
// spacing included; a glyph that shows text counts in the run's metrics.
inline void advanceGlyph(State& state, RunMetrics& metrics, std::uint32_t code, double width, bool shown) {
  double tx = width / 1000.0 * state.fontSize + state.charSpacing;
  if (code == 32) tx += state.wordSpacing;
  tx *= state.horizontalScale;
  if (shown) {
    metrics.advance += tx;
    metrics.negativeSpacing = state.horizontalScale * std::min(state.charSpacing, 0.0);
    if (!metrics.hasFirst) {
      metrics.hasFirst = true;
      metrics.firstCode = code;
      metrics.firstWidth = width;
    }
    metrics.lastWidth = width;
  }
  metrics.glyphAdvance += tx;
  state.textMatrix = Matrix{1, 0, 0, 1, tx, 0} * state.textMatrix;
}

// The width of the glyph that stands for U+0020, in thousandths of an em.
double spaceGlyphWidth(const FontInfo& fontInfo) {
  const std::vector<std::uint32_t> space{0x20};
  if (fontInfo.composite) {
    if (!fontInfo.toUnicode) return 0;
    const ToUnicodeMap& map = *fontInfo.toUnicode;
    for (const ToUnicodeMap::Entry& entry : map.entries) {
      if (entry.count == 1 && map.points[entry.offset] == 0x20) return fontInfo.width(entry.code);
    }
    return 0;
  }
  for (std::uint32_t code = 0; code < 256; ++code) {
    if (fontInfo.map(1, code) == space) {
      auto width = fontInfo.widths.find(code);
      return width ? *width : 0;
    }
  }
  return 0;
}

// Item text crosses the C interface as UTF-8: a lone surrogate or a value
// past U+10FFFF from a ToUnicode map becomes U+FFFD. U+0000 is kept here, as
// white space for trimming, and dropped once the run is trimmed.
void appendItemText(const std::vector<std::uint32_t>& points, std::string& text) {
  for (std::uint32_t point : points) {
    if ((point >= 0xD800 && point <= 0xDFFF) || point > 0x10FFFF) point = 0xFFFD;
    text += encodeUtf8(point);
  }
}

TextSource::OperatorElement stringElement(const std::string& bytes, std::uint32_t index) {
  TextSource::OperatorElement element;
  element.isString = true;
  element.bytes = bytes;
  element.index = index;
  return element;
}

}  // namespace

void Interpreter::show(const Token& operand, const Value& resources, std::uint32_t streamNumber,
                       std::uint32_t ordinal, const std::string& operatorName) {
  FontInfo& fontInfo = font(resources, state.fontName);

  auto record = std::make_shared<TextSource::Operator>();
  record->stream = streamNumber;
  record->ordinal = ordinal;
  record->name = operatorName;
  if (operatorName == "\"") {
    record->wordSpacing = state.wordSpacing;
    record->charSpacing = state.charSpacing;
  }
  if (operand.kind == Token::Kind::String) {
    record->elements.push_back(stringElement(operand.text, 0));
  } else if (operand.kind == Token::Kind::Array) {
    for (std::size_t i = 0; i < operand.elements.size(); ++i) {
      const Token& item = operand.elements[i];
      auto index = static_cast<std::uint32_t>(i);
      if (item.kind == Token::Kind::String) {
        record->elements.push_back(stringElement(item.text, index));
      } else if (item.kind == Token::Kind::Number) {
        TextSource::OperatorElement element;
        element.index = index;
        element.number = item.number;
        record->elements.push_back(std::move(element));
      }
    }
  }
  std::shared_ptr<const TextSource::Operator> shared = record;
  std::vector<TextRun> runs;

  auto showOne = [&](const std::string& bytes, std::uint32_t index) {
    Matrix runMatrix = state.textMatrix * state.ctm;
    std::string text;
    RunMetrics metrics;
    showString(fontInfo, bytes, text, metrics);
    chargeText(text.size());
    TextSource::Run source;
    source.source = shared;
    source.element = index;
    source.width = metrics.glyphAdvance;
    source.fontSize = state.fontSize;
    source.horizontalScale = state.horizontalScale;
    source.x = runMatrix.e;
    source.y = runMatrix.f;
    emitText(runMatrix, fontInfo, std::move(text), metrics, streamNumber, ordinal, operatorName,
             std::move(source), runs);
  };

  if (operand.kind == Token::Kind::String) {
    showOne(operand.text, 0);
  } else if (operand.kind == Token::Kind::Array) {
    for (std::size_t i = 0; i < operand.elements.size(); ++i) {
      const Token& item = operand.elements[i];
      if (item.kind == Token::Kind::Number) {
        double tx = -item.number / 1000.0 * state.fontSize * state.horizontalScale;
        state.textMatrix = Matrix{1, 0, 0, 1, tx, 0} * state.textMatrix;
      } else if (item.kind == Token::Kind::String) {
        showOne(item.text, static_cast<std::uint32_t>(i));
      }
    }
  }
  // Every string learns where the operator's text ends: a piece of a line
  // drawn from the right is judged by the whole operator, whose later
  // strings may fill the room left after its first one.
  double endX = 0, endY = 0;
  bool ended = false;
  for (const TextRun& run : runs) {
    if (run.text.empty()) continue;
    endX = run.matrix.e + run.metrics.advance * run.matrix.a;
    endY = run.matrix.f + run.metrics.advance * run.matrix.b;
    ended = true;
  }
  for (TextRun& run : runs) {
    run.operatorEnded = ended;
    run.operatorEndX = endX;
    run.operatorEndY = endY;
    appendTextRun(*texts, std::move(run));
  }
}

void Interpreter::showString(const FontInfo& fontInfo, const std::string& bytes, std::string& text,
                             RunMetrics& metrics) {
  if (const ByteCodes* table = fontInfo.byteCodes()) {
    // One byte per code: the same steps as below, read from the font's table.
    for (unsigned char byte : bytes) {
      const std::uint32_t code = byte;
      if (table->shown[code]) {
        text.append(table->text, table->start[code], table->start[code + 1] - table->start[code]);
      }
      advanceGlyph(state, metrics, code, table->widths[code], table->shown[code]);
    }
    return;
  }
  std::string_view view(bytes);
  std::size_t position = 0;
  while (position < view.size()) {
    std::size_t before = position;
    std::uint32_t byteLength = 1;
    std::uint32_t code = fontInfo.nextCode(view, position, byteLength);
    if (position <= before) position = before + 1;  // never stall on a bad code space

    std::vector<std::uint32_t> points = fontInfo.map(byteLength, code);
    if (!points.empty()) appendItemText(points, text);
    advanceGlyph(state, metrics, code, fontInfo.width(code), !points.empty());
  }
}

void Interpreter::emitText(const Matrix& runMatrix, FontInfo& fontInfo, std::string text,
                           const RunMetrics& metrics, std::uint32_t streamNumber,
                           std::uint32_t ordinal, const std::string& operatorName,
                           TextSource::Run source, std::vector<TextRun>& runs) {
  if (!texts) return;
  TextRun run;
  run.matrix = runMatrix;
  run.text = std::move(text);
  run.metrics = metrics;
  run.stream = streamNumber;
  run.operatorIndex = ordinal;
  run.operatorName = operatorName;
  run.spaceLength = spaceLength(fontInfo);
  run.operatorThreshold = operatorSpaceThreshold(fontInfo, metrics);
  run.noBaseFont = fontInfo.baseFont.empty();
  run.source = std::move(source);
  run.fontName = state.fontName;
  run.style = fontInfo.style;
  run.fontSize = state.fontSize;
  run.horizontalScale = state.horizontalScale;
  run.charSpacing = state.charSpacing;
  run.wordSpacing = state.wordSpacing;
  run.leading = state.leading;
  run.rise = state.rise;
  run.fillColor = state.fillColor;
  runs.push_back(std::move(run));
}

double Interpreter::spaceLength(const FontInfo& fontInfo) const {
  double scaledSize = std::fabs(state.fontSize * state.horizontalScale);
  if (fontInfo.predefined || fontInfo.narrowSpace) return 0.1 * scaledSize;
  const ByteCodes* table = fontInfo.byteCodes();
  double width = (table ? table->widths[32] : fontInfo.width(32)) / 1000.0 * scaledSize;
  if (width >= 1e-12) return width;
  return fontInfo.spaceFallback * scaledSize;
}

double Interpreter::operatorSpaceThreshold(FontInfo& fontInfo, const RunMetrics& metrics) const {
  if (fontInfo.spaceWidth < 0) fontInfo.spaceWidth = spaceGlyphWidth(fontInfo);
  double scaledSize = std::fabs(state.fontSize * state.horizontalScale);
  double t = fontInfo.spaceWidth / 1000.0;
  t = t > 0.3333333333333333 ? 0 : t * 0.5;
  if (t > 0 || !metrics.hasFirst) return t * scaledSize;
  double width = fontInfo.width(metrics.firstCode);
  if (width < 300) {
    width *= 0.5;
  } else if (width < 500) {
    width *= 0.25;
  } else if (width < 700) {
    width /= 5;
  } else {
    width /= 6;
  }
  return width / 1000.0 * scaledSize;
}

}  // namespace zopra::pdf
