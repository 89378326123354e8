// Graphics extraction of hand-made pages whose entries are computed by hand.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "pdf/content/graphics_entry.h"
#include "support/load_helpers.h"
#include "support/pdf_builder.h"

namespace zopra::pdf {
namespace {

using test::PdfBuilder;

constexpr Rectangle kPage{0, 0, 612, 792};
constexpr std::uint32_t kImage = 5;

// One page (object 3) with content object 4, an image (5), a form placed at
// (100, 100) that sets a line width of 2 and fills a 10 x 10 square (6).
PdfBuilder page(const std::string& content) {
  PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
  b.object(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 4 0 R "
              "/Resources << /XObject << /Im 5 0 R /Fm 6 0 R >> >> >>");
  b.stream(4, "", content);
  b.stream(5, "/Type /XObject /Subtype /Image /Width 1 /Height 1 /ColorSpace /DeviceGray "
              "/BitsPerComponent 8",
           "\x80");
  b.stream(6, "/Type /XObject /Subtype /Form /BBox [0 0 10 10] /Matrix [1 0 0 1 100 100]",
           "2 w 0 0 10 10 re f");
  b.finishWithTable("/Root 1 0 R");
  return b;
}

Color color(std::uint32_t kind, double c0, double c1 = -1, double c2 = -1, double c3 = -1) {
  Color result;
  result.kind = kind;
  result.components[0] = c0;
  result.components[1] = c1;
  result.components[2] = c2;
  result.components[3] = c3;
  return result;
}

struct Expected {
  std::uint32_t type = GraphicsEntry::kPath;
  Rectangle bounds;
  std::pair<double, double> start;
  std::pair<double, double> end;
  // Letters for isLine, closed, stroke and fill; '-' for false.
  std::string flags;
  Rectangle clip = kPage;
  double lineWidth = 1;
  Color fill = {};
  Color stroke = {};
  std::uint32_t objectNumber = 0;
};

struct Case {
  std::string name;
  std::string content;
  double minimumSize = 0;
  std::vector<Expected> entries;
};

void expectRectangle(const Rectangle& actual, const Rectangle& expected, const char* what) {
  EXPECT_DOUBLE_EQ(actual.x, expected.x) << what;
  EXPECT_DOUBLE_EQ(actual.y, expected.y) << what;
  EXPECT_DOUBLE_EQ(actual.width, expected.width) << what;
  EXPECT_DOUBLE_EQ(actual.height, expected.height) << what;
}

void expectColor(const Color& actual, const Color& expected, const char* what) {
  EXPECT_EQ(actual.kind, expected.kind) << what;
  for (int i = 0; i < 4; ++i) EXPECT_DOUBLE_EQ(actual.components[i], expected.components[i]) << what;
}

std::string flags(const GraphicsEntry& entry) {
  return {entry.isLine ? 'l' : '-', entry.closed ? 'c' : '-', entry.stroke ? 's' : '-',
          entry.fill ? 'f' : '-'};
}

TEST(ExtractGraphics, HandMadePages) {
  const Color none;
  const std::vector<Case> cases = {
      {"stroked line", "0 0 m 100 0 l S", 0,
       {{.bounds = {0, 0, 100, 0}, .start = {0, 0}, .end = {100, 0}, .flags = "l-s-"}}},
      {"filled rectangle", "10 20 30 40 re f", 0,
       {{.bounds = {10, 20, 30, 40}, .start = {10, 20}, .end = {40, 60}, .flags = "-c-f"}}},
      {"two subpaths under one paint", "0 0 m 10 5 l 20 0 l 50 50 m 60 70 l B", 0,
       {{.bounds = {0, 0, 20, 5}, .start = {0, 0}, .end = {20, 5}, .flags = "--sf"},
        {.bounds = {50, 50, 10, 20}, .start = {50, 50}, .end = {60, 70}, .flags = "l-sf"}}},
      {"W n narrows the clip and paints nothing", "10 10 50 50 re W n 0 0 100 100 re f", 0,
       {{.bounds = {10, 10, 50, 50}, .start = {0, 0}, .end = {100, 100}, .flags = "-c-f",
         .clip = {10, 10, 50, 50}}}},
      {"W f is reported against the clip it narrows", "10 10 50 50 re 0 0 m 5 5 l W f", 0,
       {{.bounds = {10, 10, 50, 50}, .start = {10, 10}, .end = {60, 60}, .flags = "-c-f",
         .clip = {0, 0, 60, 60}},
        {.bounds = {0, 0, 5, 5}, .start = {0, 0}, .end = {5, 5}, .flags = "l--f",
         .clip = {0, 0, 60, 60}}}},
      {"lines on the clip edges kept, one just outside dropped",
       "10 10 50 50 re W n 10 0 m 10 100 l S 9.5 0 m 9.5 100 l S 0 60 m 30 60 l S", 0,
       {{.bounds = {10, 10, 0, 50}, .start = {10, 0}, .end = {10, 100}, .flags = "l-s-",
         .clip = {10, 10, 50, 50}},
        {.bounds = {10, 60, 20, 0}, .start = {0, 60}, .end = {30, 60}, .flags = "l-s-",
         .clip = {10, 10, 50, 50}}}},
      {"minimum size: either extent reaching it keeps a piece",
       "0 0 3 100 re f 0 0 3 4 re f 200 0 m 200 4 l S", 5,
       {{.bounds = {0, 0, 3, 100}, .start = {0, 0}, .end = {3, 100}, .flags = "-c-f"}}},
      {"cm, q and Q with line width and colours",
       "q 2 0 0 2 10 10 cm 3 w 1 0 0 RG 0.5 g 0 0 m 10 0 l S Q 0.1 0.2 0.3 0.4 k 0 0 m 5 5 l S",
       0,
       {{.bounds = {10, 10, 20, 0}, .start = {10, 10}, .end = {30, 10}, .flags = "l-s-",
         .lineWidth = 3, .fill = color(1, 0.5), .stroke = color(2, 1, 0, 0)},
        {.bounds = {0, 0, 5, 5}, .start = {0, 0}, .end = {5, 5}, .flags = "l-s-",
         .fill = color(3, 0.1, 0.2, 0.3, 0.4), .stroke = none}}},
      {"a form is placed by its matrix and its state does not leak", "/Fm Do 0 0 m 1 1 l S", 0,
       {{.bounds = {100, 100, 10, 10}, .start = {100, 100}, .end = {110, 110}, .flags = "-c-f",
         .lineWidth = 2},
        {.bounds = {0, 0, 1, 1}, .start = {0, 0}, .end = {1, 1}, .flags = "l-s-"}}},
      {"image placed by cm", "q 100 0 0 50 20 30 cm /Im Do Q", 0,
       {{.type = GraphicsEntry::kImage, .bounds = {20, 30, 100, 50}, .start = {20, 30},
         .end = {120, 80}, .flags = "-c--", .objectNumber = kImage}}},
      {"image cut by the clip, image outside it",
       "q 0 0 100 100 re W n q 200 0 0 50 50 30 cm /Im Do Q 10 0 0 10 300 300 cm /Im Do Q", 0,
       {{.type = GraphicsEntry::kImage, .bounds = {50, 30, 50, 50}, .start = {50, 30},
         .end = {250, 80}, .flags = "-c--", .clip = {0, 0, 100, 100},
         .objectNumber = kImage}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    test::Loaded loaded = test::loadBuilder(page(c.content), "graphics.pdf");
    ASSERT_EQ(loaded.result, Error::None);
    std::vector<GraphicsEntry> entries(3);
    ASSERT_EQ(loaded->extractGraphics(0, c.minimumSize, entries), Error::None);
    ASSERT_EQ(entries.size(), c.entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i) {
      const GraphicsEntry& actual = entries[i];
      const Expected& expected = c.entries[i];
      SCOPED_TRACE(i);
      EXPECT_EQ(actual.type, expected.type);
      expectRectangle(actual.bounds, expected.bounds, "bounds");
      expectRectangle(actual.clip, expected.clip, "clip");
      EXPECT_DOUBLE_EQ(actual.start.first, expected.start.first);
      EXPECT_DOUBLE_EQ(actual.start.second, expected.start.second);
      EXPECT_DOUBLE_EQ(actual.end.first, expected.end.first);
      EXPECT_DOUBLE_EQ(actual.end.second, expected.end.second);
      EXPECT_EQ(flags(actual), expected.flags);
      EXPECT_DOUBLE_EQ(actual.lineWidth, expected.lineWidth);
      expectColor(actual.fillColor, expected.fill, "fill");
      expectColor(actual.strokeColor, expected.stroke, "stroke");
      EXPECT_EQ(actual.objectNumber, expected.objectNumber);
    }
  }
}

}  // namespace
}  // namespace zopra::pdf
