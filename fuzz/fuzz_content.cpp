// Fuzz target: the input is a page content stream. It is cut into tokens the
// way the interpreter reads them (inline images included), and then run as
// the content of the page of content_page.h.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "pdf/content/content_lexer.h"
#include "pdf/content/text_entry.h"
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
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  lex(zopra::pdf::Bytes(data, data + size));
  extract(std::string(reinterpret_cast<const char*>(data), size));
  return 0;
}
