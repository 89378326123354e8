// Document::decodeStream: the stream's filter chain with its parameters.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "pdf/filters/filters.h"
#include "pdf/model/document.h"

namespace zopra::pdf {

namespace {

// What Document::decodeStream keeps of the streams it decoded last.
constexpr std::size_t kMaxKeptStreams = 16;
constexpr std::size_t kMaxKeptStream = std::size_t{1} << 20;
constexpr std::size_t kMaxKeptBytes = std::size_t{4} << 20;

std::vector<std::string> filterNames(const Document& document, const Value& dictionary) {
  std::vector<std::string> names;
  const Value* filter = document.dictionaryValue(&dictionary, "Filter");
  if (!filter) return names;
  if (filter->isName()) {
    names.push_back(filter->text);
  } else if (filter->isArray()) {
    for (const Value& element : filter->array) {
      const Value* resolved = document.resolve(&element);
      if (resolved && resolved->isName()) names.push_back(resolved->text);
    }
  }
  return names;
}

// Follows a chain of references; null for a loop or a missing object.
const Value* chaseReferences(const Document& document, const Value* value) {
  std::set<std::uint32_t> visited;
  while (value->isReference()) {
    if (!visited.insert(value->objectNumber).second) return nullptr;
    const Object* target = document.object(value->objectNumber);
    if (!target) return nullptr;
    value = &target->value;
  }
  return value;
}

// One entry per filter: the parameter value of that filter, or null. Entries
// point into the document's objects, which are never removed.
std::vector<const Value*> filterParameters(const Document& document, const Value& dictionary,
                                           std::size_t filterCount) {
  std::vector<const Value*> parameters(filterCount, nullptr);
  const Value* decodeParms = document.dictionaryValue(&dictionary, "DecodeParms");
  if (!decodeParms) return parameters;
  if (decodeParms->isDictionary()) {
    // A lone dictionary is ambiguous with several filters and is ignored then.
    if (filterCount == 1) parameters[0] = decodeParms;
  } else if (decodeParms->isArray()) {
    std::size_t count = std::min(decodeParms->array.size(), filterCount);
    for (std::size_t i = 0; i < count; ++i) {
      parameters[i] = chaseReferences(document, &decodeParms->array[i]);
    }
  }
  return parameters;
}

// Truncates toward zero, saturating at the range of std::int64_t; NaN gives 0.
std::int64_t truncateNumber(double number) {
  constexpr double kLimit = 9.2e18;
  if (std::isnan(number)) return 0;
  if (number >= kLimit) return static_cast<std::int64_t>(kLimit);
  if (number <= -kLimit) return -static_cast<std::int64_t>(kLimit);
  return static_cast<std::int64_t>(number);
}

std::int64_t integerParameter(const Document& document, const Value& dictionary,
                              std::string_view key, std::int64_t fallback) {
  const Value* entry = document.dictionaryValue(&dictionary, key);
  if (!entry || !entry->isNumber()) return fallback;
  return truncateNumber(entry->number);
}

PredictorParameters predictorParameters(const Document& document, const Value& dictionary) {
  PredictorParameters parameters;
  parameters.predictor = integerParameter(document, dictionary, "Predictor", 1);
  parameters.colors = integerParameter(document, dictionary, "Colors", 1);
  parameters.bitsPerComponent = integerParameter(document, dictionary, "BitsPerComponent", 8);
  parameters.columns = integerParameter(document, dictionary, "Columns", 1);
  return parameters;
}

enum class FilterKind { Flate, Lzw, AsciiHex, Ascii85, RunLength, Crypt };

FilterKind filterKind(const std::string& name) {
  if (name == "FlateDecode" || name == "Fl") return FilterKind::Flate;
  if (name == "LZWDecode" || name == "LZW") return FilterKind::Lzw;
  if (name == "ASCIIHexDecode" || name == "AHx") return FilterKind::AsciiHex;
  if (name == "ASCII85Decode" || name == "A85") return FilterKind::Ascii85;
  if (name == "RunLengthDecode" || name == "RL") return FilterKind::RunLength;
  if (name == "Crypt") return FilterKind::Crypt;
  throw Exception(Error::Stream, "unsupported PDF stream filter: " + name);
}

}  // namespace

Bytes Document::decodeStream(const Object& source) const {
  // Streams of the file only: those the engine made change.
  const bool kept = keepDecoded && source.isStream && !source.createdStream;
  if (kept) {
    for (const DecodedStream& recent : recentlyDecoded) {
      if (recent.number == source.number) return recent.data;
    }
  }
  bool complete = true;
  Bytes data = decodeStreamPrefix(source, SIZE_MAX, complete);
  if (kept && data.size() <= kMaxKeptStream) {
    std::size_t total = data.size();
    for (const DecodedStream& recent : recentlyDecoded) total += recent.data.size();
    while (!recentlyDecoded.empty() && (recentlyDecoded.size() >= kMaxKeptStreams || total > kMaxKeptBytes)) {
      total -= recentlyDecoded.front().data.size();
      recentlyDecoded.erase(recentlyDecoded.begin());
    }
    recentlyDecoded.push_back({source.number, data});
  }
  return data;
}

Bytes Document::decodeStreamPrefix(const Object& source, std::size_t size, bool& complete) const {
  complete = true;
  if (!source.isStream) return {};
  if (source.createdStream) return source.data;

  std::vector<std::string> names = filterNames(*this, source.value);
  std::vector<const Value*> parameters = filterParameters(*this, source.value, names.size());
  std::vector<FilterKind> kinds;
  for (const std::string& name : names) kinds.push_back(filterKind(name));
  // Only a chain of Flate filters can stop early: the other filters would
  // misread data cut in the middle of a group or run.
  const bool prefix = size != SIZE_MAX && std::all_of(kinds.begin(), kinds.end(), [](FilterKind kind) {
                        return kind == FilterKind::Flate || kind == FilterKind::Crypt;
                      });

  Bytes buffer = storedStream(source);
  bool cut = false;
  // A damaged Flate stream gives what inflated before the fault; the rest
  // of the chain then works on the start of the data.
  bool damaged = false;
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    bool broken = false;
    switch (kinds[i]) {
      case FilterKind::Flate:
        if (prefix) {
          // A predictor adds a byte to every row: its input is up to twice
          // the bytes wanted after it.
          const bool predicted = parameters[i] && parameters[i]->isDictionary();
          const std::size_t wanted = predicted && size < SIZE_MAX / 2 - 64 ? 2 * size + 64 : size;
          bool stopped = false;
          buffer = flateDecodePrefix(buffer, wanted, cut || damaged, stopped, &broken);
          cut = cut || stopped;
        } else {
          buffer = flateDecodeLenient(buffer, broken);
        }
        break;
      case FilterKind::Lzw: {
        const Value* parameter = parameters[i];
        std::int64_t early = parameter && parameter->isDictionary()
                                 ? integerParameter(*this, *parameter, "EarlyChange", 1)
                                 : 1;
        buffer = lzwDecode(buffer, early == 0 ? 0 : 1);
        break;
      }
      case FilterKind::AsciiHex: buffer = asciiHexDecode(buffer); break;
      case FilterKind::Ascii85: buffer = ascii85Decode(buffer); break;
      case FilterKind::RunLength: buffer = runLengthDecode(buffer); break;
      case FilterKind::Crypt: continue;  // decryption already happened at load
    }
    damaged = damaged || broken;
    if (parameters[i] && parameters[i]->isDictionary()) {
      buffer = applyPredictor(std::move(buffer), predictorParameters(*this, *parameters[i]), cut || damaged);
    }
  }
  if (damaged) {
    noteDamage("damaged Flate stream in object " + std::to_string(source.number) + ": kept the first " +
               std::to_string(buffer.size()) + " decoded bytes");
  }
  complete = !cut;
  return buffer;
}

}  // namespace zopra::pdf
