#include "pdf/write/kept_object_streams.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "pdf/parse/lexer.h"
#include "pdf/parse/object_stream_header.h"

namespace zopra::pdf {

namespace {

// The dictionary entries an object stream is written with.
constexpr std::string_view kStreamKeys[] = {"Type", "N", "First", "Filter", "DecodeParms"};

bool holdsReference(const Value& value, int depth = 0) {
  if (value.isReference() || depth > 8) return true;
  for (const Value& item : value.array) {
    if (holdsReference(item, depth + 1)) return true;
  }
  for (const auto& entry : value.dictionary) {
    if (holdsReference(entry.second, depth + 1)) return true;
  }
  return false;
}

// Whether two values are the same, down to every element. Bounded by the
// depth the lexer gives parsed values.
bool sameValue(const Value& a, const Value& b, int depth = 0) {
  if (a.kind != b.kind || depth > Lexer::kMaxDepth + 1) return false;
  switch (a.kind) {
    case Value::Kind::Boolean:
      return a.boolean == b.boolean;
    case Value::Kind::Number:
      return a.number == b.number;
    case Value::Kind::Reference:
      return a.objectNumber == b.objectNumber && a.generation == b.generation;
    case Value::Kind::Array:
      if (a.array.size() != b.array.size()) return false;
      for (std::size_t i = 0; i < a.array.size(); ++i) {
        if (!sameValue(a.array[i], b.array[i], depth + 1)) return false;
      }
      return true;
    case Value::Kind::Dictionary: {
      if (a.dictionary.size() != b.dictionary.size()) return false;
      auto other = b.dictionary.begin();
      for (const auto& [key, item] : a.dictionary) {
        if (key != other->first || !sameValue(item, other->second, depth + 1)) return false;
        ++other;
      }
      return true;
    }
    default:
      return a.text == b.text;
  }
}

}  // namespace

bool KeptObjectStreams::unchanged(const CompressedObject& found, const ObjectStreamData& data) const {
  if (replacements_.count(found.number)) return false;
  auto slot = document_.objects.find(found.number);
  if (slot == document_.objects.end() || !slot->second.loaded) return true;
  // Parsed since it was read (a page, say): unchanged when its value is
  // still what its text says.
  const std::size_t end = found.end != 0 ? found.end : data.bytes.size();
  if (slot->second.isStream || found.position >= end || end > data.bytes.size()) return false;
  try {
    Lexer lexer(data.bytes.data(), end, found.position);
    return sameValue(lexer.value(0), slot->second.value);
  } catch (const Exception&) {
    return false;
  }
}

KeptObjectStreams::Stream KeptObjectStreams::decide(std::uint32_t number) {
  Stream stream;
  // Encrypted streams would need encrypting again; a stream held inside
  // another, or one rewritten in memory, has no input bytes of its own.
  if (document_.encryption.encrypted || document_.compressedObjects.contains(number)) return stream;
  const Object* object = document_.object(number);
  if (!object || !object->isStream || object->createdStream || !object->data.empty() ||
      object->streamLength == 0 || !object->value.isDictionary()) {
    return stream;
  }
  const Value& dictionary = object->value;
  const Value* type = dictionary.find("Type");
  const Value* count = dictionary.find("N");
  const Value* first = dictionary.find("First");
  if (!type || !type->isName("ObjStm") || dictionary.find("Extends") || !count || !count->isNumber() || !first ||
      !first->isNumber() || !(count->number >= 1) || !(first->number >= 0)) {
    return stream;
  }
  // Written as they stand, the filters may name no other object.
  for (const char* key : {"Filter", "DecodeParms"}) {
    const Value* entry = dictionary.find(key);
    if (entry && holdsReference(*entry)) return stream;
  }
  const std::shared_ptr<const ObjectStreamData> data = document_.objectStreamData(number, SIZE_MAX);
  if (!data->complete || !(first->number < static_cast<double>(data->bytes.size())) ||
      !(count->number <= first->number)) {
    return stream;
  }
  // The header, read as the opening read it: every object listed must be
  // one the file finds here (not one a later revision replaced) and be
  // written unchanged.
  const auto start = static_cast<std::size_t>(first->number);
  std::vector<ObjectStreamEntry> header;
  try {
    header = readObjectStreamHeader(data->bytes.data(), start, static_cast<std::uint64_t>(count->number));
  } catch (const Exception&) {
    return stream;
  }
  for (std::size_t k = 0; k < header.size(); ++k) {
    const std::optional<CompressedObject> found = document_.compressedObjects.find(header[k].number);
    if (!found || found->stream != number || found->position != start + header[k].offset ||
        !unchanged(*found, *data)) {
      return Stream();
    }
    stream.index.emplace_back(found->number, static_cast<std::uint32_t>(k));
  }
  std::sort(stream.index.begin(), stream.index.end());
  // A number listed twice is the file's mistake: the stream is not kept.
  if (std::adjacent_find(stream.index.begin(), stream.index.end(), [](const auto& a, const auto& b) {
        return a.first == b.first;
      }) != stream.index.end()) {
    return Stream();
  }
  stream.keep = true;
  return stream;
}

std::optional<std::pair<std::uint32_t, std::uint32_t>> KeptObjectStreams::place(const CompressedObject& found) {
  if (!last_ || lastNumber_ != found.stream) {
    auto [slot, fresh] = streams_.try_emplace(found.stream);
    if (fresh) slot->second = decide(found.stream);
    last_ = &slot->second;
    lastNumber_ = found.stream;
  }
  Stream& stream = *last_;
  if (!stream.keep) return std::nullopt;
  auto at = std::lower_bound(stream.index.begin(), stream.index.end(), std::make_pair(found.number, std::uint32_t{0}));
  if (at == stream.index.end() || at->first != found.number) return std::nullopt;
  if (!stream.placed) {
    stream.placed = true;
    order_.push_back(found.stream);
  }
  return std::make_pair(found.stream, at->second);
}

Object KeptObjectStreams::writtenStream(std::uint32_t stream) const {
  Object written = *document_.object(stream);
  Value dictionary = Value::Dictionary({});
  for (std::string_view key : kStreamKeys) {
    if (const Value* entry = written.value.find(key)) dictionary.dictionary.insert_or_assign(std::string(key), *entry);
  }
  written.value = std::move(dictionary);
  return written;
}

}  // namespace zopra::pdf
