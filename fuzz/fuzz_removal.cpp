// Fuzz target: the input is a content stream. The removal scanner must count
// the same text-showing operators that the finder used by text extraction
// notes, keep everything when nothing is replaced (but a string still open
// at the end), and put each replacement where its operator was.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "pdf/content/text_operator_scanner.h"
#include "pdf/edit/text_removal.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string content(reinterpret_cast<const char*>(data), size);
  zopra::pdf::TextOperatorFinder finder;
  finder.feed(data, size);
  const std::size_t operators = finder.positions().size();

  // Nothing replaced: the content comes back as it was, but for a string
  // left open at its end.
  zopra::pdf::OperatorReplacements none;
  zopra::pdf::TjRemovalOptions keep{&none, 0};
  std::string kept = content;
  zopra::pdf::removeTjOperator(kept, zopra::pdf::TjParseState::Outside, &keep);
  require(keep.operatorIndex == operators);
  require(content.compare(0, kept.size(), kept) == 0);

  // Every operator replaced by a marker: as many markers as operators, and
  // the rest of the content in order around them.
  zopra::pdf::OperatorReplacements marks;
  for (std::uint32_t i = 0; i < operators; ++i) marks[i] = std::string(1, '\x01');
  zopra::pdf::TjRemovalOptions mark{&marks, 0};
  std::string marked = content;
  zopra::pdf::removeTjOperator(marked, zopra::pdf::TjParseState::Outside, &mark);
  std::size_t count = 0;
  for (char c : marked) count += c == '\x01';
  std::size_t original = 0;
  for (char c : content) original += c == '\x01';
  require(count >= operators && count - operators <= original);

  // Everything removed: never longer than the input.
  std::string removed = content;
  zopra::pdf::removeTjOperator(removed, zopra::pdf::TjParseState::Outside, nullptr);
  require(removed.size() <= content.size());
  return 0;
}
