// Document::prepareText and Document::drawText: new text measured with a
// TrueType font file and drawn on a page with that font embedded.
//
// The font file goes into the document whole as a Type0 font with
// Identity-H encoding over a CIDFontType2 descendant whose CIDs are the
// glyph indices, so the shown string is simply the glyph indices (the
// compact writer cuts it down to the glyphs drawn, keeping their indices).
// Its W array and ToUnicode map grow with every drawing, covering every
// glyph drawn so far in that font on any page.
#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "pdf/content/content_lexer.h"
#include "pdf/edit/text_drawing.h"
#include "pdf/edit/text_removal.h"
#include "pdf/edit/true_type.h"
#include "pdf/edit/visual_order.h"
#include "pdf/fonts/unicode.h"
#include "pdf/write/value_writer.h"

namespace zopra::pdf {

namespace {

// Content arrays nest through objects; a crafted chain of arrays must not
// exhaust the stack.
constexpr int kMaxContentDepth = 256;
// Text drawn by the engine carries 6 significant digits: far finer than any
// device resolution at page scale.
constexpr int kContentDigits = 6;
constexpr std::uint32_t kSpace = 0x20;
// Font files kept parsed per document; a caller that cycles through more
// paths than this reads them again.
constexpr std::size_t kMaxFontFiles = 24;
// Fonts in one chain: fontIndices holds one byte per character.
constexpr std::size_t kMaxChainFonts = 64;
// Font sizes above this (in text space units, 10000 is 139 inches at an
// identity matrix) are taken for mistakes: no page shows such a glyph.
constexpr double kMaxFontSize = 10000;
// Graphics states the page's own content may leave open that are closed
// before new text; content nesting deeper than this is not worth restoring.
constexpr std::size_t kMaxOpenStates = 100000;

std::string decimal(double value) { return numberText(value, kContentDigits); }

Bytes readFontFile(const std::string& path) {
  std::error_code ignored;
  // A folder opens as a stream on this platform, and its size is nonsense.
  if (std::filesystem::is_directory(path, ignored)) throw Exception(Error::Io, "failed to open font");
  std::ifstream in(path, std::ios::binary);
  if (!in) throw Exception(Error::Io, "failed to open font");
  in.seekg(0, std::ios::end);
  const std::streamoff size = in.tellg();
  if (size < 1) throw Exception(Error::Format, "empty font");
  Bytes bytes(static_cast<std::size_t>(size));
  in.seekg(0, std::ios::beg);
  in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!in) throw Exception(Error::Io, "failed to read font");
  return bytes;
}

// The font at `path`, read and parsed once while the file keeps its size
// and modification time.
std::shared_ptr<const TrueType> loadFont(Document& document, const std::string& path) {
  namespace fs = std::filesystem;
  using Clock = std::chrono::steady_clock;
  const std::int64_t now = Clock::now().time_since_epoch().count();
  const std::int64_t second = std::chrono::duration_cast<Clock::duration>(std::chrono::seconds(1)).count();
  auto recent = document.fontFiles.find(path);
  if (recent != document.fontFiles.end() && now - recent->second.checked < second) return recent->second.font;
  std::error_code sizeError;
  std::error_code timeError;
  const std::uintmax_t size = fs::file_size(path, sizeError);
  const fs::file_time_type modified = fs::last_write_time(path, timeError);
  const bool known = !sizeError && !timeError;
  const std::int64_t ticks = known ? static_cast<std::int64_t>(modified.time_since_epoch().count()) : 0;
  if (known) {
    auto found = document.fontFiles.find(path);
    if (found != document.fontFiles.end() && found->second.size == size && found->second.modified == ticks) {
      found->second.checked = now;
      return found->second.font;
    }
  }
  auto font = std::make_shared<const TrueType>(readFontFile(path));
  if (known) {
    if (document.fontFiles.size() >= kMaxFontFiles) document.fontFiles.clear();
    document.fontFiles.insert_or_assign(path, Document::FontFile{size, ticks, now, font});
  }
  return font;
}

// Text space units per font unit at size 1. A font that claims 0 units per
// em is taken as 1000, the PDF glyph space.
double emScale(std::uint16_t unitsPerEm) { return unitsPerEm == 0 ? 1.0 / 1000.0 : 1.0 / unitsPerEm; }

Value name(std::string text) { return Value::Name(std::move(text)); }
Value integer(std::int64_t value) { return Value::Number(static_cast<double>(value)); }
Value reference(std::uint32_t objectNumber) { return Value::Reference(objectNumber, 0); }

// True when one of the document's embedded fonts has the name, or the
// page's Font resources give it to some font.
bool nameTaken(const Document& document, const Page& page, const std::string& resourceName) {
  for (const auto& [path, font] : document.embeddedFonts) {
    if (font.resourceName == resourceName) return true;
  }
  if (!page.resources) return false;
  const Value* fonts = document.dictionaryValue(page.resources.get(), "Font");
  return fonts && fonts->isDictionary() && fonts->find(resourceName);
}

// A font-unit measure of the font in glyph space units (1000 per em).
Value glyphUnits(const TrueType& font, std::int16_t value) {
  return integer(std::llround(value * 1000.0 / (font.unitsPerEm == 0 ? 1000 : font.unitsPerEm)));
}

// The name the embedded font goes by: its PostScript name, else the font
// file's name without folder and extension, cut to the characters of a PDF
// name, else a fixed name.
std::string baseFontName(const TrueType& font, const std::string& path) {
  if (!font.postScriptName.empty()) return font.postScriptName;
  std::string name;
  for (char c : std::filesystem::path(path).stem().string()) {
    const auto u = static_cast<unsigned char>(c);
    if (u > 0x20 && u < 0x7F && std::string_view("#%()/<>[]{}").find(c) == std::string_view::npos &&
        name.size() < 63) {
      name.push_back(c);
    }
  }
  return name.empty() ? std::string("ZopraEmbedded") : name;
}

// The font paths of the state's chain.
std::vector<std::string> chainPaths(const Document::DrawState& state) {
  return state.fontPaths.empty() ? std::vector<std::string>{state.fontPath} : state.fontPaths;
}

// Characters that lay out nothing: a font is not expected to have them.
bool controlCharacter(std::uint32_t codePoint) {
  return codePoint < 0x20 || (codePoint >= 0x7F && codePoint < 0xA0);
}

// Creates the objects of a newly embedded font: font file, descriptor,
// descendant, ToUnicode stream (filled later) and the Type0 font.
Document::EmbeddedFont embedFont(Document& document, const TrueType& font, const std::string& path,
                                 std::string resourceName) {
  Document::EmbeddedFont embedded;
  embedded.resourceName = std::move(resourceName);
  embedded.unitsPerEm = font.unitsPerEm;
  embedded.baseFont = baseFontName(font, path);

  const std::uint32_t file =
      document
          .createStream(Value::Dictionary({{"Length1", integer(static_cast<std::int64_t>(font.bytes.size()))}}),
                        font.bytes)
          .number;
  embedded.fontFileObject = file;
  const std::uint32_t descriptor =
      document
          .createObject(Value::Dictionary({
              {"Type", name("FontDescriptor")},
              {"FontName", name(embedded.baseFont)},
              {"Flags", integer(4)},
              // In glyph space, 1000 units to the em, as readers (and this
              // engine's own item boxes) take them.
              {"FontBBox", Value::Array({glyphUnits(font, font.xMin), glyphUnits(font, font.yMin),
                                         glyphUnits(font, font.xMax), glyphUnits(font, font.yMax)})},
              {"ItalicAngle", integer(0)},
              {"Ascent", glyphUnits(font, font.ascender)},
              {"Descent", glyphUnits(font, font.descender)},
              {"CapHeight", glyphUnits(font, font.ascender)},
              {"StemV", integer(80)},
              {"FontFile2", reference(file)},
          }))
          .number;
  embedded.descriptorObject = descriptor;
  embedded.descendantObject =
      document
          .createObject(Value::Dictionary({
              {"Type", name("Font")},
              {"Subtype", name("CIDFontType2")},
              {"BaseFont", name(embedded.baseFont)},
              {"CIDSystemInfo", Value::Dictionary({{"Registry", Value::String("Adobe")},
                                                   {"Ordering", Value::String("Identity")},
                                                   {"Supplement", integer(0)}})},
              {"FontDescriptor", reference(descriptor)},
              {"CIDToGIDMap", name("Identity")},
              {"DW", integer(1000)},
              {"W", Value::Array({})},
          }))
          .number;
  embedded.toUnicodeObject = document.createStream(Value::Dictionary({}), {}).number;
  embedded.type0Object = document
                             .createObject(Value::Dictionary({
                                 {"Type", name("Font")},
                                 {"Subtype", name("Type0")},
                                 {"BaseFont", name(embedded.baseFont)},
                                 {"Encoding", name("Identity-H")},
                                 {"DescendantFonts", Value::Array({reference(embedded.descendantObject)})},
                                 {"ToUnicode", reference(embedded.toUnicodeObject)},
                             }))
                             .number;
  return embedded;
}

// Adds the state's glyphs drawn with font `chainIndex` of its chain to the
// font's maps, then rewrites its W array and ToUnicode map from the whole
// maps. A text of glyphs drawn before leaves both as they are, which spares
// most drawings the rewrite.
void addGlyphs(Document& document, Document::EmbeddedFont& font, const Document::DrawState& state,
               std::size_t chainIndex) {
  bool added = false;
  if (font.mappedGlyphs.empty()) font.mappedGlyphs.assign(0x10000, false);
  for (std::size_t i = 0; i < state.glyphs.size(); ++i) {
    if (state.fontIndices[i] != chainIndex || font.mappedGlyphs[state.glyphs[i]]) continue;
    added = font.glyphToUnicode.try_emplace(state.glyphs[i], state.codePoints[i]).second || added;
    font.glyphAdvances.try_emplace(state.glyphs[i], state.advances[i]);
    font.mappedGlyphs[state.glyphs[i]] = true;
  }
  if (added) writeGlyphTables(document, font);
}

// How many graphics states (q) the streams leave open at their end, read
// with the content lexer so that strings, comments and inline image data
// holding "q" do not count. A stream that cannot be decoded counts nothing.
std::size_t openStates(const Document& document, const ValueArray& streams) {
  std::size_t depth = 0;
  for (const Value& stream : streams) {
    const Object* object = stream.isReference() ? document.object(stream.objectNumber) : nullptr;
    if (!object || !object->isStream) continue;
    Bytes data;
    try {
      data = document.decodeStream(*object);
    } catch (const Exception&) {
      continue;
    }
    ContentLexer lexer(data);
    // Only keywords count here: numbers and strings are passed over, not
    // read.
    lexer.decodeValues = false;
    Token token;
    while (lexer.next(token)) {
      if (token.kind != Token::Kind::Keyword) continue;
      if (token.text == "q") {
        ++depth;
      } else if (token.text == "Q") {
        if (depth > 0) --depth;
      } else if (token.text == "BI") {
        skipInlineImage(lexer);
      }
    }
  }
  return std::min(depth, kMaxOpenStates);
}

// Puts "q" before the page's content, so that a graphics state it leaves
// behind (a transformation, a clip, a colour) does not reach the text drawn
// after it. Returns what closes it, for the start of the drawn stream that
// follows: one Q for each state the content leaves open, and one more.
std::string wrapContent(Document& document, Page& page) {
  Value* dictionary = document.pageDictionary(page);
  const Value* contents = dictionary ? dictionary->find("Contents") : nullptr;
  if (!contents) return {};
  ValueArray streams;
  std::set<std::uint32_t> visited;
  appendPageContent(document, Value(*contents), streams, visited);
  if (streams.empty()) return {};
  const std::uint32_t open = document.createStream(Value::Dictionary({}), {'q', '\n'}).number;
  std::string restore;
  for (std::size_t i = openStates(document, streams); i > 0; --i) restore += "Q\n";
  restore += "Q\n";
  streams.insert(streams.begin(), reference(open));
  document.pageDictionary(page)->dictionary.insert_or_assign("Contents", Value::Array(std::move(streams)));
  return restore;
}

// The name the font has on the page: its own resource name, unless the
// page's Font resources give that name to another font (text drawn into
// this file by an earlier run, or another font placed here first), in which
// case the first "ZDL" name free on the page. Each name tried is taken by
// one entry of the page's fonts, which bounds the search.
std::string pageFontName(const Document& document, const Page& page, std::uint32_t pageIndex,
                         Document::EmbeddedFont& font) {
  auto known = font.pageNames.find(pageIndex);
  if (known != font.pageNames.end()) return known->second;
  const Value* fonts = page.resources ? document.dictionaryValue(page.resources.get(), "Font") : nullptr;
  const auto available = [&](const std::string& candidate) {
    const Value* entry = fonts && fonts->isDictionary() ? fonts->find(candidate) : nullptr;
    return !entry || (entry->isReference() && entry->objectNumber == font.type0Object);
  };
  std::string name = font.resourceName;
  for (std::size_t ordinal = 0; !available(name); ++ordinal) name = "ZDL" + std::to_string(ordinal);
  font.pageNames.emplace(pageIndex, name);
  return name;
}

// Names the font in the page's own Font resources. The resources (often
// shared with other pages, or inherited) are copied into the page.
void addFontResource(Document& document, Page& page, const Document::EmbeddedFont& font,
                     const std::string& resourceName) {
  const Value* current = page.resources ? document.resolve(page.resources.get()) : nullptr;
  // Named by an earlier text of the page: nothing to copy.
  const Value* named = current && current->isDictionary() ? document.dictionaryValue(current, "Font") : nullptr;
  named = named && named->isDictionary() ? named->find(resourceName) : nullptr;
  if (named && named->isReference() && named->objectNumber == font.type0Object) return;
  Value resources = current && current->isDictionary() ? *current : Value::Dictionary({});
  const Value* currentFonts = document.dictionaryValue(&resources, "Font");
  Value fonts = currentFonts && currentFonts->isDictionary() ? *currentFonts : Value::Dictionary({});
  fonts.dictionary.insert_or_assign(resourceName, reference(font.type0Object));
  resources.dictionary.insert_or_assign("Font", std::move(fonts));
  page.resources = std::make_shared<const Value>(resources);
  document.pageDictionary(page)->dictionary.insert_or_assign("Resources", std::move(resources));
}

// The operator that sets the fill colour, empty for black: the state every
// drawn stream starts from.
std::string fillOperator(const Color& fill) {
  const double* c = fill.components;
  switch (fill.kind) {
    case 1:
      return c[0] != 0 ? decimal(c[0]) + " g" : std::string();
    case 2:
      return decimal(c[0]) + ' ' + decimal(c[1]) + ' ' + decimal(c[2]) + " rg";
    case 3:
      return decimal(c[0]) + ' ' + decimal(c[1]) + ' ' + decimal(c[2]) + ' ' + decimal(c[3]) + " k";
    default:
      return {};
  }
}

// A number as written by `decimal`, read back as a reader reads it.
double written(const std::string& text) {
  double value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

// An offset for Td: what is left of an offset of 0 after the arithmetic
// (far below any device pixel) is written as 0.
std::string offset(double value) { return decimal(std::fabs(value) < 1e-6 ? 0.0 : value); }

// Moves the line matrix of `drawn` to the text's matrix: with Td relative
// to the line before when the two share their a b c d as written (the
// offset is measured from where readers put the line, so rounding does not
// add up from text to text), else with Tm.
std::string placeText(Document::DrawnText& drawn, const Matrix& m) {
  const std::string shape = decimal(m.a) + ' ' + decimal(m.b) + ' ' + decimal(m.c) + ' ' + decimal(m.d);
  Matrix& line = drawn.line;
  const double determinant = line.a * line.d - line.b * line.c;
  if (shape == drawn.shape && std::fabs(determinant) > 1e-6) {
    // The place Tm would give, so that texts land where they always did.
    const double de = written(decimal(m.e)) - line.e;
    const double df = written(decimal(m.f)) - line.f;
    const std::string tx = offset((de * line.d - df * line.c) / determinant);
    const std::string ty = offset((df * line.a - de * line.b) / determinant);
    const double x = written(tx);
    const double y = written(ty);
    line.e += x * line.a + y * line.c;
    line.f += x * line.b + y * line.d;
    return tx + ' ' + ty + " Td\n";
  }
  const std::string e = decimal(m.e);
  const std::string f = decimal(m.f);
  drawn.shape = shape;
  line = Matrix{written(decimal(m.a)), written(decimal(m.b)), written(decimal(m.c)), written(decimal(m.d)),
                written(e), written(f)};
  return shape + ' ' + e + ' ' + f + " Tm\n";
}

// The text drawn as runs of consecutive characters in one font, each
// shown with its font's name on the page (`resourceNames`, by chain index),
// inside the text object of the page's drawn stream: only the colour, text
// state and font that differ from what `drawn` has set are written, and
// the place relative to the text before. Word spacing does not act on the
// two-byte codes of the embedded fonts: it is written as a TJ adjustment
// after each space instead, the advance prepareText measured.
std::string contentText(const std::vector<std::string>& resourceNames, const Document::DrawState& state,
                        Document::DrawnText& drawn) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  const std::string fill = fillOperator(state.fill);
  if (fill != drawn.fill) text += (fill.empty() ? std::string("0 g") : fill) + '\n';
  drawn.fill = fill;
  const std::string scaling = state.horizontalScaling != 1 ? decimal(state.horizontalScaling * 100.0) : "";
  if (scaling != drawn.horizontalScaling) text += (scaling.empty() ? std::string("100") : scaling) + " Tz\n";
  drawn.horizontalScaling = scaling;
  const std::string spacing = state.charSpacing != 0 ? decimal(state.charSpacing) : "";
  if (spacing != drawn.charSpacing) text += (spacing.empty() ? std::string("0") : spacing) + " Tc\n";
  drawn.charSpacing = spacing;
  text += placeText(drawn, state.matrix);
  const std::string size = ' ' + decimal(state.fontSize);
  // The TJ number that moves the next glyph by the word spacing.
  const bool spaced = state.wordSpacing != 0 && state.fontSize != 0;
  const std::string wordGap = spaced ? decimal(-state.wordSpacing * 1000.0 / state.fontSize) : std::string();
  std::size_t i = 0;
  while (i < state.glyphs.size()) {
    std::size_t end = i + 1;
    while (end < state.glyphs.size() && state.fontIndices[end] == state.fontIndices[i]) ++end;
    bool hasSpace = false;
    for (std::size_t k = i; spaced && k < end; ++k) hasSpace = hasSpace || state.codePoints[k] == 0x20;
    const std::string font = '/' + resourceNames[state.fontIndices[i]] + size;
    if (font != drawn.font) text += font + " Tf\n";
    drawn.font = font;
    if (hasSpace) text += '[';
    bool open = false;
    for (std::size_t k = i; k < end; ++k) {
      if (!open) text += '<';
      open = true;
      const std::uint16_t glyph = state.glyphs[k];
      for (int shift = 12; shift >= 0; shift -= 4) text += kDigits[(glyph >> shift) & 0xF];
      if (hasSpace && state.codePoints[k] == 0x20) {
        text += '>' + wordGap;
        open = false;
      }
    }
    if (open) text += '>';
    text += hasSpace ? "] TJ\n" : " Tj\n";
    i = end;
  }
  return text;
}

// Adds the text after the page's content. The text continues the text
// object of the stream drawn on the page earlier in this session while
// that stream still ends the content; else it goes into a new stream
// appended to the flattened Contents, after `restore` (what closes the
// states wrapping the page's content, when it was just wrapped).
void appendContentStream(Document& document, std::uint32_t pageIndex, Page& page,
                         const std::vector<std::string>& resourceNames, const Document::DrawState& state,
                         const std::string& restore) {
  static const std::string kEnd = "ET\n";
  Value* contents = document.pageDictionary(page)->find("Contents");
  auto session = document.drawnStreams.find(pageIndex);
  auto drawn = document.drawnText.find(pageIndex);
  if (restore.empty() && session != document.drawnStreams.end() && drawn != document.drawnText.end() &&
      drawn->second.stream == session->second && contents && contents->isArray() && !contents->array.empty() &&
      contents->array.back().isReference() && contents->array.back().objectNumber == session->second) {
    Object* stream = document.object(session->second);
    if (stream && stream->isStream && stream->createdStream && stream->data.size() >= kEnd.size() &&
        std::equal(kEnd.begin(), kEnd.end(), stream->data.end() - static_cast<std::ptrdiff_t>(kEnd.size()))) {
      const std::string text = contentText(resourceNames, state, drawn->second) + kEnd;
      stream->data.resize(stream->data.size() - kEnd.size());
      stream->data.insert(stream->data.end(), text.begin(), text.end());
      return;
    }
  }
  ValueArray streams;
  if (contents) {
    // A Contents naming an array object is flattened, never nested.
    std::set<std::uint32_t> visited;
    appendPageContent(document, Value(*contents), streams, visited);
  }
  Document::DrawnText fresh;
  fresh.shape = "1 0 0 1";
  const std::string text = restore + "BT\n" + contentText(resourceNames, state, fresh) + kEnd;
  const std::uint32_t created = document.createStream(Value::Dictionary({}), Bytes(text.begin(), text.end())).number;
  fresh.stream = created;
  streams.push_back(reference(created));
  Value& dictionary = *document.pageDictionary(page);
  if (streams.size() == 1) {
    dictionary.dictionary.insert_or_assign("Contents", reference(created));
  } else {
    dictionary.dictionary.insert_or_assign("Contents", Value::Array(std::move(streams)));
  }
  document.drawnStreams.insert_or_assign(pageIndex, created);
  document.drawnText.insert_or_assign(pageIndex, std::move(fresh));
  document.drawnContent.insert(created);
}

void walkContent(const Document& document, const Value& contents, ValueArray& out,
                 std::set<std::uint32_t>& visited, int depth) {
  if (depth > kMaxContentDepth) throw Exception(Error::Format, "page content is too complex");
  if (contents.isArray()) {
    for (const Value& element : contents.array) walkContent(document, element, out, visited, depth + 1);
    return;
  }
  if (contents.isReference()) {
    const Object* target = document.object(contents.objectNumber);
    if (target && !target->isStream && target->value.isArray()) {
      if (visited.insert(contents.objectNumber).second) {
        walkContent(document, target->value, out, visited, depth + 1);
      }
      return;
    }
  }
  out.push_back(contents);
}

}  // namespace

void appendPageContent(const Document& document, const Value& contents, ValueArray& out,
                       std::set<std::uint32_t>& visited) {
  walkContent(document, contents, out, visited, 0);
}

void writeGlyphTables(Document& document, Document::EmbeddedFont& font) {
  ValueArray widths;
  widths.reserve(2 * font.glyphAdvances.size());
  for (const auto& [glyph, advance] : font.glyphAdvances) {
    const double width = font.unitsPerEm == 0 ? advance : advance * 1000.0 / font.unitsPerEm;
    widths.push_back(integer(glyph));
    widths.push_back(Value::Array({Value::Number(width)}));
  }
  Object* descendant = document.object(font.descendantObject);
  Object* toUnicode = document.object(font.toUnicodeObject);
  if (!descendant || !descendant->value.isDictionary() || !toUnicode) {
    throw Exception(Error::Format, "invalid PDF object offset");
  }
  descendant->value.dictionary.insert_or_assign("W", Value::Array(std::move(widths)));
  const std::string map = makeToUnicode(font.glyphToUnicode);
  replaceStreamData(*toUnicode, Bytes(map.begin(), map.end()));
  // The font built from these objects before now lacks the new glyphs; the
  // page's other fonts are as they were.
  document.fontCache.fonts.forget(font.type0Object);
  document.fontCache.toUnicode.forget(font.toUnicodeObject);
}

std::string newFontName(const Document& document, const Page& page) {
  std::size_t ordinal = document.embeddedFonts.size();
  while (nameTaken(document, page, "ZDL" + std::to_string(ordinal))) ++ordinal;
  return "ZDL" + std::to_string(ordinal);
}

void moveText(Document::DrawState& state, double dx, double dy) {
  Matrix& m = state.matrix;
  m.e += dx * m.a + dy * m.c;
  m.f += dx * m.b + dy * m.d;
}

bool validFontSize(double size) { return std::isfinite(size) && size > 0 && size <= kMaxFontSize; }

Error Document::prepareText(DrawState& state) {
  bool valid = false;
  const std::vector<std::uint32_t> decoded = decodeUtf8(state.text, &valid);
  const std::vector<std::string> paths = chainPaths(state);
  if (!valid || !validFontSize(state.fontSize) || paths.size() > kMaxChainFonts) return Error::InvalidArgument;
  try {
    std::vector<std::shared_ptr<const TrueType>> fonts;
    fonts.reserve(paths.size());
    for (const std::string& path : paths) fonts.push_back(loadFont(*this, path));
    const TrueType& first = *fonts.front();
    const std::uint16_t space = first.glyph(kSpace);
    state.codePoints.clear();
    state.glyphs.clear();
    state.advances.clear();
    state.fontIndices.clear();
    state.missingCharacters = 0;
    state.width = 0;
    // Glyphs go on the line in visual order; each is named (ToUnicode) by
    // the character a reader should extract for it.
    const VisualText visual = state.givenOrder ? VisualText() : visualOrder(decoded);
    const bool reordered = !visual.shown.empty();
    const std::vector<std::uint32_t>& shown = reordered ? visual.shown : decoded;
    const std::vector<std::uint32_t>& named = reordered ? visual.named : decoded;
    state.codePoints.reserve(shown.size());
    state.glyphs.reserve(shown.size());
    state.advances.reserve(shown.size());
    state.fontIndices.reserve(shown.size());
    for (std::size_t i = 0; i < shown.size(); ++i) {
      std::uint32_t codePoint = named[i];
      std::size_t chosen = 0;
      std::uint16_t glyph = 0;
      for (std::size_t k = 0; k < fonts.size() && glyph == 0; ++k) {
        glyph = fonts[k]->glyph(shown[i]);
        chosen = k;
      }
      // A font without the joining form still has the letter.
      for (std::size_t k = 0; k < fonts.size() && glyph == 0 && shown[i] != codePoint; ++k) {
        glyph = fonts[k]->glyph(codePoint);
        chosen = k;
      }
      if (codePoint != 0 && glyph == 0) {
        // Missing from every font: a space keeps the words apart.
        if (!controlCharacter(codePoint)) ++state.missingCharacters;
        chosen = 0;
        if (space == 0) continue;
        codePoint = kSpace;
        glyph = space;
      } else if (glyph == 0) {
        chosen = 0;
      }
      const TrueType& font = *fonts[chosen];
      const std::uint16_t advance = glyph < font.advances.size() ? font.advances[glyph] : font.advances.back();
      state.codePoints.push_back(codePoint);
      state.glyphs.push_back(glyph);
      state.advances.push_back(advance);
      state.fontIndices.push_back(static_cast<std::uint8_t>(chosen));
      state.width += (advance * emScale(font.unitsPerEm) * state.fontSize + state.charSpacing +
                      (codePoint == kSpace ? state.wordSpacing : 0.0)) *
                     state.horizontalScaling;
    }
    // The text drawn, in reading order: with missing characters as spaces
    // (or left out), unless reordering for the line put it out of that order.
    state.text = encodeUtf8(reordered ? decoded : state.codePoints);
    state.unitsPerEm = first.unitsPerEm;
    state.font = fonts.front();
    state.fontPath = paths.front();
    state.fonts = std::move(fonts);
  } catch (const Exception& failure) {
    setError(failure.kind(), failure.message());
    return failure.kind();
  }
  return Error::None;
}

Error Document::drawText(std::uint32_t pageIndex, const DrawState& state) {
  const std::vector<std::string> paths = chainPaths(state);
  if (pageIndex >= pages.size() || state.glyphs.empty() || !state.font || state.fonts.size() != paths.size() ||
      state.codePoints.size() != state.glyphs.size() || state.advances.size() != state.glyphs.size() ||
      state.fontIndices.size() != state.glyphs.size()) {
    return Error::InvalidArgument;
  }
  std::vector<bool> used(paths.size(), false);
  for (std::uint8_t index : state.fontIndices) {
    if (index >= paths.size() || !state.fonts[index]) return Error::InvalidArgument;
    used[index] = true;
  }
  try {
    Page& page = pages[pageIndex];
    if (!pageDictionary(page)) throw Exception(Error::Format, "missing PDF page object");
    std::vector<EmbeddedFont*> embedded(paths.size(), nullptr);
    for (std::size_t k = 0; k < paths.size(); ++k) {
      if (!used[k]) continue;
      auto found = embeddedFonts.find(paths[k]);
      if (found == embeddedFonts.end()) {
        // "ZDL" and the count of fonts embedded before; a name the page
        // already gives another font (text drawn into this file by an
        // earlier run) is skipped, or that text would change its font.
        EmbeddedFont created = embedFont(*this, *state.fonts[k], paths[k], newFontName(*this, page));
        found = embeddedFonts.emplace(paths[k], std::move(created)).first;
      }
      embedded[k] = &found->second;
      addGlyphs(*this, found->second, state, k);
    }
    const std::string restore = wrappedPages.insert(pageIndex).second ? wrapContent(*this, page) : std::string();
    std::vector<std::string> resourceNames(paths.size());
    for (std::size_t k = 0; k < paths.size(); ++k) {
      if (!embedded[k]) continue;
      resourceNames[k] = pageFontName(*this, page, pageIndex, *embedded[k]);
      addFontResource(*this, page, *embedded[k], resourceNames[k]);
    }
    appendContentStream(*this, pageIndex, page, resourceNames, state, restore);
  } catch (const Exception& failure) {
    setError(failure.kind(), failure.message());
    return failure.kind();
  }
  return Error::None;
}

}  // namespace zopra::pdf
