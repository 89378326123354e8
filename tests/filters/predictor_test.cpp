#include <gtest/gtest.h>

#include <cstdint>

#include "filter_test_helpers.h"
#include "pdf/filters/filters.h"

namespace zopra::pdf {
namespace {

using test::throwsStreamError;

PredictorParameters layout(std::int64_t predictor, std::int64_t colors, std::int64_t columns,
                           std::int64_t bits = 8) {
  PredictorParameters parameters;
  parameters.predictor = predictor;
  parameters.colors = colors;
  parameters.columns = columns;
  parameters.bitsPerComponent = bits;
  return parameters;
}

TEST(PngPredictor, RebuildsEveryRowTag) {
  Bytes encoded{
      1, 10, 5, 250,  // Sub
      2, 1,  2, 3,    // Up
      3, 4,  6, 8,    // Average
      0, 50, 40, 60,  // None
      4, 10, 30, 7,   // Paeth choosing up, upper-left, then left
  };
  Bytes expected{10, 15, 9, 11, 17, 12, 9, 19, 23, 50, 40, 60, 60, 80, 87};
  // The Predictor value only says "PNG"; the tags decide.
  EXPECT_EQ(applyPredictor(encoded, layout(10, 1, 3)), expected);
  EXPECT_EQ(applyPredictor(encoded, layout(15, 1, 3)), expected);
  // With two bytes per pixel, "left" is two bytes back.
  EXPECT_EQ(applyPredictor(Bytes{1, 1, 2, 3, 4}, layout(12, 2, 2)), (Bytes{1, 2, 4, 6}));
  EXPECT_EQ(applyPredictor(Bytes{}, layout(12, 1, 4)), Bytes{});
}

TEST(PngPredictor, RejectsBadRows) {
  Bytes nine{0, 1, 2, 3, 4, 0, 5, 6, 7};
  EXPECT_TRUE(throwsStreamError([&] { applyPredictor(nine, layout(12, 1, 4)); }, "truncated PNG predictor row"));
  EXPECT_TRUE(throwsStreamError([] { applyPredictor(Bytes{0, 1, 5, 2}, layout(12, 1, 1)); },
                                "invalid PNG predictor"));
}

TEST(TiffPredictor, AddsLeftPixelPerWholeRow) {
  // Two colours, two columns: rows of four bytes, then a partial row kept as is.
  EXPECT_EQ(applyPredictor(Bytes{1, 2, 3, 4, 10, 20, 30, 40, 7, 8}, layout(2, 2, 2)),
            (Bytes{1, 2, 4, 6, 10, 20, 40, 60, 7, 8}));
  EXPECT_EQ(applyPredictor(Bytes{200, 100, 1}, layout(2, 1, 2)), (Bytes{200, 44, 1}));
  // A row longer than the data, or a single pixel per row, changes nothing.
  EXPECT_EQ(applyPredictor(Bytes{1, 2, 3}, layout(2, 1, 4)), (Bytes{1, 2, 3}));
  EXPECT_EQ(applyPredictor(Bytes{1, 2, 3}, layout(2, 3, 1)), (Bytes{1, 2, 3}));
}

TEST(Predictor, ChecksValueAndLayout) {
  Bytes data{0, 1, 2};
  EXPECT_EQ(applyPredictor(data, layout(1, 1, 1, 16)), data);
  EXPECT_EQ(applyPredictor(data, layout(-7, 0, 0, 3)), data);
  const char* badLayout = "unsupported stream predictor layout";
  EXPECT_TRUE(throwsStreamError([&] { applyPredictor(data, layout(12, 1, 2, 16)); }, badLayout));
  EXPECT_TRUE(throwsStreamError([&] { applyPredictor(data, layout(2, 0, 2)); }, badLayout));
  EXPECT_TRUE(throwsStreamError([&] { applyPredictor(data, layout(12, 1, 0)); }, badLayout));
  EXPECT_TRUE(throwsStreamError([&] { applyPredictor(data, layout(12, 1000000000000, 1000000000000)); }, badLayout));
  EXPECT_TRUE(throwsStreamError([&] { applyPredictor(data, layout(2, 4, std::int64_t{1} << 62)); }, badLayout));
  EXPECT_TRUE(throwsStreamError([&] { applyPredictor(data, layout(12, std::int64_t{1} << 62, 4)); }, badLayout));
  // Layout errors take precedence over an unknown predictor.
  EXPECT_TRUE(throwsStreamError([&] { applyPredictor(data, layout(5, 1, 1, 4)); }, badLayout));
  for (std::int64_t predictor : {3, 9, 16, 1000}) {
    EXPECT_TRUE(throwsStreamError([&] { applyPredictor(data, layout(predictor, 1, 1)); },
                                  "unsupported stream predictor"))
        << predictor;
  }
}

}  // namespace
}  // namespace zopra::pdf
