// Reading the file's own cross-reference data: classic tables, cross-reference
// streams and chains of incremental updates. Any inconsistency makes the whole
// attempt answer false, and the caller falls back to the recovery scan.
#include <algorithm>
#include <exception>
#include <map>
#include <set>
#include <string_view>
#include <vector>

#include "pdf/model/document.h"
#include "pdf/parse/lexer.h"
#include "pdf/parse/number_set.h"
#include "pdf/parse/object_stream_order.h"
#include "pdf/parse/trailer_candidate.h"

namespace zopra::pdf {

namespace {

constexpr double kMaxObjectNumber = 4294967295.0;
constexpr double kMaxOffset = 18446744073709551616.0;
// What the file can hold: an uncompressed object takes at least this many
// bytes ("1 0 obj 0 endobj"), and a cross-reference stream may describe at
// most kEntriesPerByte entries (free ones included) per byte of the file, or
// kMinEntryBudget in a small file. A section that claims more is not
// trusted; the recovery scan reads the file instead.
constexpr std::uint64_t kMinObjectBytes = 16;
constexpr std::uint64_t kEntriesPerByte = 4;
constexpr std::uint64_t kMinEntryBudget = std::uint64_t{1} << 20;

// A section is malformed: abandon the cross-reference data.
struct BadSection {};

class CrossReferenceReader {
 public:
  explicit CrossReferenceReader(Document& document)
      : document_(document), file_(document.file) {}

  bool read();

 private:
  void readSection(std::uint64_t offset);
  void readTable(Lexer& lexer, std::uint64_t sectionOffset);
  void readStream(std::uint64_t offset);
  void offerLink(const Value* entry);
  void addUncompressed(std::uint32_t number, std::uint64_t offset);
  bool claim(std::uint32_t number) { return seen_.insert(number); }
  bool checkEntries() const;
  bool objectStreamsNestedWithinLimit() const;
  void commit();

  Document& document_;
  ByteView file_;
  std::vector<std::uint64_t> pending_;
  std::set<std::uint64_t> visited_;
  NumberSet seen_;
  // Each number at most once (claim() sees to that).
  std::vector<std::pair<std::uint32_t, std::uint64_t>> uncompressed_;
  std::map<std::uint32_t, std::vector<CompressedEntry>> compressed_;
  std::uint32_t highest_ = 0;
  // Entries described by the cross-reference streams read so far.
  std::uint64_t entries_ = 0;
  TrailerCandidate trailer_;
};

bool CrossReferenceReader::read() {
  if (file_.size() < 9) return false;
  std::string_view text(reinterpret_cast<const char*>(file_.data()), file_.size());
  std::size_t keyword = text.rfind("startxref");
  if (keyword == std::string_view::npos) return false;
  Lexer lexer(file_.data(), file_.size(), keyword + 9);
  double start = lexer.number();
  if (!isWholeNumber(start, 0, kMaxOffset) || start >= static_cast<double>(file_.size())) {
    return false;
  }
  pending_.push_back(static_cast<std::uint64_t>(start));
  try {
    while (!pending_.empty()) {
      std::uint64_t offset = pending_.back();
      pending_.pop_back();
      if (!visited_.insert(offset).second) continue;  // ends Prev loops
      readSection(offset);
    }
  } catch (const BadSection&) {
    return false;
  }
  if (!trailer_.present() || !trailer_.hasRoot() || uncompressed_.empty()) return false;
  if (!checkEntries() || !objectStreamsNestedWithinLimit()) return false;
  commit();
  return true;
}

void CrossReferenceReader::readSection(std::uint64_t offset) {
  // A section starts at a token: an offset into the middle of a number (the
  // "3" of "63 0 obj") would read another object than the one meant.
  if (offset > 0 && !isDelimiter(file_[offset - 1]) && !isWhiteSpace(file_[offset])) {
    throw BadSection{};
  }
  Lexer lexer(file_.data(), file_.size(), offset);
  if (lexer.match("xref")) {
    readTable(lexer, offset);
  } else {
    readStream(offset);
  }
}

void CrossReferenceReader::readTable(Lexer& lexer, std::uint64_t sectionOffset) {
  while (!lexer.match("trailer")) {
    double first = lexer.number();
    double count = lexer.number();
    if (!isWholeNumber(first, 0, kMaxObjectNumber) || !isWholeNumber(count, 0, kMaxObjectNumber) ||
        first + count > kMaxObjectNumber + 1) {
      throw BadSection{};
    }
    auto firstNumber = static_cast<std::uint64_t>(first);
    auto entries = static_cast<std::uint64_t>(count);
    for (std::uint64_t i = 0; i < entries; ++i) {
      double offset = lexer.number();
      double generation = lexer.number();
      std::string type = lexer.word();
      if (!isWholeNumber(offset, 0, kMaxOffset) || !isWholeNumber(generation, 0, kMaxOffset) ||
          (type != "n" && type != "f")) {
        throw BadSection{};
      }
      if (type == "f" || offset == 0) continue;
      if (offset >= static_cast<double>(file_.size())) throw BadSection{};
      addUncompressed(static_cast<std::uint32_t>(firstNumber + i),
                      static_cast<std::uint64_t>(offset));
    }
  }
  Value dictionary = lexer.value(0);
  if (!dictionary.isDictionary()) throw BadSection{};
  trailer_.offer(dictionary, sectionOffset);
  offerLink(dictionary.find("Prev"));
  offerLink(dictionary.find("XRefStm"));
}

std::uint64_t readField(const Bytes& data, std::size_t& position, int width) {
  if (data.size() - position < static_cast<std::size_t>(width)) throw BadSection{};
  std::uint64_t value = 0;
  for (int i = 0; i < width; ++i) value = (value << 8) | data[position++];
  return value;
}

void CrossReferenceReader::readStream(std::uint64_t offset) {
  Object stream;
  std::uint64_t end = 0;
  if (!parseObjectAt(file_, offset, stream, end, nullptr, &document_.endstreamIndex()) ||
      !stream.isStream) {
    throw BadSection{};
  }
  const Value* type = stream.value.find("Type");
  if (!type || !type->isName("XRef")) throw BadSection{};
  std::uint32_t streamNumber = stream.number;
  stream.loaded = true;
  highest_ = std::max(highest_, streamNumber);
  // A newer section may already own this number (an update that reuses the
  // number of an old cross-reference stream for a new object): then the old
  // stream is read but not kept under it.
  Object* stored = &stream;
  if (claim(streamNumber)) stored = &(document_.objects[streamNumber] = std::move(stream));
  const Value& dictionary = stored->value;

  const Value* w = dictionary.find("W");
  if (!w || !w->isArray() || w->array.size() < 3) throw BadSection{};
  int widths[3];
  int totalWidth = 0;
  for (int i = 0; i < 3; ++i) {
    const Value& item = w->array[i];
    if (!item.isNumber() || !isWholeNumber(item.number, 0, 8)) throw BadSection{};
    widths[i] = static_cast<int>(item.number);
    totalWidth += widths[i];
  }
  if (totalWidth == 0) throw BadSection{};

  std::vector<std::pair<double, double>> ranges;
  if (const Value* index = dictionary.find("Index")) {
    if (!index->isArray() || index->array.size() % 2 != 0) throw BadSection{};
    for (std::size_t i = 0; i < index->array.size(); i += 2) {
      const Value& first = index->array[i];
      const Value& count = index->array[i + 1];
      if (!first.isNumber() || !count.isNumber() || !isWholeNumber(first.number, 0, kMaxOffset) ||
          !isWholeNumber(count.number, 0, kMaxOffset)) {
        throw BadSection{};
      }
      ranges.emplace_back(first.number, count.number);
    }
  } else {
    const Value* size = dictionary.find("Size");
    if (!size || !size->isNumber() || !isWholeNumber(size->number, 0, kMaxOffset)) {
      throw BadSection{};
    }
    ranges.emplace_back(0, size->number);
  }

  double claimed = 0;
  for (const auto& [first, count] : ranges) {
    if (first > kMaxObjectNumber || count > kMaxObjectNumber + 1 - first) throw BadSection{};
    claimed += count;
  }
  const std::uint64_t budget =
      std::max<std::uint64_t>(kMinEntryBudget, kEntriesPerByte * file_.size()) - entries_;
  if (claimed > static_cast<double>(budget)) throw BadSection{};
  entries_ += static_cast<std::uint64_t>(claimed);
  // Only the bytes the entries take are decoded: a stream of a few bytes
  // may inflate to far more.
  const std::size_t needed = static_cast<std::size_t>(claimed) * static_cast<std::size_t>(totalWidth);
  bool complete = false;
  Bytes data = document_.decodeStreamPrefix(*stored, needed, complete);

  std::size_t position = 0;
  for (const auto& [first, count] : ranges) {
    auto firstNumber = static_cast<std::uint64_t>(first);
    auto entries = static_cast<std::uint64_t>(count);
    for (std::uint64_t i = 0; i < entries; ++i) {
      // A missing type field means an uncompressed object, as the PDF standard says.
      std::uint64_t entryType = widths[0] == 0 ? 1 : readField(data, position, widths[0]);
      std::uint64_t second = readField(data, position, widths[1]);
      std::uint64_t third = readField(data, position, widths[2]);
      auto number = static_cast<std::uint32_t>(firstNumber + i);
      if (entryType == 0) continue;
      if (entryType == 1) {
        if (second >= file_.size()) throw BadSection{};
        // No object starts at offset 0, where the header is.
        if (second == 0) continue;
        addUncompressed(number, second);
      } else if (entryType == 2) {
        if (second > 4294967295u || third > 4294967295u) throw BadSection{};
        if (!claim(number)) continue;
        compressed_[static_cast<std::uint32_t>(second)].emplace_back(
            static_cast<std::uint32_t>(third), number);
        highest_ = std::max(highest_, number);
      } else {
        throw BadSection{};
      }
    }
  }
  trailer_.offer(dictionary, offset);
  offerLink(dictionary.find("Prev"));
}

void CrossReferenceReader::addUncompressed(std::uint32_t number, std::uint64_t offset) {
  if (uncompressed_.size() >= file_.size() / kMinObjectBytes) throw BadSection{};
  if (!claim(number)) return;  // the newer section, visited first, wins
  uncompressed_.emplace_back(number, offset);
  highest_ = std::max(highest_, number);
}

void CrossReferenceReader::offerLink(const Value* entry) {
  if (!entry || !entry->isNumber() || !isWholeNumber(entry->number, 0, kMaxOffset) ||
      entry->number >= static_cast<double>(file_.size())) {
    return;
  }
  pending_.push_back(static_cast<std::uint64_t>(entry->number));
}

// Every uncompressed entry must point at its own "N G obj" header.
bool CrossReferenceReader::checkEntries() const {
  try {
    for (const auto& [number, offset] : uncompressed_) {
      Lexer lexer(file_.data(), file_.size(), offset);
      if (lexer.number() != number) return false;
      if (lexer.atEnd() || !isWhiteSpace(file_[lexer.position()])) return false;
      double generation = lexer.number();
      if (!isWholeNumber(generation, 0, kMaxObjectNumber)) return false;
      if (lexer.atEnd() || !isWhiteSpace(file_[lexer.position()])) return false;
      if (!lexer.match("obj")) return false;
    }
  } catch (const Exception&) {
    return false;
  }
  return true;
}

// Object streams that the data lists as stored in other object streams are
// read a few levels deep. Deeper chains and cycles cannot be followed; the
// recovery scan then finds each stream where the file really stores it.
bool CrossReferenceReader::objectStreamsNestedWithinLimit() const {
  return objectStreamsByDepth(compressed_, Document::kMaxObjectStreamDepth).has_value();
}

void CrossReferenceReader::commit() {
  for (const auto& [number, offset] : uncompressed_) {
    Object& entry = document_.objects[number];
    entry.number = number;
    entry.offset = offset;
  }
  document_.compressedEntries = std::move(compressed_);
  document_.trailer = trailer_.take();
  document_.strictCrossReference = true;
  // 0 once every number is taken: createObject then refuses to wrap.
  document_.nextObjectNumber = highest_ + 1;
}

}  // namespace

bool Document::parseCrossReferences() {
  CrossReferenceReader reader(*this);
  return reader.read();
}

Error Document::parse() {
  try {
    if (parseCrossReferences()) return Error::None;
  } catch (const Exception&) {
  } catch (const std::exception&) {
  }
  objects.clear();
  trailer = Value();
  nextObjectNumber = 1;
  strictCrossReference = false;
  compressedEntries.clear();
  return parseLinear();
}

}  // namespace zopra::pdf
