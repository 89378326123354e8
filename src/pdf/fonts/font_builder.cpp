// Placeholder: replaced by the font dictionary reader.
#include "pdf/fonts/font_builder.h"
namespace zopra::pdf {
FontInfo buildFont(const Document&, const Value*) { return FontInfo(); }
}  // namespace zopra::pdf
