// Small files written to attack a PDF reader: each makes some part of the
// engine do far more work, or hold far more memory, than its size suggests.
// Shared by the hostile-input tests (which check the outcome and that the
// engine's budgets trip) and by bench_hostile (which measures time and peak
// memory per file).
#pragma once

#include <string>
#include <vector>

namespace zopra::test {

struct HostileFile {
  std::string name;
  std::string bytes;
  // Status of zopraDocumentLoaderOpenFileA.
  int openStatus = 0;
  // When the open succeeds: the status of the worst page extraction (0 when
  // every page reads), and the engine's message for that failure.
  int pageStatus = 0;
  std::string pageMessage;
  // Likewise for the graphics extraction and the image list of every page.
  int graphicsStatus = 0;
  std::string graphicsMessage;
  // When the open fails: the engine's message.
  std::string openMessage;
};

std::vector<HostileFile> hostileFiles();

// zlib data that inflates to `prefix` followed by `size` copies of `fill`,
// built without running the compressor over all of it.
std::string deflateBomb(const std::string& prefix, std::size_t size, char fill = ' ');
std::string deflate(const std::string& data);

}  // namespace zopra::test
