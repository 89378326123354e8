#include "pdf/fonts/font_builder.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "pdf/content/content_lexer.h"
#include "pdf/fonts/glyph_names.h"
#include "pdf/fonts/predefined_cmap.h"
#include "pdf/fonts/predefined_cmap_tables.h"
#include "pdf/fonts/standard_widths.h"
#include "pdf/fonts/tounicode_cmap.h"

namespace zopra::pdf {

namespace {

// Reference chains to a stream are followed this far.
constexpr int kMaxReferenceHops = 32;

constexpr double kMaxCode = 4294967295.0;

// Resolves a value; objects that fail to load count as missing, so only stream
// decoding can fail a font.
const Value* resolved(const Document& document, const Value* value) {
  try {
    return document.resolve(value);
  } catch (const Exception&) {
    return nullptr;
  }
}

const Value* entry(const Document& document, const Value* dictionary, std::string_view key) {
  if (!dictionary || !dictionary->isDictionary()) return nullptr;
  return resolved(document, dictionary->find(key));
}

const Value* dictionaryEntry(const Document& document, const Value* dictionary,
                             std::string_view key) {
  const Value* value = entry(document, dictionary, key);
  return value && value->isDictionary() ? value : nullptr;
}

const Value* arrayEntry(const Document& document, const Value* dictionary, std::string_view key) {
  const Value* value = entry(document, dictionary, key);
  return value && value->isArray() ? value : nullptr;
}

bool numberEntry(const Document& document, const Value* dictionary, std::string_view key,
                 double& number) {
  const Value* value = entry(document, dictionary, key);
  if (!value || !value->isNumber()) return false;
  number = value->number;
  return true;
}

// The stream object that a dictionary entry refers to, or null.
const Object* streamEntry(const Document& document, const Value* dictionary, std::string_view key) {
  const Value* value = dictionary && dictionary->isDictionary() ? dictionary->find(key) : nullptr;
  for (int hop = 0; value && value->isReference() && hop < kMaxReferenceHops; ++hop) {
    const Object* target = nullptr;
    try {
      target = document.object(value->objectNumber);
    } catch (const Exception&) {
      return nullptr;
    }
    if (!target) return nullptr;
    if (target->isStream) return target;
    value = &target->value;
  }
  return nullptr;
}

// A number truncated to a code, when it is one.
bool codeOf(double number, std::uint32_t& code) {
  if (!std::isfinite(number)) return false;
  double whole = std::trunc(number);
  if (whole < 0 || whole > kMaxCode) return false;
  code = static_cast<std::uint32_t>(whole);
  return true;
}

void loadPredefinedCMap(const std::string& name, FontInfo& font) {
  const PredefinedCMapTable* table = findPredefinedCMap(name);
  if (!table) return;
  // The table stays where it is compiled in; codes are looked up in it.
  font.predefined = table;
  for (const CodeSpaceRange* range = table->codeSpace; range->byteLength < 255; ++range) {
    addCodeSpaceRange(font, *range);
  }
}

// The ToUnicode map of a stream, parsed once per stream object and shared by
// every font that names it.
std::shared_ptr<const ToUnicodeMap> toUnicodeMap(const Document& document, const Object& stream) {
  if (auto cached = document.fontCache.toUnicode.find(stream.number)) return cached;
  auto parsed = std::make_shared<const ToUnicodeMap>(readToUnicodeCMap(document.decodeStream(stream)));
  document.fontCache.toUnicode.put(stream.number, parsed, parsed->memory());
  return parsed;
}

void readDifferences(const Document& document, const Value* encoding, FontInfo& font) {
  const Value* differences = arrayEntry(document, encoding, "Differences");
  if (!differences) return;
  std::uint32_t code = 0;
  bool haveCode = true;
  for (const Value& item : differences->array) {
    const Value* value = resolved(document, &item);
    if (!value) continue;
    if (value->isNumber()) {
      haveCode = codeOf(value->number, code);
    } else if (value->isName() && haveCode) {
      font.codeToUnicode[code] = glyphNameToUnicode(value->text);
      // Past the largest code no further names can be placed.
      if (code == 0xFFFFFFFFu) haveCode = false;
      ++code;
    }
  }
}

// The built-in encoding of an embedded Type 1 program: "dup <code> /<name> put"
// entries in its clear-text part. Codes already set by Differences keep their
// value, since Differences amend the font's own encoding.
void readType1Encoding(const Bytes& program, FontInfo& font) {
  ContentLexer lexer(program);
  Token window[4];
  int filled = 0;
  Token token;
  while (lexer.next(token)) {
    if (token.kind == Token::Kind::Keyword && token.text == "eexec") break;
    if (filled == 4) {
      for (int i = 0; i < 3; ++i) window[i] = std::move(window[i + 1]);
      filled = 3;
    }
    window[filled++] = std::move(token);
    if (filled < 4) continue;
    std::uint32_t code = 0;
    if (window[0].kind == Token::Kind::Keyword && window[0].text == "dup" &&
        window[1].kind == Token::Kind::Number && window[2].kind == Token::Kind::Name &&
        window[3].kind == Token::Kind::Keyword && window[3].text == "put" &&
        isWholeNumber(window[1].number, 0, 255) && codeOf(window[1].number, code)) {
      font.codeToUnicode.emplace(code, glyphNameToUnicode(window[2].text));
    }
  }
}

// The clear-text part of a Type 1 program, where its encoding is: the first
// Length1 bytes, and never more than kMaxClearText. The rest (the encrypted
// glyph programs) is not decoded at all, which also keeps a program that
// inflates to hundreds of megabytes cheap.
Bytes clearText(const Document& document, const Object& program) {
  constexpr std::size_t kMaxClearText = std::size_t{4} << 20;
  std::size_t size = kMaxClearText;
  double length = 0;
  if (numberEntry(document, &program.value, "Length1", length) && length >= 1 &&
      length < static_cast<double>(kMaxClearText)) {
    size = static_cast<std::size_t>(length);
  }
  bool complete = false;
  Bytes text = document.decodeStreamPrefix(program, size, complete);
  if (text.size() > size) text.resize(size);
  return text;
}

// A Type 3 font gives its widths in glyph space, which its FontMatrix maps
// to text space; other simple fonts use 1/1000 of text space. The factor
// that brings Type 3 widths to thousandths of text space, 1 for the others.
double glyphSpaceScale(const Document& document, const Value* fontDictionary) {
  const Value* subtype = entry(document, fontDictionary, "Subtype");
  if (!subtype || !subtype->isName("Type3")) return 1.0;
  const Value* matrix = arrayEntry(document, fontDictionary, "FontMatrix");
  if (!matrix || matrix->array.empty()) return 1.0;
  const Value* a = resolved(document, &matrix->array.front());
  if (!a || !a->isNumber() || !std::isfinite(a->number) || a->number == 0) return 1.0;
  // Real Type 3 fonts scale glyph space down by 1e-3 to 1; a wilder factor
  // would only turn widths into infinities.
  const double scale = a->number * 1000.0;
  return std::fabs(scale) > 1e6 || std::fabs(scale) < 1e-6 ? 1.0 : scale;
}

void readSimpleWidths(const Document& document, const Value* fontDictionary, FontInfo& font) {
  const Value* widths = arrayEntry(document, fontDictionary, "Widths");
  if (!widths) return;
  const double scale = glyphSpaceScale(document, fontDictionary);
  double firstChar = 0;
  numberEntry(document, fontDictionary, "FirstChar", firstChar);
  if (!std::isfinite(firstChar)) return;
  double first = std::trunc(firstChar);
  for (std::size_t i = 0; i < widths->array.size(); ++i) {
    std::uint32_t code = 0;
    if (!codeOf(first + static_cast<double>(i), code)) continue;
    const Value* width = resolved(document, &widths->array[i]);
    if (width && width->isNumber()) font.widths.set(code, width->number * scale);
  }
}

// W: "c [w1 w2 ...]" gives consecutive codes from c; "c1 c2 w" gives every
// code from c1 to c2 the width w (one range, however wide). Malformed items
// are skipped one at a time.
void readCompositeWidths(const Document& document, const Value* descendant, FontInfo& font) {
  const Value* table = arrayEntry(document, descendant, "W");
  if (!table) return;
  const ValueArray& items = table->array;
  std::size_t i = 0;
  while (i + 1 < items.size()) {
    const Value* first = resolved(document, &items[i]);
    std::uint32_t start = 0;
    if (!first || !first->isNumber() || !codeOf(first->number, start)) {
      ++i;
      continue;
    }
    const Value* second = resolved(document, &items[i + 1]);
    if (second && second->isArray()) {
      const ValueArray& list = second->array;
      for (std::size_t k = 0; k < list.size() && std::uint64_t{start} + k <= 0xFFFFFFFFu; ++k) {
        const Value* width = resolved(document, &list[k]);
        if (width && width->isNumber()) font.widths.set(start + static_cast<std::uint32_t>(k), width->number);
      }
      i += 2;
      continue;
    }
    std::uint32_t last = 0;
    const Value* width = i + 2 < items.size() ? resolved(document, &items[i + 2]) : nullptr;
    if (!second || !second->isNumber() || !codeOf(second->number, last) || !width ||
        !width->isNumber()) {
      ++i;
      continue;
    }
    if (last >= start) font.widths.assign(start, last, width->number);
    i += 3;
  }
}

// The style entries of a font descriptor; Ascent and Descent of a Type 3
// font are in its glyph space and are brought to thousandths of an em.
FontDescriptorFacts descriptorFacts(const Document& document, const Value* descriptor,
                                    double glyphScale) {
  FontDescriptorFacts facts;
  if (!descriptor) return facts;
  double flags = 0;
  if (numberEntry(document, descriptor, "Flags", flags) && std::isfinite(flags) && flags >= 0 &&
      flags <= kMaxCode) {
    facts.hasFlags = true;
    facts.flags = static_cast<std::uint32_t>(flags);
  }
  facts.hasWeight = numberEntry(document, descriptor, "FontWeight", facts.weight);
  facts.hasItalicAngle = numberEntry(document, descriptor, "ItalicAngle", facts.italicAngle);
  facts.hasAscent = numberEntry(document, descriptor, "Ascent", facts.ascent);
  facts.hasDescent = numberEntry(document, descriptor, "Descent", facts.descent);
  facts.ascent *= glyphScale;
  facts.descent *= glyphScale;
  return facts;
}

}  // namespace

FontInfo buildFont(const Document& document, const Value* fontValue) {
  FontInfo font;
  const Value* fontDictionary = resolved(document, fontValue);
  if (!fontDictionary || !fontDictionary->isDictionary()) return font;

  const Value* subtype = entry(document, fontDictionary, "Subtype");
  font.composite = subtype && subtype->isName("Type0");
  font.codeLengths = {font.composite ? 2u : 1u};

  const Value* baseFont = entry(document, fontDictionary, "BaseFont");
  if (baseFont && baseFont->isName()) font.setBaseFont(baseFont->text);

  // Widths and the font descriptor of a composite font live in its descendant.
  const Value* metricsDictionary = fontDictionary;
  if (font.composite) {
    metricsDictionary = nullptr;
    const Value* descendants = arrayEntry(document, fontDictionary, "DescendantFonts");
    if (descendants && !descendants->array.empty()) {
      const Value* descendant = resolved(document, &descendants->array.front());
      if (descendant && descendant->isDictionary()) metricsDictionary = descendant;
    }
  }

  const Value* encoding = entry(document, fontDictionary, "Encoding");
  if (encoding && encoding->isName()) {
    font.encodingName = encoding->text;
    loadPredefinedCMap(font.encodingName, font);
  } else if (encoding && encoding->isDictionary()) {
    readDifferences(document, encoding, font);
  }

  if (const Object* toUnicode = streamEntry(document, fontDictionary, "ToUnicode")) {
    font.toUnicode = toUnicodeMap(document, *toUnicode);
    // Simple fonts always show one byte per glyph. A composite font cuts its
    // strings by its encoding CMap; only without a predefined one does the
    // ToUnicode CMap's code space stand in for it (a ToUnicode map with
    // shorter codes must not cut Identity-H strings into single bytes).
    if (font.composite && !font.predefined) {
      for (const CodeSpaceRange& range : font.toUnicode->codeSpace) addCodeSpaceRange(font, range);
    }
  }

  const Value* descriptor = dictionaryEntry(document, metricsDictionary, "FontDescriptor");
  if (const Object* program = streamEntry(document, descriptor, "FontFile")) {
    readType1Encoding(clearText(document, *program), font);
  }

  if (font.composite) {
    font.defaultWidth = 1000;
    numberEntry(document, metricsDictionary, "DW", font.defaultWidth);
    readCompositeWidths(document, metricsDictionary, font);
  } else {
    numberEntry(document, descriptor, "MissingWidth", font.defaultWidth);
    font.defaultWidth *= glyphSpaceScale(document, fontDictionary);
    readSimpleWidths(document, fontDictionary, font);
  }

  applyStandard14Widths(font);
  font.style = std::make_shared<const FontStyle>(
      fontStyle(font.baseFont, descriptorFacts(document, descriptor,
                                               glyphSpaceScale(document, fontDictionary))));
  return font;
}

}  // namespace zopra::pdf
