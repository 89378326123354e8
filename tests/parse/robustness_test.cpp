// Structures far beyond any real document must load or fail with an error
// kind, never crash or hang.
#include <gtest/gtest.h>

#include "support/load_helpers.h"

namespace zopra::pdf {
namespace {

void loadAndWalk(const std::string& bytes) {
  Document document;
  Error result = document.load(test::writeTempFile("hostile-structure.pdf", bytes));
  ASSERT_LE(static_cast<int>(result), static_cast<int>(Error::Io));
  for (const Page& page : document.pages) {
    try {
      for (std::uint32_t number : document.pageContentObjects(page)) document.decodeStream(*document.object(number));
    } catch (const Exception&) {
    }
  }
}

TEST(Robustness, HostileStructures) {
  // A page tree nested far deeper than any real document.
  std::string deep = "%PDF-1.4\n1 0 obj << /Type /Catalog /Pages 2 0 R >> endobj\n";
  for (int i = 2; i < 5000; ++i) {
    deep += std::to_string(i) + " 0 obj << /Kids [" + std::to_string(i + 1) +
            " 0 R] /MediaBox [0 0 1 1] >> endobj\n";
  }
  deep += "5000 0 obj << /Type /Page >> endobj\ntrailer << /Root 1 0 R >>\n";
  loadAndWalk(deep);

  // Streams whose Length names other streams, in a long chain.
  std::string chain = "%PDF-1.4\n1 0 obj << /Type /Catalog /Pages 2 0 R >> endobj\n"
                      "2 0 obj << /Type /Pages /Kids [3 0 R] >> endobj\n"
                      "3 0 obj << /Type /Page /MediaBox [0 0 1 1] /Contents 10 0 R >> endobj\n";
  for (int i = 10; i < 3000; ++i) {
    chain += std::to_string(i) + " 0 obj << /Length " + std::to_string(i + 1) +
             " 0 R >> stream\nx\nendstream endobj\n";
  }
  chain += "trailer << /Root 1 0 R >>\n";
  loadAndWalk(chain);

  // Object headers every few bytes, each opening a string or a stream that
  // never ends: every failed attempt reads to the end of the file, which the
  // scan must not repeat for every header.
  std::string strings = "%PDF-1.4\n";
  std::string streams = "%PDF-1.4\n";
  for (int i = 1; i < 40000; ++i) {
    strings += "1 0 obj (";
    streams += std::to_string(i) + " 0 obj << >> stream\nxx\n";
  }
  loadAndWalk(strings);
  loadAndWalk(streams);

  // A reference chain that loops, used as the catalog.
  loadAndWalk("%PDF-1.4\n1 0 obj 2 0 R endobj 2 0 obj 1 0 R endobj trailer << /Root 1 0 R >>");
}

}  // namespace
}  // namespace zopra::pdf
