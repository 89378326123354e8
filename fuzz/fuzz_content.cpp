// Fuzz target: the input is a page content stream. It is cut into tokens the
// way the interpreter reads them (inline images included), and then run as
// the content of the page of content_page.h.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "pdf/content/content_lexer.h"
#include "pdf/content/graphics_entry.h"
#include "pdf/content/text_entry.h"
#include "pdf/layout/text_blocks.h"
#include "pdf/layout/text_flow.h"
#include "pdf/model/document.h"
#include "content_page.h"
#include "temp_file.h"

namespace {

using zopra::pdf::Token;

void require(bool condition) {
  if (!condition) std::abort();
}

void checkRange(const Token& token, std::uint64_t from, std::uint64_t size) {
  require(token.start >= from && token.start < token.end && token.end <= size);
  for (const Token& element : token.elements) {
    require(element.start >= token.start && element.end <= token.end);
  }
}

// Token ranges are what the removal of text later cuts out of the stream, so
// they must lie inside the data, in order, without overlapping.
void lex(const zopra::pdf::Bytes& data) {
  zopra::pdf::ContentLexer lexer(data);
  Token token;
  std::uint64_t end = 0;
  while (lexer.next(token)) {
    checkRange(token, end, data.size());
    require(lexer.position == token.end);
    end = token.end;
    if (token.kind == Token::Kind::Keyword && token.text == "BI") {
      std::map<std::string, Token> dictionary = zopra::pdf::readInlineImageDictionary(lexer);
      require(lexer.position >= end && lexer.position <= data.size());
      zopra::pdf::skipInlineImageData(lexer, dictionary);
      require(lexer.position >= end && lexer.position <= data.size());
      end = lexer.position;
    }
  }
}

void blocks(zopra::pdf::Document& loaded, const std::vector<zopra::pdf::TextEntry>& entries);

// Content is never a reason for an extraction to fail: what the interpreter
// cannot use, it skips.
void extract(const std::string& content) {
  static zopra::fuzz::TempFile file;
  const std::string bytes = zopra::fuzz::contentPage(content);
  file.write(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  zopra::pdf::Document loaded;
  require(loaded.load(file.path()) == zopra::pdf::Error::None);
  require(loaded.pages.size() == 1);
  std::vector<zopra::pdf::TextEntry> entries;
  std::vector<std::uint32_t> images;
  require(loaded.extractText(0, entries, &images) == zopra::pdf::Error::None);
  blocks(loaded, entries);
}

// Blocks take each item once at most, and a text flows over any block's
// lines in a bounded number of lines.
void blocks(zopra::pdf::Document& loaded, const std::vector<zopra::pdf::TextEntry>& entries) {
  std::vector<zopra::pdf::GraphicsEntry> graphics;
  require(loaded.extractGraphics(0, 0.0, graphics) == zopra::pdf::Error::None);
  const std::vector<zopra::pdf::TextBlock> found = zopra::pdf::textBlocks(entries, graphics);
  std::vector<bool> taken(entries.size(), false);
  const std::vector<zopra::pdf::FlowWord> words(40, zopra::pdf::FlowWord{20.0, 0.5});
  for (const zopra::pdf::TextBlock& block : found) {
    require(!block.lines.empty());
    // A block that keeps its lines has one line of text for each: new text
    // is placed by rank.
    if (block.keepsLines) {
      require(static_cast<std::size_t>(std::count(block.text.begin(), block.text.end(), '\n')) + 1 ==
              block.lines.size());
    }
    zopra::pdf::FlowFrame frame;
    for (const zopra::pdf::TextLine& line : block.lines) {
      for (std::uint32_t item : line.items) {
        require(item < entries.size() && !taken[item]);
        taken[item] = true;
      }
      frame.slots.push_back({line.left, line.right, line.baseline});
    }
    frame.left = block.box.x0;
    frame.right = block.box.x1;
    frame.leading = block.leading;
    frame.floor = block.box.y0 - 100;
    frame.alignment = block.alignment;
    const zopra::pdf::FlowResult flow = zopra::pdf::flowText(words, 5.0, frame, 0.2);
    require(flow.lines.size() <= words.size());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  lex(zopra::pdf::Bytes(data, data + size));
  extract(std::string(reinterpret_cast<const char*>(data), size));
  return 0;
}
