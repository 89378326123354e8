// Every hostile file opens or fails with the expected status, and where the
// engine gives up on a page it is the budget meant for that attack that
// trips. Time and memory are measured by bench_hostile, not here.
#include <gtest/gtest.h>

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
    int worst = 0;
    std::string message;
    std::vector<TextEntry> entries;
    for (std::uint32_t page = 0; page < loaded->pages.size(); ++page) {
      Error kind = loaded->extractText(page, entries, nullptr);
      if (kind != Error::None && worst == 0) {
        worst = statusOf(kind);
        message = loaded->errorMessage;
      }
    }
    EXPECT_EQ(worst, hostile.pageStatus);
    EXPECT_EQ(message, hostile.pageMessage);
  }
}

}  // namespace
}  // namespace zopra::pdf
