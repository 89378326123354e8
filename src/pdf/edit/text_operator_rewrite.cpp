// rewriteTextOperators: a stream family's content with chosen strings of its
// text-showing operators taken out. The content is read by the reader the
// interpreter runs on, and edited by the byte ranges of its tokens, so the
// operator an ordinal names here is the one that showed the item's glyphs.
#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "pdf/content/content_operations.h"
#include "pdf/edit/text_removal.h"
#include "pdf/write/value_writer.h"

namespace zopra::pdf {

namespace {

// Adjustments are written with this many significant digits: a hundredth
// of a thousandth of an em up to 100000 thousandths.
constexpr int kAdjustmentDigits = 7;

// One text-showing operator rewritten. `prefix` keeps what a removed ' or
// " did besides showing (its spacing, its move to the next line); `shown`
// is what is left to show: the operand with strings kept, or, when every
// string went, the sum of the array's adjustments (`advance`), shown only
// when later glyphs depend on it. A removal of chosen strings keeps every
// operator before the last one that still shows glyphs, showing nothing if
// need be, so that the operators kept keep their ordinals (and the strings
// kept their element index) for the items of the extraction.
struct Edit {
  std::uint64_t start = 0;
  std::uint64_t end = 0;
  std::string prefix;
  std::string shown;
  bool showsNothing = false;
  double advance = 0;
  // The operator moves to the next line before showing (' and ").
  bool startsLine = false;
  bool keepsOperator = false;
  std::string text;
  // What is left shows glyphs or moves by the font size.
  bool usesFont = false;
};

// What the operators of a family do to the place of the next glyph, in
// the order they run; the edits' advances are dropped where nothing shown
// depends on them.
// FontSet, Save and Restore (Tf, q, Q) tell which font each shown glyph
// and adjustment uses; a Tf none uses is dropped too. A form drawn (Do)
// may show text in the font it finds set.
enum class Step : std::uint8_t { Shows, NewLine, Edited, FontSet, Save, Restore, Draws };

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
// arrays) become 0. When no string is kept, the edit keeps only the sum of
// the adjustments.
using ChosenStrings = std::span<const OperatorChoices::String>;

// The chosen string of element `index`, or null.
const RemovedString* chosenElement(ChosenStrings removed, std::uint32_t index) {
  const auto at = std::lower_bound(removed.begin(), removed.end(), index,
                                   [](const OperatorChoices::String& s, std::uint32_t e) { return s.element < e; });
  return at != removed.end() && at->element == index ? &at->removed : nullptr;
}

void adjustArray(const std::string& content, const Token& operand, ChosenStrings removed, Edit& edit) {
  // The adjustment that stands for a removed string: its advance in
  // thousandths of the text space, 0 at a size no adjustment can move by
  // (what character spacing added to such invisible glyphs is lost).
  const auto adjustmentOf = [](const RemovedString& string, bool& moves) {
    const double scale = string.fontSize * string.horizontalScale;
    const double adjustment = string.width * -1000.0 / scale;
    moves = std::fabs(scale) > 1e-12 && std::isfinite(adjustment);
    return moves ? adjustment : 0.0;
  };
  // Most removals take every string of the operator: then only the sum of
  // the adjustments counts, and no text is written for them.
  bool kept = false;
  double sum = 0;
  const auto add = [&](double value) {
    if (std::isfinite(value)) sum += value;
  };
  const auto sumString = [&](std::uint32_t index) {
    const RemovedString* found = chosenElement(removed, index);
    if (!found) {
      kept = true;
      return;
    }
    bool moves = false;
    add(adjustmentOf(*found, moves));
  };
  if (operand.kind == Token::Kind::String) {
    sumString(0);
  } else if (operand.kind == Token::Kind::Array) {
    for (std::size_t i = 0; i < operand.elements.size() && !kept; ++i) {
      const Token& element = operand.elements[i];
      if (element.kind == Token::Kind::String) {
        sumString(static_cast<std::uint32_t>(i));
      } else if (element.kind == Token::Kind::Number) {
        add(element.number);
      }
    }
  }
  if (!kept) {
    edit.showsNothing = true;
    edit.advance = sum;
    return;
  }
  std::string text = "[";
  auto addString = [&](const Token& element, std::uint32_t index) {
    const RemovedString* found = chosenElement(removed, index);
    if (!found) {
      text += ' ' + hexString(element.text);
      return;
    }
    bool moves = false;
    const double adjustment = adjustmentOf(*found, moves);
    text += ' ' + (moves ? numberText(adjustment) : std::string("0"));
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
  edit.shown = text + " ] TJ";
}

// The edit of one text-showing operator: its range runs from its operands
// to its end. A removed ' or " keeps its move to the next line, and
// " its spacing, so that the lines after it stay where they were. `shown` is
// the operand read with its values, needed when strings are kept.
Edit operatorEdit(const std::string& content, const Token& keyword, const std::vector<Token>& operands,
                  const ChosenStrings* removed, const Token& shown) {
  // Every operand on the stack goes with the operator: the interpreter
  // drops those it does not use, and one left behind would become an
  // operand of the next operator.
  Edit edit;
  edit.start = operands.front().start;
  edit.end = keyword.end;
  if (keyword.text == "\"") {
    if (operands.size() >= 3) {
      edit.prefix = numberOperand(content, operands, 3) + " Tw " + numberOperand(content, operands, 2) + " Tc ";
    }
    edit.prefix += "T*";
    edit.startsLine = true;
  } else if (keyword.text == "'") {
    edit.prefix = "T*";
    edit.startsLine = true;
  }
  if (removed) {
    edit.keepsOperator = true;
    adjustArray(content, shown, *removed, edit);
  } else {
    edit.showsNothing = true;
  }
  return edit;
}

// The text of every edit. A removed operator's advance is kept, as one
// adjustment, only when a glyph shown later on the same line depends on
// it: going back from the end, a line start (Td, TD, Tm of six operands,
// T*, BT, ' or ") makes every advance before it meaningless until something
// is shown before it. At the end of the content the advance is kept, as the family
// may go on.
void settleEdits(std::vector<Edit>& edits, const std::vector<std::pair<Step, std::size_t>>& steps) {
  bool needed = true;
  // Whether an operator after this one still shows glyphs: past the last,
  // no ordinal needs keeping, and an operator showing nothing is dropped
  // (readers want a font for any text-showing operator).
  bool showsLater = false;
  for (auto step = steps.rbegin(); step != steps.rend(); ++step) {
    if (step->first == Step::Shows) {
      needed = true;
      showsLater = true;
      continue;
    }
    if (step->first == Step::NewLine) {
      needed = false;
      continue;
    }
    if (step->first != Step::Edited) continue;
    Edit& edit = edits[step->second];
    edit.text = edit.prefix;
    if (!edit.showsNothing) {
      if (!edit.text.empty()) edit.text += ' ';
      edit.text += edit.shown;
      edit.usesFont = true;
      needed = true;
      showsLater = true;
    } else if (edit.keepsOperator && showsLater) {
      if (!edit.text.empty()) edit.text += ' ';
      const bool moves = needed && edit.advance != 0;
      edit.text += moves ? '[' + numberText(edit.advance, kAdjustmentDigits) + "]TJ" : std::string("[]TJ");
      edit.usesFont = true;
    }
    if (edit.startsLine) needed = false;
  }
}

// Edits that drop the font settings (`fonts`, by FontSet step) that no
// glyph or adjustment left uses: going forward, each use marks the Tf that
// set the current font, q and Q saving and restoring which one that is.
void dropUnusedFontSettings(std::vector<Edit>& edits, std::vector<Edit>& fonts,
                            const std::vector<std::pair<Step, std::size_t>>& steps) {
  constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  std::vector<bool> used(fonts.size(), false);
  std::vector<std::size_t> saved;
  std::size_t current = kNone;
  auto use = [&] {
    if (current != kNone) used[current] = true;
  };
  for (const auto& [step, index] : steps) {
    switch (step) {
      case Step::FontSet:
        current = index;
        break;
      case Step::Save:
        saved.push_back(current);
        break;
      case Step::Restore:
        if (saved.empty()) {
          // A Q without its q restores a state from outside: keep the font
          // that was current, as nothing tells which one it is.
          use();
        } else {
          current = saved.back();
          saved.pop_back();
        }
        break;
      case Step::Shows:
      case Step::Draws:
        use();
        break;
      case Step::Edited:
        if (edits[index].usesFont) use();
        break;
      case Step::NewLine:
        break;
    }
  }
  // Both lists are in content order: merged, not sorted.
  const std::size_t kept = edits.size();
  edits.reserve(kept + static_cast<std::size_t>(std::count(used.begin(), used.end(), false)));
  for (std::size_t i = 0; i < fonts.size(); ++i) {
    if (!used[i]) edits.push_back(std::move(fonts[i]));
  }
  std::inplace_merge(edits.begin(), edits.begin() + static_cast<std::ptrdiff_t>(kept), edits.end(),
                     [](const Edit& a, const Edit& b) { return a.start < b.start; });
}

// Operators after which the place of the next glyph no longer depends on
// the glyphs shown before. ET is none: text shown after it without a BT
// goes on from where the text before it ended.
bool startsLine(const std::string& keyword) {
  return keyword == "Td" || keyword == "TD" || keyword == "Tm" || keyword == "T*" || keyword == "BT";
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

// PDF white space and delimiters: a token next to one never fuses with
// what is on its other side.
bool separates(char c) {
  return std::string_view(" \t\r\n\f\v()<>[]{}/%").find(c) != std::string_view::npos || c == '\0';
}

}  // namespace

Bytes rewriteTextOperators(const std::vector<Bytes>& streams, const OperatorChoices* choices,
                           std::vector<std::uint32_t>* found) {
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
  if (std::none_of(streams.begin(), streams.end(), mayShowText)) return Bytes(content.begin(), content.end());
  std::vector<Edit> edits;
  std::vector<std::pair<Step, std::size_t>> steps;
  // Every Tf with its operands, as an edit that would drop it.
  std::vector<Edit> fonts;
  // Where each inline image's data ends ("EI" included), in the join.
  std::vector<std::uint64_t> imageEnds;
  OperationContext context;
  for (std::size_t i = 0; i < streams.size(); ++i) {
    context.base = bases[i];
    // Only where tokens are matters here, not what they hold.
    OperationReader reader(streams[i], context, false);
    Token keyword;
    while (reader.next(keyword)) {
      const std::uint32_t ordinal = reader.textOrdinal();
      if (ordinal == TextSource::kNoOrdinal) {
        // Keywords of one or two bytes are all this needs to tell apart;
        // the rest go by without a comparison.
        const std::string& name = keyword.text;
        if (name.empty() || name.size() > 2) continue;
        if (name == "BI") imageEnds.push_back(bases[i] + reader.position());
        // A Tm of fewer than six operands does nothing, as the interpreter
        // reads it.
        if (startsLine(name) && (name != "Tm" || context.operands.size() >= 6)) {
          steps.emplace_back(Step::NewLine, 0);
        } else if (name == "Tf" && !context.operands.empty()) {
          steps.emplace_back(Step::FontSet, fonts.size());
          Edit drop;
          drop.start = context.operands.front().start;
          drop.end = keyword.end;
          fonts.push_back(std::move(drop));
        } else if (name == "q") {
          steps.emplace_back(Step::Save, 0);
        } else if (name == "Q") {
          steps.emplace_back(Step::Restore, 0);
        } else if (name == "Do") {
          steps.emplace_back(Step::Draws, 0);
        }
        continue;
      }
      if (!choices) {
        steps.emplace_back(Step::Edited, edits.size());
        edits.push_back(operatorEdit(content, keyword, context.operands, nullptr, Token()));
        continue;
      }
      const ChosenStrings chosen = choices->of(ordinal);
      if (chosen.empty()) {
        // An operator left alone shows its glyphs; ' and " first start a
        // line, which is all that matters to the operators before them.
        if (keyword.text != "Tj" && keyword.text != "TJ") steps.emplace_back(Step::NewLine, 0);
        steps.emplace_back(Step::Shows, 0);
        continue;
      }
      if (found) found->push_back(ordinal);
      Token shown = shownOperand(context.operands.back());
      // Array elements were read with positions in their stream; the
      // rewrite copies numbers from the join.
      const std::uint64_t base = context.operands.back().start - shown.start;
      for (Token& element : shown.elements) {
        element.start += base;
        element.end += base;
      }
      steps.emplace_back(Step::Edited, edits.size());
      edits.push_back(operatorEdit(content, keyword, context.operands, &chosen, shown));
    }
  }
  if (edits.empty()) return Bytes(content.begin(), content.end());
  settleEdits(edits, steps);
  dropUnusedFontSettings(edits, fonts, steps);
  Bytes output;
  output.reserve(content.size() + 16 * edits.size());
  std::uint64_t copied = 0;
  const auto append = [&](std::string_view text) { output.insert(output.end(), text.begin(), text.end()); };
  const std::string_view all(content);
  auto image = imageEnds.begin();
  for (const Edit& edit : edits) {
    append(all.substr(copied, edit.start - copied));
    // Just after an inline image, the bytes that follow its EI decide where
    // its data ends (see skipInlineImageData). An edit there never gets
    // shorter, so that no byte kept comes nearer to the EI than it was.
    while (image != imageEnds.end() && *image + kInlineImageEndCheck <= edit.start) ++image;
    const bool nearImageEnd = image != imageEnds.end() && *image <= edit.start;
    // What follows an operator keyword is white space, a delimiter or the
    // end, so only the replacement's start may need a space not to fuse
    // with the token before it.
    if (!edit.text.empty() && !output.empty() && !separates(static_cast<char>(output.back())) &&
        !separates(edit.text.front())) {
      output.push_back(' ');
    }
    append(edit.text);
    if (nearImageEnd && edit.text.size() < edit.end - edit.start) {
      output.insert(output.end(), edit.end - edit.start - edit.text.size(), ' ');
    }
    copied = edit.end;
  }
  append(all.substr(copied));
  return output;
}

}  // namespace zopra::pdf
