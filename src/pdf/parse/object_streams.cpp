// Objects stored inside object streams become ordinary loaded objects.
// Strict mode follows the cross-reference data exactly; recovery mode takes
// every object stream found by the scan and is lenient with bad ones.
#include <cmath>
#include <vector>

#include "pdf/model/document.h"
#include "pdf/parse/lexer.h"

namespace zopra::pdf {

namespace {

struct HeaderEntry {
  std::uint32_t number;
  std::uint64_t offset;
};

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

class ObjectStreamReader {
 public:
  ObjectStreamReader(Document& document, const Object& stream, std::uint64_t first,
                     std::uint64_t count)
      : document_(document), offset_(stream.offset), data_(document.decodeStream(stream)) {
    if (data_.size() < first) fail("invalid object stream header");
    first_ = first;
    Lexer lexer(data_.data(), data_.size());
    for (std::uint64_t i = 0; i < count; ++i) {
      double number = 0;
      double offset = 0;
      try {
        number = lexer.number();
        offset = lexer.number();
      } catch (const Exception&) {
        fail("invalid compressed object entry");
      }
      if (!isWholeNumber(number, 1, 4294967295.0) ||
          !isWholeNumber(offset, 0, 18446744073709551616.0)) {
        fail("invalid compressed object entry");
      }
      header_.push_back({static_cast<std::uint32_t>(number), static_cast<std::uint64_t>(offset)});
    }
  }

  const std::vector<HeaderEntry>& header() const { return header_; }

  void load(std::size_t index, std::uint32_t number) {
    if (index >= header_.size() || header_[index].number != number) {
      fail("object stream does not match cross reference");
    }
    std::uint64_t offset = header_[index].offset;
    if (offset >= data_.size() - first_) fail("invalid compressed object offset");
    Lexer lexer(data_.data(), data_.size(), first_ + offset);
    Value value = lexer.value(0);
    if (document_.objects.count(number)) fail("duplicate active PDF object");
    Object& created = document_.objects[number];
    created.number = number;
    created.generation = 0;
    created.loaded = true;
    created.value = std::move(value);
    created.offset = offset_;
  }

 private:
  Document& document_;
  std::uint64_t offset_;
  Bytes data_;
  std::uint64_t first_ = 0;
  std::vector<HeaderEntry> header_;
};

}  // namespace

void Document::parseObjectStreams() {
  std::vector<std::uint32_t> streams;
  if (strictCrossReference) {
    for (const auto& entry : compressedEntries) streams.push_back(entry.first);
  } else {
    for (auto& [number, entry] : objects) {
      const Value* type = dictionaryValue(&entry.value, "Type");
      if (type && type->isName("ObjStm")) streams.push_back(number);
    }
  }

  for (std::uint32_t streamNumber : streams) {
    const Object* stream = object(streamNumber);
    if (!stream) {
      if (strictCrossReference) fail("missing object stream");
      continue;
    }
    long long count = integerEntry(*this, stream->value, "N");
    long long first = integerEntry(*this, stream->value, "First");
    if (count < 0 || first < 0) {
      if (strictCrossReference) fail("invalid object stream dictionary");
      continue;
    }
    ObjectStreamReader reader(*this, *stream, static_cast<std::uint64_t>(first),
                              static_cast<std::uint64_t>(count));
    if (strictCrossReference) {
      for (const auto& [index, number] : compressedEntries[streamNumber]) {
        reader.load(index, number);
      }
    } else {
      const auto& header = reader.header();
      for (std::size_t i = 0; i < header.size(); ++i) {
        if (!objects.count(header[i].number)) reader.load(i, header[i].number);
      }
    }
  }
}

}  // namespace zopra::pdf
