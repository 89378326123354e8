#include "pdf/model/document.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <set>
#include <utility>

#include "pdf/fonts/font_info.h"
#include "pdf/parse/keyword_index.h"
#include "pdf/parse/lexer.h"

namespace zopra::pdf {

Document::Document() = default;
Document::~Document() = default;

const KeywordIndex& Document::endstreamIndex() const {
  if (!endstreams_) endstreams_ = std::make_unique<KeywordIndex>(file, "endstream");
  return *endstreams_;
}

void Document::reset() {
  pages.clear();
  objects.clear();
  trailer = Value();
  version = "1.4";
  error = Error::None;
  errorMessage.clear();
  encryption = EncryptionState();
  file.clear();
  nextObjectNumber = 1;
  loadedObjectEnd = 1;
  strictCrossReference = false;
  compressedEntries.clear();
  compressedObjects.clear();
  fontCache.clear();
  missingBound_ = 0;
  objectStreams_.clear();
  endstreams_.reset();
  textEdits.clear();
  embeddedFonts.clear();
  wrappedPages.clear();
  drawnText.clear();
  drawnContent.clear();
}

void Document::setError(Error kind, std::string message) {
  error = kind;
  errorMessage = std::move(message);
}

void Document::noteDamage(std::string message) const { errorMessage = std::move(message); }

Object* Document::object(std::uint32_t number) {
  auto it = objects.find(number);
  if (it == objects.end()) {
    Object* compressed = loadCompressed(number);
    if (!compressed && number >= missingBound_) missingBound_ = std::uint64_t{number} + 1;
    return compressed;
  }
  Object& target = it->second;
  if (target.loaded) return &target;

  Object parsed;
  std::uint64_t end = 0;
  bool ok = false;
  try {
    ok = parseObjectAt(file, target.offset, parsed, end, nullptr, &endstreamIndex());
  } catch (const Exception&) {
    ok = false;
  }
  if (!ok || parsed.number != number) {
    throw Exception(Error::Format, "invalid PDF object offset");
  }
  target.number = parsed.number;
  target.generation = parsed.generation;
  target.loaded = true;
  target.value = std::move(parsed.value);
  target.isStream = parsed.isStream;
  target.data = std::move(parsed.data);
  target.offset = parsed.offset;
  target.streamOffset = parsed.streamOffset;
  target.streamLength = parsed.streamLength;

  // An indirect Length is settled now that the object it names can be fetched.
  // A chain of streams whose lengths name further streams is followed only a
  // few levels deep, so a crafted file cannot exhaust the stack.
  if (target.isStream && target.value.isDictionary() && lengthDepth_ < kMaxLengthDepth) {
    const Value* length = target.value.find("Length");
    if (length && length->isReference()) {
      Value lengthRef = *length;  // the lookup below may parse more objects
      ++lengthDepth_;
      Object* lengthObject = nullptr;
      try {
        lengthObject = object(lengthRef.objectNumber);
      } catch (...) {
        --lengthDepth_;
        throw;
      }
      --lengthDepth_;
      if (lengthObject && lengthObject->value.isNumber()) {
        double n = lengthObject->value.number;
        if (isWholeNumber(n, 0, 18446744073709551616.0) && target.streamOffset <= file.size() &&
            n <= static_cast<double>(file.size() - target.streamOffset)) {
          target.streamLength = static_cast<std::uint64_t>(n);
        }
      }
    }
  }
  return &target;
}

Object* Document::loadCompressed(std::uint32_t number) {
  std::optional<CompressedObject> found = compressedObjects.find(number);
  if (!found) return nullptr;
  CompressedObject location = *found;
  // An object stream stored in another object stream reads its container
  // through this function again; the load has checked that such chains end
  // within the limit, which also holds here whatever calls come.
  if (objectStreamDepth_ >= kMaxObjectStreamDepth) {
    throw Exception(Error::Format, "object streams nested too deeply");
  }
  struct DepthGuard {
    int& depth;
    explicit DepthGuard(int& d) : depth(d) { ++depth; }
    ~DepthGuard() { --depth; }
    DepthGuard(const DepthGuard&) = delete;
    DepthGuard& operator=(const DepthGuard&) = delete;
  } guard(objectStreamDepth_);

  // Only the bytes up to the next object are decoded (a window for the last
  // one): an object stream may inflate to hundreds of megabytes of padding
  // after the objects it holds. A value that runs into the end of what was
  // decoded is read again from the whole stream.
  constexpr std::size_t kLastValueWindow = 64 << 10;
  constexpr std::size_t kMargin = 64;
  std::size_t wanted = location.end > location.position ? std::size_t{location.end} + kMargin
                                                        : std::size_t{location.position} + kLastValueWindow;
  // The first read of a stream decodes at least this much (most streams
  // whole), so that reading its objects in turn does not decode it again
  // and again.
  constexpr std::size_t kFirstWindow = std::size_t{1} << 20;
  wanted = std::max(wanted, kFirstWindow);
  Value value;
  bool isStream = false;
  Bytes streamBytes;
  for (;;) {
    std::shared_ptr<const ObjectStreamData> data = objectStreamData(location.stream, wanted);
    if (data->complete && location.position >= data->bytes.size()) {
      throw Exception(Error::Format, "invalid compressed object offset");
    }
    Lexer lexer(data->bytes.data(), data->bytes.size(), location.position);
    try {
      value = lexer.value(0);
      if (value.isDictionary() && lexer.match("stream")) {
        // A whole stream object (an object stream, say) kept inside this
        // one: its data follow the keyword, as in the file body.
        std::size_t start = static_cast<std::size_t>(lexer.position());
        const Bytes& bytes = data->bytes;
        if (start < bytes.size() && bytes[start] == '\r') ++start;
        if (start < bytes.size() && bytes[start] == '\n') ++start;
        const Value* length = value.find("Length");
        if (!length || !length->isNumber() || !isWholeNumber(length->number, 0, 18446744073709551616.0)) {
          throw Exception(Error::Format, "stream in an object stream without a direct Length");
        }
        if (start <= bytes.size() && length->number <= static_cast<double>(bytes.size() - start)) {
          streamBytes.assign(bytes.begin() + static_cast<std::ptrdiff_t>(start),
                             bytes.begin() + static_cast<std::ptrdiff_t>(start + static_cast<std::size_t>(length->number)));
          isStream = true;
          break;
        }
        if (data->complete) throw Exception(Error::Format, "stream in an object stream runs past its end");
      } else if (data->complete || lexer.position() + kMargin <= data->bytes.size()) {
        break;
      }
    } catch (const Exception&) {
      if (data->complete) throw;
    }
    wanted = SIZE_MAX;
  }
  const Object* container = object(location.stream);
  Object& created = objects[number];
  created.number = number;
  created.generation = 0;
  created.loaded = true;
  created.value = std::move(value);
  created.isStream = isStream;
  created.data = std::move(streamBytes);
  created.offset = container ? container->offset : 0;
  if (transientLog_) transientLog_->push_back(number);
  return &created;
}

std::shared_ptr<const ObjectStreamData> Document::objectStreamData(std::uint32_t number,
                                                                   std::size_t size) {
  std::shared_ptr<const ObjectStreamData> cached = objectStreams_.find(number);
  if (cached && (cached->complete || cached->bytes.size() >= size)) return cached;
  const Object* stream = object(number);
  if (!stream) throw Exception(Error::Format, "missing object stream");
  // Grown at least twofold, so that reading a stream's objects in turn
  // decodes it a few times at most.
  if (cached && size != SIZE_MAX) size = std::max(size, 2 * cached->bytes.size());
  auto data = std::make_shared<ObjectStreamData>();
  data->bytes = decodeStreamPrefix(*stream, size, data->complete);
  keepObjectStreamData(number, data);
  return data;
}

void Document::keepObjectStreamData(std::uint32_t number, std::shared_ptr<const ObjectStreamData> data) {
  std::size_t bytes = data->bytes.capacity();
  objectStreams_.put(number, std::move(data), bytes);
}

Document::TransientObjects::TransientObjects(Document& document)
    : document_(document), outer_(document.transientLog_) {
  // Nested scopes leave the dropping to the outermost one.
  if (!outer_) document_.transientLog_ = &parsed_;
}

Document::TransientObjects::~TransientObjects() {
  if (outer_) return;
  document_.transientLog_ = nullptr;
  for (std::uint32_t number : parsed_) document_.objects.erase(number);
}

bool Document::hasObject(std::uint32_t number) const {
  if (objects.count(number)) return true;
  return compressedObjects.contains(number);
}

const Object* Document::object(std::uint32_t number) const {
  // Lazy parsing changes the object map even for read-only callers.
  return const_cast<Document*>(this)->object(number);
}

Value* Document::resolve(Value* value) {
  if (!value || !value->isReference()) return value;
  // Most references name a value directly; only a chain of references needs
  // the set that stops a cycle.
  const std::uint32_t first = value->objectNumber;
  Object* direct = object(first);
  if (!direct) return nullptr;
  value = &direct->value;
  if (!value->isReference()) return value;
  std::set<std::uint32_t> visited{first};
  while (value && value->isReference()) {
    if (!visited.insert(value->objectNumber).second) return nullptr;
    Object* target = object(value->objectNumber);
    if (!target) return nullptr;
    value = &target->value;
  }
  return value;
}

const Value* Document::resolve(const Value* value) const {
  return const_cast<Document*>(this)->resolve(const_cast<Value*>(value));
}

Value* Document::dictionaryValue(Value* value, std::string_view key) {
  Value* resolved = resolve(value);
  if (!resolved) return nullptr;
  Value* entry = resolved->find(key);
  return entry ? resolve(entry) : nullptr;
}

const Value* Document::dictionaryValue(const Value* value, std::string_view key) const {
  return const_cast<Document*>(this)->dictionaryValue(const_cast<Value*>(value), key);
}

Object& Document::createObject(Value value) {
  // Numbers stop at 4294967295: past it the counter would wrap to 0 and
  // then hand out numbers that are taken.
  while (nextObjectNumber != 0 && hasObject(nextObjectNumber)) ++nextObjectNumber;
  if (nextObjectNumber == 0) throw Exception(Error::Format, "no free PDF object number");
  std::uint32_t number = nextObjectNumber;
  nextObjectNumber = number + 1;
  // A font built while a number it refers to named no object would be wrong
  // once that number names the new object. Only numbers looked up in vain
  // can be such numbers; creating any other leaves the fonts as they are.
  if (number < missingBound_) fontCache.clear();
  Object& created = objects[number];
  created.number = number;
  created.generation = 0;
  created.loaded = true;
  created.value = std::move(value);
  return created;
}

Object& Document::createStream(Value dictionary, Bytes data) {
  Object& created = createObject(std::move(dictionary));
  created.isStream = true;
  created.data = std::move(data);
  created.createdStream = true;
  return created;
}

Bytes Document::storedStream(const Object& source) const {
  if (!source.data.empty()) return source.data;
  if (source.streamLength == 0) return {};
  if (source.streamOffset > file.size() || source.streamLength > file.size() - source.streamOffset) {
    throw Exception(Error::Format, "invalid PDF stream range");
  }
  const std::uint8_t* begin = file.data() + source.streamOffset;
  Bytes stored(begin, begin + source.streamLength);
  file.noteRead(stored.size());
  return stored;
}

}  // namespace zopra::pdf
