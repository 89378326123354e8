#include "pdf/content/content_operations.h"

#include <utility>

namespace zopra::pdf {

bool textShowingOperator(const std::string& keyword) {
  if (keyword.size() == 1) return keyword[0] == '\'' || keyword[0] == '"';
  return keyword.size() == 2 && keyword[0] == 'T' && (keyword[1] == 'j' || keyword[1] == 'J');
}

namespace {

void shift(Token& token, std::uint64_t base) {
  token.start += base;
  token.end += base;
  for (Token& element : token.elements) shift(element, base);
}

}  // namespace

bool OperationReader::next(Token& keyword) {
  std::vector<Token>& operands = context_.operands;
  if (clearOperands_) {
    operands.clear();
    clearOperands_ = false;
  }
  Token token;
  while (lexer_.next(token)) {
    if (context_.base != 0) shift(token, context_.base);
    if (token.kind != Token::Kind::Keyword) {
      if (operands.size() >= OperationContext::kMaxOperands) operands.erase(operands.begin());
      // The lexer resets every field of the token it reads into.
      operands.push_back(std::move(token));
      continue;
    }
    if (token.text == "BI") skipInlineImage(lexer_);
    ordinal_ = TextSource::kNoOrdinal;
    if (!operands.empty() && textShowingOperator(token.text)) ordinal_ = context_.textOperators++;
    keyword = std::move(token);
    clearOperands_ = true;
    return true;
  }
  return false;
}

}  // namespace zopra::pdf
