#include "pdf/fonts/standard_widths.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace zopra::pdf {

namespace {

constexpr std::uint32_t kFirstCode = 32;
constexpr std::uint32_t kLastCode = 126;
constexpr double kCourierWidth = 600;

// Advance widths in thousandths of an em of the glyphs for codes 32 to 126
// read as ASCII (39 is quotesingle, 96 is grave), from the standard Adobe
// font metrics. Rows hold 16 codes, starting at 32, 48, 64, 80, 96 and 112.
using WidthTable = std::array<std::uint16_t, kLastCode - kFirstCode + 1>;

// Times-Roman.
constexpr WidthTable timesRoman = {
    250, 333, 408, 500, 500, 833, 778, 180, 333, 333, 500, 564, 250, 333, 250, 278,
    500, 500, 500, 500, 500, 500, 500, 500, 500, 500, 278, 278, 564, 564, 564, 444,
    921, 722, 667, 667, 722, 611, 556, 722, 722, 333, 389, 722, 611, 889, 722, 722,
    556, 722, 667, 556, 611, 722, 722, 944, 722, 722, 611, 333, 278, 333, 469, 500,
    333, 444, 500, 444, 500, 444, 333, 500, 500, 278, 278, 500, 278, 778, 500, 500,
    500, 500, 333, 389, 278, 500, 500, 722, 500, 500, 444, 480, 200, 480, 541,
};

// Times-Bold.
constexpr WidthTable timesBold = {
    250, 333, 555, 500, 500, 1000, 833, 278, 333, 333, 500, 570, 250, 333, 250, 278,
    500, 500, 500, 500, 500, 500, 500, 500, 500, 500, 333, 333, 570, 570, 570, 500,
    930, 722, 667, 722, 722, 667, 611, 778, 778, 389, 500, 778, 667, 944, 722, 778,
    611, 778, 722, 556, 667, 722, 722, 1000, 722, 722, 667, 333, 278, 333, 581, 500,
    333, 500, 556, 444, 556, 444, 333, 500, 556, 278, 333, 556, 278, 833, 556, 500,
    556, 556, 444, 389, 333, 556, 500, 722, 500, 500, 444, 394, 220, 394, 520,
};

// Times-Italic.
constexpr WidthTable timesItalic = {
    250, 333, 420, 500, 500, 833, 778, 214, 333, 333, 500, 675, 250, 333, 250, 278,
    500, 500, 500, 500, 500, 500, 500, 500, 500, 500, 333, 333, 675, 675, 675, 500,
    920, 611, 611, 667, 722, 611, 611, 722, 722, 333, 444, 667, 556, 833, 667, 722,
    611, 722, 611, 500, 556, 722, 611, 833, 611, 556, 556, 389, 278, 389, 422, 500,
    333, 500, 500, 444, 500, 444, 278, 500, 500, 278, 278, 444, 278, 722, 500, 500,
    500, 500, 389, 389, 278, 500, 444, 667, 444, 444, 389, 400, 275, 400, 541,
};

// Times-BoldItalic.
constexpr WidthTable timesBoldItalic = {
    250, 389, 555, 500, 500, 833, 778, 278, 333, 333, 500, 570, 250, 333, 250, 278,
    500, 500, 500, 500, 500, 500, 500, 500, 500, 500, 333, 333, 570, 570, 570, 500,
    832, 667, 667, 667, 722, 667, 667, 722, 778, 389, 500, 667, 611, 889, 722, 722,
    611, 722, 667, 556, 611, 722, 667, 889, 667, 611, 611, 333, 278, 333, 570, 500,
    333, 500, 500, 444, 500, 444, 333, 500, 556, 278, 278, 500, 278, 778, 556, 500,
    500, 500, 389, 389, 278, 556, 444, 667, 500, 444, 389, 348, 220, 348, 570,
};

// Helvetica and Helvetica-Oblique.
constexpr WidthTable helvetica = {
    278, 278, 355, 556, 556, 889, 667, 191, 333, 333, 389, 584, 278, 333, 278, 278,
    556, 556, 556, 556, 556, 556, 556, 556, 556, 556, 278, 278, 584, 584, 584, 556,
    1015, 667, 667, 722, 722, 667, 611, 778, 722, 278, 500, 667, 556, 833, 722, 778,
    667, 778, 722, 667, 611, 722, 667, 944, 667, 667, 611, 278, 278, 278, 469, 556,
    333, 556, 556, 500, 556, 556, 278, 556, 556, 222, 222, 500, 222, 833, 556, 556,
    556, 556, 333, 500, 278, 556, 500, 722, 500, 500, 500, 334, 260, 334, 584,
};

// Helvetica-Bold and Helvetica-BoldOblique.
constexpr WidthTable helveticaBold = {
    278, 333, 474, 556, 556, 889, 722, 238, 333, 333, 389, 584, 278, 333, 278, 278,
    556, 556, 556, 556, 556, 556, 556, 556, 556, 556, 333, 333, 584, 584, 584, 611,
    975, 722, 722, 722, 722, 667, 611, 778, 722, 278, 556, 722, 611, 833, 722, 778,
    667, 778, 722, 667, 611, 722, 667, 944, 667, 667, 611, 333, 278, 333, 584, 556,
    333, 556, 611, 556, 611, 556, 333, 611, 611, 278, 278, 556, 278, 889, 611, 611,
    611, 611, 389, 556, 333, 611, 556, 778, 556, 556, 500, 389, 280, 389, 584,
};

const WidthTable* proportionalTable(std::string_view name) {
  if (name == "Times-Roman") return &timesRoman;
  if (name == "Times-Bold") return &timesBold;
  if (name == "Times-Italic") return &timesItalic;
  if (name == "Times-BoldItalic") return &timesBoldItalic;
  if (name == "Helvetica" || name == "Helvetica-Oblique") return &helvetica;
  if (name == "Helvetica-Bold" || name == "Helvetica-BoldOblique") return &helveticaBold;
  return nullptr;
}

bool isCourier(std::string_view name) {
  return name == "Courier" || name == "Courier-Bold" || name == "Courier-Oblique" ||
         name == "Courier-BoldOblique";
}

}  // namespace

void applyStandard14Widths(FontInfo& font) {
  if (isCourier(font.baseFont)) {
    for (std::uint32_t code = kFirstCode; code <= kLastCode; ++code) {
      font.widths.setIfAbsent(code, kCourierWidth);
    }
    font.defaultWidth = kCourierWidth;
    return;
  }
  const WidthTable* table = proportionalTable(font.baseFont);
  if (table == nullptr) return;
  for (std::uint32_t code = kFirstCode; code <= kLastCode; ++code) {
    // Widths given by the font dictionary stay untouched.
    font.widths.setIfAbsent(code, (*table)[code - kFirstCode]);
  }
}

}  // namespace zopra::pdf
