// Helpers shared by the benchmarks: the PDF files of a folder, a scratch
// output path and the peak resident memory of the process.
#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace zopra::bench {

inline bool hasPdfExtension(const std::filesystem::path& path) {
  std::string extension = path.extension().string();
  return extension == ".pdf" || extension == ".PDF";
}

// A single file, or every PDF of a folder, sorted; `largest` is the size of
// the largest one.
inline std::vector<std::filesystem::path> listPdfFiles(const std::filesystem::path& where,
                                                       std::uintmax_t& largest) {
  namespace fs = std::filesystem;
  std::vector<fs::path> files;
  std::error_code error;
  largest = 0;
  if (fs::is_regular_file(where, error)) {
    largest = fs::file_size(where, error);
    return {where};
  }
  for (const auto& entry : fs::directory_iterator(where, error)) {
    if (!entry.is_regular_file(error) || !hasPdfExtension(entry.path())) continue;
    files.push_back(entry.path());
    largest = std::max(largest, entry.file_size(error));
  }
  std::sort(files.begin(), files.end());
  return files;
}

// listPdfFiles, saying on stderr, as `program`, when there is nothing to read.
inline std::vector<std::filesystem::path> listPdfFilesOrSay(const char* program,
                                                            const std::filesystem::path& where,
                                                            std::uintmax_t& largest) {
  std::vector<std::filesystem::path> files = listPdfFiles(where, largest);
  if (files.empty()) std::fprintf(stderr, "%s: no PDF files in %s\n", program, where.string().c_str());
  return files;
}

// A file in the temporary folder for the benchmark's output, unique to this
// process: "<prefix>-<pid>.pdf".
inline std::string scratchOutput(const std::string& prefix) {
  return (std::filesystem::temp_directory_path() / (prefix + "-" + std::to_string(::getpid()) + ".pdf")).string();
}

inline long peakResidentKiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;  // KiB on Linux
}

}  // namespace zopra::bench
