// What text removal has done to one page, in the terms of the text
// extraction whose items were chosen. Every removal with items of that
// extraction derives the page's content anew from the content as it was at
// the extraction and the union of all items chosen so far, so removals add
// up, and the same choices give the same bytes however they are grouped.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>
#include <span>
#include <vector>

namespace zopra::pdf {

struct RemovedString {
  // The string's advance in unscaled text space, and the font size and
  // horizontal scaling it was shown with.
  double width = 0;
  double fontSize = 0;
  double horizontalScale = 1;
};

// The strings to remove from a stream family's text-showing operators: by
// the operator's ordinal and the string's element index (0 for the operand
// of Tj, ' and ", the array index for TJ). A sorted vector: a page chooses
// thousands of strings, and nodes of nested maps cost more than the rest
// of the removal.
struct OperatorChoices {
  struct String {
    std::uint32_t ordinal = 0;
    std::uint32_t element = 0;
    RemovedString removed;
  };
  // Sorted by ordinal, then element, each pair once.
  std::vector<String> strings;

  // The strings of operator `ordinal`, by element; empty when it has none.
  std::span<const String> of(std::uint32_t ordinal) const {
    const auto first = std::lower_bound(strings.begin(), strings.end(), ordinal,
                                        [](const String& s, std::uint32_t o) { return s.ordinal < o; });
    auto last = first;
    while (last != strings.end() && last->ordinal == ordinal) ++last;
    return {first, last};
  }
};

struct PageTextEdits {
  // False until a removal with chosen items, and again after a removal of
  // all text: the next removal then starts from the page as it is.
  bool active = false;
  // The extraction the items refer to.
  std::uint64_t extraction = 0;
  // The page's content streams at that extraction; never changed since.
  std::vector<std::uint32_t> originalContents;
  // The copies that removal writes, in the same order ...
  std::vector<std::uint32_t> contents;
  // ... and per Form XObject number at the extraction, the page's copy.
  std::map<std::uint32_t, std::uint32_t> forms;
  // Every item chosen so far.
  std::set<std::uint32_t> chosen;
  // Chosen items whose glyphs are still, wholly or in part, on the page.
  std::vector<std::uint32_t> left;
};

}  // namespace zopra::pdf
