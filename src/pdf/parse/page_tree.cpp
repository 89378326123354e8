// The page tree: every leaf page in document order, with inherited attributes
// applied and its displayed size and rotation computed once.
#include <cmath>
#include <set>

#include "pdf/model/document.h"

namespace zopra::pdf {

namespace {

constexpr const char* kInheritable[] = {"Resources", "MediaBox", "CropBox", "Rotate"};

// Trees deeper than this are not followed further; real documents stay far
// below it, and a crafted chain of nodes cannot exhaust the stack.
constexpr std::size_t kMaxTreeDepth = 256;

// Adds `number` to the current path for the lifetime of the guard.
class PathGuard {
 public:
  PathGuard(std::set<std::uint32_t>& path, std::uint32_t number) : path_(path), number_(number) {
    inserted_ = number != 0 && path_.insert(number).second;
  }
  ~PathGuard() {
    if (inserted_) path_.erase(number_);
  }
  PathGuard(const PathGuard&) = delete;
  PathGuard& operator=(const PathGuard&) = delete;
  bool cycle() const { return number_ != 0 && !inserted_; }

 private:
  std::set<std::uint32_t>& path_;
  std::uint32_t number_;
  bool inserted_ = false;
};

double boxNumber(const Document& document, const Value& element) {
  const Value* resolved = document.resolve(&element);
  if (!resolved || !resolved->isNumber() || !std::isfinite(resolved->number)) {
    throw Exception(Error::Format, "invalid PDF page box");
  }
  return resolved->number;
}

void contentWalk(const Document& document, const Value& value, std::set<std::uint32_t>& path,
                 std::vector<std::uint32_t>& out) {
  if (path.size() > kMaxTreeDepth) return;
  if (value.isArray()) {
    for (const Value& element : value.array) contentWalk(document, element, path, out);
    return;
  }
  if (!value.isReference()) return;
  PathGuard guard(path, value.objectNumber);
  if (guard.cycle()) return;
  const Object* target = document.object(value.objectNumber);
  if (!target) return;
  if (target->isStream) {
    out.push_back(target->number);
  } else {
    contentWalk(document, target->value, path, out);
  }
}

}  // namespace

Error Document::buildPages() {
  Value* catalog = resolve(trailer.find("Root"));
  Value* root = catalog && catalog->isDictionary() ? catalog->find("Pages") : nullptr;
  if (!root || !resolve(root)) {
    setError(Error::Format, "PDF page tree was not found");
    return Error::Format;
  }
  std::set<std::uint32_t> path;
  Value rootEntry = *root;
  collectPages(rootEntry, ValueDictionary(), path);
  if (pages.empty()) {
    setError(Error::Format, "PDF contains no pages");
    return Error::Format;
  }
  return Error::None;
}

void Document::collectPages(const Value& node, ValueDictionary attributes,
                            std::set<std::uint32_t>& path) {
  if (path.size() > kMaxTreeDepth) return;
  const std::uint32_t number = node.isReference() ? node.objectNumber : 0;
  PathGuard guard(path, number);
  if (guard.cycle()) return;
  const bool wasParsed = number != 0 && objects.count(number) != 0;
  Value* resolved = resolve(const_cast<Value*>(&node));
  if (!resolved || !resolved->isDictionary()) return;

  for (const char* key : kInheritable) {
    if (const Value* entry = resolved->find(key)) attributes.insert_or_assign(key, *entry);
  }

  const Value* type = resolve(resolved->find("Type"));
  if (type && type->isName("Page")) {
    auto boxEntry = attributes.find("CropBox");
    if (boxEntry == attributes.end()) boxEntry = attributes.find("MediaBox");
    const Value* box = boxEntry == attributes.end() ? nullptr : resolve(&boxEntry->second);
    if (!box || !box->isArray() || box->array.size() < 4) {
      throw Exception(Error::Format, "invalid PDF page box");
    }
    double x1 = boxNumber(*this, box->array[0]);
    double y1 = boxNumber(*this, box->array[1]);
    double x2 = boxNumber(*this, box->array[2]);
    double y2 = boxNumber(*this, box->array[3]);

    Page page;
    page.dictionary = resolved;
    Object* holder = number != 0 ? object(number) : nullptr;
    if (holder && &holder->value == resolved) page.objectNumber = number;
    page.x = std::min(x1, x2);
    page.y = std::min(y1, y2);
    page.width = std::fabs(x2 - x1);
    page.height = std::fabs(y2 - y1);
    double rotation = 0;
    auto rotate = attributes.find("Rotate");
    if (rotate != attributes.end()) {
      const Value* degrees = resolve(&rotate->second);
      if (degrees && degrees->isNumber() && std::isfinite(degrees->number)) {
        rotation = std::fmod(std::trunc(degrees->number), 360.0);
        if (rotation < 0) rotation += 360;
      }
    }
    page.rotation = static_cast<std::uint32_t>(rotation);
    if (page.rotation == 90 || page.rotation == 270) std::swap(page.width, page.height);
    // The box lives on in the page's numbers; not keeping a copy of every
    // page's box arrays saves a good part of what a large document's page
    // tree costs. The page dictionary still holds its own entries.
    attributes.erase("MediaBox");
    attributes.erase("CropBox");
    page.inherited = std::move(attributes);
    // A page dictionary that came out of an object stream is dropped again:
    // it is parsed anew whenever it is needed (see pageDictionary). Page
    // dictionaries carry the annotation lists, most of a large document's
    // page tree.
    if (page.objectNumber != 0 && !wasParsed && compressedObjects.contains(page.objectNumber)) {
      objects.erase(page.objectNumber);
      page.dictionary = nullptr;
    }
    pages.push_back(std::move(page));
    return;
  }

  Value* kids = resolve(resolved->find("Kids"));
  if (!kids || !kids->isArray()) return;
  // The kids are copied: resolving them may parse objects, and a child's
  // attributes are copied per call anyway.
  ValueArray children = kids->array;
  for (const Value& kid : children) collectPages(kid, attributes, path);
}

Value* Document::pageDictionary(const Page& page) {
  if (page.objectNumber == 0) return page.dictionary;
  Object* holder = object(page.objectNumber);
  return holder && holder->value.isDictionary() ? &holder->value : nullptr;
}

std::vector<std::uint32_t> Document::pageContentObjects(const Page& page) {
  std::vector<std::uint32_t> out;
  const Value* dictionary = pageDictionary(page);
  if (!dictionary) return out;
  const Value* contents = dictionary->find("Contents");
  if (!contents) return out;
  std::set<std::uint32_t> path;
  Value entry = *contents;
  contentWalk(*this, entry, path, out);
  return out;
}

std::vector<std::uint32_t> Document::pageContentObjects(const Page& page) const {
  return const_cast<Document*>(this)->pageContentObjects(page);
}

}  // namespace zopra::pdf
