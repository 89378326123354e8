// Whole documents written by Document::save and read back: by this engine
// through the new cross-reference table, and by qpdf when it is installed.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "corpus/corpus_files.h"
#include "pdf/content/text_entry.h"
#include "pdf/model/document.h"
#include "support/load_helpers.h"
#include "support/pdf_builder.h"
#include "support/test_files.h"

namespace zopra::pdf {
namespace {

namespace fs = std::filesystem;

const std::string kBinaryLine = "\n%\xE2\xE3\xCF\xD3\n";
const std::string kFirstPage = "BT /F1 24 Tf 72 700 Td (Hello writer) Tj ET\n";
const std::string kSecondPage = "BT /F1 12 Tf 72 650 Td (Second \\(page\\)) Tj ET\n";

// The page sizes and the extracted text of every page.
std::string describe(Document& document) {
  std::string out;
  for (std::uint32_t page = 0; page < document.pages.size(); ++page) {
    const Page& shape = document.pages[page];
    out += std::to_string(shape.width) + "x" + std::to_string(shape.height) + " r" +
           std::to_string(shape.rotation) + ":";
    std::vector<TextEntry> entries;
    EXPECT_EQ(document.extractText(page, entries, nullptr), Error::None);
    for (const TextEntry& entry : entries) out += entry.text + "|";
    out += "\n";
  }
  return out;
}

// The classic table found through startxref: object number to offset for the
// entries in use; every entry must be 20 bytes and every free one the zero form.
std::map<std::uint32_t, std::size_t> readTable(const std::string& bytes,
                                               std::vector<std::uint32_t>* freeNumbers = nullptr) {
  std::map<std::uint32_t, std::size_t> used;
  std::size_t keyword = bytes.rfind("startxref\n");
  EXPECT_NE(keyword, std::string::npos);
  if (keyword == std::string::npos) return used;
  std::size_t position = std::stoul(bytes.substr(keyword + 10));
  EXPECT_EQ(bytes.compare(position, 5, "xref\n"), 0);
  position += 5;
  while (position < bytes.size() && bytes.compare(position, 8, "trailer\n") != 0) {
    std::size_t lineEnd = bytes.find('\n', position);
    std::string header = bytes.substr(position, lineEnd - position);
    std::size_t space = header.find(' ');
    std::uint32_t first = static_cast<std::uint32_t>(std::stoul(header.substr(0, space)));
    std::size_t count = std::stoul(header.substr(space + 1));
    position = lineEnd + 1;
    for (std::size_t i = 0; i < count; ++i, position += 20) {
      std::string entry = bytes.substr(position, 20);
      std::uint32_t number = first + static_cast<std::uint32_t>(i);
      if (number == 0) {
        EXPECT_EQ(entry, "0000000000 65535 f \n");
      } else if (entry.compare(17, 3, "n \n") == 0) {
        used[number] = std::stoul(entry.substr(0, 10));
      } else {
        EXPECT_EQ(entry, "0000000000 00000 f \n") << number;
        if (freeNumbers) freeNumbers->push_back(number);
      }
    }
  }
  for (const auto& [number, offset] : used) {
    const std::string header = std::to_string(number) + " ";
    EXPECT_EQ(bytes.compare(offset, header.size(), header), 0) << "object " << number;
  }
  return used;
}

struct Saved {
  std::string path;
  std::string bytes;
  std::unique_ptr<Document> reopened = std::make_unique<Document>();
};

// Saves `document`, then checks what every written file must satisfy.
Saved saveAndCheck(Document& document, const std::string& name) {
  Saved saved;
  saved.path = test::tempDirectory() + "/" + name;
  EXPECT_EQ(document.save(saved.path), Error::None) << document.errorMessage;
  saved.bytes = test::readFile(saved.path);
  EXPECT_EQ(saved.bytes.compare(0, 5, "%PDF-"), 0);
  EXPECT_NE(saved.bytes.find(kBinaryLine), std::string::npos);
  EXPECT_EQ(saved.bytes.find("/Encrypt"), std::string::npos);
  EXPECT_EQ(saved.bytes.find("/XRef"), std::string::npos);
  readTable(saved.bytes);
  EXPECT_EQ(saved.reopened->load(saved.path), Error::None) << saved.reopened->errorMessage;
  EXPECT_TRUE(saved.reopened->strictCrossReference);
  if (test::haveProgram("qpdf")) {
    EXPECT_EQ(test::run("qpdf --check '" + saved.path + "' >/dev/null 2>&1"), 0)
        << test::capture("qpdf --check '" + saved.path + "' 2>&1");
  }
  return saved;
}

TEST(SaveTest, WritesEveryObjectWithAPlainTable) {
  test::PdfBuilder b("%PDF-1.3\n");
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [4 0 R 10 2 R] /Count 2 >>");
  b.object(3, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  b.object(4,
           "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Rotate 90 "
           "/Resources << /Font << /F1 3 0 R >> >> /Contents 5 0 R >>");
  b.stream(5, "", kFirstPage);
  b.object(9, "<< /Title (Plain \\(old\\) title) /Odd#20Key /A#23B >>");
  b.object(10,
           "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 300.5 400] "
           "/Resources << /Font << /F1 3 0 R >> >> /Contents [11 0 R] >>",
           2);
  b.stream(11, "", kSecondPage);
  b.finishWithTable("/Root 1 0 R /Info 9 0 R");
  test::Loaded source = test::loadBuilder(b, "save-plain-in.pdf");
  ASSERT_EQ(source.result, Error::None) << source->errorMessage;
  const std::string expected = describe(*source.document);
  // Streams made by the engine hold plain bytes, whatever their dictionary says.
  ValueDictionary filtered = ValueDictionary::fromEntries(
      {{"Filter", Value::Name("FlateDecode")}, {"DecodeParms", Value::Dictionary({})},
       {"Length", Value::Number(999)}});
  ASSERT_EQ(source->createStream(Value::Dictionary(filtered), Bytes{'q', ' ', 'Q'}).number, 12u);
  ASSERT_EQ(source->createStream(Value::Dictionary({}), Bytes{}).number, 13u);

  Saved saved = saveAndCheck(*source.document, "save-plain-out.pdf");
  EXPECT_EQ(saved.bytes.compare(0, 15, "%PDF-1.4" + kBinaryLine), 0);
  std::vector<std::uint32_t> freeNumbers;
  readTable(saved.bytes, &freeNumbers);
  EXPECT_EQ(freeNumbers, (std::vector<std::uint32_t>{6, 7, 8}));
  EXPECT_NE(saved.bytes.find("10 2 obj\n"), std::string::npos);
  EXPECT_NE(saved.bytes.find("/Title <506c61696e20286f6c6429207469746c65>"), std::string::npos);
  EXPECT_NE(saved.bytes.find("/Odd#20Key /A#23B"), std::string::npos);
  EXPECT_NE(saved.bytes.find("12 0 obj\n<<\n/Length 3\n>>\nstream\nq Q\nendstream\nendobj\n"),
            std::string::npos);
  EXPECT_NE(saved.bytes.find("13 0 obj\n<<\n/Length 0\n>>\nstream\n\nendstream\n"),
            std::string::npos);
  EXPECT_NE(saved.bytes.find("/Size 14"), std::string::npos);
  EXPECT_EQ(describe(*saved.reopened), expected);

  // The whole input is in memory, so the file it came from can be replaced.
  const std::string sourcePath = test::tempDirectory() + "/save-plain-in.pdf";
  ASSERT_EQ(source->save(sourcePath), Error::None) << source->errorMessage;
  EXPECT_EQ(test::readFile(sourcePath), saved.bytes);
}

// The bytes of the input's first object stream, as stored (its dictionary
// on one line, with a direct Length, as qpdf writes it).
std::string firstObjectStream(const std::string& bytes) {
  const std::size_t type = bytes.find("/Type /ObjStm");
  const std::size_t line = bytes.rfind('\n', type);
  const std::size_t length = bytes.find("/Length ", line);
  const std::size_t start = bytes.find("stream\n", type);
  if (type == std::string::npos || length > start || start == std::string::npos) return std::string();
  return bytes.substr(start + 7, std::stoul(bytes.substr(length + 8, 12)));
}

// Compact writing copies an input object stream whose objects are all
// written unchanged as it stands; one whose object changed is packed anew.
// Both files read back, here and by qpdf.
TEST(SaveTest, CompactCopiesUnchangedObjectStreams) {
  if (!test::haveProgram("qpdf")) GTEST_SKIP() << "qpdf makes the object streams";
  test::PdfBuilder b = test::PdfBuilder::simple({kFirstPage, kSecondPage});
  b.finishWithTable("/Root 1 0 R");
  const std::string plain = test::writeTempFile("kept-plain.pdf", b.bytes());
  const std::string packed = test::tempDirectory() + "/kept-packed.pdf";
  ASSERT_EQ(test::run("qpdf --object-streams=generate '" + plain + "' '" + packed + "'"), 0);
  const std::string stored = firstObjectStream(test::readFile(packed));
  ASSERT_FALSE(stored.empty());

  for (const bool edited : {false, true}) {
    Document document;
    ASSERT_EQ(document.load(packed), Error::None) << document.errorMessage;
    const std::string expected = describe(document);
    if (edited) {
      // The second page turns: its dictionary, in that stream, changes.
      Value* page = document.pageDictionary(document.pages[1]);
      ASSERT_NE(page, nullptr);
      page->dictionary.insert_or_assign("Rotate", Value::Number(90));
    }
    const std::string output = test::tempDirectory() + (edited ? "/kept-edited.pdf" : "/kept-unchanged.pdf");
    ASSERT_EQ(document.saveCompact(output, Document::CompactOptions()), Error::None) << document.errorMessage;
    const std::string bytes = test::readFile(output);
    EXPECT_EQ(bytes.find(stored) != std::string::npos, !edited);
    // Unchanged, every object stays in the copy: no stream is packed anew.
    std::size_t streams = 0;
    for (std::size_t at = bytes.find("/ObjStm"); at != std::string::npos; at = bytes.find("/ObjStm", at + 1)) ++streams;
    EXPECT_EQ(streams, 1u);
    Document reopened;
    ASSERT_EQ(reopened.load(output), Error::None) << reopened.errorMessage;
    EXPECT_TRUE(reopened.strictCrossReference);
    EXPECT_EQ(reopened.pages[1].rotation, edited ? 90 : 0);
    if (!edited) {
      EXPECT_EQ(describe(reopened), expected);
    }
    EXPECT_EQ(test::run("qpdf --check '" + output + "' >/dev/null 2>&1"), 0)
        << test::capture("qpdf --check '" + output + "' 2>&1");
  }
}

TEST(SaveTest, FarApartNumbersGetTheirOwnSubsection) {
  // The update's table lists only its own object, so the input stays small.
  test::PdfBuilder b = test::PdfBuilder::simple({kFirstPage});
  b.finishWithTable("/Root 1 0 R");
  b.object(2000000000u, "<< /Title (far away) >>");
  b.finishWithTable("/Root 1 0 R /Info 2000000000 0 R");
  test::Loaded source = test::loadBuilder(b, "save-sparse-in.pdf");
  ASSERT_EQ(source.result, Error::None) << source->errorMessage;
  Saved saved = saveAndCheck(*source.document, "save-sparse-out.pdf");
  EXPECT_LT(saved.bytes.size(), 4096u);
  EXPECT_NE(saved.bytes.find("xref\n0 6\n"), std::string::npos);
  EXPECT_NE(saved.bytes.find("\n2000000000 1\n"), std::string::npos);
  EXPECT_NE(saved.bytes.find("/Size 2000000001"), std::string::npos);
}

TEST(SaveTest, StreamTablesAndUpdatesBecomeOnePlainTable) {
  // A cross-reference stream whose dictionary is the trailer, and the same
  // file with an update that replaces the page's content.
  test::PdfBuilder streamOnly = test::PdfBuilder::simple({kFirstPage});
  streamOnly.finishWithXrefStream(6, "/Root 1 0 R /ID [<01> <01>]");
  test::PdfBuilder updated = streamOnly;
  updated.stream(5, "", kSecondPage);
  updated.finishWithTable("/Root 1 0 R /ID [<01> <01>]");

  for (const test::PdfBuilder* builder : {&streamOnly, &updated}) {
    const bool update = builder == &updated;
    SCOPED_TRACE(update ? "update" : "stream only");
    test::Loaded source = test::loadBuilder(*builder, "save-xref-in.pdf");
    ASSERT_EQ(source.result, Error::None) << source->errorMessage;
    ASSERT_TRUE(source->strictCrossReference);
    Saved saved = saveAndCheck(*source.document, "save-xref-out.pdf");
    std::vector<std::uint32_t> freeNumbers;
    readTable(saved.bytes, &freeNumbers);
    EXPECT_EQ(freeNumbers, std::vector<std::uint32_t>{6});
    const std::string trailer =
        "trailer\n<<\n/ID [<01> <01> ]\n/Root 1 0 R\n/Size 7\n>>\nstartxref\n";
    EXPECT_NE(saved.bytes.find(trailer), std::string::npos);
    // Only the newest version of an object is written.
    EXPECT_EQ(saved.bytes.find("Hello writer") == std::string::npos, update);
    EXPECT_EQ(describe(*saved.reopened), describe(*source.document));
  }
}

TEST(SaveTest, FailuresLeaveNoFileBehind) {
  const fs::path folder = fs::path(test::tempDirectory()) / "save-failures";
  fs::create_directories(folder);
  test::PdfBuilder b = test::PdfBuilder::simple({kFirstPage});
  b.finishWithTable("/Root 1 0 R");
  test::Loaded source = test::loadBuilder(b, "save-fail-in.pdf");
  ASSERT_EQ(source.result, Error::None);

  const std::string missing = (folder / "missing" / "out.pdf").string();
  EXPECT_EQ(source->save(missing), Error::Io);
  EXPECT_EQ(source->errorMessage, "failed to create output PDF");
  EXPECT_FALSE(fs::exists(folder / "missing"));
  EXPECT_EQ(source->save(folder.string()), Error::Io);
  EXPECT_EQ(source->errorMessage, "failed to create output PDF");

  // A failure halfway leaves an existing target as it was.
  const fs::path target = folder / "target.pdf";
  test::writeTempFile("save-failures/target.pdf", "old");
  fs::permissions(target, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
  Object* content = source->object(5);
  ASSERT_NE(content, nullptr);
  const std::uint64_t length = content->streamLength;
  content->streamLength = source->file.size();
  EXPECT_EQ(source->save(target.string()), Error::Format);
  EXPECT_EQ(source->errorMessage, "invalid PDF stream range");
  EXPECT_EQ(test::readFile(target.string()), "old");
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename());
  EXPECT_EQ(names, std::vector<std::string>{"target.pdf"});

  // Success replaces it and keeps its permissions.
  content->streamLength = length;
  EXPECT_EQ(source->save(target.string()), Error::None) << source->errorMessage;
  EXPECT_EQ(source->error, Error::None);
  EXPECT_EQ(source->errorMessage, "");
  EXPECT_EQ(test::readFile(target.string()).substr(0, 5), "%PDF-");
  EXPECT_EQ(fs::status(target).permissions(),
            fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
  // A device is written in place; a full one fails at the end.
  if (fs::exists("/dev/full")) {
    EXPECT_EQ(source->save("/dev/full"), Error::Io);
    EXPECT_EQ(source->errorMessage, "failed while writing output PDF");
  }
}

}  // namespace
}  // namespace zopra::pdf
