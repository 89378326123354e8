// Document::removeText: chosen text items, or all text, out of one page.
//
// The page's content streams and every Form XObject reachable from its
// resources are first copied into new objects, so that other pages sharing
// them stay untouched. The copies are then written by rewriteTextOperators:
// a chosen string of a text-showing operator becomes a TJ adjustment of the
// same advance, so that every glyph after it keeps its place.
//
// Removals with items of one extraction derive the copies anew each time,
// from the content as it was at the extraction (kept unchanged in the
// document) and every item chosen so far: they add up, and give the same
// bytes in any order or grouping.
//
// What is removed for a choice of items is decided from the runs of all the
// page's items: a string goes only when every item that holds glyphs of it
// is chosen. A Form XObject drawn twice holds each of its strings in two
// items; removing the first drawing's item alone would take the second
// drawing's glyphs too, so such a string stays until both are chosen, and
// the chosen item is reported as left on the page.
#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

#include "pdf/content/text_entry.h"
#include "pdf/edit/text_removal.h"

namespace zopra::pdf {

namespace {

// Forms nested deeper than this are neither copied nor edited; the
// interpreter does not draw them either, so no item comes from them.
constexpr int kMaxFormDepth = 32;

using ElementKey = std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>;  // (stream, ordinal, element)

bool removable(const TextSource::Run& run) {
  return run.source && run.source->ordinal != TextSource::kNoOrdinal;
}

ElementKey keyOf(const TextSource::Run& run) {
  return ElementKey{run.source->stream, run.source->ordinal, run.element};
}

// Per stream key, the strings of the chosen items that may go: those whose
// every item is chosen. `covered` tells, per item, whether every string it
// draws may go.
std::map<std::uint32_t, OperatorChoices> choicesFor(const std::set<std::uint32_t>& chosen,
                                                   const std::vector<TextEntry>& entries, std::vector<bool>& covered) {
  std::vector<bool> isChosen(entries.size(), false);
  for (std::uint32_t index : chosen) isChosen[index] = true;
  // Every string drawn by an item, sorted by string, then unchosen first,
  // then in item order: the first of a string's group tells whether it may
  // go, and is the run that tells its advance (one run per drawing of the
  // string). A page holds thousands of strings; sorting them once is
  // several times faster than looking each up in maps.
  struct Drawn {
    ElementKey key;
    bool chosen;
    std::uint32_t order;
    std::uint32_t item;
    const TextSource::Run* run;
  };
  std::vector<Drawn> drawn;
  covered.assign(entries.size(), true);
  for (std::size_t i = 0; i < entries.size(); ++i) {
    for (const TextSource::Run& run : entries[i].sources) {
      if (removable(run)) {
        drawn.push_back(
            {keyOf(run), isChosen[i], static_cast<std::uint32_t>(drawn.size()), static_cast<std::uint32_t>(i), &run});
      } else {
        covered[i] = false;
      }
    }
  }
  std::sort(drawn.begin(), drawn.end(), [](const Drawn& a, const Drawn& b) {
    return std::tie(a.key, a.chosen, a.order) < std::tie(b.key, b.chosen, b.order);
  });
  std::map<std::uint32_t, OperatorChoices> choices;
  for (std::size_t first = 0; first < drawn.size();) {
    std::size_t end = first + 1;
    while (end < drawn.size() && drawn[end].key == drawn[first].key) ++end;
    if (!drawn[first].chosen) {
      for (std::size_t k = first; k < end; ++k) covered[drawn[k].item] = false;
    } else {
      // Keys come in order: each goes in at the end of its map.
      const auto& [stream, ordinal, element] = drawn[first].key;
      const TextSource::Run& run = *drawn[first].run;
      OperatorChoices& family = choices.try_emplace(choices.end(), stream)->second;
      family.strings.push_back({ordinal, element, RemovedString{run.width, run.fontSize, run.horizontalScale}});
    }
    first = end;
  }
  return choices;
}

// The chosen items some of whose glyphs were not removed: those with a
// string that may not go (`covered`, from choicesFor), or whose operator
// the rewrite did not meet in a stream it edited.
std::vector<std::uint32_t> itemsLeft(const PageTextEdits& edits, const std::vector<TextEntry>& entries,
                                     const std::vector<bool>& covered,
                                     const std::map<std::uint32_t, std::vector<std::uint32_t>>& found) {
  auto gone = [&](const TextSource::Run& run) {
    const std::uint32_t stream = run.source->stream;
    if (stream != 0 && edits.forms.count(stream) == 0) return false;
    auto met = found.find(stream);
    return met != found.end() && std::binary_search(met->second.begin(), met->second.end(), run.source->ordinal);
  };
  std::vector<std::uint32_t> left;
  for (std::uint32_t index : edits.chosen) {
    if (!covered[index]) {
      left.push_back(index);
      continue;
    }
    for (const TextSource::Run& run : entries[index].sources) {
      if (!gone(run)) {
        left.push_back(index);
        break;
      }
    }
  }
  return left;
}

std::vector<Bytes> decodedStreams(const Document& document, const std::vector<std::uint32_t>& numbers) {
  std::vector<Bytes> streams;
  streams.reserve(numbers.size());
  for (std::uint32_t number : numbers) {
    const Object* stream = document.object(number);
    streams.push_back(stream ? document.decodeStream(*stream) : Bytes());
  }
  return streams;
}

// New objects holding the decoded data of the page's content streams; the
// page's Contents then names them. Returns their numbers.
std::vector<std::uint32_t> copyContents(Document& document, Page& page,
                                        const std::vector<std::uint32_t>& contents) {
  Value* dictionary = document.pageDictionary(page);
  if (!dictionary || !dictionary->find("Contents") || contents.empty()) return {};
  std::vector<std::uint32_t> numbers;
  ValueArray references;
  for (std::uint32_t number : contents) {
    const Object* source = document.object(number);
    Value copy = source ? source->value : Value::Dictionary({});
    Bytes data = source ? document.decodeStream(*source) : Bytes();
    numbers.push_back(document.createStream(std::move(copy), std::move(data)).number);
    references.push_back(Value::Reference(numbers.back(), 0));
  }
  dictionary = document.pageDictionary(page);
  Value contentsValue = references.size() == 1 ? references.front() : Value::Array(std::move(references));
  dictionary->dictionary.insert_or_assign("Contents", std::move(contentsValue));
  return numbers;
}

// Copies of the page's Form XObjects; inherited resources become the
// page's own. Returns the copies by original number.
std::map<std::uint32_t, std::uint32_t> copyForms(Document& document, Page& page) {
  std::map<std::uint32_t, std::uint32_t> clones;
  if (!page.resources) return clones;
  Value resources = cloneResourceTree(document, *page.resources, clones);
  page.resources = std::make_shared<const Value>(resources);
  if (Value* dictionary = document.pageDictionary(page)) {
    dictionary->dictionary.insert_or_assign("Resources", std::move(resources));
  }
  return clones;
}

// A family's new content: all of it in its first stream, the others empty.
void storeContent(Document& document, const std::vector<std::uint32_t>& streams, Bytes content) {
  for (std::size_t i = 0; i < streams.size(); ++i) {
    if (Object* stream = document.object(streams[i])) replaceStreamData(*stream, i == 0 ? std::move(content) : Bytes());
  }
}

void removeAllText(Document& document, Page& page) {
  const std::vector<std::uint32_t> copies = copyContents(document, page, document.pageContentObjects(page));
  if (!copies.empty()) storeContent(document, copies, rewriteTextOperators(decodedStreams(document, copies), nullptr));
  for (const auto& [original, copy] : copyForms(document, page)) {
    storeContent(document, {copy}, rewriteTextOperators(decodedStreams(document, {copy}), nullptr));
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
  keepDecoded = true;
  try {
    Page& page = pages[pageIndex];
    if (!indices) {
      removeAllText(*this, page);
      edits = PageTextEdits{};
      return Error::None;
    }
    const bool fresh = !edits.active || edits.extraction != extraction;
    if (fresh) {
      // The first removal with items of this extraction: the content as it
      // is now is what the items describe. It stays as it is; removal
      // writes copies.
      PageTextEdits started;
      started.active = true;
      started.extraction = extraction;
      started.originalContents = pageContentObjects(page);
      started.contents = copyContents(*this, page, started.originalContents);
      started.forms = copyForms(*this, page);
      edits = std::move(started);
    }
    edits.chosen.insert(indices->begin(), indices->end());
    std::vector<bool> covered;
    const std::map<std::uint32_t, OperatorChoices> choices = choicesFor(edits.chosen, entries, covered);
    std::map<std::uint32_t, std::vector<std::uint32_t>> found;
    if (!edits.contents.empty()) {
      static const OperatorChoices kNone;
      auto own = choices.find(0);
      // Fresh copies still hold the content as it was: no need to decode
      // the originals again.
      storeContent(*this, edits.contents,
                   rewriteTextOperators(decodedStreams(*this, fresh ? edits.contents : edits.originalContents),
                                        own != choices.end() ? &own->second : &kNone, &found[0]));
    }
    for (const auto& [form, copy] : edits.forms) {
      auto chosen = choices.find(form);
      if (chosen == choices.end()) continue;
      storeContent(*this, {copy},
                   rewriteTextOperators(decodedStreams(*this, {fresh ? copy : form}), &chosen->second, &found[form]));
    }
    edits.left = itemsLeft(edits, entries, covered, found);
  } catch (const Exception& failure) {
    setError(failure.kind(), failure.message());
    return failure.kind();
  }
  return Error::None;
}

}  // namespace zopra::pdf
