// Whole files through Document::load: a plain document encrypted by qpdf in
// every revision the handler supports must read back exactly like the plain
// original, and the encrypted files of the corpus must open or fail as other
// readers do.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "pdf/content/text_entry.h"
#include "pdf/model/document.h"
#include "support/pdf_builder.h"
#include "support/test_files.h"
#include "corpus/corpus_files.h"

namespace zopra::pdf {
namespace {

const std::string kFirstContent = "BT /F1 24 Tf 72 700 Td (Encrypted text) Tj ET\n";
const std::string kSecondContent =
    "BT /F1 12 Tf 72 650 Td (Second page \\(with parens\\)) Tj ET\n0 0 1 rg 10 10 100 100 re f\n";
const std::string kMetadata =
    "<?xpacket begin=\"\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?><x:xmpmeta xmlns:x=\"adobe:ns:meta/\"/>"
    "<?xpacket end=\"w\"?>";
const std::string kTitle = "Quarterly (draft) report";
const std::string kAuthor("\xFE\xFF\x00\xC4\x00\xE9\x00 \x00J", 10);
const std::string kSubject = "line1\nline2";

std::string text(const Bytes& data) { return std::string(data.begin(), data.end()); }

std::string infoString(const Document& document, const char* key) {
  const Value* info = document.dictionaryValue(&document.trailer, "Info");
  const Value* entry = info ? document.dictionaryValue(info, key) : nullptr;
  return entry && entry->isString() ? entry->text : "<missing>";
}

// What a reader sees of the test document: the Info strings, the metadata,
// and each page's content and extracted text items.
std::string snapshot(Document& document) {
  std::string seen = infoString(document, "Title") + "|" + infoString(document, "Author") + "|" +
                     infoString(document, "Subject") + "\n";
  const Value* root = document.dictionaryValue(&document.trailer, "Root");
  const Value* metadata = root ? root->find("Metadata") : nullptr;
  if (const Object* stream = metadata && metadata->isReference() ? document.object(metadata->objectNumber) : nullptr) {
    seen += text(document.decodeStream(*stream)) + "\n";
  }
  for (std::uint32_t page = 0; page < document.pages.size(); ++page) {
    seen += "page " + std::to_string(page + 1) + ":\n";
    for (std::uint32_t number : document.pageContentObjects(document.pages[page])) {
      if (const Object* content = document.object(number)) seen += text(document.decodeStream(*content));
    }
    std::vector<TextEntry> entries;
    EXPECT_EQ(document.extractText(page, entries, nullptr), Error::None);
    for (const TextEntry& entry : entries) seen += entry.text + "\n";
  }
  return seen;
}

std::string plainDocument() {
  test::PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R /Metadata 8 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [4 0 R 6 0 R] /Count 2 >>");
  b.object(3, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  b.object(4,
           "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] "
           "/Resources << /Font << /F1 3 0 R >> >> /Contents 5 0 R >>");
  b.stream(5, "", kFirstContent);
  b.object(6,
           "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] "
           "/Resources << /Font << /F1 3 0 R >> >> /Contents [7 0 R] >>");
  b.stream(7, "", kSecondContent);
  b.stream(8, "/Type /Metadata /Subtype /XML", kMetadata);
  b.object(9,
           "<< /Title (Quarterly \\(draft\\) report) /Author <FEFF00C400E90020004A> "
           "/Subject (line1\\nline2) >>");
  b.finishWithTable(
      "/Root 1 0 R /Info 9 0 R /ID [<00112233445566778899AABBCCDDEEFF> "
      "<00112233445566778899AABBCCDDEEFF>]");
  return b.write("security-plain.pdf");
}

// Runs qpdf; exit status 3 means success with warnings.
bool encryptWithQpdf(const std::string& input, const std::string& arguments,
                     const std::string& output) {
  int status = test::run("qpdf --compress-streams=n --allow-weak-crypto " + arguments + " '" +
                         input + "' '" + output + "' >/dev/null 2>&1");
  return status == 0 || status == 3;
}

struct Variant {
  const char* name;
  const char* arguments;
  int revision;  // 0: the user password is needed
  Cipher streamCipher;
  Cipher stringCipher;
  bool encryptMetadata;
};

TEST(EncryptedFilesTest, QpdfEncryptedCopiesReadLikeThePlainFile) {
  if (!test::haveProgram("qpdf")) GTEST_SKIP() << "qpdf not installed";
  const std::string plainPath = plainDocument();
  Document plain;
  ASSERT_EQ(plain.load(plainPath), Error::None) << plain.errorMessage;
  const std::string expected = snapshot(plain);
  ASSERT_EQ(expected, kTitle + "|" + kAuthor + "|" + kSubject + "\n" + kMetadata + "\npage 1:\n" + kFirstContent +
                          "Encrypted text\npage 2:\n" + kSecondContent + "Second page (with parens)\n");

  const Cipher rc4 = Cipher::Rc4, aes128 = Cipher::Aes128, aes256 = Cipher::Aes256, none = Cipher::None;
  const Variant variants[] = {
      {"r2", "--encrypt '' own 40 --", 2, rc4, rc4, true},
      {"r3", "--encrypt '' own 128 --use-aes=n --", 3, rc4, rc4, true},
      {"r4-rc4", "--encrypt '' own 128 --use-aes=n --force-V4 --", 4, rc4, rc4, true},
      {"r4-aes", "--encrypt '' own 128 --use-aes=y --", 4, aes128, aes128, true},
      {"r4-aes-clear", "--encrypt '' own 128 --use-aes=y --cleartext-metadata --", 4, aes128, aes128, false},
      {"r5", "--encrypt '' own 256 --force-R5 --", 5, aes256, aes256, true},
      {"r6", "--encrypt '' own 256 --", 6, aes256, aes256, true},
      {"r6-clear", "--encrypt '' own 256 --cleartext-metadata --", 6, aes256, aes256, false},
      {"r6-objstm", "--object-streams=generate --encrypt '' own 256 --", 6, aes256, aes256, true},
      // Only the owner password is empty: revisions 5 and 6 accept it,
      // revision 4 never tries it.
      {"r5-owner", "--encrypt user '' 256 --force-R5 --allow-insecure --", 5, aes256, aes256, true},
      {"r6-owner", "--encrypt user '' 256 --allow-insecure --", 6, aes256, aes256, true},
      {"r4-owner", "--encrypt user '' 128 --use-aes=y --", 0, none, none, true},
      {"r4-user", "--encrypt user own 128 --use-aes=y --", 0, none, none, true},
      {"r6-user", "--encrypt user own 256 --", 0, none, none, true},
  };
  for (const Variant& variant : variants) {
    SCOPED_TRACE(variant.name);
    const std::string path = test::tempDirectory() + "/security-" + variant.name + ".pdf";
    ASSERT_TRUE(encryptWithQpdf(plainPath, variant.arguments, path));
    Document document;
    if (variant.revision == 0) {
      EXPECT_EQ(document.load(path), Error::Encryption);
      EXPECT_EQ(document.errorMessage, "PDF requires a password");
      EXPECT_FALSE(document.encryption.encrypted);
      continue;
    }
    ASSERT_EQ(document.load(path), Error::None) << document.errorMessage;
    EXPECT_TRUE(document.encryption.encrypted);
    EXPECT_EQ(document.encryption.revision, variant.revision);
    EXPECT_EQ(document.encryption.streamCipher, variant.streamCipher);
    EXPECT_EQ(document.encryption.stringCipher, variant.stringCipher);
    EXPECT_EQ(document.encryption.encryptMetadata, variant.encryptMetadata);
    EXPECT_EQ(snapshot(document), expected);

    // Written out, it reads the same without encryption, passes qpdf's
    // check, and a second save gives the same bytes; objects fetched only
    // for writing are not kept.
    const std::size_t parsed = document.objects.size();
    const std::string saved = path + ".saved.pdf", again = path + ".again.pdf";
    ASSERT_EQ(document.save(saved), Error::None) << document.errorMessage;
    ASSERT_EQ(document.save(again), Error::None) << document.errorMessage;
    EXPECT_EQ(test::readFile(again), test::readFile(saved));
    EXPECT_EQ(document.objects.size(), parsed);
    EXPECT_EQ(test::run("qpdf --check '" + saved + "' >/dev/null 2>&1"), 0);
    Document reopened;
    ASSERT_EQ(reopened.load(saved), Error::None) << reopened.errorMessage;
    EXPECT_FALSE(reopened.encryption.encrypted);
    EXPECT_TRUE(reopened.strictCrossReference);
    EXPECT_EQ(snapshot(reopened), expected);
  }
}

TEST(EncryptedFilesTest, CorpusEncryptedFilesOpenLikePdfinfo) {
  const std::string corpus = test::corpusDirectory();
  if (corpus.empty()) GTEST_SKIP() << "corpus not available";
  const auto oracle = test::corpusOracle();
  std::ifstream manifest(corpus + "/MANIFEST.tsv");
  int checked = 0;
  for (std::string line; std::getline(manifest, line);) {
    // The file name, and its features in the sixth column.
    const std::string name = line.substr(0, line.find('\t'));
    std::string features = line;
    for (int column = 0; column < 5 && features.find('\t') != std::string::npos; ++column) {
      features.erase(0, features.find('\t') + 1);
    }
    features = features.substr(0, features.find('\t'));
    if (features.find("rc4-") == std::string::npos && features.find("aes") == std::string::npos) continue;
    SCOPED_TRACE(name);
    auto known = oracle.find(name);
    ASSERT_NE(known, oracle.end());
    Document document;
    Error result = document.load(corpus + "/" + name);
    // pdfinfo gives no page count where it needs a password.
    if (known->second.pdfinfoPages < 0) {
      EXPECT_EQ(result, Error::Encryption) << document.errorMessage;
      EXPECT_EQ(document.errorMessage, "PDF requires a password");
    } else {
      EXPECT_EQ(result, Error::None) << document.errorMessage;
      EXPECT_TRUE(document.encryption.encrypted);
      EXPECT_EQ(static_cast<int>(document.pages.size()), known->second.pdfinfoPages);
    }
    ++checked;
  }
  EXPECT_GE(checked, 9);
}

}  // namespace
}  // namespace zopra::pdf
