// Room along an item's baseline and the item's box and shown size, on
// hand-made pages whose obstacles are placed by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "pdf/content/graphics_entry.h"
#include "pdf/content/text_entry.h"
#include "pdf/layout/item_geometry.h"
#include "pdf/layout/text_room.h"
#include "support/load_helpers.h"
#include "support/pdf_builder.h"
#include "support/test_files.h"

namespace zopra::pdf {
namespace {

struct Page {
  std::vector<TextEntry> items;
  std::vector<double> room;
};

Page laidOut(const std::string& content, const std::string& name) {
  test::PdfBuilder b = test::PdfBuilder::simple({content});
  b.finishWithTable("/Root 1 0 R");
  test::Loaded doc = test::loadBuilder(b, name);
  Page page;
  EXPECT_EQ(doc.result, Error::None);
  std::vector<GraphicsEntry> graphics;
  EXPECT_EQ(doc->extractText(0, page.items, nullptr), Error::None);
  EXPECT_EQ(doc->extractGraphics(0, 0.0, graphics), Error::None);
  page.room = textRoom(page.items, graphics, unrotatedPageBox(doc->pages[0]));
  return page;
}

std::size_t indexOf(const Page& page, const std::string& text) {
  for (std::size_t i = 0; i < page.items.size(); ++i) {
    if (page.items[i].text == text) return i;
  }
  ADD_FAILURE() << "no item " << text;
  return 0;
}

// A justified line of the two-column page: one item from x = 72.
const std::string kBody = "(Lorem ipsum dolor sit amet, consectetur) Tj";

struct RoomCase {
  std::string name;
  std::string content;
  std::string item;
  // The page x the room should reach; NaN for "the item's own width".
  double reach;
};

TEST(TextRoom, ReachesTheNearestObstacle) {
  const double own = std::nan("");
  const std::vector<RoomCase> cases = {
      // The next item on the line, less a word space (0.3 em).
      {"neighbour", "BT /F1 10 Tf 72 700 Td (Name) Tj 100 0 Td (Value) Tj ET", "Name", 172 - 3},
      // A superscript-sized item beside it counts as well.
      {"small neighbour", "BT /F1 10 Tf 72 700 Td (Name) Tj /F1 5 Tf 60 0 Td (1) Tj ET", "Name",
       132 - 3},
      // A vertical rule crossing the line, less 0.2 em.
      {"rule", "200 650 m 200 750 l S BT /F1 10 Tf 72 700 Td (Label) Tj ET", "Label", 200 - 2},
      // A rule that ends below the line is no obstacle: the page margin is
      // (the right edge less the left text margin of 72).
      {"rule below", "200 650 m 200 690 l S BT /F1 10 Tf 72 700 Td (Label) Tj ET", "Label", 540},
      // A table cell: the item's own cell's right edge, then the next cell.
      {"cell",
       "72 600 100 20 re 172 600 100 20 re S BT /F1 10 Tf 76 606 Td (Qty) Tj 100 0 Td (12) Tj ET",
       "Qty", 172 - 2},
      // A filled box to the right.
      {"box", "250 690 40 30 re f BT /F1 10 Tf 72 700 Td (Label) Tj ET", "Label", 250 - 2},
      // Rotated text keeps its own width.
      {"rotated", "BT /F1 10 Tf 0 1 -1 0 300 300 Tm (Up) Tj ET", "Up", own},
      // Text in a scaled space: the room is in the item's own units.
      {"scaled", "200 650 m 200 750 l S 12 0 0 12 0 0 cm BT /F1 1 Tf 6 60 Td (Name) Tj ET",
       "Name", 200 - 2.4},
  };
  for (const RoomCase& c : cases) {
    SCOPED_TRACE(c.name);
    Page page = laidOut(c.content, "room-" + std::to_string(&c - cases.data()) + ".pdf");
    const TextEntry& item = page.items[indexOf(page, c.item)];
    double room = page.room[indexOf(page, c.item)];
    if (std::isnan(c.reach)) {
      EXPECT_DOUBLE_EQ(room, item.width);
    } else {
      EXPECT_NEAR(item.startX + room * item.a, c.reach, 1e-6);
    }
  }
}

TEST(TextRoom, TwoColumns) {
  // A heading and three lines in a left column, the last one short, and a
  // right column on the same baselines from x = 320.
  std::string content = "BT /F1 12 Tf 72 720 Td (Summary) Tj ET BT /F1 10 Tf 72 700 Td " + kBody +
                        " 0 -14 Td " + kBody + " 0 -14 Td (Short) Tj ET BT /F1 10 Tf 320 700 Td " +
                        kBody + " 0 -14 Td (Other) Tj ET";
  Page page = laidOut(content, "two-columns.pdf");
  ASSERT_EQ(page.items.size(), 6u);
  const double columnEnd = page.items[1].endX;
  ASSERT_LT(columnEnd + 20, 320);
  // The heading and the short last line reach the column's edge, which the
  // lines over and under them share; the full lines keep their width.
  EXPECT_NEAR(page.items[indexOf(page, "Summary")].startX + page.room[0], columnEnd, 1e-6);
  EXPECT_NEAR(72 + page.room[indexOf(page, "Short")], columnEnd, 1e-6);
  EXPECT_DOUBLE_EQ(page.room[1], page.items[1].width);
  // The right column's short line reaches the end of the line above it.
  std::size_t other = indexOf(page, "Other");
  EXPECT_NEAR(320 + page.room[other], page.items[other - 1].endX, 1e-6);

  // Poppler's word boxes of the one-word items agree with the items' boxes
  // along the baseline, and hold their baselines (its y runs down the page).
  if (!test::haveProgram("pdftotext")) GTEST_SKIP() << "pdftotext not installed";
  const std::string pdf = test::tempDirectory() + "/two-columns.pdf";
  const std::string html = test::tempDirectory() + "/two-columns.html";
  ASSERT_EQ(test::run("pdftotext -bbox '" + pdf + "' '" + html + "'"), 0);
  const std::string words = test::readFile(html);
  for (const std::string word : {"Summary", "Short", "Other"}) {
    SCOPED_TRACE(word);
    std::size_t end = words.find("\">" + word + "</word>");
    std::size_t start = words.rfind("<word", end);
    ASSERT_NE(end, std::string::npos);
    auto attribute = [&](const std::string& name) {
      std::size_t at = words.find(name + "=\"", start);
      return std::stod(words.substr(at + name.size() + 2));
    };
    const TextEntry& item = page.items[indexOf(page, word)];
    ItemBox box = itemBox(item);
    EXPECT_NEAR(box.x0, attribute("xMin"), 0.5);
    EXPECT_NEAR(box.x1, attribute("xMax"), 0.5);
    EXPECT_GT(792 - item.startY, attribute("yMin"));
    EXPECT_LT(792 - item.startY, attribute("yMax"));
  }
}

TEST(TextRoom, PilesOfOverlappingItemsEndTheWork) {
  // Every item crosses every other's baseline: the work would grow with the
  // square of the count, so it stops with a format error instead.
  TextEntry item;
  item.text = "x";
  item.fontSize = 10;
  item.startX = item.e = 72;
  item.startY = item.f = 700;
  item.endX = 78;
  item.endY = 700;
  item.width = 6;
  std::vector<TextEntry> pile(20000, item);
  try {
    textRoom(pile, {}, Rectangle{0, 0, 612, 792});
    ADD_FAILURE() << "no exception";
  } catch (const Exception& e) {
    EXPECT_EQ(e.kind(), Error::Format);
  }
}

TEST(ItemGeometry, BoxAndShownSize) {
  // Helvetica has no descriptor: 0.8 em above the baseline, 0.2 below. The
  // shown size is measured across the baseline, so a slant does not count.
  struct GeometryCase {
    std::string content;
    double shown;
    double y0, y1;
  };
  const std::vector<GeometryCase> cases = {
      {"BT /F1 10 Tf 72 700 Td (A) Tj ET", 10, 698, 708},
      {"12 0 0 12 0 0 cm BT /F1 1 Tf 6 58 Td (A) Tj ET", 12, 693.6, 705.6},
      {"BT /F1 10 Tf 2 0 0 3 72 700 Tm (A) Tj ET", 30, 694, 724},
      {"BT /F1 10 Tf 1 0 0.3 1 72 700 Tm (A) Tj ET", 10, 698, 708},
      {"BT /F1 -10 Tf 72 700 Td (A) Tj ET", 10, 692, 702},
  };
  for (const GeometryCase& c : cases) {
    SCOPED_TRACE(c.content);
    Page page = laidOut(c.content, "geometry.pdf");
    ASSERT_EQ(page.items.size(), 1u);
    ItemBox box = itemBox(page.items[0]);
    EXPECT_NEAR(shownSize(page.items[0]), c.shown, 1e-9);
    EXPECT_NEAR(box.y0, c.y0, 1e-9);
    EXPECT_NEAR(box.y1, c.y1, 1e-9);
    EXPECT_LE(box.x0, page.items[0].startX);
    EXPECT_GE(box.x1, page.items[0].endX);
  }
}

}  // namespace
}  // namespace zopra::pdf
