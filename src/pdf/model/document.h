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

#include "pdf/content/color.h"
#include "pdf/edit/page_text_edits.h"
#include "pdf/fonts/font_cache.h"
#include "pdf/model/compressed_index.h"
#include "pdf/model/error.h"
#include "pdf/model/file_bytes.h"
#include "pdf/model/geometry.h"
#include "pdf/model/object.h"
#include "pdf/model/page.h"
#include "pdf/model/value.h"

namespace zopra::pdf {

struct TextEntry;
struct GraphicsEntry;
class KeywordIndex;
class TrueType;

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

// The decoded bytes of an object stream, or their start.
struct ObjectStreamData {
  Bytes bytes;
  bool complete = false;
};

// Position of an object inside an object stream: (index in the stream, object number).
using CompressedEntry = std::pair<std::uint32_t, std::uint32_t>;


class Document {
 public:
  Document();
  ~Document();
  Document(const Document&) = delete;
  Document& operator=(const Document&) = delete;

  // ---- Data ---------------------------------------------------------------
  std::vector<Page> pages;
  std::map<std::uint32_t, Object> objects;
  Value trailer;
  std::string version = "1.4";
  Error error = Error::None;
  // Also written by const operations through noteDamage.
  mutable std::string errorMessage;
  EncryptionState encryption;
  FileBytes file;
  std::uint32_t nextObjectNumber = 1;
  // nextObjectNumber when loading ended: objects numbered from here on were
  // created by edits.
  std::uint32_t loadedObjectEnd = 1;
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
  // Fonts and ToUnicode maps built from objects, shared by the pages (see
  // font_cache.h). Creating an object under a number that was looked up in
  // vain forgets them all: a font built while that number named nothing
  // would be wrong. Code that changes an object a font was built from must
  // forget that font itself.
  mutable FontCache fontCache;

  // ---- Lifecycle (model) ------------------------------------------------------
  // Resets everything to the empty state of a new document.
  void reset();
  void setError(Error kind, std::string message);
  // Records that a const operation read past damaged data and went on with
  // what it could (a Flate stream cut short): the message goes to
  // errorMessage, the error kind is left as it is.
  void noteDamage(std::string message) const;
  // Reads and parses a whole file; returns the resulting error kind. With
  // FileBytes::Access::Map the file is mapped rather than read (see
  // file_bytes.h).
  Error load(const std::string& path, FileBytes::Access access = FileBytes::Access::Read);

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
  // The positions of "endstream" in the file, indexed on first use.
  const KeywordIndex& endstreamIndex() const;
  bool parseCrossReferences();
  Error parseLinear();
  void fixStreamLengths();
  void parseObjectStreams();
  // Object streams held inside other object streams are followed this many
  // levels deep; the load rejects deeper chains and cycles before any read.
  static constexpr int kMaxObjectStreamDepth = 4;
  // Walks the page tree into `pages`. The walk has a total budget of nodes
  // and pages (see page_tree.cpp), so shared subtrees cannot make it explode.
  Error buildPages();
  // The page's dictionary, parsed again if it was dropped; null if missing.
  Value* pageDictionary(const Page& page);
  // The content stream objects of a page in drawing order. Throws
  // Exception(Error::Format) when the Contents structure exceeds its budget.
  std::vector<std::uint32_t> pageContentObjects(const Page& page);
  std::vector<std::uint32_t> pageContentObjects(const Page& page) const;

  // The start of an object stream's decoded bytes, at least `size` bytes of
  // it (or all of it), from a cache bounded in bytes (see object_streams.cpp).
  std::shared_ptr<const ObjectStreamData> objectStreamData(std::uint32_t number, std::size_t size);
  // The memory decoded object streams may keep (kObjectStreamBudget unless
  // set): writing copies most objects of most streams, in an order that
  // goes back and forth between them, and sets a larger one meanwhile.
  std::size_t objectStreamBudget() const { return objectStreams_.budget(); }
  void setObjectStreamBudget(std::size_t budget) { objectStreams_.setBudget(budget); }
  void keepObjectStreamData(std::uint32_t number, std::shared_ptr<const ObjectStreamData> data);

  // ---- Editing (edit) -------------------------------------------------------
  // Removes text from a page: all of it when `indices` is null, else the
  // glyphs of the chosen items of `entries`, the page's items from the
  // extraction numbered `extraction` (any number that tells the caller's
  // extractions apart). Removals with items of one extraction add up, and
  // the same items give the same content in any order or grouping. Chosen
  // items whose glyphs could not all be removed are listed in the page's
  // textEdits entry (`left`). InvalidArgument for a page or index out of
  // range, with nothing changed.
  Error removeText(std::uint32_t page, const std::set<std::uint32_t>* indices,
                   const std::vector<TextEntry>& entries, std::uint64_t extraction = 0);
  // Per page index, what removeText has done there.
  std::map<std::uint32_t, PageTextEdits> textEdits;

  // New text waiting to be drawn: what prepareText measured, and the style
  // and place (copied from an extracted item) that drawText uses. A fresh
  // default state holds no glyphs, so nothing can be drawn from it.
  struct DrawState {
    std::string text;  // UTF-8; after prepareText, the text as drawn
    std::string fontPath;
    // The font chain: every character is drawn with the first of these
    // fonts that has it. Empty means a chain of `fontPath` alone; otherwise
    // prepareText sets `fontPath` to its first entry.
    std::vector<std::string> fontPaths;
    double fontSize = 0;           // text space units
    double horizontalScaling = 1;  // a factor: 1 is 100 %
    double charSpacing = 0;        // unscaled text space units
    double wordSpacing = 0;
    Matrix matrix;  // the Tm operands
    Color fill;     // kinds 1 to 3 set a colour; any other kind sets none
    // ((advance / unitsPerEm) * fontSize + spacing) * horizontalScaling
    // summed over the glyphs: the advance in the text space of `matrix`.
    double width = 0;
    // Characters kept in the order given instead of put in visual order
    // (right-to-left runs reversed): for measuring words before lines are
    // made of them.
    bool givenOrder = false;
    // One entry per drawn character; advances in font units.
    std::vector<std::uint32_t> codePoints;
    std::vector<std::uint16_t> glyphs;
    std::vector<std::uint16_t> advances;
    std::uint16_t unitsPerEm = 1000;
    // The font read from `fontPath`, its file bytes included; shared with
    // the document's font file cache, never changed once read.
    std::shared_ptr<const TrueType> font;
    // One entry per font of the chain, the first being `font`, and per drawn
    // character the index of its font in the chain.
    std::vector<std::shared_ptr<const TrueType>> fonts;
    std::vector<std::uint8_t> fontIndices;
    // Characters no font of the chain has (drawn as a space or dropped).
    std::uint32_t missingCharacters = 0;
    std::uint32_t page = 0;
  };

  // A font file embedded whole as a Type0 font over a CIDFontType2
  // descendant. Later drawings in the same font reuse its objects and widen
  // its W array and ToUnicode map.
  struct EmbeddedFont {
    std::string resourceName;  // "ZDL0", "ZDL1", ...
    std::uint32_t type0Object = 0;
    std::uint32_t descendantObject = 0;
    std::uint32_t toUnicodeObject = 0;
    std::uint32_t descriptorObject = 0;
    std::uint32_t fontFileObject = 0;
    // The name the font has in the Font resources of each page it is on,
    // by page index: `resourceName` unless the page gives that name to
    // another font.
    std::map<std::uint32_t, std::string> pageNames;
    // The first code point drawn with a glyph names it for extraction.
    std::map<std::uint16_t, std::uint32_t> glyphToUnicode;
    std::map<std::uint16_t, std::uint16_t> glyphAdvances;  // font units
    // Glyphs known to be in both maps, by glyph index: most glyphs of a
    // text were drawn before, and this spares the maps' searches.
    std::vector<bool> mappedGlyphs;
    std::uint16_t unitsPerEm = 1000;
    // BaseFont and FontName: the font's PostScript name, else a name made
    // from the file name.
    std::string baseFont;
  };

  // Reads the font files of the state's chain (`fontPaths`, else
  // `fontPath`; each taken from `fontFiles` while the file is unchanged),
  // maps `state.text` to glyphs, each from the first font that has it, and
  // measures it. A character no font has becomes a space of the first font,
  // or is dropped when that font has no space either; it is counted in
  // `missingCharacters` unless it is a control character. InvalidArgument (nothing
  // changed) when the text is not UTF-8; otherwise the kind of the failure,
  // recorded with setError ("failed to open font", "empty font", "failed to
  // read font" and the TrueType reader's messages).
  Error prepareText(DrawState& state);
  // Draws a prepared text on a page as one line, one run per font of its
  // chain in one text object, in a content stream of its
  // own appended to the page; the page's earlier content is wrapped in q/Q
  // the first time, so that its graphics state cannot leak into the text.
  // InvalidArgument for a page out of range or a state without glyphs or
  // font, with nothing written.
  Error drawText(std::uint32_t page, const DrawState& state);
  // Embedded fonts by font path.
  std::map<std::string, EmbeddedFont> embeddedFonts;
  // Font files read by prepareText, by path, with the size and modification
  // time they had: a caller that measures a text size after size, item after
  // item, reads and parses each font file once, not once per call.
  struct FontFile {
    std::uint64_t size = 0;
    std::int64_t modified = 0;  // file clock ticks
    // When size and time were last compared with the file (steady clock
    // ticks): within a second the font is taken as it is, sparing two
    // system calls per text.
    std::int64_t checked = 0;
    std::shared_ptr<const TrueType> font;
  };
  std::map<std::string, FontFile> fontFiles;
  // Pages whose content drawText has wrapped in q/Q.
  std::set<std::uint32_t> wrappedPages;
  // Takes over what `source`, a document loaded from the same bytes, did to
  // pages first..last with removeText and drawText, as if those edits had
  // been made here, one page after the other: its created objects are
  // numbered on from this document's, fonts already embedded here are
  // shared and widened, new ones named as drawText names them. `source` is
  // only read. InvalidArgument, with nothing changed, when the documents
  // were not loaded from the same bytes, a page is out of range, `source`
  // edited a page outside the range or this document one inside it.
  Error adoptPageEdits(const Document& source, std::uint32_t first, std::uint32_t last);
  // Per page index, the content stream that drawText made in this drawing
  // session: later texts on the page are appended to it. Writing the
  // document ends the session.
  std::map<std::uint32_t, std::uint32_t> drawnStreams;
  // What the text object of a stream drawn in this session has set by its
  // end, so that the next text continues it and writes only what differs:
  // operands as written, and the line matrix as readers compute it from them.
  struct DrawnText {
    std::uint32_t stream = 0;  // the drawn stream this describes
    std::string font;          // "/ZDL0 10" of the last Tf, empty before any
    std::string fill;          // the last colour operator, empty for black
    std::string horizontalScaling;  // the Tz operand, empty for 100
    std::string charSpacing;        // the Tc operand, empty for 0
    std::string shape;              // a b c d of the last Tm, "1 0 0 1" at first
    Matrix line;
  };
  // By page index; an entry counts only while its stream is the page's
  // drawn stream.
  std::map<std::uint32_t, DrawnText> drawnText;
  // Every content stream drawText made, in any session: the compact writer
  // writes their strings in the literal form, half the size of the hex one.
  std::set<std::uint32_t> drawnContent;

  // ---- Writing (write) -------------------------------------------------------
  // Writes every object to `path` as a new, unencrypted PDF with one classic
  // cross-reference table. The file appears only when it is complete: it is
  // written under another name beside the target and renamed at the end.
  // Returns Error::Io when the file cannot be created or written, or the kind
  // of a damaged object met on the way.
  Error save(const std::string& path);
  // What saveCompact does; each part can be turned off.
  struct CompactOptions {
    // The TrueType fonts drawText embedded keep only the glyphs drawn
    // (glyph indices unchanged), named "ABCDEF+PostScriptName"; a font the
    // subsetter refuses stays whole, under its PostScript name.
    bool subsetFonts = true;
    // Streams the engine made or rewrote are Flate-compressed; streams read
    // from the input keep their stored bytes.
    bool compressStreams = true;
    // Only objects reached from the trailer (Root, Info) are written.
    bool dropUnused = true;
    // Objects other than streams go into object streams, indexed by a
    // cross-reference stream (PDF 1.5).
    bool objectStreams = true;
    // Threads that may deflate streams besides the calling one; the file
    // is the same for every count.
    unsigned threads = 1;
  };
  // Writes as save does, made smaller as `options` says. The document itself
  // is not changed (apart from what save changes).
  Error saveCompact(const std::string& path, const CompactOptions& options);

  // ---- Streams (filters) ------------------------------------------------------
  // Runs the stream's filter chain and predictors; throws Exception(Error::Stream).
  Bytes decodeStream(const Object& object) const;
  // The first `size` bytes or more of what decodeStream gives, without
  // decoding the rest where the filters allow it; `complete` tells whether
  // the result is the whole.
  Bytes decodeStreamPrefix(const Object& object, std::size_t size, bool& complete) const;
  // Once the document is edited, the last few streams decoded from the file
  // are kept: removing a page's text decodes the content that its
  // extraction has just decoded.
  struct DecodedStream {
    std::uint32_t number = 0;
    Bytes data;
  };
  mutable std::vector<DecodedStream> recentlyDecoded;
  bool keepDecoded = false;

  // ---- Security -------------------------------------------------------------
  Error configureEncryption();
  void decryptObjects();
  void decryptValue(Value& value, std::uint32_t objectNumber, std::uint32_t generation) const;
  Bytes decryptBytes(const Bytes& data, std::uint32_t objectNumber, std::uint32_t generation,
                     bool isStream) const;

  // ---- Content --------------------------------------------------------------
  // Text items of a page (replacing `entries`), and optionally the object
  // numbers of the image XObjects it draws and, from the same run of the
  // content, its painted graphics as extractGraphics gives them with no
  // minimum size (replacing `graphics`).
  Error extractText(std::uint32_t page, std::vector<TextEntry>& entries,
                    std::vector<std::uint32_t>* images, std::vector<GraphicsEntry>* graphics = nullptr);
  // Painted path pieces and drawn images of a page (replacing `entries`),
  // cut to the clip; pieces narrower and lower than `minimumSize` are left out.
  Error extractGraphics(std::uint32_t page, double minimumSize,
                        std::vector<GraphicsEntry>& entries);
  // The object numbers of the image XObjects a page draws, one per Do in
  // drawing order (replacing `images`). Fails exactly where extractText with
  // an image list fails.
  Error extractImages(std::uint32_t page, std::vector<std::uint32_t>& images);

 private:
  Object* loadCompressed(std::uint32_t number);

  static constexpr int kMaxLengthDepth = 8;
  int lengthDepth_ = 0;
  // Object streams being read inside one another (see kMaxObjectStreamDepth).
  int objectStreamDepth_ = 0;
  // One past the highest object number looked up and found missing.
  std::uint64_t missingBound_ = 0;
  std::vector<std::uint32_t>* transientLog_ = nullptr;
  // Decoded object streams. A stream larger than the budget is still kept
  // alone, as the most recent one.
  static constexpr std::size_t kObjectStreamBudget = std::size_t{1} << 20;
  BoundedCache<const ObjectStreamData> objectStreams_{kObjectStreamBudget};
  mutable std::unique_ptr<KeywordIndex> endstreams_;
};

}  // namespace zopra::pdf
