// Content cut into operations: the operands gathered before each operator,
// the operator keyword, and inline image data skipped. The interpreter runs
// what this reader gives, and text removal edits content by the byte ranges
// of the same tokens, so the two always see the same operators: whatever
// the content, an ordinal names the same text-showing operator in both.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pdf/content/content_lexer.h"
#include "pdf/content/text_entry.h"

namespace zopra::pdf {

// What the operations of one stream family share: the page's content
// streams run as one family (operands may even cross from one stream into
// the next), a Form XObject's stream as a family of its own.
struct OperationContext {
  // The operands of the operator about to be read. Operators read at most
  // the top six; past kMaxOperands the deepest is dropped, so a stream of
  // operands without operators cannot grow it without bound.
  std::vector<Token> operands;
  // Text-showing operators with an operand met so far.
  std::uint32_t textOperators = 0;
  // Added to the positions of the tokens read, array elements included:
  // where the stream being read starts in a larger text (text removal reads
  // a family's streams as parts of their join).
  std::uint64_t base = 0;
  static constexpr std::size_t kMaxOperands = 32;
};

// Tj, TJ, ' and ".
bool textShowingOperator(const std::string& keyword);

class OperationReader {
 public:
  // With `decodeValues` false the operands hold kinds and ranges only (see
  // ContentLexer::decodeValues): the same operations, found faster.
  OperationReader(const Bytes& data, OperationContext& context, bool decodeValues = true)
      : lexer_(data), context_(context) {
    lexer_.decodeValues = decodeValues;
  }

  // Reads up to the next operator, gathering its operands in the context
  // (the operands of the operator before are dropped first). False at the
  // end of the data; operands read after the last operator stay in the
  // context for the family's next stream. After "BI" the inline image's
  // dictionary and data have been read too.
  bool next(Token& keyword);
  // The ordinal of the operator last read among the family's text-showing
  // operators, or TextSource::kNoOrdinal.
  std::uint32_t textOrdinal() const { return ordinal_; }
  // Offset just past what was read (past an inline image's EI).
  std::uint64_t position() const { return lexer_.position; }

 private:
  ContentLexer lexer_;
  OperationContext& context_;
  std::uint32_t ordinal_ = TextSource::kNoOrdinal;
  bool clearOperands_ = false;
};

}  // namespace zopra::pdf
