// The document: owned data (file bytes, objects, trailer, pages, encryption
// state, last error) plus the operations the engine runs on it. Each
// subsystem defines its own operations in its own folder; this header only
// declares them.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "pdf/model/compressed_index.h"
#include "pdf/model/error.h"
#include "pdf/model/object.h"
#include "pdf/model/page.h"
#include "pdf/model/value.h"

namespace zopra::pdf {

struct FontInfo;
struct TextEntry;

// Ciphers of the standard security handler.
enum class Cipher : std::uint32_t { Rc4 = 0, Aes128 = 1, Aes256 = 2, None = 3 };

// What the standard security handler established for the open document.
struct EncryptionState {
  bool encrypted = false;
  int revision = 0;
  int version = 0;
  int keyLength = 0;  // bits
  bool encryptMetadata = true;
  Cipher streamCipher = Cipher::Rc4;
  Cipher stringCipher = Cipher::Rc4;
  Bytes key;
  // Object that holds the Encrypt dictionary (0 when it is written in place).
  // It is never decrypted and never written out.
  std::uint32_t dictionaryObject = 0;
};

// Position of an object inside an object stream: (index in the stream, object number).
using CompressedEntry = std::pair<std::uint32_t, std::uint32_t>;


class Document {
 public:
  // ---- Data ---------------------------------------------------------------
  std::vector<Page> pages;
  std::map<std::uint32_t, Object> objects;
  Value trailer;
  std::string version = "1.4";
  Error error = Error::None;
  std::string errorMessage;
  EncryptionState encryption;
  Bytes file;
  std::uint32_t nextObjectNumber = 1;
  // True when the cross-reference data was used; false after the recovery scan.
  bool strictCrossReference = false;
  // Per object stream number, the type-2 cross-reference entries pointing into
  // it. Consumed by parseObjectStreams, which turns them into compressedObjects
  // and then releases them.
  std::map<std::uint32_t, std::vector<CompressedEntry>> compressedEntries;
  // Objects of object streams, sorted by number. They are validated at load
  // but parsed only on first access by object(), which then moves them into
  // `objects`: large files keep tens of thousands of objects there, most of
  // which a caller never needs.
  CompressedIndex compressedObjects;
  // Fonts built from indirect font dictionaries, by object number. Building a
  // font may decode its program and CMaps, so pages that share fonts share
  // this work; font objects are never changed once the document is loaded.
  std::unordered_map<std::uint32_t, std::shared_ptr<FontInfo>> fontCache;

  // ---- Lifecycle (model) ------------------------------------------------------
  // Resets everything to the empty state of a new document.
  void reset();
  void setError(Error kind, std::string message);
  // Reads and parses a whole file; returns the resulting error kind.
  Error load(const std::string& path);

  // ---- Objects (model) ------------------------------------------------------
  // While a scope lives, objects of object streams parsed on first access are
  // noted, and the scope's end drops them again (they are parsed anew when
  // needed). Page extraction touches each page's own resources once; keeping
  // them all would grow memory with every page read. Objects in use when the
  // scope began, and objects changed by edits, are never dropped.
  class TransientObjects {
   public:
    explicit TransientObjects(Document& document);
    ~TransientObjects();
    TransientObjects(const TransientObjects&) = delete;
    TransientObjects& operator=(const TransientObjects&) = delete;

   private:
    Document& document_;
    std::vector<std::uint32_t> parsed_;
    std::vector<std::uint32_t>* outer_;
  };

  // The object with that number, parsed on first access; null when absent.
  Object* object(std::uint32_t number);
  const Object* object(std::uint32_t number) const;
  // Follows references to a direct value; null for a missing object or a loop.
  Value* resolve(Value* value);
  const Value* resolve(const Value* value) const;
  // Resolves `value`; if it is a dictionary holding `key`, the entry resolved.
  Value* dictionaryValue(Value* value, std::string_view key);
  const Value* dictionaryValue(const Value* value, std::string_view key) const;
  // True when an object with that number exists, parsed or not.
  bool hasObject(std::uint32_t number) const;
  Object& createObject(Value value);
  Object& createStream(Value dictionary, Bytes data);
  // The stream's bytes as stored (after load-time decryption), still encoded.
  Bytes storedStream(const Object& object) const;

  // ---- File structure (parse) -----------------------------------------------
  Error parse();
  bool parseCrossReferences();
  Error parseLinear();
  void fixStreamLengths();
  void parseObjectStreams();
  Error buildPages();
  void collectPages(const Value& node, ValueDictionary attributes, std::set<std::uint32_t>& path);
  // The page's dictionary, parsed again if it was dropped; null if missing.
  Value* pageDictionary(const Page& page);
  std::vector<std::uint32_t> pageContentObjects(const Page& page);
  std::vector<std::uint32_t> pageContentObjects(const Page& page) const;

  // ---- Writing (write) -------------------------------------------------------
  // Writes every object to `path` as a new, unencrypted PDF with one classic
  // cross-reference table. The file appears only when it is complete: it is
  // written under another name beside the target and renamed at the end.
  // Returns Error::Io when the file cannot be created or written, or the kind
  // of a damaged object met on the way.
  Error save(const std::string& path);

  // ---- Streams (filters) ------------------------------------------------------
  // Runs the stream's filter chain and predictors; throws Exception(Error::Stream).
  Bytes decodeStream(const Object& object) const;

  // ---- Security -------------------------------------------------------------
  Error configureEncryption();
  void decryptObjects();
  void decryptValue(Value& value, std::uint32_t objectNumber, std::uint32_t generation) const;
  Bytes decryptBytes(const Bytes& data, std::uint32_t objectNumber, std::uint32_t generation,
                     bool isStream) const;

  // ---- Content --------------------------------------------------------------
  // Text items of a page (replacing `entries`), and optionally the object
  // numbers of the image XObjects it draws.
  Error extractText(std::uint32_t page, std::vector<TextEntry>& entries,
                    std::vector<std::uint32_t>* images);

 private:
  Object* loadCompressed(std::uint32_t number);
  // The decoded bytes of an object stream, from a small cache.
  std::shared_ptr<const Bytes> objectStreamData(std::uint32_t number);

  static constexpr int kMaxLengthDepth = 8;
  static constexpr std::size_t kDecodedStreamCacheSize = 16;
  int lengthDepth_ = 0;
  std::vector<std::pair<std::uint32_t, std::shared_ptr<const Bytes>>> decodedStreams_;
  std::vector<std::uint32_t>* transientLog_ = nullptr;
};

}  // namespace zopra::pdf
