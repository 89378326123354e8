#include "pdf/fonts/predefined_cmap.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "pdf/fonts/predefined_cmap_tables.h"

namespace zopra::pdf {
namespace {

const PredefinedCMapTable* findTable(std::string_view name) {
  std::string_view base = name;
  // Horizontal and vertical variants share one table.
  if (base.size() >= 3 && (base.ends_with("-H") || base.ends_with("-V")))
    base.remove_suffix(2);
  for (std::size_t i = 0; i < predefinedCMapTableCount; ++i)
    if (base == predefinedCMapTables[i].name) return &predefinedCMapTables[i];
  return nullptr;
}

}  // namespace

const PredefinedCMapTable* findPredefinedCMap(const std::string& name) { return findTable(name); }

std::uint32_t predefinedCodePoint(const PredefinedCMapTable& table, std::uint32_t code) {
  const CMapEntry* begin = table.entries;
  const CMapEntry* end = table.entries + table.entryCount;
  for (std::uint32_t byteLength : {1u, 2u, 4u}) {
    const CMapEntry* found = std::lower_bound(begin, end, std::make_pair(byteLength, code),
                                              [](const CMapEntry& entry, const auto& key) {
                                                return std::make_pair(entry.byteLength, entry.code) < key;
                                              });
    if (found != end && found->byteLength == byteLength && found->code == code) return found->codePoint;
  }
  return 0;
}

const CMapEntry* predefinedCMap(const std::string& name) {
  const PredefinedCMapTable* table = findTable(name);
  return table ? table->entries : nullptr;
}

const CodeSpaceRange* predefinedCodeSpace(const std::string& name) {
  const PredefinedCMapTable* table = findTable(name);
  return table ? table->codeSpace : nullptr;
}

}  // namespace zopra::pdf
