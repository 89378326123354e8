// Placeholder: replaced by the standard font metrics.
#include "pdf/fonts/standard_widths.h"
namespace zopra::pdf {
void applyStandard14Widths(FontInfo&) {}
}  // namespace zopra::pdf
