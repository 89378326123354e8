// Removal of original text from a page's content streams: the rewrite of
// text-showing operators by the byte ranges of their tokens, and the copies
// of content and Form XObjects that keep other pages untouched.
// Document::removeText drives it.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "pdf/edit/page_text_edits.h"
#include "pdf/model/document.h"

namespace zopra::pdf {

// The content of one stream family (its streams joined with a line feed)
// with text taken out: every text-showing operator when `choices` is null,
// else the chosen strings of the chosen operators, each replaced by a TJ
// adjustment of its advance. Everything else stays as it was, token for
// token. `found` receives the chosen ordinals that the content holds, in
// increasing order.
Bytes rewriteTextOperators(const std::vector<Bytes>& streams, const OperatorChoices* choices,
                           std::vector<std::uint32_t>* found = nullptr);

// A copy of a resource dictionary whose Form XObjects (and theirs, in turn)
// are new objects holding the forms' decoded content; `clones` maps old to
// new object numbers. Fonts, images and the rest stay shared.
Value cloneResourceTree(Document& document, const Value& resources,
                        std::map<std::uint32_t, std::uint32_t>& clones);

// New, unfiltered stream data for an object.
void replaceStreamData(Object& object, Bytes data);

}  // namespace zopra::pdf
