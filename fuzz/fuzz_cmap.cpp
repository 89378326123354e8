// Fuzz target: the input is a ToUnicode CMap. It is read into a simple and
// into a composite font; then the strings written in the CMap (its source
// codes, mostly) are joined, cut into codes and mapped the way text
// extraction treats a shown string.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <utility>
#include <string>
#include <string_view>

#include "pdf/content/content_lexer.h"
#include "pdf/fonts/font_info.h"
#include "pdf/fonts/tounicode_cmap.h"
#include "pdf/fonts/unicode.h"

namespace {

// Codes cut from at most this many bytes of the input per font.
constexpr std::size_t kMaxShownBytes = 4096;

void require(bool condition) {
  if (!condition) std::abort();
}

volatile std::size_t gSink;

void showString(const zopra::pdf::FontInfo& font, std::string_view shown) {
  std::size_t position = 0;
  std::string text;
  while (position < shown.size()) {
    const std::size_t before = position;
    std::uint32_t byteLength = 0;
    std::uint32_t code = font.nextCode(shown, position, byteLength);
    // Every call consumes one whole code of 1 to 4 bytes and reports its length.
    require(byteLength >= 1 && byteLength <= 4);
    require(position == before + byteLength && position <= shown.size());
    text += zopra::pdf::encodeUtf8(font.map(byteLength, code));
    gSink = gSink + static_cast<std::size_t>(font.width(code));
  }
  gSink = gSink + text.size();
}

// The bytes of the CMap's string tokens, or its first bytes when it has none.
std::string shownBytes(const zopra::pdf::Bytes& cmap) {
  std::string shown;
  zopra::pdf::ContentLexer lexer(cmap);
  zopra::pdf::Token token;
  while (shown.size() < kMaxShownBytes && lexer.next(token)) {
    if (token.kind == zopra::pdf::Token::Kind::String) shown += token.text;
  }
  if (shown.empty()) shown.assign(cmap.begin(), cmap.end());
  if (shown.size() > kMaxShownBytes) shown.resize(kMaxShownBytes);
  return shown;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const zopra::pdf::Bytes cmap(data, data + size);
  const std::string shown = shownBytes(cmap);

  auto map = std::make_shared<const zopra::pdf::ToUnicodeMap>(zopra::pdf::readToUnicodeCMap(cmap));
  // The compact map is sorted by (byte length, code), one entry per code,
  // and every target lies inside the code point pool.
  for (std::size_t i = 0; i < map->entries.size(); ++i) {
    const auto& entry = map->entries[i];
    require(std::size_t{entry.offset} + entry.count <= map->points.size());
    if (i > 0) {
      const auto& previous = map->entries[i - 1];
      require(std::make_pair(previous.byteLength, previous.code) < std::make_pair(entry.byteLength, entry.code));
    }
  }

  zopra::pdf::FontInfo simple;
  simple.toUnicode = map;
  showString(simple, shown);

  // A Type0 font without a predefined CMap: two-byte codes unless the
  // CMap's code space says otherwise.
  zopra::pdf::FontInfo composite;
  composite.composite = true;
  composite.codeLengths = {2};
  composite.toUnicode = map;
  for (const zopra::pdf::CodeSpaceRange& range : map->codeSpace) zopra::pdf::addCodeSpaceRange(composite, range);
  showString(composite, shown);
  return 0;
}
