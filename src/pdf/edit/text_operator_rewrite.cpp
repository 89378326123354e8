// rewriteTextOperators: a stream family's content with chosen strings of its
// text-showing operators taken out. The content is read by the reader the
// interpreter runs on, and edited by the byte ranges of its tokens, so the
// operator an ordinal names here is the one that showed the item's glyphs.
#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "pdf/content/content_operations.h"
#include "pdf/edit/text_removal.h"
#include "pdf/write/value_writer.h"

namespace zopra::pdf {

namespace {

struct Edit {
  std::uint64_t start = 0;
  std::uint64_t end = 0;
  std::string text;
};

std::string hexString(const std::string& bytes) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text = "<";
  for (char c : bytes) {
    auto byte = static_cast<unsigned char>(c);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0x0F];
  }
  return text + ">";
}

// A number operand as it was written; anything else counts as 0, as the
// interpreter takes it.
std::string numberOperand(const std::string& content, const std::vector<Token>& operands, std::size_t fromTop) {
  const Token& token = operands[operands.size() - fromTop];
  return token.kind == Token::Kind::Number ? content.substr(token.start, token.end - token.start) : "0";
}

// The operand as a TJ array: numbers as they were written, kept strings as
// hex strings, each removed string replaced by the adjustment of its
// advance. Elements the interpreter ignores (keywords, names, nested
// arrays) become 0, so that every element keeps its index: the strings
// kept are still named by the items of the extraction.
std::string adjustedArray(const std::string& content, const Token& operand,
                          const std::map<std::uint32_t, RemovedString>& removed) {
  std::string text = "[";
  auto addString = [&](const Token& element, std::uint32_t index) {
    auto found = removed.find(index);
    if (found == removed.end()) {
      text += ' ' + hexString(element.text);
      return;
    }
    const RemovedString& string = found->second;
    const double scale = string.fontSize * string.horizontalScale;
    const double adjustment = string.width * -1000.0 / scale;
    // At a size of 0 no adjustment can move the text matrix: what character
    // spacing added to the glyphs of such invisible text is lost.
    text += ' ' + (std::fabs(scale) > 1e-12 && std::isfinite(adjustment) ? numberText(adjustment) : "0");
  };
  if (operand.kind == Token::Kind::String) {
    addString(operand, 0);
  } else if (operand.kind == Token::Kind::Array) {
    for (std::size_t i = 0; i < operand.elements.size(); ++i) {
      const Token& element = operand.elements[i];
      if (element.kind == Token::Kind::String) {
        addString(element, static_cast<std::uint32_t>(i));
      } else if (element.kind == Token::Kind::Number) {
        text += ' ' + content.substr(element.start, element.end - element.start);
      } else {
        text += " 0";
      }
    }
  }
  return text + " ] TJ";
}

// The edit of one text-showing operator: its range runs from its operands
// to its end. A removed ' or " keeps its move to the next line, and
// " its spacing, so that the lines after it stay where they were. `shown` is
// the operand read with its values, needed when strings are kept.
Edit operatorEdit(const std::string& content, const Token& keyword, const std::vector<Token>& operands,
                  const std::map<std::uint32_t, RemovedString>* removed, const Token& shown) {
  // Every operand on the stack goes with the operator: the interpreter
  // drops those it does not use, and one left behind would become an
  // operand of the next operator.
  Edit edit;
  edit.start = operands.front().start;
  edit.end = keyword.end;
  if (keyword.text == "\"") {
    if (operands.size() >= 3) {
      edit.text = numberOperand(content, operands, 3) + " Tw " + numberOperand(content, operands, 2) + " Tc ";
    }
    edit.text += "T*";
  } else if (keyword.text == "'") {
    edit.text = "T*";
  }
  if (removed) {
    if (!edit.text.empty()) edit.text += ' ';
    edit.text += adjustedArray(content, shown, *removed);
  }
  return edit;
}

// False when no text-showing operator can be in the bytes: none of "Tj",
// "TJ", "'" or '"' occurs. Figures drawn by forms hold none, and need no
// reading at all.
bool mayShowText(const Bytes& bytes) {
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const std::uint8_t byte = bytes[i];
    if (byte == '\'' || byte == '"') return true;
    if (byte == 'T' && i + 1 < bytes.size() && (bytes[i + 1] == 'j' || bytes[i + 1] == 'J')) return true;
  }
  return false;
}

}  // namespace

std::string rewriteTextOperators(const std::vector<Bytes>& streams, const OperatorChoices* choices,
                                 std::set<std::uint32_t>* found) {
  std::string content;
  // Where each stream starts in the join.
  std::vector<std::uint64_t> bases;
  for (std::size_t i = 0; i < streams.size(); ++i) {
    if (i > 0) content += '\n';
    bases.push_back(content.size());
    content.append(streams[i].begin(), streams[i].end());
  }
  // The operand read again, values and all, from the stream that holds it.
  auto shownOperand = [&](const Token& operand) {
    const std::size_t index =
        static_cast<std::size_t>(std::upper_bound(bases.begin(), bases.end(), operand.start) - bases.begin()) - 1;
    ContentLexer lexer(streams[index]);
    lexer.position = operand.start - bases[index];
    Token token;
    lexer.next(token);
    return token;
  };
  if (std::none_of(streams.begin(), streams.end(), mayShowText)) return content;
  std::vector<Edit> edits;
  OperationContext context;
  for (std::size_t i = 0; i < streams.size(); ++i) {
    context.base = bases[i];
    // Only where tokens are matters here, not what they hold.
    OperationReader reader(streams[i], context, false);
    Token keyword;
    while (reader.next(keyword)) {
      const std::uint32_t ordinal = reader.textOrdinal();
      if (ordinal == TextSource::kNoOrdinal) continue;
      if (!choices) {
        edits.push_back(operatorEdit(content, keyword, context.operands, nullptr, Token()));
        continue;
      }
      auto chosen = choices->find(ordinal);
      if (chosen == choices->end()) continue;
      if (found) found->insert(ordinal);
      Token shown = shownOperand(context.operands.back());
      // Array elements were read with positions in their stream; the
      // rewrite copies numbers from the join.
      const std::uint64_t base = context.operands.back().start - shown.start;
      for (Token& element : shown.elements) {
        element.start += base;
        element.end += base;
      }
      edits.push_back(operatorEdit(content, keyword, context.operands, &chosen->second, shown));
    }
  }
  if (edits.empty()) return content;
  std::string output;
  output.reserve(content.size() + 16 * edits.size());
  std::uint64_t copied = 0;
  for (const Edit& edit : edits) {
    output.append(content, copied, edit.start - copied);
    // Spaces on both sides: a replacement never fuses with its neighbours.
    output += ' ';
    output += edit.text;
    output += ' ';
    copied = edit.end;
  }
  output.append(content, copied, std::string::npos);
  return output;
}

}  // namespace zopra::pdf
