// Removal of original text from a page's content streams: the byte-level
// rewrite of text-showing operators, and the copies of content and Form
// XObjects that keep other pages untouched. Document::removeText drives it.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "pdf/content/text_operator_scanner.h"
#include "pdf/model/document.h"

namespace zopra::pdf {

// Per operator ordinal, the text that replaces the operator (with its string
// operand); an empty text deletes it.
using OperatorReplacements = std::map<std::uint32_t, std::string>;

struct TjRemovalOptions {
  const OperatorReplacements* replacements = nullptr;
  // The ordinal of the next text-showing operator met.
  std::uint32_t operatorIndex = 0;
};

// Rewrites `content` in place. Without options every text-showing operator
// inside BT ... ET goes with its string operand; with options, the operators
// that `replacements` names are replaced (or deleted) and the others kept.
// Returns the scanner's state after the last byte.
TjParseState removeTjOperator(std::string& content, TjParseState state, TjRemovalOptions* options);

// Edits the Form XObjects reachable from `resources` the same way: all of
// their text when `replacements` is null, else the operators it names for
// each form's object number. `visited` holds the forms already edited.
void removeTextFromResources(Document& document, const Value& resources,
                             const std::map<std::uint32_t, OperatorReplacements>* replacements,
                             std::set<std::uint32_t>& visited);

// A copy of a resource dictionary whose Form XObjects (and theirs, in turn)
// are new objects holding the forms' decoded content; `clones` maps old to
// new object numbers. Fonts, images and the rest stay shared.
Value cloneResourceTree(Document& document, const Value& resources,
                        std::map<std::uint32_t, std::uint32_t>& clones);

// New, unfiltered stream data for an object.
void replaceStreamData(Object& object, Bytes data);

}  // namespace zopra::pdf
