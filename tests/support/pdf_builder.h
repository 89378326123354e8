// Writes small PDF files for tests: objects are added as text, and the builder
// computes the byte offsets of the cross-reference data, so a broken variant
// (shifted offsets, a wrong startxref, a Prev loop) is a one-line change.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace zopra::test {

struct XrefOptions {
  // Added to every offset written into the table or stream.
  long long offsetAdjust = 0;
  // Added to the number written after "startxref".
  long long startxrefAdjust = 0;
};

class PdfBuilder {
 public:
  explicit PdfBuilder(std::string header = "%PDF-1.7\n%\xE2\xE3\xCF\xD3\n");

  // Adds "N G obj\n<body>\nendobj\n" at the current end.
  void object(std::uint32_t number, const std::string& body, std::uint32_t generation = 0);
  // Adds a stream object; "/Length n" is appended to `dictionaryEntries`
  // unless `lengthEntry` is given (e.g. "/Length 5 0 R" or "").
  void stream(std::uint32_t number, const std::string& dictionaryEntries, const std::string& data,
              const std::string* lengthEntry = nullptr);
  // Raw bytes at the current end.
  void raw(const std::string& text);

  // Ends the current revision with a classic table covering the objects added
  // since the last revision, a trailer holding /Size, /Prev and `trailerEntries`,
  // startxref and %%EOF. Returns the table's offset.
  std::size_t finishWithTable(const std::string& trailerEntries, const XrefOptions& options = {});
  // Ends the current revision with a cross-reference stream object `number`
  // (W [1 4 2], uncompressed) holding `trailerEntries`. Returns its offset.
  std::size_t finishWithXrefStream(std::uint32_t number, const std::string& trailerEntries,
                                   const XrefOptions& options = {});
  // Ends without any cross-reference data (only "%%EOF").
  void finishWithoutXref();

  const std::string& bytes() const { return out_; }
  std::size_t offsetOf(std::uint32_t number) const { return offsets_.at(number); }
  // Writes the bytes to a new file in the test temporary folder; returns its path.
  std::string write(const std::string& name) const;

  // A catalog (1), a page tree (2) and one page per entry of `pageContents`
  // (objects from 4 on, each followed by its content stream), with a Helvetica
  // font F1 (3) and `resources` added to each page's resource dictionary.
  // `mediaBox` is written as given.
  static PdfBuilder simple(const std::vector<std::string>& pageContents,
                           const std::string& mediaBox = "[0 0 612 792]", const std::string& resources = "");

 private:
  struct Entry {
    std::uint32_t number;
    std::size_t offset;
    std::uint32_t generation;
    bool used;
  };
  // The cross-reference entries of the current revision.
  std::vector<Entry> revisionEntries(std::uint32_t size, long long adjust);
  // " /Prev <offset>" linking a revision to the one before it, if any.
  std::string previous() const;

  std::string out_;
  std::map<std::uint32_t, std::size_t> offsets_;         // all revisions
  std::map<std::uint32_t, std::size_t> revisionOffsets_;  // current revision
  std::map<std::uint32_t, std::uint32_t> generations_;
  long long lastXref_ = -1;
};

}  // namespace zopra::test
