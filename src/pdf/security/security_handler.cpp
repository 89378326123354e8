// Placeholder until the standard security handler lands.
#include "pdf/model/document.h"

namespace zopra::pdf {

Error Document::configureEncryption() { return Error::None; }

void Document::decryptObjects() {}

void Document::decryptValue(Value&, std::uint32_t, std::uint32_t) const {}

Bytes Document::decryptBytes(const Bytes& data, std::uint32_t, std::uint32_t, bool) const {
  return data;
}

}  // namespace zopra::pdf
