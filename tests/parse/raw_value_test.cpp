#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "pdf/parse/lexer.h"
#include "pdf/parse/raw_value.h"

namespace zopra::pdf {
namespace {

void collectReferences(const Value& value, std::vector<std::uint32_t>& out) {
  if (value.isReference()) out.push_back(value.objectNumber);
  for (const Value& element : value.array) collectReferences(element, out);
  for (const auto& [key, element] : value.dictionary) collectReferences(element, out);
}

struct RawCase {
  const char* text;
  bool plain;               // copied as it stands
  const char* kept;         // the value's text without what surrounds it
  std::vector<std::uint32_t> references;
};

// Accepted texts must name the references the parser finds, and everything
// the parser would have to repair or could read in another way is refused.
TEST(RawValue, AcceptsPlainValuesAndFindsTheirReferences) {
  const std::string deep(150, '[');
  const RawCase cases[] = {
      {"<< /Type /Page /Parent 2 0 R /Kids [3 0 R 4 0 R] >>", true,
       "<< /Type /Page /Parent 2 0 R /Kids [3 0 R 4 0 R] >>", {2, 3, 4}},
      {"  12 0 R  % a comment\n", true, "12 0 R", {12}},
      {"[1 2 3 R]", true, "[1 2 3 R]", {2}},
      {"<</A(x\\)y(z))/B<48 65 6c>/C -.5/D +3/E true/F null/G/N#20x>>", true,
       "<</A(x\\)y(z))/B<48 65 6c>/C -.5/D +3/E true/F null/G/N#20x>>", {}},
      {"[05 0 R%c\n 7\n0\nR]", true, "[05 0 R%c\n 7\n0\nR]", {5, 7}},
      {"(unterminated", false, "", {}},
      {"<4G>", false, "", {}},
      {"[5 0 R", false, "", {}},
      {"<< /A 1 /B >>", false, "", {}},
      {"<< 1 2 >>", false, "", {}},
      {"1 0 obj", false, "", {}},
      {"<< /Length 3 >> stream\nabc", false, "", {}},
      {"1e5", false, "", {}},
      {"--5", false, "", {}},
      {"[5 -0 R]", false, "", {}},
      {"[5. 0 R]", false, "", {}},
      {"4294967296 0 R", false, "", {}},
      {"1 2", false, "", {}},
      {"", false, "", {}},
      {" % only a comment", false, "", {}},
      {"/Name endobj", false, "", {}},
      {deep.c_str(), false, "", {}},
  };
  for (const RawCase& c : cases) {
    const std::string text = c.text;
    RawValue raw;
    const bool plain = scanRawValue(reinterpret_cast<const std::uint8_t*>(text.data()), text.size(), raw);
    ASSERT_EQ(plain, c.plain) << text;
    if (!plain) continue;
    EXPECT_EQ(text.substr(raw.begin, raw.end - raw.begin), c.kept) << text;
    EXPECT_EQ(raw.references, c.references) << text;
    Lexer lexer(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    std::vector<std::uint32_t> parsed;
    collectReferences(lexer.value(0), parsed);
    std::sort(parsed.begin(), parsed.end());
    std::vector<std::uint32_t> scanned = raw.references;
    std::sort(scanned.begin(), scanned.end());
    EXPECT_EQ(scanned, parsed) << text;
  }
}

}  // namespace
}  // namespace zopra::pdf
