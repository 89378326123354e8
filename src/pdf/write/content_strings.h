// Hex strings of a content stream written again as literal strings.
#pragma once

#include "pdf/model/object.h"

namespace zopra::pdf {

// The content with every hex string that is longer than its literal form
// written as that literal string; everything else (literal strings,
// dictionaries, comments) stays byte for byte. Meant for content without
// inline images, whose data is not read as tokens here.
Bytes literalContentStrings(const Bytes& content);

}  // namespace zopra::pdf
