// The load sequence: read (or map) the file, check its header, then parse the
// cross-reference data, set up decryption, unpack object streams and walk the
// page tree.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>

#include "pdf/model/document.h"

namespace zopra::pdf {

namespace {

Error notAPdf(Document& document) {
  document.setError(Error::Format, "file is not a PDF");
  return Error::Format;
}

Error readFile(Document& document, const std::string& path, FileBytes::Access access) {
  switch (document.file.open(path, access)) {
    case FileBytes::Status::Ok:
      break;
    case FileBytes::Status::CannotOpen:
      document.setError(Error::Io, "failed to open PDF");
      return Error::Io;
    case FileBytes::Status::Unreadable:
      return notAPdf(document);
  }
  if (document.file.size() < 5) return notAPdf(document);
  return Error::None;
}

constexpr std::size_t kNoHeader = SIZE_MAX;
// The header may follow up to this many bytes of something else.
constexpr std::size_t kMaxHeaderOffset = 1024;

// Where "%PDF-" starts within the first bytes of the file; kNoHeader if not.
std::size_t headerOffset(ByteView file) {
  static constexpr char kHeader[] = "%PDF-";
  constexpr std::size_t kLength = sizeof(kHeader) - 1;
  for (std::size_t at = 0; at <= kMaxHeaderOffset && at + kLength <= file.size(); ++at) {
    if (std::memcmp(file.data() + at, kHeader, kLength) == 0) return at;
  }
  return kNoHeader;
}

}  // namespace

Error Document::load(const std::string& path, FileBytes::Access access) {
  reset();
  if (Error kind = readFile(*this, path, access); kind != Error::None) return kind;
  std::size_t header = headerOffset(file);
  if (header == kNoHeader) return notAPdf(*this);
  // Bytes before the header (left by mail and web downloads) are not part
  // of the PDF: every offset of the file counts from the header on.
  file.skip(header);
  std::size_t versionEnd = 5;
  while (versionEnd < file.size() && file[versionEnd] != '\r' && file[versionEnd] != '\n') {
    ++versionEnd;
  }
  version.assign(reinterpret_cast<const char*>(file.data()) + 5, versionEnd - 5);

  try {
    if (Error kind = parse(); kind != Error::None) return kind;
    if (Error kind = configureEncryption(); kind != Error::None) return kind;
    decryptObjects();
    parseObjectStreams();
    if (Error kind = buildPages(); kind != Error::None) return kind;
    loadedObjectEnd = nextObjectNumber;
    // Loading read the cross-reference data and the object streams; pages
    // read what they need when asked.
    file.releaseResident();
    return error;
  } catch (const Exception& failure) {
    setError(failure.kind(), failure.message());
    return failure.kind();
  } catch (const std::exception& failure) {
    setError(Error::Format, failure.what());
    return Error::Format;
  }
}

}  // namespace zopra::pdf
