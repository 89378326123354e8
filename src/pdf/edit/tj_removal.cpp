// removeTjOperator: the scanner of text-showing operators, applied to a
// whole content stream, copying everything but the operators it takes out.
#include <utility>

#include "pdf/edit/text_removal.h"

namespace zopra::pdf {

TjParseState removeTjOperator(std::string& content, TjParseState state, TjRemovalOptions* options) {
  TjScanner scanner(state);
  std::string output;
  output.reserve(content.size());
  // The string operand and the operator so far, until the scanner knows
  // whether they are a text-showing operator.
  std::string pending;
  for (char c : content) {
    switch (scanner.step(static_cast<std::uint8_t>(c))) {
      case TjScanner::Action::Output:
        output += c;
        break;
      case TjScanner::Action::Pending:
        pending += c;
        break;
      case TjScanner::Action::Flush:
        output += pending;
        pending.clear();
        output += c;
        break;
      case TjScanner::Action::Found: {
        pending += c;
        if (options) {
          std::uint32_t ordinal = options->operatorIndex++;
          const OperatorReplacements* replacements = options->replacements;
          auto replacement = replacements ? replacements->find(ordinal) : OperatorReplacements::const_iterator();
          if (!replacements || replacement == replacements->end()) {
            output += pending;
          } else {
            output += replacement->second;
          }
        }
        pending.clear();
        break;
      }
      case TjScanner::Action::Drop:
        break;
    }
  }
  // A string still open at the end is dropped with its pending bytes.
  content = std::move(output);
  return scanner.state();
}

}  // namespace zopra::pdf
