// A file that replaces its target only once it is complete. The bytes go to
// a new file beside the target, which is renamed over the target on commit
// and removed when the writing fails or is abandoned, so a failed write never
// leaves a truncated document behind.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace zopra::pdf {

class OutputFile {
 public:
  OutputFile() = default;
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Prepares writing `path`; false when the file cannot be created there
  // (missing folder, no permission, a folder in the way).
  bool open(const std::string& path);
  std::ostream& stream() { return file_; }
  // Flushes and closes the file and puts it in place of the target; false
  // when any write failed or the file cannot be put in place.
  bool commit();

 private:
  std::filesystem::path target_;
  std::filesystem::path temporary_;
  std::vector<char> buffer_;
  std::ofstream file_;
  // Devices and pipes cannot be replaced by a rename; they are written in place.
  bool direct_ = false;
  bool committed_ = false;
};

}  // namespace zopra::pdf
