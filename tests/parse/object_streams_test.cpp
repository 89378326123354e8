#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "support/hostile_files.h"
#include "support/load_helpers.h"

namespace zopra::pdf {
namespace {

using test::haveProgram;
using test::loadBuilder;
using test::loadBytes;
using test::PdfBuilder;

struct Entry {
  int type;
  std::size_t field2;
  int field3;
};

// Appends a cross-reference stream (W [1 4 2]) covering objects 0.. in order.
void finishWith(PdfBuilder& b, std::uint32_t number, std::vector<Entry> entries) {
  std::size_t offset = b.bytes().size();
  entries.push_back({1, offset, 0});
  std::string data;
  for (const Entry& e : entries) {
    data += static_cast<char>(e.type);
    for (int shift = 24; shift >= 0; shift -= 8) data += static_cast<char>((e.field2 >> shift) & 0xFF);
    data += static_cast<char>(e.field3 >> 8);
    data += static_cast<char>(e.field3 & 0xFF);
  }
  b.raw(std::to_string(number) + " 0 obj\n<< /Type /XRef /Size " + std::to_string(entries.size()) +
        " /W [1 4 2] /Root 1 0 R /Length " + std::to_string(data.size()) + " >>\nstream\n" + data +
        "\nendstream\nendobj\nstartxref\n" + std::to_string(offset) + "\n%%EOF\n");
}

// Objects 1 (catalog), 2 (pages) and 3 (page) live in object stream 4; the
// header lists them in the order given.
PdfBuilder withObjectStream(const std::string& header, const std::string& body,
                            const std::string& extra = "") {
  PdfBuilder b;
  b.stream(4, "/Type /ObjStm /N 3 /First " + std::to_string(header.size()) + extra,
           header + body);
  return b;
}

const char* kBody =
    "<< /Type /Catalog /Pages 2 0 R >>"
    "<< /Type /Pages /Kids [3 0 R] /Count 1 >>"
    "<< /Type /Page /MediaBox [0 0 300 400] >>";

std::string headerFor(int first, int second, int third) {
  return std::to_string(first) + " 0 " + std::to_string(second) + " 33 " +
         std::to_string(third) + " 74 ";
}

TEST(ObjectStreams, StrictModeFollowsTheCrossReference) {
  PdfBuilder b = withObjectStream(headerFor(1, 2, 3), kBody);
  finishWith(b, 5, {{0, 0, 65535}, {2, 4, 0}, {2, 4, 1}, {2, 4, 2}, {1, b.offsetOf(4), 0}});
  auto loaded = loadBuilder(b, "objstm.pdf");
  ASSERT_EQ(loaded.result, Error::None) << loaded->errorMessage;
  EXPECT_TRUE(loaded->strictCrossReference);
  ASSERT_EQ(loaded->pages.size(), 1u);
  EXPECT_EQ(loaded->pages[0].height, 400);
  EXPECT_EQ(loaded->objects.at(2).offset, b.offsetOf(4));
  // The page dictionary is not kept parsed after the open; it comes back,
  // parsed from its object stream again, whenever it is asked for.
  EXPECT_EQ(loaded->pages[0].objectNumber, 3u);
  EXPECT_EQ(loaded->objects.count(3), 0u);
  Value* pageDictionary = loaded->pageDictionary(loaded->pages[0]);
  ASSERT_NE(pageDictionary, nullptr);
  EXPECT_TRUE(pageDictionary->find("Type")->isName("Page"));

  // An entry pointing at an index whose header names another object fails the open.
  PdfBuilder swapped = withObjectStream(headerFor(1, 3, 2), kBody);
  finishWith(swapped, 5,
             {{0, 0, 65535}, {2, 4, 0}, {2, 4, 1}, {2, 4, 2}, {1, swapped.offsetOf(4), 0}});
  auto bad = loadBuilder(swapped, "objstm-mismatch.pdf");
  EXPECT_EQ(bad.result, Error::Format);
  EXPECT_EQ(bad->errorMessage, "object stream does not match cross reference");

  // Cross-reference data that stores the object stream itself in an object
  // stream (its own, or another one that it holds) cannot be followed; the
  // scan finds the stream where the file has it.
  for (bool inItself : {true, false}) {
    PdfBuilder nested = withObjectStream(headerFor(1, 2, 3), kBody);
    nested.object(5, "<< /Direct true >>");
    std::vector<Entry> entries{{0, 0, 65535}, {2, 4, 0}, {2, 4, 1}, {2, 4, 2}};
    entries.push_back(inItself ? Entry{2, 4, 3} : Entry{2, 6, 0});
    entries.push_back({1, nested.offsetOf(5), 0});
    if (!inItself) entries.push_back({2, 4, 3});
    finishWith(nested, static_cast<std::uint32_t>(entries.size()), entries);
    auto loadedNested = loadBuilder(nested, "objstm-nested.pdf");
    ASSERT_EQ(loadedNested.result, Error::None) << loadedNested->errorMessage;
    EXPECT_FALSE(loadedNested->strictCrossReference);
    ASSERT_EQ(loadedNested->pages.size(), 1u);
    EXPECT_EQ(loadedNested->pages[0].height, 400);
  }
}

// An object stream holding one whole stream object, `number`, as its only object.
std::string holding(std::uint32_t number, const std::string& dictionary, const std::string& data) {
  std::string header = std::to_string(number) + " 0 ";
  return header + "<< " + dictionary + " /Length " + std::to_string(data.size()) + " >>\nstream\n" + data +
         "\nendstream";
}

// Objects 1 to 3 in object stream 10 (Flate), stored in 11, stored in 12 ...
// `levels` deep; the last container is in the file. `loop` lists the last
// container as stored in stream 10 instead.
TEST(ObjectStreams, NestedObjectStreams) {
  struct Case {
    int levels;
    bool loop;
    bool opens;
  };
  for (const Case& c : {Case{1, false, true}, Case{4, false, true}, Case{5, false, false}, Case{1, true, false}}) {
    std::string header = headerFor(1, 2, 3);
    std::string dictionary = "/Type /ObjStm /N 1 /Filter /FlateDecode /First ";
    std::string inner = test::deflate(header + kBody);
    std::string body = holding(10, "/Type /ObjStm /N 3 /Filter /FlateDecode /First " + std::to_string(header.size()), inner);
    for (int level = 1; level < c.levels; ++level) {
      std::string packed = test::deflate(body);
      body = holding(static_cast<std::uint32_t>(10 + level),
                     dictionary + std::to_string(std::to_string(9 + level).size() + 3), packed);
    }
    const auto outer = static_cast<std::uint32_t>(10 + c.levels);
    PdfBuilder b;
    b.stream(outer, dictionary + std::to_string(std::to_string(outer - 1).size() + 3), test::deflate(body));
    std::vector<Entry> entries{{0, 0, 65535}, {2, 10, 0}, {2, 10, 1}, {2, 10, 2}};
    while (entries.size() < 10) entries.push_back({0, 0, 0});
    for (std::uint32_t number = 10; number < outer; ++number) entries.push_back({2, number + 1, 0});
    entries.push_back(c.loop ? Entry{2, 10, 3} : Entry{1, b.offsetOf(outer), 0});
    finishWith(b, outer + 1, entries);
    auto loaded = loadBuilder(b, "objstm-in-objstm.pdf");
    SCOPED_TRACE(std::to_string(c.levels) + (c.loop ? " levels, in a loop" : " levels"));
    if (!c.opens) {
      // Cross-reference data that cannot be followed is left for the scan,
      // which cannot see objects inside nested streams either.
      EXPECT_NE(loaded.result, Error::None);
      continue;
    }
    ASSERT_EQ(loaded.result, Error::None) << loaded->errorMessage;
    EXPECT_TRUE(loaded->strictCrossReference);
    ASSERT_EQ(loaded->pages.size(), 1u);
    EXPECT_EQ(loaded->pages[0].height, 400);
    const Object* stream = loaded->object(10);
    ASSERT_NE(stream, nullptr);
    EXPECT_TRUE(stream->isStream);
    Bytes decoded = loaded->decodeStream(*stream);
    EXPECT_EQ(std::string(decoded.begin(), decoded.end()), header + kBody);
  }
}

TEST(ObjectStreams, HeaderValidation) {
  struct Case {
    std::string header;
    std::string extra;
    const char* message;
  };
  const Case cases[] = {
      {"0 0 2 33 3 74 ", "", "invalid compressed object entry"},
      {"1 0 2 33 3 x ", "", "invalid compressed object entry"},
      {"1 0 2 33 3 115 ", "", "invalid compressed object offset"},
  };
  for (const Case& c : cases) {
    PdfBuilder b = withObjectStream(c.header, kBody, c.extra);
    finishWith(b, 5, {{0, 0, 65535}, {2, 4, 0}, {2, 4, 1}, {2, 4, 2}, {1, b.offsetOf(4), 0}});
    auto loaded = loadBuilder(b, "objstm-header.pdf");
    EXPECT_EQ(loaded.result, Error::Format) << c.header;
    EXPECT_EQ(loaded->errorMessage, c.message) << c.header;
  }
}

TEST(ObjectStreams, RecoveryModePrefersDirectObjects) {
  // No cross-reference data at all: the scan finds the object stream and a
  // direct copy of object 3 with another box, which must win.
  PdfBuilder b = withObjectStream(headerFor(1, 2, 3), kBody);
  b.object(3, "<< /Type /Page /MediaBox [0 0 10 20] >>");
  b.object(6, "<< /Type /ObjStm /N 0 /First 0 /Length 0 >>\nstream\n\nendstream");
  b.raw("trailer\n<< /Root 1 0 R >>\n%%EOF\n");
  auto loaded = loadBuilder(b, "objstm-recovery.pdf");
  ASSERT_EQ(loaded.result, Error::None) << loaded->errorMessage;
  EXPECT_FALSE(loaded->strictCrossReference);
  ASSERT_EQ(loaded->pages.size(), 1u);
  EXPECT_EQ(loaded->pages[0].width, 10);
}

TEST(ObjectStreams, IndependentProducer) {
  if (!haveProgram("qpdf")) GTEST_SKIP() << "qpdf is not installed";
  PdfBuilder b = PdfBuilder::simple({"BT /F1 12 Tf 72 700 Td (one) Tj ET",
                                     "BT /F1 12 Tf 72 700 Td (two) Tj ET",
                                     "BT /F1 12 Tf 72 700 Td (three) Tj ET"},
                                    "[0 0 595 842]");
  b.finishWithTable("/Root 1 0 R");
  std::string plain = b.write("qpdf-plain.pdf");
  std::string generated = test::tempDirectory() + "/qpdf-objstm.pdf";
  std::string linearized = test::tempDirectory() + "/qpdf-linear.pdf";
  ASSERT_EQ(test::run("qpdf --object-streams=generate " + plain + " " + generated), 0);
  ASSERT_EQ(test::run("qpdf --linearize --object-streams=generate " + plain + " " + linearized),
            0);
  for (const std::string& path : {generated, linearized}) {
    Document document;
    ASSERT_EQ(document.load(path), Error::None) << path << ": " << document.errorMessage;
    EXPECT_TRUE(document.strictCrossReference) << path;
    EXPECT_FALSE(document.compressedObjects.empty()) << path;
    ASSERT_EQ(document.pages.size(), 3u) << path;
    EXPECT_EQ(document.pages[2].width, 595);
    EXPECT_EQ(document.pages[2].height, 842);
    // The content streams survive the round trip through qpdf.
    auto contents = document.pageContentObjects(document.pages[1]);
    ASSERT_EQ(contents.size(), 1u);
    Bytes data = document.decodeStream(*document.object(contents[0]));
    std::string text(data.begin(), data.end());
    EXPECT_NE(text.find("(two)"), std::string::npos) << path;
  }
}

}  // namespace
}  // namespace zopra::pdf
