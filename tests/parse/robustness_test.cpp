// Damaged variants of valid files must load or fail with an error kind, never
// crash or hang (the sanitizer build turns memory faults into failures).
#include <gtest/gtest.h>

#include <random>

#include "support/load_helpers.h"

namespace zopra::pdf {
namespace {

std::string sample() {
  test::PdfBuilder b = test::PdfBuilder::simple(
      {"BT /F1 12 Tf 72 700 Td (Hello) Tj ET", "q 1 0 0 1 0 0 cm 0 0 10 10 re f Q"});
  b.object(20, "<< /Type /ObjStm /N 1 /First 5 /Length 12 >>\nstream\n30 0 [1 (x)]\nendstream");
  b.finishWithTable("/Root 1 0 R /Info << /Title (t) >>");
  b.object(5, "<< /Length 7 0 R >>\nstream\nBT ET\nendstream");
  b.object(7, "5");
  b.finishWithXrefStream(21, "/Root 1 0 R");
  return b.bytes();
}

void loadAndWalk(const std::string& bytes) {
  Document document;
  Error result = document.load(test::writeTempFile("mutant.pdf", bytes));
  ASSERT_LE(static_cast<int>(result), static_cast<int>(Error::Io));
  if (result != Error::None) return;
  // Lazy object loading may throw the engine's exception; nothing else may escape.
  for (const Page& page : document.pages) {
    try {
      for (std::uint32_t number : document.pageContentObjects(page)) {
        document.decodeStream(*document.object(number));
      }
    } catch (const Exception&) {
    }
  }
}

TEST(Robustness, TruncationsAndMutations) {
  const std::string original = sample();
  for (std::size_t length = 0; length < original.size(); length += 7) {
    loadAndWalk(original.substr(0, length));
  }
  std::mt19937 random(12345);
  const char* tokens[] = {"<<", ">>", "[", "]", "(", ")", "R", "obj", "endobj", "stream",
                          "0", "-1", "99999999999", "/Length", "trailer", "xref", "%"};
  for (int round = 0; round < 600; ++round) {
    std::string bytes = original;
    int edits = 1 + static_cast<int>(random() % 4);
    for (int i = 0; i < edits; ++i) {
      std::size_t at = random() % bytes.size();
      switch (random() % 4) {
        case 0: bytes[at] = static_cast<char>(random() & 0xFF); break;
        case 1: bytes.erase(at, 1 + random() % 16); break;
        case 2: bytes.insert(at, tokens[random() % std::size(tokens)]); break;
        default: bytes.insert(at, bytes.substr(random() % bytes.size(), random() % 32)); break;
      }
      if (bytes.empty()) bytes = "%PDF-";
    }
    loadAndWalk(bytes);
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
