#include "pdf/fonts/predefined_cmap.h"

#include <string_view>

#include "pdf/fonts/predefined_cmap_tables.h"

namespace zopra::pdf {
namespace {

const PredefinedCMapTable* findTable(const std::string& name) {
  std::string_view base = name;
  // Horizontal and vertical variants share one table.
  if (base.size() >= 3 && (base.ends_with("-H") || base.ends_with("-V")))
    base.remove_suffix(2);
  for (std::size_t i = 0; i < predefinedCMapTableCount; ++i)
    if (base == predefinedCMapTables[i].name) return &predefinedCMapTables[i];
  return nullptr;
}

}  // namespace

const CMapEntry* predefinedCMap(const std::string& name) {
  const PredefinedCMapTable* table = findTable(name);
  return table ? table->entries : nullptr;
}

const CodeSpaceRange* predefinedCodeSpace(const std::string& name) {
  const PredefinedCMapTable* table = findTable(name);
  return table ? table->codeSpace : nullptr;
}

}  // namespace zopra::pdf
