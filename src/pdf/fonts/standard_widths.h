// Built-in widths of the standard Courier, Times and Helvetica fonts.
#pragma once

#include "pdf/fonts/font_info.h"

namespace zopra::pdf {

// Adds the built-in widths of codes 32 to 126 that have no width yet, when
// the font's baseFont names one of the standard fonts (explicit widths are
// never overridden).
void applyStandard14Widths(FontInfo& font);

}  // namespace zopra::pdf
