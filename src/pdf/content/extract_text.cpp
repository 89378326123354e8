// Placeholder until the content interpreter lands: pages have no text yet.
#include "pdf/content/text_entry.h"
#include "pdf/model/document.h"

namespace zopra::pdf {

Error Document::extractText(std::uint32_t page, std::vector<TextEntry>& entries,
                            std::vector<std::uint32_t>* images) {
  if (page >= pages.size()) return Error::InvalidArgument;
  entries.clear();
  if (images) images->clear();
  return Error::None;
}

}  // namespace zopra::pdf
