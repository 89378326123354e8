// Fuzz target: the input is a page content stream, run as the content of
// the page of content_page.h. Its text items are extracted, a selection of
// them (chosen from a hash of the input) is removed, and the page is
// extracted again: every string of an item not chosen must still be shown
// where it was, every string of a chosen item must be gone unless the
// removal reported the item as left (one of its strings at least is then
// still shown), and removing the same items again must change nothing.
// Removing all text must leave no item.
#include <cmath>
#include <cstdio>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "pdf/content/text_entry.h"
#include "pdf/model/document.h"
#include "content_page.h"
#include "temp_file.h"

namespace {

using zopra::pdf::Document;
using zopra::pdf::Error;
using zopra::pdf::TextEntry;
using zopra::pdf::TextSource;

// Names the line of the broken rule, so that a finding tells which it is.
void requireAt(bool condition, int line) {
  if (condition) return;
  std::fprintf(stderr, "fuzz_removal: the rule of line %d does not hold\n", line);
  std::abort();
}
#define require(condition) requireAt((condition), __LINE__)

// A shown string: its operator in its stream family and its element.
using StringKey = std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>;

std::map<StringKey, std::vector<std::pair<double, double>>> strings(const std::vector<TextEntry>& entries,
                                                                  const std::set<std::uint32_t>* only,
                                                                  const std::map<std::uint32_t, std::uint32_t>* forms) {
  std::map<StringKey, std::vector<std::pair<double, double>>> out;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (only && only->count(static_cast<std::uint32_t>(i)) == 0) continue;
    for (const TextSource::Run& run : entries[i].sources) {
      if (!run.source) continue;
      std::uint32_t stream = run.source->stream;
      if (forms && forms->count(stream)) stream = forms->at(stream);
      out[{stream, run.source->ordinal, run.element}].emplace_back(run.x, run.y);
    }
  }
  return out;
}

bool near(double a, double b) { return std::fabs(a - b) <= 1e-3 + 1e-9 * std::fabs(a); }

// Positions are only comparable where the removed advances can be written as
// TJ adjustments exactly enough: moderate sizes and advances.
bool measurable(const std::vector<TextEntry>& entries) {
  for (const TextEntry& entry : entries) {
    for (const TextSource::Run& run : entry.sources) {
      const double scale = std::fabs(run.fontSize * run.horizontalScale);
      if (!(scale > 1e-3 && scale < 1e4 && std::fabs(run.width) < 1e5 && std::fabs(run.x) < 1e6 &&
            std::fabs(run.y) < 1e6)) {
        return false;
      }
    }
  }
  return true;
}

std::string pageContent(Document& loaded) {
  std::string text;
  for (std::uint32_t number : loaded.pageContentObjects(loaded.pages[0])) {
    const zopra::pdf::Bytes data = loaded.decodeStream(*loaded.object(number));
    text.append(data.begin(), data.end());
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static zopra::fuzz::TempFile file;
  const std::string content(reinterpret_cast<const char*>(data), size);
  const std::string bytes = zopra::fuzz::contentPage(content);
  file.write(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());

  Document loaded;
  require(loaded.load(file.path()) == Error::None);
  std::vector<TextEntry> before;
  if (loaded.extractText(0, before, nullptr) != Error::None || before.empty()) return 0;

  std::uint64_t hash = 1469598103934665603ull;
  for (std::size_t i = 0; i < size; ++i) hash = (hash ^ data[i]) * 1099511628211ull;
  std::set<std::uint32_t> chosen;
  for (std::uint32_t i = 0; i < before.size(); ++i) {
    if ((hash >> (i % 61)) & 1) chosen.insert(i);
  }
  require(loaded.removeText(0, &chosen, before, 1) == Error::None);
  const std::string once = pageContent(loaded);
  require(loaded.removeText(0, &chosen, before, 1) == Error::None);
  require(pageContent(loaded) == once);

  std::vector<TextEntry> after;
  require(loaded.extractText(0, after, nullptr) == Error::None);
  const zopra::pdf::PageTextEdits& edits = loaded.textEdits[0];
  // Items not chosen stay whole. A chosen item the removal reports left
  // keeps at least one string: the strings it shares with items not chosen
  // (a form drawn twice) stay, the others may go.
  std::set<std::uint32_t> kept;
  for (std::uint32_t i = 0; i < before.size(); ++i) {
    if (chosen.count(i) == 0) kept.insert(i);
  }
  const auto keptBefore = strings(before, &kept, &edits.forms);
  const auto shownAfter = strings(after, nullptr, nullptr);
  const bool compare = measurable(before);
  for (const auto& [key, positions] : keptBefore) {
    auto found = shownAfter.find(key);
    require(found != shownAfter.end());
    if (!compare) continue;
    // A string of a form is shown once per drawing; the drawings of items
    // reported left may show it too.
    for (const auto& [x, y] : positions) {
      bool at = false;
      for (const auto& shown : found->second) at = at || (near(shown.first, x) && near(shown.second, y));
      require(at);
    }
  }
  for (std::uint32_t left : edits.left) {
    const std::set<std::uint32_t> one{left};
    bool shown = false;
    for (const auto& entry : strings(before, &one, &edits.forms)) shown = shown || shownAfter.count(entry.first) != 0;
    require(shown);
  }
  std::set<std::uint32_t> removed = chosen;
  for (std::uint32_t left : edits.left) removed.erase(left);
  for (const auto& [key, positions] : strings(before, &removed, &edits.forms)) {
    require(shownAfter.count(key) == 0);
  }

  require(loaded.removeText(0, nullptr, after) == Error::None);
  require(loaded.extractText(0, after, nullptr) == Error::None);
  require(after.empty());
  return 0;
}
