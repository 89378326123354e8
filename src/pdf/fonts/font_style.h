// The look of a font as a reader sees it: its name without the subset tag,
// its weight, slant, serifs and pitch, and how far its glyphs reach above
// and below the baseline. Built once per font and shared by every text item
// shown in it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zopra::pdf {

struct FontStyle {
  // BaseFont without a subset tag ("ABCDEF+"), as UTF-8; empty when the font
  // has no BaseFont.
  std::string name;
  bool bold = false;
  bool italic = false;
  bool serif = false;
  bool fixedPitch = false;
  // Extent above (positive) and below (negative) the baseline, in em.
  double ascent = 0.8;
  double descent = -0.2;
};

// What a font descriptor says about the style; each `has` flag tells whether
// the entry was there as a number.
struct FontDescriptorFacts {
  bool hasFlags = false;
  std::uint32_t flags = 0;
  bool hasWeight = false;
  double weight = 0;
  bool hasItalicAngle = false;
  double italicAngle = 0;
  // Thousandths of an em.
  bool hasAscent = false;
  double ascent = 0;
  bool hasDescent = false;
  double descent = 0;
};

// Flag bits of a font descriptor (bit 1 is the lowest).
constexpr std::uint32_t kFontFlagFixedPitch = 1u << 0;
constexpr std::uint32_t kFontFlagSerif = 1u << 1;
constexpr std::uint32_t kFontFlagItalic = 1u << 6;
constexpr std::uint32_t kFontFlagForceBold = 1u << 18;

// A BaseFont name without its subset tag: six capital letters and '+'.
std::string_view withoutSubsetTag(std::string_view name);

// The style of a font from its BaseFont name and its descriptor. A property
// is set when either the descriptor or the name says so: descriptors often
// carry only the symbolic bit, and names such as "Times-BoldItalic",
// "Arial,Bold" or "CMTT10" then tell the rest. A name that says sans keeps
// a font from counting as serif.
FontStyle fontStyle(std::string_view baseFont, const FontDescriptorFacts& descriptor);

}  // namespace zopra::pdf
