// Placeholder: replaced by the content lexer.
#include "pdf/content/content_lexer.h"
namespace zopra::pdf {
bool contentDelimiter(unsigned char) { return false; }
bool ContentLexer::next(Token&) { return false; }
std::string ContentLexer::hexString() { return {}; }
std::int64_t inlineImageLength(const std::map<std::string, Token>&) { return -1; }
std::map<std::string, Token> readInlineImageDictionary(ContentLexer&) { return {}; }
void skipInlineImageData(ContentLexer& lexer, const std::map<std::string, Token>&) {
  lexer.position = lexer.data.size();
}
}  // namespace zopra::pdf
