// Document::saveCompact: the document written as Document::save writes it,
// but smaller. The fonts drawing embedded keep only the glyphs drawn with
// them, the streams the engine made or rewrote are compressed, and objects
// nothing refers to any more (content replaced by removal, object streams
// whose objects are now written on their own) are left out.
#include <algorithm>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "pdf/content/content_lexer.h"

#include "pdf/model/document.h"
#include "pdf/write/content_strings.h"
#include "pdf/write/document_writer.h"
#include "pdf/write/font_subset.h"

namespace zopra::pdf {

namespace {

// The copy of object `number` that goes into the file in its place, with
// the dictionary entry `key` set to the name `value`.
void renamed(Document& document, WriteOptions& options, std::uint32_t number, const char* key,
             const std::string& value) {
  auto slot = options.replacements.find(number);
  if (slot == options.replacements.end()) {
    const Object* original = document.object(number);
    if (!original || !original->value.isDictionary()) return;
    slot = options.replacements.emplace(number, *original).first;
  }
  slot->second.value.dictionary.insert_or_assign(key, Value::Name(value));
}

// Replaces the font file of an embedded font by its subset, or keeps it
// whole when the subsetter refuses it, and names the font accordingly:
// "ABCDEF+PostScriptName" for a subset, the plain PostScript name otherwise.
void subsetFont(Document& document, WriteOptions& options, const Document::EmbeddedFont& font) {
  const Object* file = document.object(font.fontFileObject);
  if (!file || !file->isStream || !file->createdStream || !file->value.isDictionary()) return;
  std::set<std::uint16_t> glyphs;
  for (const auto& [glyph, advance] : font.glyphAdvances) glyphs.insert(glyph);
  std::set<std::uint32_t> unicodes;
  for (const auto& [glyph, unicode] : font.glyphToUnicode) unicodes.insert(unicode);
  // The name drawing gave the font (its PostScript name, or one made from
  // its file name).
  const std::string postScript = font.baseFont.empty() ? std::string("ZopraEmbedded") : font.baseFont;
  std::optional<Bytes> subset = subsetTrueType(file->data, glyphs, unicodes);
  std::string baseFont = postScript;
  if (subset) {
    // The tag depends on the glyphs kept, so two subsets of one font in a
    // file get different names.
    std::string seed = postScript + '/' + std::to_string(font.type0Object);
    for (std::uint16_t glyph : glyphs) seed += ',' + std::to_string(glyph);
    baseFont = subsetTag(seed) + '+' + postScript;
    Object replacement = *file;
    replacement.value.dictionary.insert_or_assign("Length1",
                                                 Value::Number(static_cast<double>(subset->size())));
    replacement.data = std::move(*subset);
    options.replacements.insert_or_assign(font.fontFileObject, std::move(replacement));
  }
  renamed(document, options, font.descriptorObject, "FontName", baseFont);
  renamed(document, options, font.descendantObject, "BaseFont", baseFont);
  renamed(document, options, font.type0Object, "BaseFont", baseFont);
}

// Drawn text with its glyph codes in literal strings, where the stream is
// still as drawing made it. A stream to be deflated is converted as it is
// deflated, on the writer's threads.
void literalDrawnStrings(Document& document, WriteOptions& options) {
  for (std::uint32_t number : document.drawnContent) {
    const Object* stream = document.object(number);
    if (!stream || !stream->isStream || !stream->createdStream || options.replacements.count(number)) continue;
    if (options.compressCreated && !stream->data.empty()) {
      options.literalStrings.insert(number);
      continue;
    }
    Object replacement = *stream;
    replacement.data = literalContentStrings(stream->data);
    options.replacements.insert_or_assign(number, std::move(replacement));
  }
}

// Forms nested deeper than this keep the page's fonts as they are.
constexpr int kMaxFormDepth = 32;

// Adds the font names that Tf sets in the content to `names`. Strings and
// numbers are only skipped, and names taken as they stand in the content,
// unless one holds a # escape: then the content is read again with every
// value decoded.
void addFontNames(const Bytes& content, std::set<std::string>& names, bool decode = false) {
  ContentLexer lexer(content);
  lexer.decodeValues = decode;
  Token token;
  std::string lastName;
  while (lexer.next(token)) {
    if (token.kind == Token::Kind::Name) {
      if (decode) {
        lastName = token.text;
        continue;
      }
      const auto begin = content.begin() + static_cast<std::ptrdiff_t>(token.start + 1);
      const auto end = content.begin() + static_cast<std::ptrdiff_t>(lexer.position);
      if (std::find(begin, end, '#') != end) {
        addFontNames(content, names, true);
        return;
      }
      lastName.assign(begin, end);
    } else if (token.kind == Token::Kind::Keyword) {
      if (token.text == "Tf") names.insert(lastName);
      if (token.text == "BI") skipInlineImage(lexer);
      lastName.clear();
    }
  }
}

// Adds the names Tf sets in the Form XObjects of the resources, and in
// theirs; false when they nest too deep.
bool addFormFontNames(const Document& document, const Value* resources, std::set<std::string>& names,
                      std::set<std::uint32_t>& visited, int depth) {
  const Value* dictionary = document.resolve(resources);
  const Value* xobjects = dictionary ? document.dictionaryValue(dictionary, "XObject") : nullptr;
  if (!xobjects || !xobjects->isDictionary()) return true;
  if (depth > kMaxFormDepth) return false;
  for (const auto& [name, entry] : xobjects->dictionary) {
    if (!entry.isReference() || !visited.insert(entry.objectNumber).second) continue;
    const Object* form = document.object(entry.objectNumber);
    if (!form || !form->isStream) continue;
    const Value* subtype = document.dictionaryValue(&form->value, "Subtype");
    if (!subtype || !subtype->isName("Form")) continue;
    addFontNames(document.decodeStream(*form), names);
    if (!addFormFontNames(document, form->value.find("Resources"), names, visited, depth + 1)) return false;
  }
  return true;
}

// A page that text removal edited stops naming the fonts that nothing on
// it sets any more (its content and its forms, read for Tf), so that,
// unreachable, they are left out. A page with a Type 3 font in use (whose
// glyphs may set fonts of the page), or whose resources are not its own,
// keeps them all.
void dropUnusedFonts(Document& document, WriteOptions& options, std::uint32_t pageIndex) {
  if (pageIndex >= document.pages.size()) return;
  const Page& page = document.pages[pageIndex];
  const Value* dictionary = document.pageDictionary(page);
  if (page.objectNumber == 0 || !dictionary || options.replacements.count(page.objectNumber)) return;
  const Value* resources = dictionary->find("Resources");
  if (!resources || !resources->isDictionary()) return;
  const Value* fonts = document.dictionaryValue(resources, "Font");
  if (!fonts || !fonts->isDictionary()) return;
  std::set<std::string> used;
  try {
    // Text drawn in this session names only the fonts drawing named on the
    // page: those are known without reading it (it is most of the page).
    bool drawn = false;
    for (std::uint32_t number : document.pageContentObjects(page)) {
      if (document.drawnContent.count(number)) {
        drawn = true;
      } else if (const Object* stream = document.object(number)) {
        addFontNames(document.decodeStream(*stream), used);
      }
    }
    for (const auto& [path, font] : document.embeddedFonts) {
      auto name = font.pageNames.find(pageIndex);
      if (drawn && name != font.pageNames.end()) used.insert(name->second);
    }
    std::set<std::uint32_t> visited;
    if (!addFormFontNames(document, resources, used, visited, 0)) return;
  } catch (const Exception&) {
    return;
  }
  Value kept = Value::Dictionary({});
  for (const auto& [name, font] : fonts->dictionary) {
    if (!used.count(name)) continue;
    const Value* resolved = document.resolve(&font);
    const Value* subtype = resolved ? document.dictionaryValue(resolved, "Subtype") : nullptr;
    if (subtype && subtype->isName("Type3")) return;
    kept.dictionary.insert_or_assign(name, font);
  }
  if (kept.dictionary.size() == fonts->dictionary.size()) return;
  const Object* original = document.object(page.objectNumber);
  if (!original || original->isStream || !original->value.isDictionary()) return;
  const Value* originalResources = original->value.find("Resources");
  if (!originalResources || !originalResources->isDictionary()) return;
  // The page's entries and its resources copied one by one, the old Font
  // dictionary left out: it can be large, and a page is written once.
  Object replacement;
  replacement.number = original->number;
  replacement.generation = original->generation;
  replacement.loaded = true;
  replacement.offset = original->offset;
  replacement.value = Value::Dictionary({});
  for (const auto& [key, entry] : original->value.dictionary) {
    if (key != "Resources") replacement.value.dictionary.insert_or_assign(key, entry);
  }
  Value written = Value::Dictionary({});
  for (const auto& [key, entry] : originalResources->dictionary) {
    if (key != "Font") written.dictionary.insert_or_assign(key, entry);
  }
  written.dictionary.insert_or_assign("Font", std::move(kept));
  replacement.value.dictionary.insert_or_assign("Resources", std::move(written));
  options.replacements.insert_or_assign(page.objectNumber, std::move(replacement));
}

}  // namespace

Error Document::saveCompact(const std::string& path, const CompactOptions& compact) {
  WriteOptions options;
  options.compressCreated = compact.compressStreams;
  // Literal strings are half the size of hex strings; the plain writer
  // keeps hex strings only because its output is fixed.
  options.shortStrings = compact.compressStreams || compact.dropUnused || compact.subsetFonts || compact.objectStreams;
  options.onlyReachable = compact.dropUnused;
  options.objectStreams = compact.objectStreams;
  options.threads = compact.threads;
  try {
    if (compact.subsetFonts) {
      for (const auto& [fontPath, font] : embeddedFonts) subsetFont(*this, options, font);
    }
    if (options.shortStrings) literalDrawnStrings(*this, options);
    if (compact.dropUnused) {
      for (const auto& [pageIndex, edits] : textEdits) dropUnusedFonts(*this, options, pageIndex);
    }
  } catch (const Exception& failure) {
    setError(failure.kind(), failure.message());
    return failure.kind();
  }
  return writeDocument(*this, path, std::move(options));
}

}  // namespace zopra::pdf
