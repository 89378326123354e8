// Placeholder: replaced by the UTF conversions.
#include "pdf/fonts/unicode.h"
namespace zopra::pdf {
std::vector<std::uint32_t> utf16be(std::string_view) { return {}; }
std::vector<std::uint32_t> decodeUtf8(std::string_view bytes, bool* ok) {
  if (ok) *ok = true;
  return std::vector<std::uint32_t>(bytes.begin(), bytes.end());
}
std::string encodeUtf8(std::uint32_t codePoint) { return std::string(1, static_cast<char>(codePoint)); }
std::string encodeUtf8(const std::vector<std::uint32_t>& codePoints) {
  std::string out;
  for (auto c : codePoints) out += encodeUtf8(c);
  return out;
}
}  // namespace zopra::pdf
