// Fuzz target: the input is a page content stream, run as the content of
// the page of content_page.h. One document removes a selection of its items
// (chosen from a hash of the input); a second document on the same file
// takes that edit over from a third that made it. Both must write the same
// bytes, plainly and compact, and a document on other bytes is refused.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "pdf/content/text_entry.h"
#include "pdf/model/document.h"
#include "content_page.h"
#include "temp_file.h"

namespace {

using zopra::pdf::Document;
using zopra::pdf::Error;
using zopra::pdf::TextEntry;

void requireAt(bool condition, int line) {
  if (condition) return;
  std::fprintf(stderr, "fuzz_adoption: the rule of line %d does not hold\n", line);
  std::abort();
}
#define require(condition) requireAt((condition), __LINE__)

// The removal, as the document's own edit; false when the page cannot be read.
bool edit(Document& document, std::uint64_t hash) {
  std::vector<TextEntry> entries;
  if (document.extractText(0, entries, nullptr) != Error::None) return false;
  std::set<std::uint32_t> chosen;
  for (std::uint32_t i = 0; i < entries.size(); ++i) {
    if ((hash >> (i % 61)) & 1) chosen.insert(i);
  }
  return document.removeText(0, &chosen, entries, 1) == Error::None;
}

std::string written(Document& document, bool compact, const zopra::fuzz::TempFile& file) {
  const Error result = compact ? document.saveCompact(file.path(), Document::CompactOptions{})
                               : document.save(file.path());
  if (result != Error::None) return "(failed)";
  std::ifstream in(file.path(), std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static zopra::fuzz::TempFile file;
  static zopra::fuzz::TempFile other;
  static zopra::fuzz::TempFile output;
  const std::string content(reinterpret_cast<const char*>(data), size);
  const std::string bytes = zopra::fuzz::contentPage(content);
  file.write(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  const std::string otherBytes = bytes + "\n";
  other.write(reinterpret_cast<const std::uint8_t*>(otherBytes.data()), otherBytes.size());

  std::uint64_t hash = 1469598103934665603ull;
  for (std::size_t i = 0; i < size; ++i) hash = (hash ^ data[i]) * 1099511628211ull;
  Document direct, source, target, stranger;
  require(direct.load(file.path()) == Error::None && source.load(file.path()) == Error::None &&
          target.load(file.path()) == Error::None && stranger.load(other.path()) == Error::None);
  if (!edit(direct, hash)) return 0;
  require(edit(source, hash) && edit(stranger, hash));
  require(target.adoptPageEdits(stranger, 0, 0) == Error::InvalidArgument);
  require(target.adoptPageEdits(source, 0, 0) == Error::None);
  for (bool compact : {false, true}) require(written(direct, compact, output) == written(target, compact, output));
  return 0;
}
