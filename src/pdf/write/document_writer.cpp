// The document writer: every object of the document, parsed or not yet
// parsed, written out in ascending number as one complete, unencrypted file
// with a classic cross-reference table. Streams keep the bytes the document
// holds for them. The compact form (Document::saveCompact) instead walks the
// objects from the trailer, writes only those it reaches, and compresses the
// streams the engine made.
#include "pdf/write/document_writer.h"

#include <zlib.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <deque>
#include <exception>
#include <future>
#include <memory>
#include <optional>
#include <locale>
#include <sstream>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "pdf/model/document.h"
#include "pdf/parse/raw_value.h"
#include "pdf/write/content_strings.h"
#include "pdf/write/deflate_pool.h"
#include "pdf/write/kept_object_streams.h"
#include "pdf/write/output_file.h"
#include "pdf/write/value_writer.h"

namespace zopra::pdf {

namespace {

// A run of more free numbers than this between two written objects starts a
// new subsection of the table instead of being listed entry by entry. Real
// files number their objects densely; a crafted file naming object 4000000000
// must not turn into 80 GB of free entries.
constexpr std::uint32_t kMaxFreeRun = 256;
// Generations above this have no place in a cross-reference entry.
constexpr std::uint32_t kMaxGeneration = 65535;
// Ten digits is all a table entry has for an offset.
constexpr std::uint64_t kMaxOffset = 9999999999ULL;
// Objects per object stream: enough for the stream to compress well, few
// enough that a reader fetching one object decodes little.
constexpr std::size_t kObjectsPerStream = 100;
// Bytes of the three fields of a cross-reference stream row: type, offset
// (or object stream number), generation (or index in the object stream).
constexpr int kRowWidths[3] = {1, 5, 2};

// Deflated streams are written this many streams after they were made, so
// that other threads can deflate them meanwhile. The delay is the same for
// every thread count, and so is the file.
constexpr std::size_t kWriteDelay = 8;

// The memory decoded input object streams may take while the file is
// written.
constexpr std::size_t kWritingObjectStreamBudget = std::size_t{4} << 20;

constexpr const char* kDroppedTrailerKeys[] = {"Encrypt", "Prev",   "XRefStm",     "W",   "Index",
                                               "Length",  "Filter", "DecodeParms", "Type"};

// Forwards to the file and counts the bytes, so that object offsets are
// known without asking the file for its position.
class CountingBuffer final : public std::streambuf {
 public:
  explicit CountingBuffer(std::streambuf& sink) : sink_(sink) {}
  std::uint64_t position() const { return count_; }

 protected:
  int_type overflow(int_type ch) override {
    if (traits_type::eq_int_type(ch, traits_type::eof())) return traits_type::not_eof(ch);
    if (traits_type::eq_int_type(sink_.sputc(traits_type::to_char_type(ch)), traits_type::eof())) {
      return traits_type::eof();
    }
    ++count_;
    return ch;
  }
  std::streamsize xsputn(const char* data, std::streamsize size) override {
    std::streamsize done = sink_.sputn(data, size);
    if (done > 0) count_ += static_cast<std::uint64_t>(done);
    return done;
  }
  int sync() override { return sink_.pubsync(); }

 private:
  std::streambuf& sink_;
  std::uint64_t count_ = 0;
};

struct TableEntry {
  std::uint32_t number;
  std::uint32_t generation;  // or the index inside the object stream
  std::uint64_t offset;      // or the object stream's number
  bool packed = false;       // held by an object stream
};

void putBigEndian(Bytes& out, std::uint64_t value, int width) {
  for (int shift = 8 * (width - 1); shift >= 0; shift -= 8) out.push_back(static_cast<std::uint8_t>(value >> shift));
}

// How an object was held before the writer fetched it; the writer gives it
// back in the same state, so saving a large file does not leave every one of
// its objects parsed in memory.
enum class Held { Parsed, Unparsed, Compressed };

// `number` as exactly `width` digits, zero-padded (the caller keeps it in range).
void putPadded(std::ostream& out, std::uint64_t number, int width) {
  char buffer[24];
  for (int i = width - 1; i >= 0; --i) {
    buffer[i] = static_cast<char>('0' + number % 10);
    number /= 10;
  }
  out.write(buffer, width);
}

class DocumentWriter {
 public:
  DocumentWriter(Document& document, std::ostream& file, WriteOptions options)
      : document_(document), options_(std::move(options)), counter_(*file.rdbuf()), out_(&counter_) {
    out_.imbue(std::locale::classic());
    objectText_.imbue(std::locale::classic());
    // Object streams and the cross-reference stream take numbers after
    // every number the document uses.
    std::uint64_t highest = document_.nextObjectNumber;
    if (!document_.objects.empty()) highest = std::max<std::uint64_t>(highest, document_.objects.rbegin()->first);
    const CompressedIndex& compressed = document_.compressedObjects;
    if (compressed.size() > 0) highest = std::max<std::uint64_t>(highest, compressed.numberAt(compressed.size() - 1));
    nextNumber_ = highest + 1;
    // Only the walk from the trailer writes an input object stream nobody
    // refers to just once: writing every object would write it again.
    if (options_.objectStreams && options_.onlyReachable) {
      kept_.emplace(document_, options_.replacements);
    }
  }

  // Writes the whole file; false when the output stream failed on the way.
  bool write() {
    writeHeader();
    std::uint64_t tableSize = 1;
    if (options_.onlyReachable) {
      // Breadth first from the trailer: each object written queues the
      // objects its value refers to, each number once.
      Value trailer = writtenTrailer(0);
      queueReferences(trailer);
      for (std::size_t next = 0; next < queue_.size(); ++next) writeObject(queue_[next]);
      writeDeferred();
      std::sort(table_.begin(), table_.end(),
                [](const TableEntry& a, const TableEntry& b) { return a.number < b.number; });
      if (!table_.empty()) tableSize = std::uint64_t{table_.back().number} + 1;
    } else {
      const std::vector<std::uint32_t> numbers = objectNumbers();
      for (std::uint32_t number : numbers) writeObject(number);
      if (!numbers.empty()) tableSize = std::uint64_t{numbers.back()} + 1;
    }
    if (options_.objectStreams) {
      flushObjectStream();
      writeDeferred();
      writeKeptStreams();
      writeCrossReferenceStream();
      out_.flush();
      return !out_.fail();
    }
    writeDeferred();
    const std::uint64_t tableOffset = counter_.position();
    writeTable(tableSize);
    writeTrailer(tableSize, tableOffset);
    out_.flush();
    return !out_.fail();
  }

 private:
  void writeHeader() {
    // Readers of 1.4 and later handle everything the writer produces; older
    // version numbers are raised to it.
    const char* oldest = options_.objectStreams ? "1.5" : "1.4";
    const std::string& version = document_.version < oldest ? std::string(oldest) : document_.version;
    writeText(out_, "%PDF-");
    writeText(out_, version);
    writeText(out_, "\n%\xE2\xE3\xCF\xD3\n");
  }

  // The numbers of the parsed and unparsed objects and of the objects still
  // inside object streams, ascending and without repeats. Number 0 heads the
  // free list of every table and cannot be an object of the new file.
  std::vector<std::uint32_t> objectNumbers() const {
    const CompressedIndex& compressed = document_.compressedObjects;
    std::vector<std::uint32_t> numbers;
    numbers.reserve(document_.objects.size() + compressed.size());
    auto parsed = document_.objects.begin();
    std::size_t index = 0;
    while (parsed != document_.objects.end() || index < compressed.size()) {
      std::uint32_t next;
      if (index >= compressed.size() ||
          (parsed != document_.objects.end() && parsed->first <= compressed.numberAt(index))) {
        next = parsed->first;
        ++parsed;
      } else {
        next = compressed.numberAt(index);
        ++index;
      }
      if (next != 0 && (numbers.empty() || numbers.back() != next)) numbers.push_back(next);
    }
    return numbers;
  }

  StringForm strings() const { return options_.shortStrings ? StringForm::Shortest : StringForm::Hex; }

  // Every reference in `value` to an existing object not queued before.
  void queueReferences(const Value& value) {
    std::vector<const Value*> pending{&value};
    while (!pending.empty()) {
      const Value* current = pending.back();
      pending.pop_back();
      if (current->isReference()) {
        const std::uint32_t number = current->objectNumber;
        if (number != 0 && document_.hasObject(number) && queue(number)) queue_.push_back(number);
      } else if (current->isArray()) {
        for (const Value& item : current->array) pending.push_back(&item);
      } else if (current->isDictionary()) {
        for (const auto& [key, item] : current->dictionary) pending.push_back(&item);
      }
    }
  }

  void writeObject(std::uint32_t number) {
    // The Encrypt dictionary has no meaning in an unencrypted file.
    const std::uint32_t encryptObject = document_.encryption.dictionaryObject;
    if (encryptObject != 0 && number == encryptObject) return;
    // A kept object stream is written once, after everything else.
    if (kept_ && kept_->kept(number)) return;
    auto slot = document_.objects.find(number);
    const Held held = slot == document_.objects.end() ? Held::Compressed
                      : slot->second.loaded           ? Held::Parsed
                                                      : Held::Unparsed;
    auto replaced = options_.replacements.find(number);
    if (replaced == options_.replacements.end() && options_.objectStreams &&
        (held == Held::Compressed ? copyCompressed(number) : held == Held::Parsed && keepParsed(number))) {
      return;
    }
    Object* object = replaced != options_.replacements.end() ? &replaced->second : document_.object(number);
    if (!object) return;
    const Value* type = object->value.isDictionary() ? object->value.find("Type") : nullptr;
    if (options_.objectStreams && !object->isStream && object->generation == 0) {
      // One stream serves every object: setting up a stream and its locale
      // costs more than writing most objects.
      objectText_.str(std::string());
      objectText_.clear();
      writeValue(objectText_, object->value, strings());
      addPending(number, objectText_.view());
      if (options_.onlyReachable) queueReferences(object->value);
      release(number, held);
      if (pendingObjects_.size() >= kObjectsPerStream) flushObjectStream();
      return;
    }
    if (object->isStream && options_.compressCreated && object->createdStream && !object->data.empty()) {
      deferCreatedStream(number, *object);
      if (options_.onlyReachable) queueReferences(object->value);
      release(number, held);
      return;
    }
    // Cross-reference streams describe the input file's layout; the new file
    // has its own table.
    if (!(type && type->isName("XRef"))) {
      startObject(number, std::min(object->generation, kMaxGeneration));
      if (object->isStream) {
        writeStream(*object);
      } else {
        writeValue(out_, object->value, strings());
        out_.put('\n');
      }
      writeText(out_, "endobj\n");
      // The value as written: an indirect Length is no longer referred to.
      if (options_.onlyReachable) queueReferences(object->value);
    }
    release(number, held);
  }

  // An object of an input object stream that nothing changed goes into the
  // next object stream as its text stands, when that text is plain enough
  // (see raw_value.h); false leaves it to be parsed and written.
  bool copyCompressed(std::uint32_t number) {
    const std::optional<CompressedObject> found = document_.compressedObjects.find(number);
    if (!found) return false;
    // The stream's last object runs to the end of its decoded bytes.
    const bool last = found->end == 0;
    // Whole streams: writing copies most objects of a stream, and growing
    // a decoded prefix object by object decodes the stream several times.
    const std::shared_ptr<const ObjectStreamData> data = document_.objectStreamData(found->stream, SIZE_MAX);
    if (last && !data->complete) return false;
    const std::size_t end = last ? data->bytes.size() : found->end;
    if (end <= found->position || data->bytes.size() < end) return false;
    const std::uint8_t* text = data->bytes.data() + found->position;
    if (!scanRawValue(text, end - found->position, raw_)) return false;
    if (const auto place = keptPlace(*found)) {
      table_.push_back({number, place->second, place->first, true});
    } else {
      addPending(number, std::string_view(reinterpret_cast<const char*>(text) + raw_.begin, raw_.end - raw_.begin));
    }
    if (options_.onlyReachable) {
      for (std::uint32_t reference : raw_.references) {
        if (reference != 0 && document_.hasObject(reference) && queue(reference)) queue_.push_back(reference);
      }
    }
    if (pendingObjects_.size() >= kObjectsPerStream) flushObjectStream();
    return true;
  }

  // Where the object stays when its stream is written as it stands (unless
  // this walk wrote that stream already, as an object something refers to).
  std::optional<std::pair<std::uint32_t, std::uint32_t>> keptPlace(const CompressedObject& found) {
    if (!kept_ || (!kept_->kept(found.stream) && queued(found.stream))) return std::nullopt;
    return kept_->place(found);
  }

  // A parsed object of an input object stream, unchanged, stays in that
  // stream when it is written as it stands.
  bool keepParsed(std::uint32_t number) {
    const std::optional<CompressedObject> found = document_.compressedObjects.find(number);
    const auto place = found ? keptPlace(*found) : std::nullopt;
    if (!place) return false;
    table_.push_back({number, place->second, place->first, true});
    if (options_.onlyReachable) queueReferences(document_.objects.at(number).value);
    return true;
  }

  void writeKeptStreams() {
    if (!kept_) return;
    // Objects of a kept stream that were not written (nothing refers to
    // them) still stand in it: listed there, readers find them valid.
    std::vector<std::uint32_t> written;
    written.reserve(table_.size());
    for (const TableEntry& entry : table_) written.push_back(entry.number);
    std::sort(written.begin(), written.end());
    for (std::uint32_t number : kept_->streams()) {
      for (const auto& [held, index] : kept_->held(number)) {
        if (!std::binary_search(written.begin(), written.end(), held)) table_.push_back({held, index, number, true});
      }
    }
    for (std::uint32_t number : kept_->streams()) {
      Object stream = kept_->writtenStream(number);
      startObject(number, std::min(stream.generation, kMaxGeneration));
      writeStream(stream);
      writeText(out_, "endobj\n");
    }
  }

  void writeStream(Object& object) {
    if (!object.value.isDictionary()) object.value = Value::Dictionary({});
    ValueDictionary& dictionary = object.value.dictionary;
    if (object.createdStream) {
      // Streams made by the engine hold plain bytes.
      dictionary.erase("Filter");
      dictionary.erase("DecodeParms");
    }
    const std::uint64_t length = object.data.empty() ? object.streamLength : object.data.size();
    dictionary.insert_or_assign("Length", Value::Number(static_cast<double>(length)));
    writeValue(out_, object.value, strings());
    writeText(out_, "\nstream\n");
    if (!object.data.empty()) {
      out_.write(reinterpret_cast<const char*>(object.data.data()),
                 static_cast<std::streamsize>(object.data.size()));
    } else if (length != 0) {
      // Bytes still in the input file are copied straight from it rather
      // than into memory first.
      const FileBytes& file = document_.file;
      if (object.streamOffset > file.size() || length > file.size() - object.streamOffset) {
        throw Exception(Error::Format, "invalid PDF stream range");
      }
      out_.write(reinterpret_cast<const char*>(file.data() + object.streamOffset),
                 static_cast<std::streamsize>(length));
      file.noteRead(length);
    }
    writeText(out_, "\nendstream\n");
  }

  // A stream the engine made, deflated for the file: the document keeps
  // its plain bytes (and their length).
  void deferCreatedStream(std::uint32_t number, Object& object) {
    if (!object.value.isDictionary()) object.value = Value::Dictionary({});
    ValueDictionary& dictionary = object.value.dictionary;
    dictionary.erase("Filter");
    dictionary.erase("DecodeParms");
    dictionary.insert_or_assign("Length", Value::Number(static_cast<double>(object.data.size())));
    Value written = object.value;
    written.dictionary.insert_or_assign("Filter", Value::Name("FlateDecode"));
    // The object outlives the writer, so its bytes are deflated in place.
    // zlib's default level: its best level takes twice the time for 1% less
    // on content streams.
    defer(number, std::min(object.generation, kMaxGeneration), std::move(written), &object.data, nullptr,
          options_.literalStrings.count(number) > 0);
  }

  // Queues a stream object for deflating and writing: `plain` points to
  // bytes that stay put until the writer ends, or `owned` holds them.
  void defer(std::uint32_t number, std::uint32_t generation, Value dictionary, const Bytes* plain,
             std::shared_ptr<const Bytes> owned, bool literal = false) {
    Deferred entry{number, generation, std::move(dictionary), {}, {}};
    if (owned) plain = owned.get();
    if (options_.threads > 1) {
      // One thread fewer than asked: the writer deflates too, while it
      // waits for the stream it writes next.
      if (!pool_) pool_ = std::make_unique<DeflatePool>(options_.threads - 1);
      entry.packing = pool_->submit(plain, std::move(owned), literal);
    } else {
      entry.packed = deflateBytes(literal ? literalContentStrings(*plain) : *plain);
    }
    deferred_.push_back(std::move(entry));
    while (deferred_.size() > kWriteDelay) writeOldestDeferred();
  }

  void writeOldestDeferred() {
    Deferred entry = std::move(deferred_.front());
    deferred_.pop_front();
    if (entry.packing.valid()) {
      // Waiting for its stream, the writer deflates others meanwhile.
      while (entry.packing.wait_for(std::chrono::seconds(0)) != std::future_status::ready && pool_->runOne()) {
      }
      entry.packed = entry.packing.get();
    }
    startObject(entry.number, entry.generation);
    entry.dictionary.dictionary.insert_or_assign("Length", Value::Number(static_cast<double>(entry.packed.size())));
    writeStreamObject(entry.dictionary, entry.packed);
  }

  void writeDeferred() {
    while (!deferred_.empty()) writeOldestDeferred();
  }

  // Returns an object fetched only for writing to the state it was in.
  void release(std::uint32_t number, Held held) {
    if (held == Held::Compressed) {
      document_.objects.erase(number);
    } else if (held == Held::Unparsed) {
      auto slot = document_.objects.find(number);
      if (slot == document_.objects.end()) return;
      Object unparsed;
      unparsed.number = number;
      unparsed.offset = slot->second.offset;
      slot->second = std::move(unparsed);
    }
  }

  std::uint32_t takeNumber() {
    if (nextNumber_ > 0xFFFFFFFFULL) throw Exception(Error::Format, "no free PDF object number");
    return static_cast<std::uint32_t>(nextNumber_++);
  }

  void startObject(std::uint32_t number, std::uint32_t generation) {
    const std::uint64_t offset = counter_.position();
    if (offset > kMaxOffset) throw Exception(Error::Io, "failed while writing output PDF");
    table_.push_back({number, generation, offset});
    writeUnsigned(out_, number);
    out_.put(' ');
    writeUnsigned(out_, generation);
    writeText(out_, " obj\n");
  }

  void writeStreamObject(const Value& dictionary, const Bytes& data) {
    writeValue(out_, dictionary, strings());
    writeText(out_, "\nstream\n");
    out_.write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
    writeText(out_, "\nendstream\nendobj\n");
  }

  // Writes the objects gathered so far as one object stream: a line of
  // "number offset" pairs, then the objects, deflated.
  void flushObjectStream() {
    if (pendingObjects_.empty()) return;
    std::string header;
    for (const auto& [number, offset] : pendingObjects_) {
      header += std::to_string(number) + ' ' + std::to_string(offset) + ' ';
    }
    header.back() = '\n';
    const std::uint32_t streamNumber = takeNumber();
    std::uint32_t index = 0;
    for (const auto& [number, offset] : pendingObjects_) table_.push_back({number, index++, streamNumber, true});
    auto data = std::make_shared<Bytes>();
    data->reserve(header.size() + pendingBody_.size());
    data->insert(data->end(), header.begin(), header.end());
    data->insert(data->end(), pendingBody_.begin(), pendingBody_.end());
    defer(streamNumber, 0,
          Value::Dictionary({{"Type", Value::Name("ObjStm")},
                             {"N", Value::Number(static_cast<double>(pendingObjects_.size()))},
                             {"First", Value::Number(static_cast<double>(header.size()))},
                             {"Filter", Value::Name("FlateDecode")}}),
          nullptr, std::move(data));
    pendingObjects_.clear();
    pendingBody_.clear();
  }

  // An object for the next object stream, its text and a line end.
  void addPending(std::uint32_t number, std::string_view text) {
    pendingObjects_.emplace_back(number, pendingBody_.size());
    pendingBody_.append(text);
    pendingBody_ += '\n';
  }

  // Marks the number queued; false when it was already. Numbers are bits
  // up to a bound, so that a file naming object 4,000,000,000 costs no
  // half a gigabyte of them.
  bool queue(std::uint32_t number) {
    if (number >= kQueuedBits) return queuedAbove_.insert(number).second;
    if (number >= queued_.size()) {
      queued_.resize(std::min<std::size_t>(kQueuedBits, std::max<std::size_t>(number + 1, 2 * queued_.size())), false);
    }
    if (queued_[number]) return false;
    queued_[number] = true;
    return true;
  }

  bool queued(std::uint32_t number) const {
    return number < kQueuedBits ? number < queued_.size() && queued_[number] : queuedAbove_.count(number) != 0;
  }

  // The cross-reference stream, holding the trailer's entries, closes the file.
  void writeCrossReferenceStream() {
    const std::uint32_t number = takeNumber();
    const std::uint64_t offset = counter_.position();
    table_.push_back({number, 0, offset});
    std::sort(table_.begin(), table_.end(),
              [](const TableEntry& a, const TableEntry& b) { return a.number < b.number; });
    const std::uint64_t tableSize = std::uint64_t{number} + 1;
    Bytes rows;
    ValueArray index;
    auto written = table_.begin();
    for (const auto& [first, end] : sections(tableSize)) {
      index.push_back(Value::Number(static_cast<double>(first)));
      index.push_back(Value::Number(static_cast<double>(end - first)));
      for (std::uint64_t entry = first; entry < end; ++entry) {
        std::uint64_t fields[3] = {0, 0, entry == 0 ? 65535U : 0U};
        if (written != table_.end() && written->number == entry) {
          fields[0] = written->packed ? 2 : 1;
          fields[1] = written->offset;
          fields[2] = written->generation;
          ++written;
        }
        for (int i = 0; i < 3; ++i) putBigEndian(rows, fields[i], kRowWidths[i]);
      }
    }
    // Rows differ from the row above in few bytes: with the PNG Up filter
    // the data is mostly zeros, which deflates ten times faster and smaller.
    constexpr std::size_t kRowSize = kRowWidths[0] + kRowWidths[1] + kRowWidths[2];
    Bytes filtered;
    filtered.reserve(rows.size() / kRowSize * (kRowSize + 1));
    for (std::size_t row = 0; row < rows.size(); row += kRowSize) {
      filtered.push_back(2);
      for (std::size_t i = row; i < row + kRowSize; ++i) {
        filtered.push_back(static_cast<std::uint8_t>(rows[i] - (row > 0 ? rows[i - kRowSize] : 0)));
      }
    }
    const Bytes packed = deflateBytes(filtered);
    Value dictionary = writtenTrailer(tableSize);
    ValueDictionary& entries = dictionary.dictionary;
    entries.insert_or_assign("Type", Value::Name("XRef"));
    entries.insert_or_assign("W", Value::Array({Value::Number(kRowWidths[0]), Value::Number(kRowWidths[1]),
                                                Value::Number(kRowWidths[2])}));
    entries.insert_or_assign("Index", Value::Array(std::move(index)));
    entries.insert_or_assign("Filter", Value::Name("FlateDecode"));
    entries.insert_or_assign("DecodeParms", Value::Dictionary({{"Predictor", Value::Number(12)},
                                                               {"Columns", Value::Number(kRowSize)}}));
    entries.insert_or_assign("Length", Value::Number(static_cast<double>(packed.size())));
    writeUnsigned(out_, number);
    writeText(out_, " 0 obj\n");
    writeStreamObject(dictionary, packed);
    writeText(out_, "startxref\n");
    writeUnsigned(out_, offset);
    writeText(out_, "\n%%EOF\n");
  }

  // The table's subsections as [first, end) ranges of object numbers.
  std::vector<std::pair<std::uint64_t, std::uint64_t>> sections(std::uint64_t tableSize) const {
    std::vector<std::pair<std::uint64_t, std::uint64_t>> ranges;
    std::uint64_t first = 0;
    std::uint64_t end = 1;
    for (const TableEntry& entry : table_) {
      if (entry.number - end > kMaxFreeRun) {
        ranges.emplace_back(first, end);
        first = entry.number;
      }
      end = std::uint64_t{entry.number} + 1;
    }
    // Trailing objects that were not written (an XRef stream, say) are listed as free.
    if (tableSize - end <= kMaxFreeRun) end = tableSize;
    ranges.emplace_back(first, end);
    return ranges;
  }

  void writeTable(std::uint64_t tableSize) {
    writeText(out_, "xref\n");
    auto written = table_.begin();
    for (const auto& [sectionFirst, sectionEnd] : sections(tableSize)) {
      writeUnsigned(out_, sectionFirst);
      out_.put(' ');
      writeUnsigned(out_, sectionEnd - sectionFirst);
      out_.put('\n');
      for (std::uint64_t number = sectionFirst; number < sectionEnd; ++number) {
        if (number == 0) {
          writeText(out_, "0000000000 65535 f \n");
        } else if (written != table_.end() && written->number == number) {
          putPadded(out_, written->offset, 10);
          out_.put(' ');
          putPadded(out_, written->generation, 5);
          writeText(out_, " n \n");
          ++written;
        } else {
          writeText(out_, "0000000000 00000 f \n");
        }
      }
    }
  }

  Value writtenTrailer(std::uint64_t tableSize) const {
    Value trailer = document_.trailer.isDictionary() ? document_.trailer : Value::Dictionary({});
    for (const char* key : kDroppedTrailerKeys) trailer.dictionary.erase(key);
    trailer.dictionary.insert_or_assign("Size", Value::Number(static_cast<double>(tableSize)));
    return trailer;
  }

  void writeTrailer(std::uint64_t tableSize, std::uint64_t tableOffset) {
    const Value trailer = writtenTrailer(tableSize);
    writeText(out_, "trailer\n");
    writeValue(out_, trailer, strings());
    writeText(out_, "\nstartxref\n");
    writeUnsigned(out_, tableOffset);
    writeText(out_, "\n%%EOF\n");
  }

  Document& document_;
  WriteOptions options_;
  CountingBuffer counter_;
  std::ostream out_;
  std::vector<TableEntry> table_;
  std::vector<std::uint32_t> queue_;
  // By object number: queued for the walk from the trailer.
  static constexpr std::uint32_t kQueuedBits = 1u << 24;
  std::vector<bool> queued_;
  std::unordered_set<std::uint32_t> queuedAbove_;
  // The objects of the next object stream: numbers and where their text
  // starts in the body.
  std::vector<std::pair<std::uint32_t, std::size_t>> pendingObjects_;
  std::string pendingBody_;
  std::ostringstream objectText_;
  RawValue raw_;
  // Input object streams written as they stand (compact output).
  std::optional<KeptObjectStreams> kept_;
  // Streams made, not yet written: their packed bytes, or the deflate
  // running for them.
  struct Deferred {
    std::uint32_t number;
    std::uint32_t generation;
    Value dictionary;
    Bytes packed;
    std::future<Bytes> packing;
  };
  std::deque<Deferred> deferred_;
  // Declared after the streams waiting for it, so that it ends (finishing
  // what was queued) before they go.
  std::unique_ptr<DeflatePool> pool_;
  std::uint64_t nextNumber_ = 1;
};

}  // namespace

Bytes deflateBytes(const Bytes& data, int level) {
  z_stream stream{};
  if (deflateInit(&stream, level) != Z_OK) throw Exception(Error::Io, "failed to compress a stream");
  // At the default level, matches are searched along chains of at most 32
  // earlier places instead of 128: on page content (operators, numbers and
  // two-byte glyph codes) that takes a sixth less time for 0.7% more
  // bytes.
  if (level == Z_DEFAULT_COMPRESSION) deflateTune(&stream, 8, 32, 128, 32);
  Bytes packed(deflateBound(&stream, static_cast<uLong>(data.size())));
  // zlib counts what it is given in 32 bits: larger data goes in pieces.
  constexpr std::size_t kPiece = std::size_t{1} << 30;
  std::size_t in = 0, out = 0;
  int result = Z_OK;
  while (result == Z_OK) {
    const std::size_t piece = std::min(data.size() - in, kPiece);
    stream.next_in = const_cast<Bytef*>(data.data() + in);
    stream.avail_in = static_cast<uInt>(piece);
    stream.next_out = packed.data() + out;
    stream.avail_out = static_cast<uInt>(std::min(packed.size() - out, kPiece));
    result = deflate(&stream, in + piece == data.size() ? Z_FINISH : Z_NO_FLUSH);
    in += piece - stream.avail_in;
    out = static_cast<std::size_t>(stream.total_out);
  }
  deflateEnd(&stream);
  if (result != Z_STREAM_END) throw Exception(Error::Io, "failed to compress a stream");
  packed.resize(out);
  return packed;
}

Error writeDocument(Document& document, const std::string& path, WriteOptions options) {
  document.setError(Error::None, std::string());
  // A drawing session ends with the write: later texts go into new streams.
  document.drawnStreams.clear();
  try {
    OutputFile output;
    if (!output.open(path)) {
      document.setError(Error::Io, "failed to create output PDF");
      return Error::Io;
    }
    // Decoded object streams are kept for the whole walk (up to a bound):
    // it goes back and forth between them.
    struct WiderCache {
      Document& document;
      std::size_t budget;
      ~WiderCache() { document.setObjectStreamBudget(budget); }
    } wider{document, document.objectStreamBudget()};
    document.setObjectStreamBudget(std::max(wider.budget, kWritingObjectStreamBudget));
    DocumentWriter writer(document, output.stream(), std::move(options));
    if (!writer.write() || !output.commit()) {
      document.setError(Error::Io, "failed while writing output PDF");
      return Error::Io;
    }
    return Error::None;
  } catch (const Exception& failure) {
    document.setError(failure.kind(), failure.message());
    return failure.kind();
  } catch (const std::exception& failure) {
    document.setError(Error::Io, failure.what());
    return Error::Io;
  }
}

Error Document::save(const std::string& path) { return writeDocument(*this, path, WriteOptions{}); }

}  // namespace zopra::pdf
