#include "pdf/model/file_bytes.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <stdexcept>
#include <utility>

namespace zopra::pdf {

namespace {

// Read bytes between two returns of a mapping's pages to the system. Small
// enough to keep a handle's memory flat, large enough that a page's content
// rarely has to be fetched from the file cache twice.
constexpr std::size_t kReleaseEvery = std::size_t{1} << 18;

class Descriptor {
 public:
  explicit Descriptor(const std::string& path) : fd_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
  ~Descriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace

FileBytes::~FileBytes() { clear(); }

void FileBytes::clear() {
  if (mapping_) ::munmap(mapping_, length_);
  mapping_ = nullptr;
  owned_.clear();
  owned_.shrink_to_fit();
  base_ = nullptr;
  length_ = 0;
  skipped_ = 0;
  readSinceRelease_ = 0;
}

void FileBytes::assign(Bytes bytes) {
  clear();
  owned_ = std::move(bytes);
  base_ = owned_.data();
  length_ = owned_.size();
}

FileBytes::Status FileBytes::open(const std::string& path, Access access) {
  clear();
  Descriptor file(path);
  if (file.get() < 0) return Status::CannotOpen;
  struct stat info {};
  if (::fstat(file.get(), &info) != 0) return Status::CannotOpen;
  // Only regular files: a pipe or a device has no size to check before
  // reading, and some never end.
  if (!S_ISREG(info.st_mode)) return Status::Unreadable;
  if (info.st_size <= 0) return Status::Ok;
  if (static_cast<std::uint64_t>(info.st_size) > SIZE_MAX) return Status::Unreadable;
  const auto size = static_cast<std::size_t>(info.st_size);
  void* mapped =
      access == Access::Map ? ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file.get(), 0) : MAP_FAILED;
  if (mapped != MAP_FAILED) {
    mapping_ = mapped;
    base_ = static_cast<const std::uint8_t*>(mapped);
    length_ = size;
    return Status::Ok;
  }
  try {
    owned_.resize(size);
  } catch (const std::bad_alloc&) {
    return Status::Unreadable;
  } catch (const std::length_error&) {
    return Status::Unreadable;
  }
  std::size_t done = 0;
  while (done < size) {
    ssize_t got = ::read(file.get(), owned_.data() + done, size - done);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += static_cast<std::size_t>(got);
  }
  // A file that shrank while it was read is refused, as one that could not
  // be read.
  if (done != size) {
    owned_.clear();
    owned_.shrink_to_fit();
    return Status::Unreadable;
  }
  base_ = owned_.data();
  length_ = done;
  return Status::Ok;
}

void FileBytes::noteRead(std::size_t count) const {
  if (!mapping_) return;
  readSinceRelease_ += count;
  if (readSinceRelease_ >= kReleaseEvery) releaseResident();
}

void FileBytes::releaseResident() const {
  readSinceRelease_ = 0;
  if (mapping_) ::madvise(mapping_, length_, MADV_DONTNEED);
}

}  // namespace zopra::pdf
