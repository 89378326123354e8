// Runs a fuzz target once on every file of the folders (or the files) given
// on the command line, without libFuzzer: saved inputs are replayed by any
// build, under whatever sanitizers it has. Names starting with "." are
// skipped, so that a folder can hold a .gitkeep.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

bool replay(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "cannot read %s\n", path.string().c_str());
    return false;
  }
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  // Printed first, so that a crash report says which input caused it.
  std::fprintf(stderr, "%s\n", path.string().c_str());
  std::vector<std::uint8_t> data(bytes.begin(), bytes.end());
  // libFuzzer never passes a null pointer, not even for an empty input.
  if (data.empty()) data.reserve(1);
  LLVMFuzzerTestOneInput(data.data(), data.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s FOLDER_OR_FILE...\n", argv[0]);
    return 2;
  }
  std::size_t count = 0;
  for (int i = 1; i < argc; ++i) {
    fs::path argument(argv[i]);
    std::error_code error;
    if (fs::is_regular_file(argument, error)) {
      if (!replay(argument)) return 1;
      ++count;
      continue;
    }
    if (!fs::is_directory(argument, error)) {
      std::fprintf(stderr, "no such file or folder: %s\n", argv[i]);
      return 1;
    }
    std::vector<fs::path> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(argument)) {
      if (entry.is_regular_file() && entry.path().filename().string().front() != '.') {
        files.push_back(entry.path());
      }
    }
    std::sort(files.begin(), files.end());
    for (const fs::path& file : files) {
      if (!replay(file)) return 1;
      ++count;
    }
  }
  std::fprintf(stderr, "replayed %zu inputs\n", count);
  return 0;
}
