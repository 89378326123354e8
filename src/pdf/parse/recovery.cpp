// The recovery scan: when the cross-reference data cannot be trusted, every
// "N G obj" header of the file is parsed in file order and the trailer is
// searched for separately.
#include <algorithm>
#include <exception>
#include <string_view>

#include "pdf/model/document.h"
#include "pdf/parse/lexer.h"
#include "pdf/parse/trailer_candidate.h"

namespace zopra::pdf {

namespace {

bool isDigitByte(std::uint8_t c) { return c >= '0' && c <= '9'; }

// True when an object header "digits ws+ digits ws+ obj" starts at `p`.
bool headerAt(ByteView file, std::size_t p) {
  const std::size_t size = file.size();
  if (!isDigitByte(file[p])) return false;
  if (p > 0 && !isDelimiter(file[p - 1])) return false;
  std::size_t i = p;
  for (int field = 0; field < 2; ++field) {
    if (i >= size || !isDigitByte(file[i])) return false;
    while (i < size && isDigitByte(file[i])) ++i;
    if (i >= size || !isWhiteSpace(file[i])) return false;
    while (i < size && isWhiteSpace(file[i])) ++i;
  }
  if (size - i < 3 || file[i] != 'o' || file[i + 1] != 'b' || file[i + 2] != 'j') return false;
  return i + 3 == size || isDelimiter(file[i + 3]);
}

}  // namespace

// Failed attempts may each read far ahead (an unterminated string or stream
// runs to the end of the file), and a crafted file can hold a header at every
// few bytes, so without a bound the scan would be quadratic in the file size.
// Once the bytes read by failed attempts pass this budget, later attempts see
// only a short window; ordinary broken files never come near the budget.
// Successful attempts move the scan past what they read, and the search of a
// stream for its "endstream" uses the document's index of those keywords, so
// neither repeats work.
constexpr std::uint64_t kFailedScanBudgetPerByte = 8;
constexpr std::uint64_t kFailedScanBudgetBase = 64u << 20;
constexpr std::uint64_t kWindowAfterBudget = 256;
// The trailer search reads one value after every "trailer" keyword. A crafted
// file can hold a keyword every few bytes followed by values that never end,
// so those reads share a budget of the same kind.

Error Document::parseLinear() {
  const std::size_t size = file.size();
  const std::uint64_t budget = kFailedScanBudgetBase + kFailedScanBudgetPerByte * size;
  std::uint64_t spent = 0;
  std::size_t p = 0;
  while (p < size) {
    if (!headerAt(file, p)) {
      ++p;
      continue;
    }
    Object parsed;
    std::uint64_t end = 0;
    bool ok = false;
    ScanBounds bounds;
    if (spent > budget) bounds.limit = p + kWindowAfterBudget;
    try {
      ok = parseObjectAt(file, p, parsed, end, &bounds, &endstreamIndex());
    } catch (const Exception&) {
      ok = false;
    }
    if (!ok || end <= p) {
      spent += bounds.reached > p ? bounds.reached - p : 1;
      ++p;
      continue;
    }
    parsed.loaded = true;
    auto existing = objects.find(parsed.number);
    if (existing == objects.end()) {
      objects.emplace(parsed.number, std::move(parsed));
    } else if (existing->second.offset < parsed.offset) {
      existing->second = std::move(parsed);
    }
    p = end;
  }
  if (objects.empty()) {
    setError(Error::Format, "PDF has no indirect objects");
    return Error::Format;
  }
  std::uint32_t highest = objects.rbegin()->first;
  // 0 once every number is taken: createObject then refuses to wrap.
  nextObjectNumber = highest + 1;
  fixStreamLengths();

  TrailerCandidate candidate;
  std::string_view text(reinterpret_cast<const char*>(file.data()), size);
  std::uint64_t trailerSpent = 0;
  for (std::size_t at = text.find("trailer"); at != std::string_view::npos;
       at = text.find("trailer", at + 1)) {
    std::size_t limit = size;
    if (trailerSpent > budget) limit = std::min<std::uint64_t>(size, at + 7 + kWindowAfterBudget);
    Lexer lexer(file.data(), limit, at + 7);
    try {
      candidate.offer(lexer.value(0), at);
    } catch (const Exception&) {
    }
    trailerSpent += lexer.position() - at;
  }
  if (!candidate.present()) {
    for (const auto& [number, entry] : objects) {
      const Value* type = entry.value.find("Type");
      if (type && type->isName("XRef")) candidate.offer(entry.value, entry.offset);
    }
  }
  if (!candidate.present()) {
    setError(Error::Format, "PDF trailer was not found");
    return Error::Format;
  }
  trailer = candidate.take();
  return Error::None;
}

void Document::fixStreamLengths() {
  for (auto& [number, entry] : objects) {
    if (!entry.isStream) continue;
    const Value* length = entry.value.find("Length");
    if (!length || !length->isReference()) continue;
    const Object* lengthObject = nullptr;
    try {
      lengthObject = object(length->objectNumber);
    } catch (const Exception&) {
      continue;
    }
    if (!lengthObject || !lengthObject->value.isNumber()) continue;
    double n = lengthObject->value.number;
    if (isWholeNumber(n, 0, 18446744073709551616.0) && entry.streamOffset <= file.size() &&
        n <= static_cast<double>(file.size() - entry.streamOffset)) {
      entry.streamLength = static_cast<std::uint64_t>(n);
    }
  }
}

}  // namespace zopra::pdf
