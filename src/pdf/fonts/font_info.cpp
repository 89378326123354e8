// Placeholder: replaced by the character-mapping code.
#include "pdf/fonts/font_info.h"
namespace zopra::pdf {
std::vector<std::uint32_t> FontInfo::map(std::uint32_t, std::uint32_t code) const { return {code}; }
double FontInfo::width(std::uint32_t code) const {
  auto it = widths.find(code);
  return it == widths.end() ? defaultWidth : it->second;
}
std::uint32_t FontInfo::nextCode(std::string_view bytes, std::size_t& position,
                                 std::uint32_t& byteLength) const {
  byteLength = 1;
  return static_cast<unsigned char>(bytes[position++]);
}
}  // namespace zopra::pdf
