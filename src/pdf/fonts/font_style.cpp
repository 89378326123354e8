#include "pdf/fonts/font_style.h"

#include <cmath>
#include <initializer_list>

#include "pdf/fonts/unicode.h"

namespace zopra::pdf {

namespace {

bool containsAny(std::string_view text, std::initializer_list<std::string_view> parts) {
  for (std::string_view part : parts) {
    if (text.find(part) != std::string_view::npos) return true;
  }
  return false;
}

bool startsWithAny(std::string_view text, std::initializer_list<std::string_view> parts) {
  for (std::string_view part : parts) {
    if (text.substr(0, part.size()) == part) return true;
  }
  return false;
}

// ASCII lower case; other bytes are kept.
std::string lowered(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return out;
}

// The name as UTF-8: names are bytes, so one that is not valid UTF-8 is read
// as Latin-1. NUL bytes would cut the name short at the C interface.
std::string utf8Name(std::string_view name) {
  std::string clean;
  for (char c : name) {
    if (c != '\0') clean += c;
  }
  bool ok = true;
  decodeUtf8(clean, &ok);
  if (ok) return clean;
  std::string out;
  for (char c : clean) out += encodeUtf8(static_cast<unsigned char>(c));
  return out;
}

// The part after the last '-' or ',' ("BoldIt" of "MinionPro-BoldIt").
std::string_view styleSuffix(std::string_view name) {
  std::size_t cut = name.find_last_of("-,");
  return cut == std::string_view::npos ? std::string_view() : name.substr(cut + 1);
}

struct NameStyle {
  bool bold = false, italic = false, serif = false, sans = false, fixedPitch = false;
};

NameStyle nameStyle(std::string_view name) {
  const std::string lower = lowered(name);
  const std::string_view text(lower);
  const std::string_view suffix = styleSuffix(text);
  NameStyle style;
  // TeX's Computer Modern and Latin Modern faces name their style in a
  // prefix: cmbx (bold extended), cmti (text italic), cmsl (slanted), cmtt
  // (typewriter), cmss (sans).
  const bool texSans = startsWithAny(text, {"cmss", "lmsans"});
  const bool texSerif =
      !texSans && startsWithAny(text, {"cmr", "cmbx", "cmti", "cmsl", "cmtt", "cmb", "cmu",
                                       "lmroman", "lmmono", "sfrm", "sfbx", "sfti"});
  // URW's faces (the Nimbus and other clones of the standard fonts) name
  // their styles Regu, Medi (their bold), ReguItal and MediItal.
  style.bold = containsAny(text, {"bold", "black", "heavy", "demi", "semibd", "extrabd"}) ||
               suffix == "bd" || suffix == "bdit" || suffix.substr(0, 4) == "medi" ||
               startsWithAny(text, {"cmbx", "cmb1", "sfbx"});
  style.italic = containsAny(text, {"italic", "oblique", "slanted", "kursiv", "inclined"}) ||
                 (suffix.size() >= 2 && suffix.substr(suffix.size() - 2) == "it") ||
                 (suffix.size() >= 4 && suffix.substr(suffix.size() - 4) == "ital") ||
                 startsWithAny(text, {"cmti", "cmsl", "cmbxti", "cmbxsl", "sfti"});
  const bool monotype = containsAny(text, {"monotype"});  // a foundry, not a pitch
  style.fixedPitch = (!monotype && containsAny(text, {"mono"})) ||
                     containsAny(text, {"courier", "consol", "typewriter", "fixed", "nimbusmon"}) ||
                     startsWithAny(text, {"cmtt", "lmmono", "sftt"});
  style.sans = texSans || containsAny(text, {"sans", "helvetica", "arial", "verdana", "tahoma",
                                             "calibri", "gothic", "frutiger", "univers", "futura",
                                             "nimbussan"});
  style.serif = !style.sans &&
                (texSerif || containsAny(text, {"serif", "times", "roman", "courier", "georgia",
                                                "garamond", "palatino", "antiqua", "cambria",
                                                "minion", "caslon", "baskerville", "bodoni",
                                                "century", "charter", "mincho", "nimbusrom", "nimbusmon",
                                                "bookman", "schoolbook", "palladio", "utopia"}));
  return style;
}

// A descriptor value in em when it is plausible, else the fallback.
double emOrDefault(bool present, double thousandths, double low, double high, double fallback) {
  if (!present || !std::isfinite(thousandths)) return fallback;
  double em = thousandths / 1000.0;
  return em >= low && em <= high ? em : fallback;
}

}  // namespace

std::string_view withoutSubsetTag(std::string_view name) {
  if (name.size() < 7 || name[6] != '+') return name;
  for (std::size_t i = 0; i < 6; ++i) {
    if (name[i] < 'A' || name[i] > 'Z') return name;
  }
  return name.substr(7);
}

FontStyle fontStyle(std::string_view baseFont, const FontDescriptorFacts& descriptor) {
  FontStyle style;
  std::string_view bare = withoutSubsetTag(baseFont);
  style.name = utf8Name(bare);
  NameStyle byName = nameStyle(bare);
  const std::uint32_t flags = descriptor.hasFlags ? descriptor.flags : 0;
  style.fixedPitch = (flags & kFontFlagFixedPitch) != 0 || byName.fixedPitch;
  style.serif = !byName.sans && ((flags & kFontFlagSerif) != 0 || byName.serif);
  style.italic = (flags & kFontFlagItalic) != 0 || byName.italic ||
                 (descriptor.hasItalicAngle && std::isfinite(descriptor.italicAngle) &&
                  descriptor.italicAngle != 0);
  style.bold = (flags & kFontFlagForceBold) != 0 || byName.bold ||
               (descriptor.hasWeight && std::isfinite(descriptor.weight) && descriptor.weight >= 600);
  // Descriptors give Ascent and Descent in thousandths of an em; a zero or a
  // value far outside any real face means the producer left it out. Some
  // write the descent as a positive depth.
  style.ascent = emOrDefault(descriptor.hasAscent, descriptor.ascent, 0.2, 2.5, style.ascent);
  double descent = descriptor.descent;
  if (descriptor.hasDescent && descent > 0) descent = -descent;
  style.descent = emOrDefault(descriptor.hasDescent, descent, -1.5, -0.01, style.descent);
  return style;
}

}  // namespace zopra::pdf
