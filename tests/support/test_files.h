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

}  // namespace zopra::test
