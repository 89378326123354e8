// Running a page's content and collecting its text items.
#include <memory>
#include <utility>

#include "pdf/content/bidi_order.h"
#include "pdf/content/graphics_entry.h"
#include "pdf/content/interpreter.h"
#include "pdf/content/text_merge.h"
#include "pdf/content/text_entry.h"
#include "pdf/model/document.h"

namespace zopra::pdf {

void Interpreter::runPage() {
  std::vector<std::uint32_t> contents = document.pageContentObjects(page);
  // Held for the whole page, so that the font cache keys taken from in-place
  // font dictionaries stay valid.
  std::shared_ptr<const Value> held = page.resources;
  const Value noResources;
  const Value& resources = held ? *held : noResources;

  // The page's streams run as one family: one state stack, one operand
  // stack, one numbering of text-showing operators.
  StateStack stateStack;
  OperationContext context;
  for (std::uint32_t number : contents) {
    const Object* content = document.object(number);
    if (!content) continue;
    run(document.decodeStream(*content), resources, 0, context, stateStack);
  }
}

Error Document::extractText(std::uint32_t pageIndex, std::vector<TextEntry>& entries,
                            std::vector<std::uint32_t>* images, std::vector<GraphicsEntry>* graphics) {
  if (pageIndex >= pages.size()) return Error::InvalidArgument;
  entries.clear();
  if (images) images->clear();
  if (graphics) graphics->clear();
  const Page& page = pages[pageIndex];
  Rectangle box{page.x, page.y, page.width, page.height};
  TransientObjects transient(*this);
  try {
    Interpreter interpreter(*this, page, &entries, graphics, images, 0.0, box);
    interpreter.runPage();
  } catch (const Exception& failure) {
    setError(failure.kind(), failure.message());
    return failure.kind();
  }
  closeTextItems(entries);
  reorderRightToLeft(entries);
  return Error::None;
}

}  // namespace zopra::pdf
