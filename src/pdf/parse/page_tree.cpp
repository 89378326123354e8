// The page tree: every leaf page in document order, with inherited attributes
// applied and its displayed size and rotation computed once.
//
// A hostile tree can list one subtree many times at every level, so that a
// file of a few kilobytes describes 2^40 pages. The cycle guard alone does not
// help there (no node is its own ancestor), so both walks here, the page tree
// and a page's Contents, carry a total budget of nodes visited and of results
// produced, besides their depth limit.
#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <memory>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

#include "pdf/model/document.h"

namespace zopra::pdf {

namespace {

// Trees deeper than this are not followed further; real documents stay far
// below it, and a crafted chain of nodes cannot exhaust the stack.
constexpr std::size_t kMaxTreeDepth = 256;
// Pages produced: what the file can hold, at least 8 bytes of it per page
// (a kid reference alone takes more), never fewer than kMinPageBudget and never
// more than kMaxPageBudget. Nodes visited: twice that. Past these the tree is
// refused as too large.
constexpr std::size_t kBytesPerPage = 8;
constexpr std::size_t kMinPageBudget = std::size_t{1} << 16;
constexpr std::size_t kMaxPageBudget = std::size_t{1} << 20;
// Contents entries visited and content streams produced for one page.
constexpr std::size_t kMaxContentNodes = std::size_t{1} << 18;
constexpr std::size_t kMaxContentStreams = std::size_t{1} << 16;

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

// The inheritable attributes, in the order "Resources", "MediaBox",
// "CropBox", "Rotate". Entries are shared copies, so passing them down to
// every child costs a few reference counts, not a copy of each dictionary.
enum Attribute { kResources, kMediaBox, kCropBox, kRotate, kAttributeCount };
constexpr const char* kInheritable[kAttributeCount] = {"Resources", "MediaBox", "CropBox", "Rotate"};
using Attributes = std::array<std::shared_ptr<const Value>, kAttributeCount>;

class PageTreeWalker {
 public:
  explicit PageTreeWalker(Document& document)
      : document_(document),
        maxPages_(std::clamp(document.file.size() / kBytesPerPage, kMinPageBudget, kMaxPageBudget)) {}

  void collectPages(Value& node, Attributes attributes);

 private:
  void addPage(Value& dictionary, std::uint32_t number, bool wasParsed, const Attributes& attributes);
  // The shared copy of a node's own entry. A node listed many times is
  // copied once: copies are keyed by the node's object number, or by where
  // an in-place node lives (in-place nodes sit inside objects that are not
  // dropped during the walk).
  std::shared_ptr<const Value> ownEntry(const Value& node, std::uint32_t number, int attribute,
                                        const Value& entry);

  Document& document_;
  const std::size_t maxPages_;
  std::set<std::uint32_t> path_;
  std::size_t nodes_ = 0;
  std::map<std::tuple<bool, std::uintptr_t, int>, std::shared_ptr<const Value>> copies_;
};

std::shared_ptr<const Value> PageTreeWalker::ownEntry(const Value& node, std::uint32_t number,
                                                      int attribute, const Value& entry) {
  auto key = number != 0 ? std::make_tuple(false, std::uintptr_t{number}, attribute)
                         : std::make_tuple(true, reinterpret_cast<std::uintptr_t>(&node), attribute);
  auto found = copies_.find(key);
  if (found != copies_.end()) return found->second;
  auto copy = std::make_shared<const Value>(entry);
  copies_.emplace(key, copy);
  return copy;
}

void PageTreeWalker::collectPages(Value& node, Attributes attributes) {
  if (path_.size() > kMaxTreeDepth) return;
  if (++nodes_ > 2 * maxPages_) throw Exception(Error::Format, "PDF page tree is too large");
  const std::uint32_t number = node.isReference() ? node.objectNumber : 0;
  PathGuard guard(path_, number);
  if (guard.cycle()) return;
  const bool wasParsed = number != 0 && document_.objects.count(number) != 0;
  Value* resolved = document_.resolve(&node);
  if (!resolved || !resolved->isDictionary()) return;

  for (int i = 0; i < kAttributeCount; ++i) {
    if (const Value* entry = resolved->find(kInheritable[i])) {
      attributes[i] = ownEntry(*resolved, number, i, *entry);
    }
  }

  const Value* type = document_.resolve(resolved->find("Type"));
  if (type && type->isName("Page")) {
    addPage(*resolved, number, wasParsed, attributes);
    return;
  }

  Value* kids = document_.resolve(resolved->find("Kids"));
  if (!kids || !kids->isArray()) return;
  // The kids are walked where the document holds them: resolving a kid may
  // parse other objects, which never moves values already in the map, and
  // the only objects dropped during the walk are pages, which hold no kids.
  for (Value& kid : kids->array) collectPages(kid, attributes);
}

void PageTreeWalker::addPage(Value& dictionary, std::uint32_t number, bool wasParsed,
                             const Attributes& attributes) {
  if (document_.pages.size() >= maxPages_) throw Exception(Error::Format, "PDF page tree is too large");
  const std::shared_ptr<const Value>& boxEntry =
      attributes[kCropBox] ? attributes[kCropBox] : attributes[kMediaBox];
  const Value* box = boxEntry ? document_.resolve(boxEntry.get()) : nullptr;
  if (!box || !box->isArray() || box->array.size() < 4) {
    throw Exception(Error::Format, "invalid PDF page box");
  }
  double x1 = boxNumber(document_, box->array[0]);
  double y1 = boxNumber(document_, box->array[1]);
  double x2 = boxNumber(document_, box->array[2]);
  double y2 = boxNumber(document_, box->array[3]);

  Page page;
  page.dictionary = &dictionary;
  Object* holder = number != 0 ? document_.object(number) : nullptr;
  if (holder && &holder->value == &dictionary) page.objectNumber = number;
  page.x = std::min(x1, x2);
  page.y = std::min(y1, y2);
  page.width = std::fabs(x2 - x1);
  page.height = std::fabs(y2 - y1);
  double rotation = 0;
  if (attributes[kRotate]) {
    const Value* degrees = document_.resolve(attributes[kRotate].get());
    if (degrees && degrees->isNumber() && std::isfinite(degrees->number)) {
      rotation = std::fmod(std::trunc(degrees->number), 360.0);
      if (rotation < 0) rotation += 360;
    }
  }
  page.rotation = static_cast<std::uint32_t>(rotation);
  if (page.rotation == 90 || page.rotation == 270) std::swap(page.width, page.height);
  page.resources = attributes[kResources];
  const std::uint32_t held = page.objectNumber;
  if (held != 0) page.dictionary = nullptr;
  document_.pages.push_back(std::move(page));
  // A page object that came out of an object stream is dropped again: it is
  // parsed anew whenever it is needed (see pageDictionary). Page objects carry
  // the annotation lists, most of a large document's page tree. Nothing of
  // the walk points into a page object (its own entries were copied above,
  // and a page has no kids to walk).
  if (held != 0 && !wasParsed && document_.compressedObjects.contains(held)) document_.objects.erase(held);
}

void contentWalk(const Document& document, const Value& value, std::set<std::uint32_t>& path,
                 std::size_t& nodes, std::vector<std::uint32_t>& out) {
  if (path.size() > kMaxTreeDepth) return;
  if (++nodes > kMaxContentNodes || out.size() >= kMaxContentStreams) {
    throw Exception(Error::Format, "page content is too complex");
  }
  if (value.isArray()) {
    for (const Value& element : value.array) contentWalk(document, element, path, nodes, out);
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
    contentWalk(document, target->value, path, nodes, out);
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
  PageTreeWalker walker(*this);
  walker.collectPages(*root, Attributes());
  if (pages.empty()) {
    setError(Error::Format, "PDF contains no pages");
    return Error::Format;
  }
  return Error::None;
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
  std::size_t nodes = 0;
  Value entry = *contents;
  contentWalk(*this, entry, path, nodes, out);
  return out;
}

std::vector<std::uint32_t> Document::pageContentObjects(const Page& page) const {
  return const_cast<Document*>(this)->pageContentObjects(page);
}

}  // namespace zopra::pdf
