// The standard security handler on documents assembled in memory: damaged
// encryption dictionaries, key lengths, crypt filters and which objects get
// decrypted.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <utility>

#include "pdf/model/document.h"
#include "pdf/security/crypto.h"
#include "support/load_helpers.h"

namespace zopra::pdf {
namespace {

const Bytes kPadding = {0x28, 0xBF, 0x4E, 0x5E, 0x4E, 0x75, 0x8A, 0x41, 0x64, 0x00, 0x4E,
                        0x56, 0xFF, 0xFA, 0x01, 0x08, 0x2E, 0x2E, 0x00, 0xB6, 0xD0, 0x68,
                        0x3E, 0x80, 0x2F, 0x0C, 0xA9, 0xFE, 0x64, 0x53, 0x69, 0x7A};
const Bytes kId = {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'a', 'b', 'c', 'd', 'e', 'f'};
const Bytes kOwner(32, 0x11);

Value string(const Bytes& data) { return Value::String(std::string(data.begin(), data.end())); }

Bytes join(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// The file key of the empty user password (ISO 32000-1 Algorithm 2) and the
// matching U entry (Algorithms 4 and 5), written out independently of the
// handler so that the key-length rule is what the test checks.
Bytes emptyPasswordKey(int revision, std::size_t length, std::int32_t permissions) {
  Bytes input = join(kPadding, kOwner);
  for (int shift = 0; shift < 32; shift += 8) {
    input.push_back(static_cast<std::uint8_t>(static_cast<std::uint32_t>(permissions) >> shift));
  }
  Bytes hash = md5(join(input, kId));
  if (revision >= 3) {
    for (int i = 0; i < 50; ++i)
      hash = md5(Bytes(hash.begin(), hash.begin() + static_cast<long>(length)));
  }
  return Bytes(hash.begin(), hash.begin() + static_cast<long>(length));
}

Bytes userEntry(int revision, const Bytes& key) {
  if (revision == 2) return rc4(key, kPadding);
  Bytes x = rc4(key, md5(join(kPadding, kId)));
  for (std::uint8_t i = 1; i <= 19; ++i) {
    Bytes roundKey = key;
    for (auto& b : roundKey) b ^= i;
    x = rc4(roundKey, x);
  }
  return join(x, Bytes(16, 0xEE));
}

void withEncrypt(Document& document, Value encrypt) {
  document.trailer = Value::Dictionary(
      {{"Encrypt", std::move(encrypt)}, {"ID", Value::Array({string(kId), string(kId)})}});
}

// An RC4-family dictionary whose U entry accepts the empty password.
ValueDictionary acceptingDictionary(int revision, std::size_t keyBytes,
                                    ValueDictionary extra = {}) {
  ValueDictionary entries = std::move(extra);
  entries["Filter"] = Value::Name("Standard");
  entries["R"] = Value::Number(revision);
  entries["O"] = string(kOwner);
  entries["P"] = Value::Number(-3904);
  entries["U"] = string(userEntry(revision, emptyPasswordKey(revision, keyBytes, -3904)));
  return entries;
}

TEST(SecurityHandlerTest, DamagedDictionariesAreRecordedNotThrown) {
  Document plain;
  plain.trailer = Value::Dictionary({{"Root", Value::Reference(1, 0)}});
  EXPECT_EQ(plain.configureEncryption(), Error::None);
  EXPECT_FALSE(plain.encryption.encrypted);

  const ValueDictionary aesEntries = {{"Filter", Value::Name("Standard")},
                                      {"R", Value::Number(6)},
                                      {"V", Value::Number(5)},
                                      {"O", string(Bytes(48, 1))},
                                      {"U", string(Bytes(48, 2))},
                                      {"OE", string(Bytes(32, 3))},
                                      {"UE", string(Bytes(32, 4))}};
  auto changed = [](ValueDictionary entries, const std::string& key, Value* value) {
    if (value) {
      entries[key] = *value;
    } else {
      entries.erase(key);
    }
    return Value::Dictionary(std::move(entries));
  };
  Value shortUe = string(Bytes(31, 4));
  Value shortU = string(Bytes(47, 2));
  Value otherFilter = Value::Name("Adobe.PubSec");
  Value revisionOne = Value::Number(1);
  ValueDictionary rc4Entries = acceptingDictionary(3, 16);

  const std::pair<Value, std::string> cases[] = {
      {Value::Number(3), "invalid PDF encryption dictionary"},
      {changed(aesEntries, "Filter", &otherFilter), "unsupported PDF security handler"},
      {changed(aesEntries, "R", &revisionOne), "unsupported PDF encryption revision"},
      {changed(aesEntries, "UE", &shortUe), "invalid AES-256 encryption dictionary"},
      {changed(aesEntries, "U", &shortU), "invalid AES-256 encryption dictionary"},
      {Value::Dictionary(aesEntries), "PDF requires a password"},
      {changed(rc4Entries, "U", nullptr), "PDF requires a password"},
      {changed(rc4Entries, "O", nullptr), "PDF requires a password"},
  };
  for (const auto& [encrypt, message] : cases) {
    Document document;
    withEncrypt(document, encrypt);
    EXPECT_EQ(document.configureEncryption(), Error::Encryption) << message;
    EXPECT_EQ(document.errorMessage, message);
    EXPECT_FALSE(document.encryption.encrypted) << message;
  }

  // An indirect dictionary is remembered so that it is never decrypted.
  Document indirect;
  withEncrypt(indirect, Value::Reference(7, 0));
  test::putObject(indirect, 7, Value::Dictionary(acceptingDictionary(3, 16)));
  EXPECT_EQ(indirect.configureEncryption(), Error::None);
  EXPECT_TRUE(indirect.encryption.encrypted);
  EXPECT_EQ(indirect.encryption.dictionaryObject, 7u);
}

TEST(SecurityHandlerTest, KeyLengthsAndCryptFilters) {
  // Length sets the RC4 key size (at least 40 bits; 128 when a revision 3
  // dictionary has none). From version 4 on, crypt filters choose the
  // ciphers, and strings stay in the clear without StrF.
  const Value aesFilter = Value::Dictionary({{"StdCF", Value::Dictionary({{"CFM", Value::Name("AESV2")}})}});
  const Value noMethod = Value::Dictionary({{"StdCF", Value::Dictionary({})}});
  const Value stdCf = Value::Name("StdCF");
  const struct {
    int revision;
    ValueDictionary extra;
    std::size_t keyBytes;
    Cipher streams, strings;
  } cases[] = {
      {2, {}, 5, Cipher::Rc4, Cipher::Rc4},
      {3, {}, 16, Cipher::Rc4, Cipher::Rc4},
      {3, {{"Length", Value::Number(56)}}, 7, Cipher::Rc4, Cipher::Rc4},
      {3, {{"Length", Value::Number(32)}}, 5, Cipher::Rc4, Cipher::Rc4},
      {4, {{"V", Value::Number(4)}, {"CF", aesFilter}, {"StmF", stdCf}}, 16, Cipher::Aes128, Cipher::None},
      {4, {{"V", Value::Number(4)}, {"CF", noMethod}, {"StmF", stdCf}, {"StrF", stdCf}}, 16, Cipher::Rc4, Cipher::Rc4},
      {4, {{"V", Value::Number(2)}, {"CF", aesFilter}, {"StmF", stdCf}, {"StrF", stdCf}}, 16, Cipher::Rc4, Cipher::Rc4},
  };
  for (const auto& c : cases) {
    Document document;
    withEncrypt(document, Value::Dictionary(acceptingDictionary(c.revision, c.keyBytes, c.extra)));
    ASSERT_EQ(document.configureEncryption(), Error::None) << c.revision << " " << c.keyBytes;
    EXPECT_EQ(document.encryption.key, emptyPasswordKey(c.revision, c.keyBytes, -3904));
    EXPECT_EQ(document.encryption.streamCipher, c.streams);
    EXPECT_EQ(document.encryption.stringCipher, c.strings);
  }
}

// With AES-256 the file key is the object key, so sealed values can be made
// without the per-object key derivation.
class SealedDocument {
 public:
  SealedDocument() {
    document.encryption.encrypted = true;
    document.encryption.revision = 6;
    document.encryption.streamCipher = Cipher::Aes256;
    document.encryption.stringCipher = Cipher::Aes256;
    document.encryption.key = key;
  }

  Bytes seal(const std::string& plain) const {
    Bytes padded(plain.begin(), plain.end());
    auto pad = static_cast<std::uint8_t>(16 - plain.size() % 16);
    padded.insert(padded.end(), pad, pad);
    std::array<std::uint8_t, 16> iv{};
    for (std::size_t i = 0; i < 16; ++i) iv[i] = static_cast<std::uint8_t>(0xA0 + i);
    return join(Bytes(iv.begin(), iv.end()), aesCbc(key, padded, iv, false, false));
  }

  Object& add(std::uint32_t number, Value value) { return test::putObject(document, number, std::move(value)); }

  const Bytes key = Bytes(32, 0x5C);
  Document document;
};

TEST(SecurityHandlerTest, DecryptObjectsSkipsWhatStaysInTheClear) {
  SealedDocument sealed;
  Document& document = sealed.document;
  const Bytes sealedXml = sealed.seal("<x:xmpmeta/>");

  sealed.add(1, Value::Dictionary(
                    {{"Title", string(sealed.seal("Hello"))},
                     {"Kids", Value::Array({string(sealed.seal("nested")), Value::Name("Plain")})},
                     {"Empty", string(Bytes(16, 0x42))}}));
  // A stream whose bytes are still a range of the file.
  Bytes content = sealed.seal("BT (Hi) Tj ET");
  document.file.assign(join(Bytes{'%', 'P', 'D', 'F'}, content));
  Object& stream = sealed.add(2, Value::Dictionary({}));
  stream.isStream = true;
  stream.streamOffset = 4;
  stream.streamLength = content.size();
  sealed.add(4, Value::Dictionary({{"O", string(Bytes(48, 1))}}));
  document.encryption.dictionaryObject = 4;
  document.encryption.encryptMetadata = false;
  Object& metadata = sealed.add(5, Value::Dictionary({{"Type", Value::Name("Metadata")},
                                                      {"Note", string(sealed.seal("m"))}}));
  metadata.isStream = true;
  metadata.data = sealedXml;
  // Signature contents are stored in the clear; the rest of the dictionary is not.
  sealed.add(6,
             Value::Dictionary({{"Type", Value::Name("Sig")},
                                {"ByteRange", Value::Array({Value::Number(0), Value::Number(10)})},
                                {"Contents", string(Bytes(20, 0))},
                                {"Name", string(sealed.seal("signer"))}}));

  document.decryptObjects();
  const Value& info = document.objects[1].value;
  EXPECT_EQ(info.find("Title")->text, "Hello");
  EXPECT_EQ(info.find("Kids")->array[0].text, "nested");
  EXPECT_TRUE(info.find("Kids")->array[1].isName("Plain"));
  EXPECT_EQ(info.find("Empty")->text, "");  // an IV alone holds the empty string
  EXPECT_EQ(document.storedStream(document.objects[2]),
            Bytes({'B', 'T', ' ', '(', 'H', 'i', ')', ' ', 'T', 'j', ' ', 'E', 'T'}));
  EXPECT_EQ(document.objects[2].streamOffset, 0u);
  EXPECT_EQ(document.objects[2].streamLength, 13u);
  EXPECT_EQ(document.objects[4].value.find("O")->text, std::string(48, 1));
  EXPECT_EQ(document.objects[5].value.find("Note")->text, "m");
  EXPECT_EQ(document.objects[5].data, sealedXml);
  EXPECT_EQ(document.objects[6].value.find("Contents")->text, std::string(20, 0));
  EXPECT_EQ(document.objects[6].value.find("Name")->text, "signer");
}

}  // namespace
}  // namespace zopra::pdf
