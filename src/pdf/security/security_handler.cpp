// The standard security handler: derives the file key for the empty password
// and decrypts every string and stream of the document once, at load time.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "pdf/model/document.h"
#include "pdf/security/crypto.h"

namespace zopra::pdf {

namespace {

// The password padding string; the empty password pads to exactly this.
constexpr std::array<std::uint8_t, 32> kPasswordPadding = {
    0x28, 0xBF, 0x4E, 0x5E, 0x4E, 0x75, 0x8A, 0x41, 0x64, 0x00, 0x4E, 0x56, 0xFF, 0xFA, 0x01, 0x08,
    0x2E, 0x2E, 0x00, 0xB6, 0xD0, 0x68, 0x3E, 0x80, 0x2F, 0x0C, 0xA9, 0xFE, 0x64, 0x53, 0x69, 0x7A};

// Appended to the object key material of AES-128 objects.
constexpr std::array<std::uint8_t, 4> kAesSalt = {0x73, 0x41, 0x6C, 0x54};  // "sAlT"

Bytes bytes(const Value* value) {
  if (!value || !value->isString()) return {};
  return Bytes(value->text.begin(), value->text.end());
}

Bytes concat(std::initializer_list<Bytes> parts) {
  Bytes joined;
  for (const Bytes& part : parts) joined.insert(joined.end(), part.begin(), part.end());
  return joined;
}

// The low `count` bytes of `value`, low byte first.
Bytes littleEndian(std::uint32_t value, int count) {
  Bytes out;
  for (int i = 0; i < count; ++i) out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  return out;
}

Bytes slice(const Bytes& data, std::size_t begin, std::size_t end) {
  end = std::min(end, data.size());
  begin = std::min(begin, end);
  return Bytes(data.begin() + static_cast<std::ptrdiff_t>(begin),
               data.begin() + static_cast<std::ptrdiff_t>(end));
}

// Compares the first `length` bytes of both without stopping early; false when
// either is shorter.
bool sameBytes(const Bytes& a, const Bytes& b, std::size_t length) {
  if (a.size() < length || b.size() < length) return false;
  std::uint8_t difference = 0;
  for (std::size_t i = 0; i < length; ++i) difference |= static_cast<std::uint8_t>(a[i] ^ b[i]);
  return difference == 0;
}

// Resolves an entry of the encryption dictionary; a broken reference counts
// as a missing entry.
Value* entry(Document& document, Value* dictionary, std::string_view key) {
  try {
    return document.dictionaryValue(dictionary, key);
  } catch (const Exception&) {
    return nullptr;
  }
}

// An integer entry: a number truncated toward zero (held to a range that every
// caller can convert safely), else the default.
std::int64_t integerEntry(Document& document, Value* dictionary, std::string_view key,
                          std::int64_t fallback) {
  const Value* value = entry(document, dictionary, key);
  if (!value || !value->isNumber() || !std::isfinite(value->number)) return fallback;
  constexpr double kLimit = 1099511627776.0;  // 2^40
  return static_cast<std::int64_t>(std::clamp(value->number, -kLimit, kLimit));
}

Cipher cipherFor(Document& document, Value* encryptionDictionary, const std::string& filterName) {
  if (filterName == "Identity") return Cipher::None;
  Value* filters = entry(document, encryptionDictionary, "CF");
  Value* filter = filters ? entry(document, filters, filterName) : nullptr;
  const Value* method = filter ? entry(document, filter, "CFM") : nullptr;
  if (!method || !method->isName()) return Cipher::Rc4;
  if (method->text == "AESV2") return Cipher::Aes128;
  if (method->text == "AESV3") return Cipher::Aes256;
  if (method->text == "None") return Cipher::None;
  return Cipher::Rc4;
}

// The revision 5 and 6 hash of the empty password with `salt` and `userData`
// (userData is empty for the user password, the 48-byte U for the owner's).
Bytes passwordHash(int revision, const Bytes& salt, const Bytes& userData) {
  Bytes k = sha256(concat({salt, userData}));
  if (revision >= 6) {
    for (int round = 0;; ++round) {
      Bytes block = concat({k, userData});
      Bytes k1;
      k1.reserve(block.size() * 64);
      for (int i = 0; i < 64; ++i) k1.insert(k1.end(), block.begin(), block.end());
      std::array<std::uint8_t, 16> iv{};
      std::copy(k.begin() + 16, k.begin() + 32, iv.begin());
      Bytes e = aesCbc(slice(k, 0, 16), k1, iv, false, false);
      // 256 is 1 modulo 3, so the big-endian number's residue is the byte sum's.
      unsigned sum = 0;
      for (std::size_t i = 0; i < 16; ++i) sum += e[i];
      switch (sum % 3) {
        case 0:
          k = sha256(e);
          break;
        case 1:
          k = sha512(e, true);
          break;
        default:
          k = sha512(e, false);
          break;
      }
      if (round >= 63 && e.back() <= round - 31) break;
    }
  }
  k.resize(32);
  return k;
}

Bytes decryptAes256Key(const Bytes& hashKey, const Bytes& encryptedKey) {
  return aesCbc(hashKey, encryptedKey, std::array<std::uint8_t, 16>{}, true, false);
}

}  // namespace

Error Document::configureEncryption() {
  if (!trailer.isDictionary()) return Error::None;
  Value* encrypt = trailer.find("Encrypt");
  if (!encrypt) return Error::None;
  if (encrypt->isReference()) encryption.dictionaryObject = encrypt->objectNumber;

  auto fail = [this](const char* message) {
    setError(Error::Encryption, message);
    return error;
  };

  Value* dictionary = nullptr;
  try {
    dictionary = resolve(encrypt);
  } catch (const Exception&) {
    dictionary = nullptr;
  }
  if (!dictionary || !dictionary->isDictionary()) return fail("invalid PDF encryption dictionary");

  const Value* filter = entry(*this, dictionary, "Filter");
  if (!filter || !filter->isName("Standard")) return fail("unsupported PDF security handler");

  auto smallInteger = [this, dictionary](std::string_view key, int fallback) {
    constexpr std::int64_t kLimit = 1 << 30;
    return static_cast<int>(
        std::clamp<std::int64_t>(integerEntry(*this, dictionary, key, fallback), -kLimit, kLimit));
  };
  const int revision = smallInteger("R", 0);
  encryption.revision = revision;
  encryption.version = smallInteger("V", 0);
  encryption.keyLength = smallInteger("Length", revision == 2 ? 40 : 128);
  const Value* metadataFlag = entry(*this, dictionary, "EncryptMetadata");
  encryption.encryptMetadata =
      metadataFlag && metadataFlag->kind == Value::Kind::Boolean ? metadataFlag->boolean : true;

  const Bytes owner = bytes(entry(*this, dictionary, "O"));
  const Bytes user = bytes(entry(*this, dictionary, "U"));

  if (revision >= 5) {
    const Bytes ownerKey = bytes(entry(*this, dictionary, "OE"));
    const Bytes userKey = bytes(entry(*this, dictionary, "UE"));
    if (user.size() < 48 || owner.size() < 48 || userKey.size() != 32 || ownerKey.size() != 32) {
      return fail("invalid AES-256 encryption dictionary");
    }
    const Bytes userPrefix = slice(user, 0, 48);
    if (sameBytes(passwordHash(revision, slice(user, 32, 40), {}), user, 32)) {
      encryption.key = decryptAes256Key(passwordHash(revision, slice(user, 40, 48), {}), userKey);
    } else if (sameBytes(passwordHash(revision, slice(owner, 32, 40), userPrefix), owner, 32)) {
      encryption.key =
          decryptAes256Key(passwordHash(revision, slice(owner, 40, 48), userPrefix), ownerKey);
    } else {
      return fail("PDF requires a password");
    }
    encryption.streamCipher = Cipher::Aes256;
    encryption.stringCipher = Cipher::Aes256;
    encryption.encrypted = true;
    return Error::None;
  }
  if (revision < 2) return fail("unsupported PDF encryption revision");

  // Revisions 2 to 4: RC4 key derivation from MD5.
  std::size_t keyBytes = 5;
  if (encryption.keyLength >= 128) {
    keyBytes = 16;
  } else if (encryption.keyLength / 8 >= 6) {
    keyBytes = static_cast<std::size_t>(encryption.keyLength / 8);
  }
  const auto permissions = static_cast<std::uint32_t>(integerEntry(*this, dictionary, "P", -1));
  Bytes firstId;
  const Value* ids = nullptr;
  try {
    ids = dictionaryValue(&trailer, "ID");
  } catch (const Exception&) {
    ids = nullptr;
  }
  if (ids && ids->isArray() && !ids->array.empty()) {
    const Value* first = nullptr;
    try {
      first = resolve(&ids->array.front());
    } catch (const Exception&) {
      first = nullptr;
    }
    firstId = bytes(first);
  }

  const Bytes padding(kPasswordPadding.begin(), kPasswordPadding.end());
  Bytes input = concat({padding, owner, littleEndian(permissions, 4), firstId});
  if (revision >= 4 && !encryption.encryptMetadata) input.insert(input.end(), 4, 0xFF);
  Bytes hash = md5(input);
  if (revision >= 3) {
    for (int i = 0; i < 50; ++i) hash = md5(slice(hash, 0, keyBytes));
  }
  Bytes key = slice(hash, 0, keyBytes);

  bool accepted = false;
  if (revision == 2) {
    accepted = sameBytes(rc4(key, padding), user, 32);
  } else {
    Bytes check = rc4(key, md5(concat({padding, firstId})));
    for (std::uint8_t i = 1; i <= 19; ++i) {
      Bytes roundKey = key;
      for (auto& b : roundKey) b ^= i;
      check = rc4(roundKey, check);
    }
    accepted = sameBytes(check, user, 16);
  }
  if (!accepted) return fail("PDF requires a password");

  encryption.key = std::move(key);
  encryption.streamCipher = Cipher::Rc4;
  encryption.stringCipher = Cipher::Rc4;
  if (encryption.version == 4) {
    auto filterName = [&](std::string_view name) -> std::string {
      const Value* value = entry(*this, dictionary, name);
      return value && value->isName() ? value->text : "Identity";
    };
    encryption.streamCipher = cipherFor(*this, dictionary, filterName("StmF"));
    encryption.stringCipher = cipherFor(*this, dictionary, filterName("StrF"));
  }
  encryption.encrypted = true;
  return Error::None;
}

Bytes Document::decryptBytes(const Bytes& data, std::uint32_t objectNumber,
                             std::uint32_t generation, bool isStream) const {
  if (!encryption.encrypted) return data;
  const Cipher cipher = isStream ? encryption.streamCipher : encryption.stringCipher;
  if (cipher == Cipher::None) return data;

  Bytes key = encryption.key;
  if (cipher != Cipher::Aes256) {
    Bytes material =
        concat({encryption.key, littleEndian(objectNumber, 3), littleEndian(generation, 2)});
    if (cipher == Cipher::Aes128) material.insert(material.end(), kAesSalt.begin(), kAesSalt.end());
    key = md5(material);
    key.resize(std::min<std::size_t>(encryption.key.size() + 5, 16));
  }
  if (cipher == Cipher::Rc4) return rc4(key, data);

  if (data.size() < 16) throw Exception(Error::Encryption, "truncated AES object");
  std::array<std::uint8_t, 16> iv{};
  std::copy(data.begin(), data.begin() + 16, iv.begin());
  return aesCbc(key, Bytes(data.begin() + 16, data.end()), iv, true, true);
}

void Document::decryptValue(Value& value, std::uint32_t objectNumber,
                            std::uint32_t generation) const {
  switch (value.kind) {
    case Value::Kind::String: {
      Bytes plain = decryptBytes(Bytes(value.text.begin(), value.text.end()), objectNumber,
                                 generation, false);
      value.text.assign(plain.begin(), plain.end());
      break;
    }
    case Value::Kind::Array:
      for (Value& item : value.array) decryptValue(item, objectNumber, generation);
      break;
    case Value::Kind::Dictionary: {
      // The Contents of a signature dictionary are written in the clear: the
      // signature covers the file bytes around them.
      const Value* type = value.find("Type");
      const bool signature = value.find("ByteRange") != nullptr ||
                             (type && (type->isName("Sig") || type->isName("DocTimeStamp")));
      for (auto& [key, item] : value.dictionary) {
        if (signature && key == "Contents" && item.isString()) continue;
        decryptValue(item, objectNumber, generation);
      }
      break;
    }
    default:
      break;
  }
}

void Document::decryptObjects() {
  if (!encryption.encrypted) return;
  for (const auto& slot : objects) {
    const std::uint32_t number = slot.first;
    if (encryption.dictionaryObject != 0 && number == encryption.dictionaryObject) continue;
    Object* target = nullptr;
    try {
      target = object(number);
    } catch (const Exception& failure) {
      // An object that cannot be parsed stays unloaded; reading it later
      // fails the same way.
      if (failure.kind() != Error::Format) throw;
      continue;
    }
    if (!target) continue;
    const Value* type = target->value.isDictionary() ? target->value.find("Type") : nullptr;
    if (type && type->isName("XRef")) continue;

    decryptValue(target->value, target->number, target->generation);
    if (!target->isStream) continue;
    if (!encryption.encryptMetadata && type && type->isName("Metadata")) continue;
    Bytes raw;
    try {
      raw = storedStream(*target);
    } catch (const Exception& failure) {
      if (failure.kind() != Error::Format) throw;
      continue;
    }
    target->data = decryptBytes(raw, target->number, target->generation, true);
    target->streamOffset = 0;
    target->streamLength = target->data.size();
  }
}

}  // namespace zopra::pdf
