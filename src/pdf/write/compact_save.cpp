// Document::saveCompact: the document written as Document::save writes it,
// but smaller. The fonts drawing embedded keep only the glyphs drawn with
// them, the streams the engine made or rewrote are compressed, and objects
// nothing refers to any more (content replaced by removal, object streams
// whose objects are now written on their own) are left out.
#include <set>
#include <string>
#include <utility>

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
// still as drawing made it.
void literalDrawnStrings(Document& document, WriteOptions& options) {
  for (std::uint32_t number : document.drawnContent) {
    const Object* stream = document.object(number);
    if (!stream || !stream->isStream || !stream->createdStream || options.replacements.count(number)) continue;
    Object replacement = *stream;
    replacement.data = literalContentStrings(stream->data);
    options.replacements.insert_or_assign(number, std::move(replacement));
  }
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
  } catch (const Exception& failure) {
    setError(failure.kind(), failure.message());
    return failure.kind();
  }
  return writeDocument(*this, path, std::move(options));
}

}  // namespace zopra::pdf
