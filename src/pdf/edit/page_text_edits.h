// What text removal has done to one page so far, in the terms of the text
// extraction whose items were chosen: later removals with items of the same
// extraction add to it instead of undoing it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <utility>

#include "pdf/content/text_entry.h"

namespace zopra::pdf {

struct RemovedString {
  // The string's advance in unscaled text space, and the font size and
  // horizontal scaling it was shown with.
  double width = 0;
  double fontSize = 0;
  double horizontalScale = 1;
};

struct PageTextEdits {
  // The extraction the keys below refer to.
  std::uint64_t extraction = 0;
  // (stream key, ordinal) -> the operator as extracted ...
  std::map<std::pair<std::uint32_t, std::uint32_t>, std::shared_ptr<const TextSource::Operator>> operators;
  // ... and its strings removed so far, by element index.
  std::map<std::pair<std::uint32_t, std::uint32_t>, std::map<std::uint32_t, RemovedString>> removed;
  // Form XObject number at extraction -> the page's current copy of it.
  std::map<std::uint32_t, std::uint32_t> forms;
};

}  // namespace zopra::pdf
