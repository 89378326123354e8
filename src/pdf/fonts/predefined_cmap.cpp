// Placeholder: replaced by the generated CMap tables.
#include "pdf/fonts/predefined_cmap.h"
namespace zopra::pdf {
const CMapEntry* predefinedCMap(const std::string&) { return nullptr; }
const CodeSpaceRange* predefinedCodeSpace(const std::string&) { return nullptr; }
}  // namespace zopra::pdf
