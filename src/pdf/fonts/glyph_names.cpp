#include "pdf/fonts/glyph_names.h"

#include <array>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace zopra::pdf {

namespace {

using GlyphEntry = std::pair<std::string_view, std::uint32_t>;

// Names that show up in Differences arrays and embedded Type 1 encodings of
// real documents, with their Adobe Glyph List values. The ligature names map
// to the presentation forms U+FB00 to U+FB04.
constexpr std::array<GlyphEntry, 114> kGlyphNames = {{
    // ASCII punctuation.
    {"space", 0x0020}, {"exclam", 0x0021}, {"quotedbl", 0x0022}, {"numbersign", 0x0023},
    {"dollar", 0x0024}, {"percent", 0x0025}, {"ampersand", 0x0026},
    {"quotesingle", 0x0027}, {"parenleft", 0x0028}, {"parenright", 0x0029},
    {"asterisk", 0x002A}, {"plus", 0x002B}, {"comma", 0x002C}, {"hyphen", 0x002D},
    {"period", 0x002E}, {"slash", 0x002F}, {"colon", 0x003A}, {"semicolon", 0x003B},
    {"less", 0x003C}, {"equal", 0x003D}, {"greater", 0x003E}, {"question", 0x003F},
    {"at", 0x0040}, {"bracketleft", 0x005B}, {"backslash", 0x005C},
    {"bracketright", 0x005D}, {"asciicircum", 0x005E}, {"underscore", 0x005F},
    {"grave", 0x0060}, {"braceleft", 0x007B}, {"bar", 0x007C}, {"braceright", 0x007D},
    {"asciitilde", 0x007E},
    // Typographic marks, accents, letters, ligatures and mathematical signs.
    {"nbspace", 0x00A0}, {"asteriskmath", 0x2217}, {"minus", 0x2212},
    {"circumflex", 0x02C6}, {"tilde", 0x02DC}, {"bullet", 0x2022}, {"endash", 0x2013},
    {"emdash", 0x2014}, {"quoteleft", 0x2018}, {"quoteright", 0x2019},
    {"quotedblleft", 0x201C}, {"quotedblright", 0x201D}, {"ellipsis", 0x2026},
    {"fi", 0xFB01}, {"fl", 0xFB02}, {"ff", 0xFB00}, {"ffi", 0xFB03}, {"ffl", 0xFB04},
    {"acute", 0x00B4}, {"caron", 0x02C7}, {"breve", 0x02D8}, {"macron", 0x00AF},
    {"ring", 0x02DA}, {"cedilla", 0x00B8}, {"dotlessi", 0x0131}, {"dotlessj", 0x0237},
    {"germandbls", 0x00DF}, {"ae", 0x00E6}, {"oe", 0x0153}, {"oslash", 0x00F8},
    {"AE", 0x00C6}, {"OE", 0x0152}, {"Oslash", 0x00D8}, {"summation", 0x2211},
    {"product", 0x220F}, {"element", 0x2208}, {"emptyset", 0x2205}, {"defines", 0x225C},
    {"integral", 0x222B}, {"radical", 0x221A}, {"infinity", 0x221E},
    {"partialdiff", 0x2202}, {"lessequal", 0x2264}, {"greaterequal", 0x2265},
    {"notequal", 0x2260}, {"approxequal", 0x2248}, {"equivalence", 0x2261},
    {"similar", 0x223C}, {"plusminus", 0x00B1}, {"multiply", 0x00D7},
    {"divide", 0x00F7}, {"degree", 0x00B0}, {"mu", 0x03BC}, {"pi", 0x03C0},
    {"Delta", 0x0394}, {"Omega", 0x03A9}, {"alpha", 0x03B1}, {"beta", 0x03B2},
    {"gamma", 0x03B3}, {"delta", 0x03B4}, {"epsilon", 0x03B5}, {"theta", 0x03B8},
    {"lambda", 0x03BB}, {"sigma", 0x03C3}, {"phi", 0x03C6}, {"rho", 0x03C1},
    {"omega", 0x03C9}, {"arrowleft", 0x2190}, {"arrowright", 0x2192},
    {"arrowboth", 0x2194}, {"arrowup", 0x2191}, {"arrowdown", 0x2193},
    {"angbracketleft", 0x27E8}, {"angbracketright", 0x27E9}, {"circlecopyrt", 0x20DD},
    {"negationslash", 0x0338}, {"a19", 0x2713}, {"a23", 0x2717}, {"copyright", 0x00A9},
    {"registered", 0x00AE}, {"trademark", 0x2122},
}};

const std::unordered_map<std::string_view, std::uint32_t>& glyphTable() {
  // Built once; the runtime guards the initialisation of function-local statics.
  static const std::unordered_map<std::string_view, std::uint32_t> table(kGlyphNames.begin(),
                                                                           kGlyphNames.end());
  return table;
}

bool endsWith(const std::string& text, std::string_view suffix) {
  return text.size() >= suffix.size() &&
         std::string_view(text).substr(text.size() - suffix.size()) == suffix;
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

// Reads `digits` as hexadecimal. Fails on a non-digit or when the value
// exceeds `limit`, which also keeps long digit strings from overflowing.
bool parseHex(std::string_view digits, std::uint32_t limit, std::uint32_t& value) {
  if (digits.empty()) return false;
  value = 0;
  for (char c : digits) {
    const int digit = hexDigit(c);
    if (digit < 0) return false;
    value = value * 16 + static_cast<std::uint32_t>(digit);
    if (value > limit) return false;
  }
  return true;
}

}  // namespace

std::uint32_t glyphNameToUnicode(std::string name) {
  // A variant suffix such as ".sc" or ".alt" names the same character.
  if (auto dot = name.find('.'); dot != std::string::npos) name.resize(dot);

  // TeX math fonts name size and style variants with a suffix ("parenleftbig",
  // "summationdisplay"); only the first matching suffix is removed.
  static constexpr std::array<std::string_view, 8> kSizeSuffixes = {
      "display", "text", "script", "scriptscript", "big", "bigg", "Big", "Bigg"};
  for (std::string_view suffix : kSizeSuffixes) {
    if (name.size() > suffix.size() && endsWith(name, suffix)) {
      name.resize(name.size() - suffix.size());
      break;
    }
  }

  if (name.size() == 1) return static_cast<unsigned char>(name[0]);

  std::uint32_t value = 0;
  // "uniXXXX": only the first code of a multi-character name is used.
  if (name.size() >= 7 && name.compare(0, 3, "uni") == 0 &&
      parseHex(std::string_view(name).substr(3, 4), 0xFFFF, value)) {
    return value;
  }
  if (name.size() >= 5 && name[0] == 'u' &&
      parseHex(std::string_view(name).substr(1), 0x10FFFF, value)) {
    return value;
  }

  const auto& table = glyphTable();
  if (auto it = table.find(name); it != table.end()) return it->second;

  // An unknown name beginning with a capital is usually an accented capital
  // ("Eacute"); its base letter is a better guess than nothing.
  if (name.size() >= 2 && name[0] >= 'A' && name[0] <= 'Z') {
    return static_cast<unsigned char>(name[0]);
  }
  return 0;
}

}  // namespace zopra::pdf
