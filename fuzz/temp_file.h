// A temporary file that fuzz targets rewrite on every run, for code that only
// reads documents from a path. One per process; removed at normal exit.
#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace zopra::fuzz {

class TempFile {
 public:
  TempFile() {
    const char* folder = ::getenv("TMPDIR");
    path_ = std::string(folder && *folder ? folder : "/tmp") + "/zopra-fuzz-XXXXXX";
    descriptor_ = ::mkstemp(path_.data());
    if (descriptor_ < 0) ::abort();
  }
  ~TempFile() {
    ::close(descriptor_);
    ::unlink(path_.c_str());
  }
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;

  // Replaces the file's contents with `data`.
  void write(const std::uint8_t* data, std::size_t size) {
    if (::ftruncate(descriptor_, 0) != 0) ::abort();
    std::size_t done = 0;
    while (done < size) {
      ssize_t written = ::pwrite(descriptor_, data + done, size - done, static_cast<off_t>(done));
      if (written <= 0) ::abort();
      done += static_cast<std::size_t>(written);
    }
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  int descriptor_ = -1;
};

}  // namespace zopra::fuzz
