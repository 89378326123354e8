// Every hostile file opens or fails with the expected status, and where the
// engine gives up on a page it is the budget meant for that attack that
// trips. Time and memory are measured by bench_hostile, not here.
#include <gtest/gtest.h>

#include "pdf/content/graphics_entry.h"
#include "pdf/content/text_entry.h"
#include "support/hostile_files.h"
#include "support/load_helpers.h"

namespace zopra::pdf {
namespace {

int statusOf(Error kind) {
  switch (kind) {
    case Error::None: return 0;
    case Error::InvalidArgument: return -1;
    case Error::Encryption: return -24;
    case Error::Stream: return -25;
    default: return -128;
  }
}

TEST(Hostile, EveryFileEndsWithItsExpectedStatus) {
  for (const test::HostileFile& hostile : test::hostileFiles()) {
    SCOPED_TRACE(hostile.name);
    test::Loaded loaded = test::loadBytes(hostile.bytes, hostile.name + ".pdf");
    ASSERT_EQ(statusOf(loaded.result), hostile.openStatus) << loaded->errorMessage;
    if (loaded.result != Error::None) {
      EXPECT_EQ(loaded->errorMessage, hostile.openMessage);
      continue;
    }
    // The first failure over all pages of one kind of extraction.
    auto worstOf = [&](auto extract) {
      std::pair<int, std::string> worst{0, ""};
      for (std::uint32_t page = 0; page < loaded->pages.size(); ++page) {
        Error kind = extract(page);
        if (kind != Error::None && worst.first == 0) worst = {statusOf(kind), loaded->errorMessage};
      }
      return worst;
    };
    std::vector<TextEntry> entries;
    std::vector<GraphicsEntry> graphics;
    std::vector<std::uint32_t> images;
    auto text =
        worstOf([&](std::uint32_t page) { return loaded->extractText(page, entries, nullptr); });
    EXPECT_EQ(text.first, hostile.pageStatus);
    EXPECT_EQ(text.second, hostile.pageMessage);
    auto painted =
        worstOf([&](std::uint32_t page) { return loaded->extractGraphics(page, 0, graphics); });
    EXPECT_EQ(painted.first, hostile.graphicsStatus);
    EXPECT_EQ(painted.second, hostile.graphicsMessage);
    auto drawn = worstOf([&](std::uint32_t page) { return loaded->extractImages(page, images); });
    EXPECT_EQ(drawn.first, hostile.graphicsStatus);
    EXPECT_EQ(drawn.second, hostile.graphicsMessage);
  }
}

}  // namespace
}  // namespace zopra::pdf
