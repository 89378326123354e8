#include "pdf/content/interpreter.h"

#include <cstdint>
#include <algorithm>
#include <utility>

#include "pdf/fonts/font_builder.h"

namespace zopra::pdf {

Interpreter::Interpreter(Document& doc, const Page& currentPage, std::vector<TextEntry>* textOut,
                         std::vector<GraphicsEntry>* graphicsOut,
                         std::vector<std::uint32_t>* imagesOut, double minimumSize,
                         const Rectangle& initialClip)
    : document(doc),
      page(currentPage),
      texts(textOut),
      graphics(graphicsOut),
      images(imagesOut),
      minimumGraphicsSize(minimumSize) {
  state.clip = initialClip;
}

void Interpreter::run(const Bytes& bytes, const Value& resources, std::uint32_t streamNumber,
                      OperationContext& context, StateStack& stateStack) {
  chargeContent(bytes.size());
  OperationReader reader(bytes, context);
  Token keyword;
  while (reader.next(keyword)) {
    chargeOperator();
    execute(keyword.text, resources, streamNumber, reader.textOrdinal(), stateStack, context.operands);
  }
}

namespace {

[[noreturn]] void tooComplex() { throw Exception(Error::Format, "page content is too complex"); }

}  // namespace

void Interpreter::chargeOperator() {
  if (++operators_ > kMaxOperators) tooComplex();
}

void Interpreter::chargeContent(std::size_t bytes) {
  contentBytes_ += bytes;
  if (contentBytes_ > kMaxContentBytes) tooComplex();
}

void Interpreter::chargeText(std::size_t bytes) {
  textBytes_ += bytes;
  if (++textRuns_ > kMaxTextRuns || textBytes_ > kMaxTextBytes) tooComplex();
}

void Interpreter::drawXObject(const Value& resources, const std::string& name) {
  const Value* xobjects = document.dictionaryValue(&resources, "XObject");
  if (!xobjects || !xobjects->isDictionary()) return;
  const Value* entry = xobjects->find(name);
  if (!entry) return;
  std::uint32_t objectNumber = 0;
  const Object* object = nullptr;
  if (entry->isReference()) {
    objectNumber = entry->objectNumber;
    object = document.object(objectNumber);
  }
  const Value* xobject = document.resolve(entry);
  const Value* subtype = document.dictionaryValue(xobject, "Subtype");
  if (!subtype || !subtype->isName()) return;

  if (subtype->text == "Image") {
    drawImage(objectNumber);
    return;
  }
  if (subtype->text != "Form") return;
  if (!object || !object->isStream || !object->value.isDictionary()) return;
  if (activeForms.size() >= kMaxFormDepth) return;
  // A form that draws itself, directly or through other forms, is drawn once.
  if (!activeForms.insert(objectNumber).second) return;

  State saved = state;
  const Value& dictionary = object->value;
  const Value* matrix = document.dictionaryValue(&dictionary, "Matrix");
  if (matrix && matrix->isArray() && matrix->array.size() >= 6) {
    double components[6] = {1, 0, 0, 1, 0, 0};
    for (std::size_t i = 0; i < 6; ++i) {
      const Value* element = document.resolve(&matrix->array[i]);
      if (element && element->isNumber()) components[i] = element->number;
    }
    Matrix m{components[0], components[1], components[2], components[3], components[4], components[5]};
    state.ctm = m * state.ctm;
  }
  const Value* ownResources = dictionary.find("Resources");
  const Value& formResources = ownResources ? *ownResources : resources;

  try {
    Bytes data = document.decodeStream(*object);
    // A form numbers its text-showing operators from 0 over its own stream.
    OperationContext formContext;
    StateStack formStack;
    run(data, formResources, objectNumber, formContext, formStack);
  } catch (...) {
    activeForms.erase(objectNumber);
    throw;
  }
  state = std::move(saved);
  activeForms.erase(objectNumber);
}

FontInfo& Interpreter::font(const Value& resources, const std::string& name) {
  // Text shows string after string in one font: the last answer is kept.
  if (lastFont_ && lastFontResources_ == &resources && lastFontName_ == name) return *lastFont_;
  FontInfo& found = lookUpFont(resources, name);
  lastFont_ = &found;
  lastFontResources_ = &resources;
  lastFontName_ = name;
  return found;
}

FontInfo& Interpreter::lookUpFont(const Value& resources, const std::string& name) {
  // Fonts are keyed by the object number of an indirect font dictionary, by
  // where a font dictionary written in place lives (resource values stay in
  // place for the interpreter's whole life), or 0 for a missing font.
  constexpr std::uint64_t kInPlace = std::uint64_t{1} << 63;
  std::uint64_t key = 0;
  const Value* fontValue = nullptr;
  const Value* fontResources = document.dictionaryValue(&resources, "Font");
  if (fontResources && fontResources->isDictionary()) {
    fontValue = fontResources->find(name);
    if (fontValue) {
      key = fontValue->isReference() ? fontValue->objectNumber
                                     : kInPlace | reinterpret_cast<std::uintptr_t>(fontValue);
    }
  }
  auto found = fonts.find(key);
  if (found != fonts.end()) return *found->second;

  // Indirect fonts are shared with the other pages through the document's
  // cache; every font the page uses stays held here until the page ends, so
  // the cache may drop it without the page building it twice.
  std::shared_ptr<FontInfo> built;
  const bool shared = fontValue && fontValue->isReference();
  if (shared) built = document.fontCache.fonts.find(fontValue->objectNumber);
  if (!built) {
    built = std::make_shared<FontInfo>(buildFont(document, fontValue));
    if (shared) document.fontCache.fonts.put(fontValue->objectNumber, built, built->memory());
  }
  std::size_t bytes = built->memory();
  if (built->toUnicode && countedMaps_.insert(built->toUnicode.get()).second) {
    bytes += built->toUnicode->memory();
  }
  chargeFont(bytes);
  return *fonts.emplace(key, std::move(built)).first->second;
}

void Interpreter::chargeFont(std::size_t bytes) {
  fontBytes_ += bytes;
  if (fontBytes_ > kMaxFontBytes) tooComplex();
}

void Interpreter::chargeGraphics() {
  if (++graphicsEntries_ > kMaxGraphicsEntries) tooComplex();
}

}  // namespace zopra::pdf
