#include "corpus/corpus_files.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "support/test_files.h"

namespace zopra::test {

std::vector<std::string> corpusFiles() {
  std::vector<std::string> files;
  std::string directory = corpusDirectory();
  if (directory.empty()) return files;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    if (entry.path().extension() == ".pdf") files.push_back(entry.path().string());
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::map<std::string, OracleRow> corpusOracle() {
  std::map<std::string, OracleRow> rows;
  std::string directory = corpusDirectory();
  if (directory.empty()) return rows;
  std::ifstream in(directory + "/ORACLE.tsv");
  std::string line;
  std::getline(in, line);  // header
  while (std::getline(in, line)) {
    std::vector<std::string> fields;
    std::stringstream split(line);
    std::string field;
    while (std::getline(split, field, '\t')) fields.push_back(field);
    if (fields.size() < 6) continue;
    OracleRow row;
    row.file = fields[0];
    if (!fields[1].empty()) row.pdfinfoPages = std::stoi(fields[1]);
    row.encrypted = fields[2] == "yes";
    rows[row.file] = row;
  }
  return rows;
}

std::string capture(const std::string& command) {
  std::string out;
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return out;
  char buffer[4096];
  std::size_t n;
  while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
  pclose(pipe);
  return out;
}

double wordF1(const std::map<std::string, int>& ours, const std::map<std::string, int>& theirs) {
  long common = 0, ourTotal = 0, theirTotal = 0;
  for (const auto& [word, count] : ours) {
    ourTotal += count;
    auto other = theirs.find(word);
    if (other != theirs.end()) common += std::min(count, other->second);
  }
  for (const auto& entry : theirs) theirTotal += entry.second;
  if (ourTotal == 0 && theirTotal == 0) return 1;
  if (common == 0) return 0;
  const double precision = static_cast<double>(common) / static_cast<double>(ourTotal);
  const double recall = static_cast<double>(common) / static_cast<double>(theirTotal);
  return 2 * precision * recall / (precision + recall);
}

}  // namespace zopra::test
