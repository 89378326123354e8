// Turns a font resource into a FontInfo.
#pragma once

#include "pdf/fonts/font_info.h"
#include "pdf/model/document.h"

namespace zopra::pdf {

// Never fails a page: a value that is not a dictionary gives the default
// FontInfo. Only stream decoding exceptions can escape.
FontInfo buildFont(const Document& document, const Value* fontValue);

}  // namespace zopra::pdf
