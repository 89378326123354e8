// Document::adoptPageEdits: the text removals and drawn text of a range of
// pages, made by another document loaded from the same bytes (on another
// thread), taken over so that this document ends up as if it had made them
// itself, page after page.
//
// The source's created objects are created here anew in their order, so
// their numbers continue this document's as the edits' own would have.
// Objects of a font this document has already embedded are not copied: the
// references go to its own objects, and the font's glyph maps take the
// source's new glyphs (a glyph drawn here first keeps its character). A
// font new here gets the resource name drawText would give it now; drawn
// content and the pages' Font resources follow the names.
#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "pdf/edit/text_drawing.h"

namespace zopra::pdf {

namespace {

// Values nest no deeper than the parser lets them; this only guards the
// stack against values built some other way.
constexpr int kMaxValueDepth = 512;

using Numbers = std::map<std::uint32_t, std::uint32_t>;
using Names = std::map<std::string, std::string>;

void renumber(Value& value, const Numbers& numbers, int depth) {
  if (depth > kMaxValueDepth) throw Exception(Error::Format, "PDF object nested too deeply");
  if (value.isReference()) {
    auto found = numbers.find(value.objectNumber);
    if (found != numbers.end()) value.objectNumber = found->second;
    return;
  }
  for (Value& element : value.array) renumber(element, numbers, depth + 1);
  for (auto& entry : value.dictionary) renumber(entry.second, numbers, depth + 1);
}

Value renumbered(Value value, const Numbers& numbers) {
  renumber(value, numbers, 0);
  return value;
}

std::uint32_t mapped(const Numbers& numbers, std::uint32_t number) {
  auto found = numbers.find(number);
  return found != numbers.end() ? found->second : number;
}

bool within(std::uint32_t page, std::uint32_t first, std::uint32_t last) { return page >= first && page <= last; }

// Pages a document has edited with removeText or drawText.
std::set<std::uint32_t> editedPages(const Document& document) {
  std::set<std::uint32_t> pages(document.wrappedPages.begin(), document.wrappedPages.end());
  for (const auto& entry : document.textEdits) pages.insert(entry.first);
  for (const auto& entry : document.drawnStreams) pages.insert(entry.first);
  for (const auto& [path, font] : document.embeddedFonts) {
    for (const auto& entry : font.pageNames) pages.insert(entry.first);
  }
  return pages;
}

bool sameBytes(const Document& target, const Document& source) {
  if (target.file.size() != source.file.size() || target.loadedObjectEnd != source.loadedObjectEnd ||
      target.pages.size() != source.pages.size()) {
    return false;
  }
  if (target.file.empty()) return true;
  const bool same = std::memcmp(target.file.data(), source.file.data(), target.file.size()) == 0;
  // The comparison read both files whole; mapped ones give their pages back.
  target.file.releaseResident();
  source.file.releaseResident();
  return same;
}

// The page's Font resources with the source's font names as named here.
void renameFontResources(Value& resources, const Names& names) {
  if (names.empty() || !resources.isDictionary()) return;
  Value* fonts = resources.find("Font");
  if (!fonts || !fonts->isDictionary()) return;
  Value renamedFonts = Value::Dictionary({});
  for (const auto& [key, entry] : fonts->dictionary) {
    if (names.count(key) == 0) renamedFonts.dictionary.insert_or_assign(key, entry);
  }
  for (const auto& [key, entry] : fonts->dictionary) {
    auto renamed = names.find(key);
    if (renamed != names.end()) renamedFonts.dictionary.insert_or_assign(renamed->second, entry);
  }
  *fonts = std::move(renamedFonts);
}

bool nameCharacter(unsigned char c) {
  return c > 0x20 && c < 0x7F && std::strchr("/()<>[]{}%", c) == nullptr;
}

// Drawn content names fonts only in "/Name size Tf": every name in it is a
// font's.
Bytes renameFontsInContent(const Bytes& data, const Names& names) {
  Bytes out;
  out.reserve(data.size());
  std::size_t i = 0;
  while (i < data.size()) {
    if (data[i] != '/') {
      out.push_back(data[i++]);
      continue;
    }
    std::size_t end = i + 1;
    while (end < data.size() && nameCharacter(data[end])) ++end;
    const std::string name(data.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                           data.begin() + static_cast<std::ptrdiff_t>(end));
    auto renamed = names.find(name);
    const std::string& written = renamed != names.end() ? renamed->second : name;
    out.push_back('/');
    out.insert(out.end(), written.begin(), written.end());
    i = end;
  }
  return out;
}

// The name drawText gives a font on a page it has not named it on: its own
// name unless the page's Font resources give that to another font, else the
// first "ZDL" name free there.
std::string pageName(const Value* fonts, const std::set<std::string>& taken, const Document::EmbeddedFont& font) {
  const auto available = [&](const std::string& candidate) {
    if (taken.count(candidate)) return false;
    const Value* entry = fonts && fonts->isDictionary() ? fonts->find(candidate) : nullptr;
    return !entry || (entry->isReference() && entry->objectNumber == font.type0Object);
  };
  std::string name = font.resourceName;
  for (std::size_t ordinal = 0; !available(name); ++ordinal) name = "ZDL" + std::to_string(ordinal);
  return name;
}

// The page dictionary of an edited page: edits keep it parsed.
const Value* pageValue(const Document& document, const Page& page) {
  if (page.dictionary) return page.dictionary;
  const Object* held = page.objectNumber != 0 ? document.object(page.objectNumber) : nullptr;
  return held && held->value.isDictionary() ? &held->value : nullptr;
}

struct AdoptedFont {
  const Document::EmbeddedFont* source = nullptr;
  Document::EmbeddedFont* target = nullptr;
};

}  // namespace

Error Document::adoptPageEdits(const Document& source, std::uint32_t first, std::uint32_t last) {
  if (&source == this || first > last || last >= pages.size() || !sameBytes(*this, source)) {
    return Error::InvalidArgument;
  }
  const std::set<std::uint32_t> sourcePages = editedPages(source);
  for (std::uint32_t page : sourcePages) {
    if (!within(page, first, last)) return Error::InvalidArgument;
  }
  for (std::uint32_t page : editedPages(*this)) {
    if (within(page, first, last)) return Error::InvalidArgument;
  }
  try {
    // The source's fonts in the order it embedded them.
    std::vector<std::pair<std::string, const EmbeddedFont*>> sourceFonts;
    for (const auto& [path, font] : source.embeddedFonts) sourceFonts.emplace_back(path, &font);
    std::sort(sourceFonts.begin(), sourceFonts.end(),
              [](const auto& a, const auto& b) { return a.second->type0Object < b.second->type0Object; });

    // Objects of fonts embedded here already are this document's own.
    Numbers numbers;
    for (const auto& [path, font] : sourceFonts) {
      auto known = embeddedFonts.find(path);
      if (known == embeddedFonts.end()) continue;
      const EmbeddedFont& own = known->second;
      numbers[font->type0Object] = own.type0Object;
      numbers[font->descendantObject] = own.descendantObject;
      numbers[font->toUnicodeObject] = own.toUnicodeObject;
      numbers[font->descriptorObject] = own.descriptorObject;
      numbers[font->fontFileObject] = own.fontFileObject;
    }
    std::vector<std::pair<const Object*, std::uint32_t>> copies;
    for (auto it = source.objects.lower_bound(source.loadedObjectEnd); it != source.objects.end(); ++it) {
      if (numbers.count(it->first)) continue;
      const std::uint32_t number = createObject(Value()).number;
      numbers[it->first] = number;
      copies.emplace_back(&it->second, number);
      // Drawn content is written as the target writes its own.
      if (source.drawnContent.count(it->first)) drawnContent.insert(number);
    }
    for (const auto& [original, number] : copies) {
      Object& copy = *object(number);
      copy.value = renumbered(original->value, numbers);
      copy.isStream = original->isStream;
      copy.data = original->data;
      copy.createdStream = original->createdStream;
    }

    // Fonts: new ones named as drawText would name them now, on the first
    // page they are drawn on; known ones take the new glyphs.
    std::vector<AdoptedFont> fonts;
    std::set<EmbeddedFont*> widened;
    for (const auto& [path, font] : sourceFonts) {
      auto known = embeddedFonts.find(path);
      if (known == embeddedFonts.end()) {
        EmbeddedFont created = *font;
        created.type0Object = mapped(numbers, font->type0Object);
        created.descendantObject = mapped(numbers, font->descendantObject);
        created.toUnicodeObject = mapped(numbers, font->toUnicodeObject);
        created.descriptorObject = mapped(numbers, font->descriptorObject);
        created.fontFileObject = mapped(numbers, font->fontFileObject);
        created.pageNames.clear();
        const std::uint32_t firstPage = font->pageNames.empty() ? first : font->pageNames.begin()->first;
        created.resourceName = newFontName(*this, pages[firstPage]);
        known = embeddedFonts.emplace(path, std::move(created)).first;
        widened.insert(&known->second);
      } else {
        bool added = false;
        for (const auto& [glyph, codePoint] : font->glyphToUnicode) {
          added = known->second.glyphToUnicode.emplace(glyph, codePoint).second || added;
        }
        for (const auto& entry : font->glyphAdvances) known->second.glyphAdvances.insert(entry);
        if (added) widened.insert(&known->second);
      }
      fonts.push_back({font, &known->second});
    }

    for (std::uint32_t pageIndex : sourcePages) {
      const Page& theirs = source.pages[pageIndex];
      Page& page = pages[pageIndex];
      // The names the fonts drawn on the page get here, in the order the
      // fonts were embedded.
      const Value* ownFonts = page.resources ? dictionaryValue(page.resources.get(), "Font") : nullptr;
      std::set<std::string> taken;
      Names names;
      for (const AdoptedFont& font : fonts) {
        auto theirName = font.source->pageNames.find(pageIndex);
        if (theirName == font.source->pageNames.end()) continue;
        const std::string name = pageName(ownFonts, taken, *font.target);
        taken.insert(name);
        font.target->pageNames[pageIndex] = name;
        if (name != theirName->second) names[theirName->second] = name;
      }
      const Value* theirDictionary = pageValue(source, theirs);
      Value* dictionary = pageDictionary(page);
      if (!theirDictionary || !dictionary) throw Exception(Error::Format, "missing PDF page object");
      Value adopted = renumbered(*theirDictionary, numbers);
      if (Value* resources = adopted.find("Resources")) renameFontResources(*resources, names);
      *dictionary = std::move(adopted);
      if (theirs.resources) {
        Value resources = renumbered(*theirs.resources, numbers);
        renameFontResources(resources, names);
        page.resources = std::make_shared<const Value>(std::move(resources));
      } else {
        page.resources.reset();
      }

      if (auto drawn = source.drawnStreams.find(pageIndex); drawn != source.drawnStreams.end()) {
        const std::uint32_t number = mapped(numbers, drawn->second);
        drawnStreams[pageIndex] = number;
        Object* stream = object(number);
        if (stream && !names.empty()) stream->data = renameFontsInContent(stream->data, names);
      }
      if (source.wrappedPages.count(pageIndex)) wrappedPages.insert(pageIndex);
      if (auto edits = source.textEdits.find(pageIndex); edits != source.textEdits.end()) {
        PageTextEdits copy = edits->second;
        // The source's extraction numbers mean nothing here: a later
        // removal starts from the page as it is then.
        copy.active = false;
        copy.extraction = 0;
        for (std::uint32_t& number : copy.originalContents) number = mapped(numbers, number);
        for (std::uint32_t& number : copy.contents) number = mapped(numbers, number);
        std::map<std::uint32_t, std::uint32_t> forms;
        for (const auto& [form, clone] : copy.forms) forms[mapped(numbers, form)] = mapped(numbers, clone);
        copy.forms = std::move(forms);
        textEdits[pageIndex] = std::move(copy);
      }
    }
    for (EmbeddedFont* font : widened) writeGlyphTables(*this, *font);
  } catch (const Exception& failure) {
    setError(failure.kind(), failure.message());
    return failure.kind();
  }
  return Error::None;
}

}  // namespace zopra::pdf
