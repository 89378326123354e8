// Whole files through Document::load: a plain document encrypted by qpdf in
// every revision the handler supports must read back exactly like the plain
// original, and the encrypted files of the corpus must open or fail as other
// readers do.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "pdf/content/text_entry.h"
#include "pdf/model/document.h"
#include "support/pdf_builder.h"
#include "support/test_files.h"

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

// What a reader sees of the test document.
struct Snapshot {
  std::size_t pages = 0;
  std::vector<std::string> contents;
  std::string title;
  std::string author;
  std::string subject;
  std::string metadata;
  // The extracted text items of every page, one per line.
  std::string pageText;
};

std::string text(const Bytes& data) { return std::string(data.begin(), data.end()); }

std::string infoString(const Document& document, const char* key) {
  const Value* info = document.dictionaryValue(&document.trailer, "Info");
  const Value* entry = info ? document.dictionaryValue(info, key) : nullptr;
  return entry && entry->isString() ? entry->text : "<missing>";
}

Snapshot snapshot(Document& document) {
  Snapshot seen;
  seen.pages = document.pages.size();
  for (const Page& page : document.pages) {
    std::string joined;
    for (std::uint32_t number : document.pageContentObjects(page)) {
      if (const Object* content = document.object(number))
        joined += text(document.decodeStream(*content));
    }
    seen.contents.push_back(joined);
  }
  for (std::uint32_t page = 0; page < document.pages.size(); ++page) {
    std::vector<TextEntry> entries;
    EXPECT_EQ(document.extractText(page, entries, nullptr), Error::None);
    for (const TextEntry& entry : entries) seen.pageText += entry.text + "\n";
  }
  seen.title = infoString(document, "Title");
  seen.author = infoString(document, "Author");
  seen.subject = infoString(document, "Subject");
  const Value* root = document.dictionaryValue(&document.trailer, "Root");
  const Value* metadata = root ? root->find("Metadata") : nullptr;
  if (metadata && metadata->isReference()) {
    if (const Object* stream = document.object(metadata->objectNumber)) {
      seen.metadata = text(document.decodeStream(*stream));
    }
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
  int revision;
  Cipher streamCipher;
  Cipher stringCipher;
  bool encryptMetadata;
};

TEST(EncryptedFilesTest, QpdfEncryptedCopiesReadLikeThePlainFile) {
  if (!test::haveProgram("qpdf")) GTEST_SKIP() << "qpdf not installed";
  const std::string plainPath = plainDocument();
  Document plain;
  ASSERT_EQ(plain.load(plainPath), Error::None) << plain.errorMessage;
  const Snapshot expected = snapshot(plain);
  ASSERT_EQ(expected.pages, 2u);
  ASSERT_EQ(expected.contents, (std::vector<std::string>{kFirstContent, kSecondContent}));
  ASSERT_EQ(expected.title, kTitle);
  ASSERT_EQ(expected.author, kAuthor);
  ASSERT_EQ(expected.subject, kSubject);
  ASSERT_EQ(expected.metadata, kMetadata);

  const Variant variants[] = {
      {"r2", "--encrypt '' own 40 --", 2, Cipher::Rc4, Cipher::Rc4, true},
      {"r3", "--encrypt '' own 128 --use-aes=n --", 3, Cipher::Rc4, Cipher::Rc4, true},
      {"r4-rc4", "--encrypt '' own 128 --use-aes=n --force-V4 --", 4, Cipher::Rc4, Cipher::Rc4,
       true},
      {"r4-aes", "--encrypt '' own 128 --use-aes=y --", 4, Cipher::Aes128, Cipher::Aes128, true},
      {"r4-aes-clear", "--encrypt '' own 128 --use-aes=y --cleartext-metadata --", 4,
       Cipher::Aes128, Cipher::Aes128, false},
      {"r5", "--encrypt '' own 256 --force-R5 --", 5, Cipher::Aes256, Cipher::Aes256, true},
      {"r6", "--encrypt '' own 256 --", 6, Cipher::Aes256, Cipher::Aes256, true},
      {"r6-clear", "--encrypt '' own 256 --cleartext-metadata --", 6, Cipher::Aes256,
       Cipher::Aes256, false},
      {"r6-objstm", "--object-streams=generate --encrypt '' own 256 --", 6, Cipher::Aes256,
       Cipher::Aes256, true},
      // Only the owner password is empty: revisions 5 and 6 accept it.
      {"r5-owner", "--encrypt user '' 256 --force-R5 --allow-insecure --", 5, Cipher::Aes256,
       Cipher::Aes256, true},
      {"r6-owner", "--encrypt user '' 256 --allow-insecure --", 6, Cipher::Aes256, Cipher::Aes256,
       true},
  };
  for (const Variant& variant : variants) {
    SCOPED_TRACE(variant.name);
    const std::string path = test::tempDirectory() + "/security-" + variant.name + ".pdf";
    ASSERT_TRUE(encryptWithQpdf(plainPath, variant.arguments, path));
    Document document;
    ASSERT_EQ(document.load(path), Error::None) << document.errorMessage;
    EXPECT_TRUE(document.encryption.encrypted);
    EXPECT_EQ(document.encryption.revision, variant.revision);
    EXPECT_EQ(document.encryption.streamCipher, variant.streamCipher);
    EXPECT_EQ(document.encryption.stringCipher, variant.stringCipher);
    EXPECT_EQ(document.encryption.encryptMetadata, variant.encryptMetadata);
    const Snapshot seen = snapshot(document);
    EXPECT_EQ(seen.pages, expected.pages);
    EXPECT_EQ(seen.contents, expected.contents);
    EXPECT_EQ(seen.title, expected.title);
    EXPECT_EQ(seen.author, expected.author);
    EXPECT_EQ(seen.subject, expected.subject);
    EXPECT_EQ(seen.metadata, expected.metadata);
    EXPECT_EQ(seen.pageText, expected.pageText);
    EXPECT_NE(expected.pageText.find("Second page (with parens)"), std::string::npos);
  }
}

TEST(EncryptedFilesTest, UserPasswordIsRequired) {
  if (!test::haveProgram("qpdf")) GTEST_SKIP() << "qpdf not installed";
  const std::string plainPath = plainDocument();
  const std::pair<const char*, const char*> variants[] = {
      {"r2", "--encrypt user own 40 --"},
      {"r3", "--encrypt user own 128 --use-aes=n --"},
      {"r4-aes", "--encrypt user own 128 --use-aes=y --"},
      // Revision 4 never tries the owner password, even an empty one.
      {"r4-owner", "--encrypt user '' 128 --use-aes=y --"},
      {"r5", "--encrypt user own 256 --force-R5 --"},
      {"r6", "--encrypt user own 256 --"},
  };
  for (const auto& [name, arguments] : variants) {
    SCOPED_TRACE(name);
    const std::string path = test::tempDirectory() + "/security-user-" + name + ".pdf";
    ASSERT_TRUE(encryptWithQpdf(plainPath, arguments, path));
    Document document;
    EXPECT_EQ(document.load(path), Error::Encryption);
    EXPECT_EQ(document.errorMessage, "PDF requires a password");
    EXPECT_FALSE(document.encryption.encrypted);
  }
}

TEST(EncryptedFilesTest, DamagedEncryptionDictionariesFailTheLoad) {
  const std::string id =
      "/ID [<00112233445566778899AABBCCDDEEFF> <00112233445566778899AABBCCDDEEFF>]";
  const std::string user = " /U <" + std::string(64, 'A') + ">";
  const std::string owner = " /O <" + std::string(64, 'B') + ">";
  const std::string aesKeys = " /O <" + std::string(96, 'B') + "> /U <" + std::string(96, 'A') +
                              "> /OE <" + std::string(64, 'C') + ">";
  const std::pair<std::string, std::string> cases[] = {
      {"<< /Filter /Standard /R 3 /V 2 /P -4" + owner + " >>", "PDF requires a password"},
      {"<< /Filter /Standard /R 3 /V 2 /P -4" + user + " >>", "PDF requires a password"},
      {"<< /Filter /Standard /R 6 /V 5 /P -4" + aesKeys + " /UE <" + std::string(62, 'D') + "> >>",
       "invalid AES-256 encryption dictionary"},
      {"<< /Filter /Standard /R 6 /V 5 /P -4" + aesKeys + " >>",
       "invalid AES-256 encryption dictionary"},
      {"<< /Filter /FooBar /R 3 /V 2 /P -4" + owner + user + " >>",
       "unsupported PDF security handler"},
      {"<< /Filter /Standard /R 1 /V 1 /P -4" + owner + user + " >>",
       "unsupported PDF encryption revision"},
      {"<< /Filter /Standard /R 6 /V 5 /P -4" + aesKeys + " /UE <" + std::string(64, 'D') + "> >>",
       "PDF requires a password"},
      {"42", "invalid PDF encryption dictionary"},
  };
  int index = 0;
  for (const auto& [dictionary, message] : cases) {
    SCOPED_TRACE(dictionary);
    test::PdfBuilder b = test::PdfBuilder::simple({kFirstContent});
    b.object(10, dictionary);
    b.finishWithTable("/Root 1 0 R /Encrypt 10 0 R " + id);
    Document document;
    EXPECT_EQ(document.load(b.write("security-damaged-" + std::to_string(index++) + ".pdf")),
              Error::Encryption);
    EXPECT_EQ(document.errorMessage, message);
  }
}

TEST(EncryptedFilesTest, CorruptedEncryptedFileNeverCrashes) {
  if (!test::haveProgram("qpdf")) GTEST_SKIP() << "qpdf not installed";
  const std::string path = test::tempDirectory() + "/security-mutate-source.pdf";
  ASSERT_TRUE(encryptWithQpdf(plainDocument(), "--encrypt '' own 128 --use-aes=y --", path));
  const std::string original = test::readFile(path);
  ASSERT_GT(original.size(), 200u);
  // Damage bytes all over the file, strings, streams and the Encrypt
  // dictionary included; any outcome but a crash or a hang is acceptable.
  for (std::size_t position = 0; position < original.size(); position += 7) {
    std::string damaged = original;
    damaged[position] = static_cast<char>(damaged[position] ^ 0x5A);
    Document document;
    Error result = document.load(test::writeTempFile("security-mutated.pdf", damaged));
    if (result != Error::None) continue;
    // Later reads may still meet the damage; they report it by exception.
    try {
      for (const Page& page : document.pages) {
        for (std::uint32_t number : document.pageContentObjects(page)) {
          if (const Object* content = document.object(number)) document.decodeStream(*content);
        }
      }
    } catch (const Exception&) {
    }
  }
  for (std::size_t length = 0; length < original.size(); length += 97) {
    Document document;
    document.load(test::writeTempFile("security-truncated.pdf", original.substr(0, length)));
  }
}

std::vector<std::string> splitTabs(const std::string& line) {
  std::vector<std::string> fields;
  std::string field;
  std::istringstream in(line);
  while (std::getline(in, field, '\t')) fields.push_back(field);
  if (!line.empty() && line.back() == '\t') fields.emplace_back();
  return fields;
}

TEST(EncryptedFilesTest, CorpusEncryptedFilesOpenLikePdfinfo) {
  const std::string corpus = test::corpusDirectory();
  if (corpus.empty()) GTEST_SKIP() << "corpus not available";

  // File name -> pdfinfo's page count, or "" when pdfinfo needs a password.
  std::map<std::string, std::string> oracle;
  {
    std::ifstream in(corpus + "/ORACLE.tsv");
    std::string line;
    std::getline(in, line);
    while (std::getline(in, line)) {
      auto fields = splitTabs(line);
      if (fields.size() > 6) oracle[fields[0]] = fields[6] == "0" ? fields[1] : "";
    }
  }
  std::ifstream manifest(corpus + "/MANIFEST.tsv");
  std::string line;
  std::getline(manifest, line);
  int checked = 0;
  while (std::getline(manifest, line)) {
    auto fields = splitTabs(line);
    if (fields.size() < 6) continue;
    const std::string& features = fields[5];
    if (features.find("rc4-") == std::string::npos && features.find("aes") == std::string::npos) {
      continue;
    }
    const std::string& name = fields[0];
    SCOPED_TRACE(name);
    auto known = oracle.find(name);
    ASSERT_NE(known, oracle.end());
    Document document;
    Error result = document.load(corpus + "/" + name);
    if (known->second.empty()) {
      EXPECT_EQ(result, Error::Encryption) << document.errorMessage;
    } else {
      EXPECT_EQ(result, Error::None) << document.errorMessage;
      EXPECT_TRUE(document.encryption.encrypted);
      EXPECT_EQ(std::to_string(document.pages.size()), known->second);
    }
    ++checked;
  }
  EXPECT_GE(checked, 9);

  for (const char* name : {"pysf-lo-password.pdf", "pdfjs-issue6010-1.pdf"}) {
    Document document;
    EXPECT_EQ(document.load(corpus + "/" + name), Error::Encryption) << name;
    EXPECT_EQ(document.errorMessage, "PDF requires a password") << name;
  }
}

}  // namespace
}  // namespace zopra::pdf
