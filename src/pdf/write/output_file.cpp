#include "pdf/write/output_file.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace zopra::pdf {

namespace {

namespace fs = std::filesystem;

// Leftovers of crashed writers are skipped by trying further names; the count
// only bounds the search.
constexpr int kMaxNameAttempts = 100;
// Keeps the temporary name within file-name length limits for long targets.
constexpr std::size_t kMaxStemBytes = 64;
constexpr std::size_t kBufferSize = 1 << 16;

fs::path temporaryName(const fs::path& target, int attempt) {
  std::string stem = target.filename().string().substr(0, kMaxStemBytes);
  return target.parent_path() / (stem + ".zopra" + std::to_string(attempt) + ".tmp");
}

}  // namespace

OutputFile::~OutputFile() {
  if (committed_ || temporary_.empty()) return;
  if (file_.is_open()) file_.close();
  std::error_code ignored;
  fs::remove(temporary_, ignored);
}

bool OutputFile::open(const std::string& path) {
  if (path.empty()) return false;
  std::error_code error;
  fs::path target(path);
  // A link is followed, so that the file it names gets the new content, as
  // writing through the link would give.
  if (fs::is_symlink(target, error)) {
    fs::path resolved = fs::canonical(target, error);
    if (!error) target = resolved;
  }
  const fs::file_status status = fs::status(target, error);
  buffer_.resize(kBufferSize);
  file_.rdbuf()->pubsetbuf(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
  if (fs::is_directory(status)) return false;
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    direct_ = true;
    file_.open(target, std::ios::binary | std::ios::trunc);
    return file_.is_open();
  }
  if (fs::exists(status)) {
    // Replacing by rename needs only a writable folder; a file the caller may
    // not write is still refused, as writing it in place would be.
    std::ofstream probe(target, std::ios::binary | std::ios::app);
    if (!probe.is_open()) return false;
  }
  target_ = target;

  // The name is claimed with an exclusive create, so a file of another writer
  // that happens to have the same name is never overwritten.
  for (int attempt = 0; attempt < kMaxNameAttempts && temporary_.empty(); ++attempt) {
    fs::path candidate = temporaryName(target, attempt);
    errno = 0;
    if (std::FILE* claimed = std::fopen(candidate.string().c_str(), "wbx")) {
      std::fclose(claimed);
      temporary_ = candidate;
    } else if (errno != EEXIST) {
      return false;
    }
  }
  if (temporary_.empty()) return false;
  file_.open(temporary_, std::ios::binary | std::ios::trunc);
  return file_.is_open();
}

bool OutputFile::commit() {
  if (!file_.is_open()) return false;
  file_.flush();
  file_.close();
  if (file_.fail()) return false;
  if (direct_) {
    committed_ = true;
    return true;
  }
  std::error_code error;
  const fs::file_status existing = fs::status(target_, error);
  if (!error && fs::is_regular_file(existing)) {
    // The new file takes the place of the old one, permissions included.
    fs::permissions(temporary_, existing.permissions(), error);
  }
  fs::rename(temporary_, target_, error);
  if (error) return false;
  committed_ = true;
  return true;
}

}  // namespace zopra::pdf
