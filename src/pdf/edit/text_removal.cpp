// Document::removeText: chosen text items, or all text, out of one page.
//
// The page's content streams and every Form XObject reachable from its
// resources are first copied into new objects, so that other pages sharing
// them stay untouched. The copies are then rewritten by removeTjOperator:
// a chosen string of a text-showing operator becomes a TJ adjustment of the
// same advance, so that every glyph after it keeps its place.
//
// What is removed for a choice of items is decided from the runs of all the
// page's items: a string goes only when every item that holds glyphs of it
// is chosen. A Form XObject drawn twice holds each of its strings in two
// items; removing the first drawing's item alone would take the second
// drawing's glyphs too, so such a string stays until both are chosen.
#include <cmath>
#include <map>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

#include "pdf/content/text_entry.h"
#include "pdf/edit/text_removal.h"
#include "pdf/write/value_writer.h"

namespace zopra::pdf {

namespace {

// Forms nested deeper than this are neither copied nor edited; the
// interpreter does not draw them either, so no item comes from them.
constexpr int kMaxFormDepth = 32;

using OperatorKey = std::pair<std::uint32_t, std::uint32_t>;  // (stream, ordinal)

std::string hexString(const std::string& bytes) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text = "<";
  for (char c : bytes) {
    auto byte = static_cast<unsigned char>(c);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0x0F];
  }
  return text + ">";
}

// The operator rewritten as a TJ: numbers kept, strings kept as hex strings,
// chosen strings replaced by the adjustment of their advance.
std::string replacementFor(const TextSource::Operator& source,
                           const std::map<std::uint32_t, RemovedString>& selected) {
  std::string text = "[";
  for (const TextSource::OperatorElement& element : source.elements) {
    text += ' ';
    if (!element.isString) {
      text += numberText(element.number);
      continue;
    }
    auto run = selected.find(element.index);
    if (run == selected.end()) {
      text += hexString(element.bytes);
    } else if (std::fabs(run->second.fontSize) > 1e-12 && std::fabs(run->second.horizontalScale) > 1e-12) {
      text += numberText(run->second.width * -1000.0 /
                         (run->second.fontSize * run->second.horizontalScale));
    }
  }
  text += " ] TJ";
  if (source.name == "'") return "T* " + text;
  if (source.name == "\"") {
    return numberText(source.wordSpacing) + " Tw " + numberText(source.charSpacing) + " Tc T* " + text;
  }
  return text;
}

// Adds the strings of the chosen items to what was removed from the page:
// a string goes only when every item holding glyphs of it is chosen.
void addChosenStrings(const std::set<std::uint32_t>& indices, const std::vector<TextEntry>& entries,
                      PageTextEdits& edits) {
  using ElementKey = std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>;
  auto keyOf = [](const TextSource::Run& run) {
    return ElementKey{run.source->stream, run.source->ordinal, run.element};
  };
  auto removable = [](const TextSource::Run& run) {
    return run.source && run.source->ordinal != TextSource::kNoOrdinal;
  };
  std::map<ElementKey, bool> wholly;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    bool chosen = indices.count(static_cast<std::uint32_t>(i)) != 0;
    for (const TextSource::Run& run : entries[i].sources) {
      if (!removable(run)) continue;
      auto [it, inserted] = wholly.emplace(keyOf(run), chosen);
      if (!inserted) it->second = it->second && chosen;
    }
  }
  for (std::uint32_t index : indices) {
    for (const TextSource::Run& run : entries[index].sources) {
      if (!removable(run) || !wholly[keyOf(run)]) continue;
      OperatorKey key{run.source->stream, run.source->ordinal};
      edits.operators.emplace(key, run.source);
      // One run per drawing of the string: the first tells its advance.
      edits.removed[key].emplace(run.element, RemovedString{run.width, run.fontSize, run.horizontalScale});
    }
  }
}

// Per stream key (as extracted), the replacements of every operator that
// lost strings so far.
std::map<std::uint32_t, OperatorReplacements> replacementsFor(const PageTextEdits& edits) {
  std::map<std::uint32_t, OperatorReplacements> replacements;
  for (const auto& [key, strings] : edits.removed) {
    replacements[key.first][key.second] = replacementFor(*edits.operators.at(key), strings);
  }
  return replacements;
}

Bytes toBytes(const std::string& text) { return Bytes(text.begin(), text.end()); }

std::string toText(const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

void editForms(Document& document, const Value& resources,
               const std::map<std::uint32_t, OperatorReplacements>* replacements,
               std::set<std::uint32_t>& visited, int depth) {
  if (depth > kMaxFormDepth) return;
  const Value* xobjects = document.dictionaryValue(&resources, "XObject");
  if (!xobjects || !xobjects->isDictionary()) return;
  std::vector<std::uint32_t> forms;
  for (const auto& [name, entry] : xobjects->dictionary) {
    if (entry.isReference()) forms.push_back(entry.objectNumber);
  }
  for (std::uint32_t number : forms) {
    Object* form = document.object(number);
    if (!form || !form->isStream || !visited.insert(number).second) continue;
    const Value* subtype = document.dictionaryValue(&form->value, "Subtype");
    if (!subtype || !subtype->isName("Form")) continue;
    const OperatorReplacements* chosen = nullptr;
    if (replacements) {
      auto found = replacements->find(number);
      if (found != replacements->end()) chosen = &found->second;
    }
    if (!replacements || chosen) {
      std::string text = toText(document.decodeStream(*form));
      TjRemovalOptions options;
      options.replacements = chosen;
      removeTjOperator(text, TjParseState::Outside, replacements ? &options : nullptr);
      replaceStreamData(*form, toBytes(text));
    }
    if (const Value* own = form->value.find("Resources")) {
      Value formResources = *own;
      editForms(document, formResources, replacements, visited, depth + 1);
    }
  }
}

Value cloneTree(Document& document, const Value& resources, std::map<std::uint32_t, std::uint32_t>& clones,
                int depth) {
  const Value* resolved = document.resolve(&resources);
  if (!resolved || !resolved->isDictionary()) return resources;
  Value copy = *resolved;
  const Value* xobjects = document.dictionaryValue(&copy, "XObject");
  if (!xobjects || !xobjects->isDictionary()) return copy;
  Value forms = *xobjects;
  for (auto& [name, entry] : forms.dictionary) {
    if (!entry.isReference()) continue;
    const std::uint32_t number = entry.objectNumber;
    if (auto cloned = clones.find(number); cloned != clones.end()) {
      entry = Value::Reference(cloned->second, 0);
      continue;
    }
    const Object* form = document.object(number);
    if (!form || !form->isStream || depth > kMaxFormDepth) continue;
    const Value* subtype = document.dictionaryValue(&form->value, "Subtype");
    if (!subtype || !subtype->isName("Form")) continue;
    Value dictionary = form->value;
    Bytes data = document.decodeStream(*form);
    Object& created = document.createObject(std::move(dictionary));
    created.isStream = true;
    created.data = std::move(data);
    created.createdStream = true;
    const std::uint32_t createdNumber = created.number;
    clones[number] = createdNumber;
    if (const Value* own = created.value.find("Resources")) {
      Value formResources = *own;
      Value clonedResources = cloneTree(document, formResources, clones, depth + 1);
      document.object(createdNumber)->value.dictionary.insert_or_assign("Resources", std::move(clonedResources));
    }
    entry = Value::Reference(createdNumber, 0);
  }
  copy.dictionary.insert_or_assign("XObject", std::move(forms));
  return copy;
}

}  // namespace

void removeTextFromResources(Document& document, const Value& resources,
                             const std::map<std::uint32_t, OperatorReplacements>* replacements,
                             std::set<std::uint32_t>& visited) {
  editForms(document, resources, replacements, visited, 0);
}

Value cloneResourceTree(Document& document, const Value& resources,
                        std::map<std::uint32_t, std::uint32_t>& clones) {
  return cloneTree(document, resources, clones, 0);
}

void replaceStreamData(Object& object, Bytes data) {
  object.data = std::move(data);
  object.isStream = true;
  object.createdStream = true;
  object.streamOffset = 0;
  object.streamLength = 0;
  if (object.value.isDictionary()) {
    object.value.dictionary.erase("Filter");
    object.value.dictionary.erase("DecodeParms");
  }
}

Error Document::removeText(std::uint32_t pageIndex, const std::set<std::uint32_t>* indices,
                           const std::vector<TextEntry>& entries, std::uint64_t extraction) {
  if (pageIndex >= pages.size()) return Error::InvalidArgument;
  if (indices) {
    for (std::uint32_t index : *indices) {
      if (index >= entries.size()) return Error::InvalidArgument;
    }
  }
  PageTextEdits& edits = textEdits[pageIndex];
  std::map<std::uint32_t, OperatorReplacements> replacements;
  if (indices) {
    // Items of another extraction describe the content as it is now.
    if (edits.extraction != extraction) edits = PageTextEdits{extraction, {}, {}, {}};
    addChosenStrings(*indices, entries, edits);
    replacements = replacementsFor(edits);
  }
  try {
    Page& page = pages[pageIndex];
    // Copies of the page's content streams, decoded.
    std::vector<std::uint32_t> contents = pageContentObjects(page);
    Value* dictionary = pageDictionary(page);
    if (dictionary && dictionary->find("Contents") && !contents.empty()) {
      ValueArray copies;
      for (std::uint32_t number : contents) {
        const Object* source = object(number);
        Value copy = source->value;
        Bytes data = decodeStream(*source);
        copies.push_back(Value::Reference(createStream(std::move(copy), std::move(data)).number, 0));
      }
      dictionary = pageDictionary(page);
      Value contentsValue = copies.size() == 1 ? copies.front() : Value::Array(std::move(copies));
      dictionary->dictionary.insert_or_assign("Contents", std::move(contentsValue));
    }
    // Copies of the Form XObjects; inherited resources become the page's own.
    std::map<std::uint32_t, std::uint32_t> clones;
    Value resources = cloneResourceTree(*this, page.resources ? *page.resources : Value(), clones);
    page.resources = std::make_shared<const Value>(resources);
    if ((dictionary = pageDictionary(page))) dictionary->dictionary.insert_or_assign("Resources", resources);
    // Forms are known by their numbers at extraction; follow them to the
    // copies. A form copied before in this run of removals is known by the
    // number of its last copy; any other was copied for the first time.
    std::map<std::uint32_t, std::uint32_t> extracted;  // current copy -> number at extraction
    for (const auto& [form, copy] : edits.forms) extracted[copy] = form;
    for (const auto& [old, created] : clones) {
      auto known = extracted.find(old);
      edits.forms[known != extracted.end() ? known->second : old] = created;
    }
    std::map<std::uint32_t, OperatorReplacements> current;
    for (auto& [form, strings] : replacements) {
      auto copy = edits.forms.find(form);
      current[form == 0 || copy == edits.forms.end() ? form : copy->second] = std::move(strings);
    }
    // The page's own content, joined into its first stream.
    contents = pageContentObjects(page);
    if (!contents.empty()) {
      std::string text;
      for (std::uint32_t number : contents) {
        if (!text.empty()) text += '\n';
        text += toText(decodeStream(*object(number)));
      }
      OperatorReplacements none;
      TjRemovalOptions options;
      if (indices) {
        auto found = current.find(0);
        options.replacements = found != current.end() ? &found->second : &none;
      }
      removeTjOperator(text, TjParseState::Outside, indices ? &options : nullptr);
      replaceStreamData(*object(contents.front()), toBytes(text));
      for (std::size_t i = 1; i < contents.size(); ++i) replaceStreamData(*object(contents[i]), {});
    }
    std::set<std::uint32_t> visited;
    removeTextFromResources(*this, *page.resources, indices ? &current : nullptr, visited);
  } catch (const Exception& failure) {
    setError(failure.kind(), failure.message());
    return failure.kind();
  }
  return Error::None;
}

}  // namespace zopra::pdf
