#include "support/test_files.h"

#include <unistd.h>

#include <algorithm>
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

GreyImage renderFirstPage(const std::string& pdf, int dpi, const std::string& options) {
  // Written in the test's own folder: a corpus folder is never written to.
  const std::string out = tempDirectory() + "/" + std::filesystem::path(pdf).filename().string() + ".pgm";
  GreyImage image;
  if (run("gs -q -dNOPAUSE -dBATCH -dSAFER -sDEVICE=pgmraw -r" + std::to_string(dpi) +
          " -dFirstPage=1 -dLastPage=1 " + options + " -sOutputFile='" + out + "' '" + pdf + "' >/dev/null 2>&1") != 0) {
    return image;
  }
  const std::string bytes = readFile(out);
  std::filesystem::remove(out);
  // "P5", then width, height and maximum, possibly between "#" comment
  // lines, one white-space byte, and the samples.
  std::istringstream header(bytes);
  std::string line, fields;
  std::getline(header, line);
  if (line != "P5") return image;
  while (std::count(fields.begin(), fields.end(), ' ') < 3 && std::getline(header, line)) {
    if (!line.empty() && line[0] != '#') fields += line + ' ';
  }
  int width = 0, height = 0, maximum = 0;
  std::istringstream(fields) >> width >> height >> maximum;
  const auto start = static_cast<std::size_t>(header.tellg());
  if (width <= 0 || start > bytes.size()) return image;
  image.width = width;
  image.pixels.assign(bytes.begin() + static_cast<std::ptrdiff_t>(start), bytes.end());
  return image;
}

}  // namespace zopra::test
