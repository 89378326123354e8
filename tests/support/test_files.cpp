#include "support/test_files.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace zopra::test {

std::string tempDirectory() {
  static const std::string directory = [] {
    auto path = std::filesystem::temp_directory_path() /
                ("zopra-tests-" + std::to_string(::getpid()));
    std::filesystem::create_directories(path);
    return path.string();
  }();
  return directory;
}

std::string writeTempFile(const std::string& name, const std::string& bytes) {
  std::string path = tempDirectory() + "/" + name;
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return path;
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

std::string corpusDirectory() {
  std::filesystem::path path(ZOPRA_CORPUS_DIR);
  std::error_code error;
  if (std::filesystem::is_regular_file(path / "ORACLE.tsv", error)) return path.string();
  return "";
}

bool haveProgram(const std::string& program) {
  return run("command -v " + program + " >/dev/null 2>&1") == 0;
}

int run(const std::string& command) {
  int status = std::system(command.c_str());
  if (status == -1) return -1;
  return WEXITSTATUS(status);
}

}  // namespace zopra::test
