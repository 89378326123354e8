// Placeholder: replaced by the glyph-name table.
#include "pdf/fonts/glyph_names.h"
namespace zopra::pdf {
std::uint32_t glyphNameToUnicode(std::string) { return 0; }
}  // namespace zopra::pdf
