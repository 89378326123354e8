// Alignment of items on hand-made pages: table cells, columns and the page.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "pdf/content/graphics_entry.h"
#include "pdf/content/text_entry.h"
#include "pdf/layout/text_alignment.h"
#include "pdf/layout/text_room.h"
#include "support/load_helpers.h"
#include "support/pdf_builder.h"

namespace zopra::pdf {
namespace {

struct AlignmentCase {
  std::string name;
  std::string content;
  std::string item;
  Alignment expected;
};

// Helvetica 10 widths: "Total" 23.9, "1,234.00" 38.92, "56.00" 25.02,
// "Qty" 15.56; Helvetica 18: "Annual Report" 121.0, "for 2025" 68.04.
TEST(TextAlignment, CellsColumnsAndPage) {
  const std::string body = "BT /F1 10 Tf 72 600 Td (Lorem ipsum dolor sit amet, consectetur) Tj ET ";
  const std::vector<AlignmentCase> cases = {
      {"paragraph", body + "BT /F1 10 Tf 72 588 Td (adipiscing elit) Tj ET", "adipiscing elit", Alignment::Left},
      {"cell centre", "72 600 100 20 re S BT /F1 10 Tf 114.22 606 Td (Qty) Tj ET", "Qty", Alignment::Center},
      {"cell right", "72 600 100 20 re S BT /F1 10 Tf 152.44 606 Td (Qty) Tj ET", "Qty", Alignment::Right},
      {"cell left", "72 600 100 20 re S BT /F1 10 Tf 76 606 Td (Qty) Tj ET", "Qty", Alignment::Left},
      // Vertical rules on both sides make a cell as well.
      {"rules", "72 590 m 72 630 l S 172 590 m 172 630 l S BT /F1 10 Tf 114.22 606 Td (Qty) Tj ET", "Qty",
       Alignment::Center},
      // Two items in one cell: neither is centred in it.
      {"crowded cell", "72 600 100 20 re S BT /F1 10 Tf 114.22 606 Td (Qty) Tj 45.78 0 Td (*) Tj ET", "Qty",
       Alignment::Left},
      {"right column",
       "BT /F1 10 Tf 72 700 Td (Total) Tj 300 0 Td (1,234.00) Tj ET BT /F1 10 Tf 72 688 Td (Tax) Tj 313.9 0 Td "
       "(56.00) Tj ET",
       "56.00", Alignment::Right},
      // A two-line title: the lines share their centre, not their start.
      {"centred lines", "BT /F1 18 Tf 100 700 Td (Annual Report) Tj 26.48 -22 Td (for 2025) Tj ET", "for 2025",
       Alignment::Center},
      {"page centre", body + "BT /F1 18 Tf 245.5 750 Td (Annual Report) Tj ET", "Annual Report", Alignment::Center},
      {"off centre", body + "BT /F1 18 Tf 200 750 Td (Annual Report) Tj ET", "Annual Report", Alignment::Left},
      // Rotated text is never aligned.
      {"rotated", "BT /F1 10 Tf 0 1 -1 0 306 300 Tm (Up) Tj ET", "Up", Alignment::Left},
  };
  for (const AlignmentCase& c : cases) {
    SCOPED_TRACE(c.name);
    test::PdfBuilder b = test::PdfBuilder::simple({c.content});
    b.finishWithTable("/Root 1 0 R");
    test::Loaded doc = test::loadBuilder(b, "alignment.pdf");
    ASSERT_EQ(doc.result, Error::None);
    std::vector<TextEntry> items;
    std::vector<GraphicsEntry> graphics;
    ASSERT_EQ(doc->extractText(0, items, nullptr), Error::None);
    ASSERT_EQ(doc->extractGraphics(0, 0.0, graphics), Error::None);
    const std::vector<Alignment> alignment = textAlignment(items, graphics, unrotatedPageBox(doc->pages[0]));
    ASSERT_EQ(alignment.size(), items.size());
    bool found = false;
    for (std::size_t i = 0; i < items.size(); ++i) {
      if (items[i].text != c.item) continue;
      found = true;
      EXPECT_EQ(alignment[i], c.expected) << i;
    }
    EXPECT_TRUE(found);
  }
}

}  // namespace
}  // namespace zopra::pdf
