// Fuzz target: the object syntax of the file body. The input is read as a
// sequence of values, and as an indirect object ("N G obj ... endobj") both
// with the whole input and with the limit the recovery scan sets. Text the
// raw check lets the compact writer copy as it stands must be one value to
// the lexer, ending where the check says, with the same references.
#include <cstddef>
#include <cstdint>
#include <algorithm>
#include <cstdlib>
#include <vector>

#include "pdf/model/error.h"
#include "pdf/model/object.h"
#include "pdf/parse/lexer.h"
#include "pdf/parse/raw_value.h"

namespace {

using zopra::pdf::Bytes;

void require(bool condition) {
  if (!condition) std::abort();
}

void readValues(const Bytes& data) {
  zopra::pdf::Lexer lexer(data.data(), data.size());
  try {
    for (;;) {
      lexer.skipWhiteSpace();
      if (lexer.atEnd()) return;
      const std::uint64_t before = lexer.position();
      lexer.value(0);
      // A value that consumed nothing would make any reading loop spin.
      require(lexer.position() > before);
    }
  } catch (const zopra::pdf::Exception&) {
  }
}

// A successful read ends, and its stream lies, within the bytes it may use.
void readObject(const Bytes& data, zopra::pdf::ScanBounds* bounds) {
  const std::uint64_t size =
      bounds && bounds->limit < data.size() ? bounds->limit : std::uint64_t{data.size()};
  zopra::pdf::Object object;
  std::uint64_t end = 0;
  bool ok = false;
  try {
    ok = zopra::pdf::parseObjectAt(data, 0, object, end, bounds);
  } catch (const zopra::pdf::Exception&) {
  }
  if (ok) {
    require(end <= size);
    if (object.isStream) {
      require(object.streamOffset <= size && object.streamLength <= size - object.streamOffset);
    }
  }
  if (bounds) require(bounds->reached <= size);
}

void collectReferences(const zopra::pdf::Value& value, std::vector<std::uint32_t>& out) {
  if (value.isReference()) out.push_back(value.objectNumber);
  for (const zopra::pdf::Value& element : value.array) collectReferences(element, out);
  for (const auto& [key, element] : value.dictionary) collectReferences(element, out);
}

void checkRaw(const Bytes& data) {
  zopra::pdf::RawValue raw;
  if (!zopra::pdf::scanRawValue(data.data(), data.size(), raw)) return;
  require(raw.begin < raw.end && raw.end <= data.size());
  std::vector<std::uint32_t> parsed;
  try {
    zopra::pdf::Lexer lexer(data.data() + raw.begin, raw.end - raw.begin);
    collectReferences(lexer.value(0), parsed);
    lexer.skipWhiteSpace();
    require(lexer.atEnd());
  } catch (const zopra::pdf::Exception&) {
    require(false);
  }
  std::vector<std::uint32_t> scanned = raw.references;
  std::sort(parsed.begin(), parsed.end());
  std::sort(scanned.begin(), scanned.end());
  require(parsed == scanned);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Bytes bytes(data, data + size);
  readValues(bytes);
  checkRaw(bytes);
  readObject(bytes, nullptr);
  zopra::pdf::ScanBounds bounds;
  bounds.limit = size / 2;
  readObject(bytes, &bounds);
  return 0;
}
