// Objects stored inside object streams become ordinary objects of the
// document. Each stream's header is read and checked at load; the values are
// parsed when an object is first used (Document::object). Strict mode follows
// the cross-reference data exactly, also into object streams stored inside
// other object streams, a few levels deep; recovery mode takes every object stream
// found by the scan and is lenient with bad ones.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "pdf/model/document.h"
#include "pdf/parse/lexer.h"
#include "pdf/parse/object_stream_header.h"
#include "pdf/parse/object_stream_order.h"
#include "pdf/parse/number_set.h"

namespace zopra::pdf {

namespace {

[[noreturn]] void fail(const char* message) { throw Exception(Error::Format, message); }

// "N" or "First" truncated to an integer; -1 when missing or not a number.
long long integerEntry(const Document& document, const Value& dictionary, const char* key) {
  const Value* entry = document.dictionaryValue(&dictionary, key);
  if (!entry || !entry->isNumber() || !std::isfinite(entry->number)) return -1;
  double truncated = std::trunc(entry->number);
  if (truncated < -1) return -1;
  if (truncated > 4294967295.0) return 4294967295LL;
  return static_cast<long long>(truncated);
}

// Reads and checks one object stream's header. Only the header is decoded:
// an object stream may inflate to hundreds of megabytes of padding after its
// objects. A stream that ends within it goes to the document's cache.
class ObjectStreamReader {
 public:
  ObjectStreamReader(Document& document, const Object& stream, std::uint64_t first,
                     std::uint64_t count, NumberSet& recorded,
                     std::vector<CompressedObject>& found)
      : document_(document), streamNumber_(stream.number), recorded_(recorded), found_(found) {
    // The objects are decoded when one is first read (loadCompressed): a
    // large file's page objects fill hundreds of streams, and decoding each
    // here too inflated them twice at open.
    auto data = std::make_shared<ObjectStreamData>();
    data->bytes = document.decodeStreamPrefix(stream, clampSize(first), data->complete);
    if (data->bytes.size() < first) fail("invalid object stream header");
    first_ = first;
    header_ = readObjectStreamHeader(data->bytes.data(), data->bytes.size(), count);
    // Every offset must point inside the stream: checked here when the
    // stream ended within its header, else when the object is read.
    decodedSize_ = data->complete ? data->bytes.size() : SIZE_MAX;
    // Where each value ends at the latest: the next higher offset.
    sortedOffsets_.reserve(header_.size());
    for (const ObjectStreamEntry& entry : header_) sortedOffsets_.push_back(entry.offset);
    std::sort(sortedOffsets_.begin(), sortedOffsets_.end());
    if (data->complete) document.keepObjectStreamData(streamNumber_, std::move(data));
  }

  const std::vector<ObjectStreamEntry>& header() const { return header_; }

  void load(std::size_t index, std::uint32_t number) {
    if (index >= header_.size() || header_[index].number != number) {
      fail("object stream does not match cross reference");
    }
    std::uint64_t offset = header_[index].offset;
    if (offset >= decodedSize_ - first_) fail("invalid compressed object offset");
    if (document_.objects.count(number) || !recorded_.insert(number)) {
      fail("duplicate active PDF object");
    }
    auto next = std::upper_bound(sortedOffsets_.begin(), sortedOffsets_.end(), offset);
    std::uint64_t end = next == sortedOffsets_.end() ? 0 : first_ + *next;
    found_.push_back({number, streamNumber_, static_cast<std::uint32_t>(first_ + offset),
                      static_cast<std::uint32_t>(end)});
  }

 private:
  static std::size_t clampSize(std::uint64_t size) {
    return static_cast<std::size_t>(std::min<std::uint64_t>(size, SIZE_MAX - 1));
  }

  Document& document_;
  std::uint32_t streamNumber_;
  NumberSet& recorded_;
  std::vector<CompressedObject>& found_;
  std::uint64_t first_ = 0;
  std::size_t decodedSize_ = 0;
  std::vector<ObjectStreamEntry> header_;
  std::vector<std::uint64_t> sortedOffsets_;
};

// Reads the header of one object stream and records where its objects are:
// the ones the cross-reference data lists (strict mode), else every one not
// found directly in the file nor in an earlier stream.
void readObjectStream(Document& document, std::uint32_t streamNumber, NumberSet& recorded,
                      std::vector<CompressedObject>& found) {
  const Object* stream = document.object(streamNumber);
  if (!stream) {
    if (document.strictCrossReference) fail("missing object stream");
    return;
  }
  long long count = integerEntry(document, stream->value, "N");
  long long first = integerEntry(document, stream->value, "First");
  if (count < 0 || first < 0) {
    if (document.strictCrossReference) fail("invalid object stream dictionary");
    return;
  }
  ObjectStreamReader reader(document, *stream, static_cast<std::uint64_t>(first),
                            static_cast<std::uint64_t>(count), recorded, found);
  if (document.strictCrossReference) {
    auto listed = document.compressedEntries.find(streamNumber);
    if (listed == document.compressedEntries.end()) return;
    for (const auto& [index, number] : listed->second) reader.load(index, number);
    // Each list is read once: the index takes its place as it grows.
    document.compressedEntries.erase(listed);
    return;
  }
  const auto& header = reader.header();
  for (std::size_t i = 0; i < header.size(); ++i) {
    if (!document.objects.count(header[i].number) && !recorded.contains(header[i].number)) {
      reader.load(i, header[i].number);
    }
  }
}

}  // namespace

std::vector<ObjectStreamEntry> readObjectStreamHeader(const std::uint8_t* data, std::size_t size,
                                                      std::uint64_t count) {
  std::vector<ObjectStreamEntry> entries;
  Lexer lexer(data, size);
  for (std::uint64_t i = 0; i < count; ++i) {
    double number = 0;
    double offset = 0;
    try {
      number = lexer.number();
      offset = lexer.number();
    } catch (const Exception&) {
      fail("invalid compressed object entry");
    }
    if (!isWholeNumber(number, 1, 4294967295.0) || !isWholeNumber(offset, 0, 18446744073709551616.0)) {
      fail("invalid compressed object entry");
    }
    entries.push_back({static_cast<std::uint32_t>(number), static_cast<std::uint64_t>(offset)});
  }
  return entries;
}

std::optional<std::vector<std::vector<std::uint32_t>>> objectStreamsByDepth(
    const std::map<std::uint32_t, std::vector<CompressedEntry>>& entries, int limit) {
  // The stream that holds each listed stream, for those stored in another.
  std::map<std::uint32_t, std::uint32_t> containerOf;
  for (const auto& [stream, list] : entries) {
    for (const auto& [index, number] : list) {
      if (entries.count(number)) containerOf[number] = stream;
    }
  }
  std::vector<std::vector<std::uint32_t>> levels(1);
  for (const auto& entry : entries) {
    std::size_t depth = 0;
    for (auto holder = containerOf.find(entry.first); holder != containerOf.end();
         holder = containerOf.find(holder->second)) {
      // A cycle never ends, so it runs past the limit too.
      if (++depth > static_cast<std::size_t>(limit)) return std::nullopt;
    }
    if (depth >= levels.size()) levels.resize(depth + 1);
    levels[depth].push_back(entry.first);
  }
  return levels;
}

void Document::parseObjectStreams() {
  std::vector<std::vector<std::uint32_t>> levels;
  if (strictCrossReference) {
    auto ordered = objectStreamsByDepth(compressedEntries, kMaxObjectStreamDepth);
    if (!ordered) fail("object streams nested too deeply or in a cycle");
    levels = std::move(*ordered);
  } else {
    levels.resize(1);
    for (auto& [number, entry] : objects) {
      const Value* type = dictionaryValue(&entry.value, "Type");
      if (type && type->isName("ObjStm")) levels[0].push_back(number);
    }
  }

  // Collected apart and published after each level, so that every object
  // stream is itself a real object while the headers are read, and the
  // streams of the next level can be found in the ones just read.
  NumberSet recorded;
  std::vector<CompressedObject> found;
  if (strictCrossReference) {
    std::size_t total = 0;
    for (const auto& entry : compressedEntries) total += entry.second.size();
    found.reserve(total);
  }
  for (std::size_t level = 0; level < levels.size(); ++level) {
    if (level > 0) compressedObjects.assign(found);
    for (std::uint32_t streamNumber : levels[level]) readObjectStream(*this, streamNumber, recorded, found);
  }
  compressedObjects.assign(std::move(found));
  // The index now lives in compressedObjects; on large files the per-stream
  // lists would only double the memory the open costs.
  compressedEntries.clear();
  if (!compressedObjects.empty() && nextObjectNumber != 0 &&
      compressedObjects.highest() >= nextObjectNumber) {
    // 0 once every number is taken: createObject then refuses to wrap.
    nextObjectNumber = compressedObjects.highest() + 1;
  }
}

}  // namespace zopra::pdf
