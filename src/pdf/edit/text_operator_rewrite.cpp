// rewriteTextOperators: a stream family's content with chosen strings of its
// text-showing operators taken out. The content is read by the reader the
// interpreter runs on, and edited by the byte ranges of its tokens, so the
// operator an ordinal names here is the one that showed the item's glyphs.
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

double numberOperand(const std::vector<Token>& operands, std::size_t fromTop) {
  const Token& token = operands[operands.size() - fromTop];
  return token.kind == Token::Kind::Number ? token.number : 0;
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

// The edit of one text-showing operator: its range runs from its first
// operand to its end. A removed ' or " keeps its move to the next line, and
// " its spacing, so that the lines after it stay where they were.
Edit operatorEdit(const std::string& content, const Token& keyword, const std::vector<Token>& operands,
                  const std::map<std::uint32_t, RemovedString>* removed) {
  Edit edit;
  edit.start = operands.back().start;
  edit.end = keyword.end;
  if (keyword.text == "\"") {
    if (operands.size() >= 3) {
      edit.start = operands[operands.size() - 3].start;
      edit.text = numberText(numberOperand(operands, 3)) + " Tw " + numberText(numberOperand(operands, 2)) + " Tc ";
    }
    edit.text += "T*";
  } else if (keyword.text == "'") {
    edit.text = "T*";
  }
  if (removed) {
    if (!edit.text.empty()) edit.text += ' ';
    edit.text += adjustedArray(content, operands.back(), *removed);
  }
  return edit;
}

}  // namespace

std::string rewriteTextOperators(const std::vector<Bytes>& streams, const OperatorChoices* choices,
                                 std::set<std::uint32_t>* found) {
  std::string content;
  for (std::size_t i = 0; i < streams.size(); ++i) {
    if (i > 0) content += '\n';
    content.append(streams[i].begin(), streams[i].end());
  }
  std::vector<Edit> edits;
  OperationContext context;
  std::uint64_t base = 0;
  for (const Bytes& stream : streams) {
    context.base = base;
    OperationReader reader(stream, context);
    Token keyword;
    while (reader.next(keyword)) {
      const std::uint32_t ordinal = reader.textOrdinal();
      if (ordinal == TextSource::kNoOrdinal) continue;
      const std::map<std::uint32_t, RemovedString>* removed = nullptr;
      if (choices) {
        auto chosen = choices->find(ordinal);
        if (chosen == choices->end()) continue;
        removed = &chosen->second;
        if (found) found->insert(ordinal);
      }
      edits.push_back(operatorEdit(content, keyword, context.operands, removed));
    }
    // The next stream starts past the line feed that joins them.
    base += stream.size() + 1;
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
