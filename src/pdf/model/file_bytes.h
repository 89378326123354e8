// The bytes of a loaded file: read whole into memory, or mapped read-only.
// A mapping keeps the file out of the handle's own memory (the system's file
// cache already holds it), at a price: the file must stay unchanged while the
// document is open, and a file cut short under the mapping faults on access.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "pdf/model/value.h"

namespace zopra::pdf {

class FileBytes {
 public:
  // Unreadable: not a regular file, or not read whole.
  enum class Status { Ok, CannotOpen, Unreadable };
  enum class Access { Read, Map };

  FileBytes() = default;
  ~FileBytes();
  FileBytes(const FileBytes&) = delete;
  FileBytes& operator=(const FileBytes&) = delete;

  // Reads or maps the regular file at `path`, replacing what was held. A file
  // that cannot be mapped is read.
  Status open(const std::string& path, Access access);
  // Holds `bytes` instead (a file already in memory).
  void assign(Bytes bytes);
  void clear();

  const std::uint8_t* data() const { return base_ + skipped_; }
  std::size_t size() const { return length_ - skipped_; }
  bool empty() const { return size() == 0; }
  std::uint8_t operator[](std::size_t at) const { return data()[at]; }
  operator ByteView() const { return {data(), size()}; }

  // Drops `count` leading bytes: offsets count from after them.
  void skip(std::size_t count) { skipped_ += count < size() ? count : size(); }

  // Counts `count` bytes as read. Each time enough has been read, the pages
  // of a mapped file go back to the system (releaseResident).
  void noteRead(std::size_t count) const;
  // Returns the pages of a mapped file to the system: they stay in its file
  // cache and come back on the next read, so the handle's resident memory
  // does not grow with the size of the file. Pointers into the bytes stay
  // valid. Releasing the whole mapping, not only the streams counted, also
  // drops the pages that objects were parsed from.
  void releaseResident() const;

 private:
  Bytes owned_;
  void* mapping_ = nullptr;
  const std::uint8_t* base_ = nullptr;
  std::size_t length_ = 0;
  std::size_t skipped_ = 0;
  mutable std::size_t readSinceRelease_ = 0;
};

}  // namespace zopra::pdf
