// Temporary files, fixture folders and external tools for tests.
#pragma once

#include <string>
#include <vector>

namespace zopra::test {

// A per-process temporary folder (created on first use).
std::string tempDirectory();
// Writes `bytes` to tempDirectory()/name and returns the path.
std::string writeTempFile(const std::string& name, const std::string& bytes);
std::string readFile(const std::string& path);
// The real-world corpus folder, or "" when it is absent.
std::string corpusDirectory();
// True when `program` can be found on PATH.
bool haveProgram(const std::string& program);
// Runs a shell command; returns its exit status.
int run(const std::string& command);

// Page 1 of `pdf` drawn by ghostscript in grey levels, rows from the top;
// `options` go to gs as they are (e.g. "-dFILTERTEXT"). No pixels when gs fails.
struct GreyImage {
  int width = 0;
  std::vector<unsigned char> pixels;
};
GreyImage renderFirstPage(const std::string& pdf, int dpi, const std::string& options = "");

}  // namespace zopra::test
