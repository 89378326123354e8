// Edits of page ranges made by other documents on the same file, taken
// over: the written bytes equal those of one document making every edit,
// however the pages are split, and what cannot be taken over is refused.
#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "pdf/content/text_entry.h"
#include "support/load_helpers.h"
#include "support/test_files.h"
#include "support/true_type_builder.h"

namespace zopra::pdf {
namespace {

using namespace test::font;

// 'A', 'B', 'C' as glyphs 1 to 3, the space glyph 4.
std::string abcFontFile(const std::string& name) {
  const Bytes font = fontFile({{"head", head(1000)},
                               {"hhea", hhea(5)},
                               {"maxp", maxp(5)},
                               {"hmtx", hmtx({1000, 500, 600, 700, 250})},
                               {"cmap", cmap({{3, 1,
                                               format4({{0x20, 0x20, (4 - 0x20) & 0xFFFF, {}},
                                                        {0x41, 0x43, (1 - 0x41) & 0xFFFF, {}},
                                                        {0xFFFF, 0xFFFF, 1, {}}})}})}});
  return test::writeTempFile(name, std::string(font.begin(), font.end()));
}

// Three pages with text sharing one content stream and a Form XObject.
test::Loaded threePages(const char* text = "Hello") {
  test::PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [3 0 R 4 0 R 5 0 R] /Count 3 "
              "/Resources << /Font << /F1 20 0 R >> /XObject << /X1 8 0 R >> >> >>");
  b.object(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 7 0 R >>");
  b.object(4, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 7 0 R >>");
  b.object(5, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 7 0 R >>");
  b.stream(7, "", std::string("BT /F1 10 Tf 72 700 Td (") + text + ") Tj (World) Tj ET /X1 Do");
  b.stream(8, "/Type /XObject /Subtype /Form /BBox [0 0 612 792]", "BT /F1 9 Tf 72 300 Td (Form) Tj ET");
  b.object(20, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  b.finishWithTable("/Root 1 0 R");
  return test::loadBuilder(b, "adoption.pdf");
}

const std::string kRegular = abcFontFile("adoption-regular.ttf");
const std::string kBold = abcFontFile("adoption-bold.ttf");

void draw(Document& document, std::uint32_t page, const std::string& text, const std::string& font) {
  Document::DrawState state;
  state.text = text;
  state.fontPath = font;
  state.fontSize = 10;
  state.matrix = {1, 0, 0, 1, 72, 500};
  ASSERT_EQ(document.prepareText(state), Error::None) << document.errorMessage;
  ASSERT_EQ(document.drawText(page, state), Error::None) << document.errorMessage;
}

// Page 0: one item removed, text in the regular font. Page 1: all text
// removed, text in the bold font, then in the regular one. Page 2: new
// glyphs of the bold font.
void editPage(Document& document, std::uint32_t page) {
  if (page == 0) {
    std::vector<TextEntry> entries;
    ASSERT_EQ(document.extractText(0, entries, nullptr), Error::None);
    const std::set<std::uint32_t> chosen{0};
    ASSERT_EQ(document.removeText(0, &chosen, entries, 1), Error::None);
    draw(document, 0, "AB", kRegular);
  } else if (page == 1) {
    ASSERT_EQ(document.removeText(1, nullptr, {}), Error::None);
    draw(document, 1, "BA", kBold);
    draw(document, 1, "C", kRegular);
  } else {
    draw(document, 2, "CC A", kBold);
  }
}

std::string written(Document& document, bool compact, const std::string& name) {
  const std::string path = test::tempDirectory() + "/" + name;
  const Error result = compact ? document.saveCompact(path, Document::CompactOptions{}) : document.save(path);
  EXPECT_EQ(result, Error::None) << document.errorMessage;
  return test::readFile(path);
}

TEST(PageAdoption, GivesTheBytesOfOneDocumentForAnySplit) {
  // Ranges edited by documents of their own, in page order; page numbers
  // missing from every range are edited by the target itself.
  const std::vector<std::vector<std::pair<std::uint32_t, std::uint32_t>>> splits = {
      {{0, 2}}, {{0, 0}, {1, 2}}, {{0, 1}, {2, 2}}, {{0, 0}, {1, 1}, {2, 2}}, {{1, 2}}};
  for (bool compact : {true, false}) {
    auto direct = threePages();
    ASSERT_EQ(direct.result, Error::None);
    for (std::uint32_t page = 0; page < 3; ++page) editPage(*direct.document, page);
    const std::string expected = written(*direct.document, compact, "adoption-direct.pdf");
    for (const auto& split : splits) {
      SCOPED_TRACE(testing::Message() << "compact " << compact << ", ranges " << split.size() << " from "
                                      << split.front().first);
      auto target = threePages();
      for (std::uint32_t page = 0; page < split.front().first; ++page) editPage(*target.document, page);
      for (const auto& [first, last] : split) {
        auto source = threePages();
        for (std::uint32_t page = first; page <= last; ++page) editPage(*source.document, page);
        ASSERT_EQ(target->adoptPageEdits(*source.document, first, last), Error::None) << target->errorMessage;
      }
      EXPECT_EQ(written(*target.document, compact, "adoption-split.pdf"), expected);
    }
  }
}

TEST(PageAdoption, RefusesWhatItCannotTakeOver) {
  const struct {
    const char* name;
    const char* sourceText;  // the source's file differs with another text
    std::function<void(Document& target, Document& source)> edit;
    std::uint32_t first, last;
  } cases[] = {
      {"another file", "Hellp", [](Document&, Document& s) { editPage(s, 1); }, 1, 1},
      {"the source edited a page outside the range", "Hello",
       [](Document&, Document& s) { editPage(s, 1), editPage(s, 2); }, 1, 1},
      {"the target edited a page inside the range", "Hello",
       [](Document& t, Document& s) { editPage(t, 1), editPage(s, 1); }, 1, 2},
      {"a page past the last", "Hello", [](Document&, Document& s) { editPage(s, 2); }, 2, 3},
      {"an empty range", "Hello", [](Document&, Document& s) { editPage(s, 1); }, 2, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto target = threePages();
    auto source = threePages(c.sourceText);
    c.edit(*target.document, *source.document);
    const std::uint32_t before = target->nextObjectNumber;
    EXPECT_EQ(target->adoptPageEdits(*source.document, c.first, c.last), Error::InvalidArgument);
    EXPECT_EQ(target->nextObjectNumber, before);
  }
  auto alone = threePages();
  EXPECT_EQ(alone->adoptPageEdits(*alone.document, 0, 2), Error::InvalidArgument);
}

}  // namespace
}  // namespace zopra::pdf
