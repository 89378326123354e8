// The real-world corpus beside the project: its files and what independent
// tools said about them.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace zopra::test {

struct OracleRow {
  std::string file;
  int pdfinfoPages = -1;  // -1 when pdfinfo could not open the file
  bool encrypted = false;
};

// Every *.pdf of the corpus folder, sorted; empty when the folder is absent.
std::vector<std::string> corpusFiles();
// ORACLE.tsv keyed by file name.
std::map<std::string, OracleRow> corpusOracle();
// The standard output of a shell command.
std::string capture(const std::string& command);
// The F1 score of two word multisets (word -> count): 1 for two empty ones.
double wordF1(const std::map<std::string, int>& ours, const std::map<std::string, int>& theirs);

}  // namespace zopra::test
