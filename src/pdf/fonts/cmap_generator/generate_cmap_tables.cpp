// Build-time generator of the predefined Adobe-Japan1 CMap tables.
//
// Usage: generate_cmap_tables <CMap folder> <CID-to-Unicode file> <output .cpp>
//
// Reads the Adobe-Japan1 CMap files (code to CID, with usecmap, cidrange,
// cidchar, notdefrange and code space ranges) and the CID-to-Unicode list
// (one hexadecimal code point per line, line index = CID), composes them and
// writes one constant array per CMap plus its code space ranges and a name
// registry. The output is compiled into the engine, so nothing is read from
// disk at run time.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

struct KnownCMap {
  const char* name;    // CMap name without "-H"/"-V"
  const char* suffix;  // array name suffix
};

constexpr KnownCMap kTables[] = {
    {"Identity", "Identity"},
    {"H", "H"},
    {"RKSJ", "Rksj"},
    {"EUC", "Euc"},
    {"90ms-RKSJ", "90ms_rksj"},
    {"90msp-RKSJ", "90msp_rksj"},
    {"90pv-RKSJ", "90pv_rksj"},
    {"78", "78"},
    {"78-RKSJ", "78_rksj"},
    {"78ms-RKSJ", "78ms_rksj"},
    {"78-EUC", "78_euc"},
    {"83pv-RKSJ", "83pv_rksj"},
    {"Add", "Add"},
    {"Add-RKSJ", "Add_rksj"},
    {"Ext", "Ext"},
    {"Ext-RKSJ", "Ext_rksj"},
    {"NWP", "Nwp"},
    {"UniJIS-UCS2", "Unijis_ucs2"},
    {"UniJIS-UCS2-HW", "Unijis_ucs2_hw"},
    {"UniJIS-UTF8", "Unijis_utf8"},
    {"UniJIS-UTF16", "Unijis_utf16"},
    {"UniJIS-UTF32", "Unijis_utf32"},
    {"UniJIS2004-UTF8", "Unijis2004_utf8"},
    {"UniJIS2004-UTF16", "Unijis2004_utf16"},
    {"UniJIS2004-UTF32", "Unijis2004_utf32"},
    {"UniJISX0213-UTF32", "UnijisX0213_utf32"},
    {"UniJISX02132004-UTF32", "UnijisX02132004_utf32"},
    {"Hiragana", "Hiragana"},
    {"Katakana", "Katakana"},
    {"Hankaku", "Hankaku"},
    {"Roman", "Roman"},
    {"WP-Symbol", "Wp_Symbol"},
};

// The CID-to-Unicode list maps the half-width space (CID 231) to U+00A0 and
// leaves the half-width tilde (CID 325) unmapped. Single-byte text shown with
// these CIDs (Roman, Shift-JIS ASCII range) is ordinary ASCII, so they are
// read as U+0020 and U+007E.
constexpr std::pair<std::uint32_t, std::uint32_t> kCidOverrides[] = {{231, 0x20}, {325, 0x7E}};

// Guards against a corrupt data file turning one range into a huge table.
constexpr std::uint64_t kMaxRangeSize = 1u << 20;
constexpr int kMaxUsecmapDepth = 8;

using Key = std::pair<std::uint32_t, std::uint32_t>;  // (byte length, code)

struct CodeRange {
  std::uint32_t byteLength;
  std::uint32_t low;
  std::uint32_t high;
  bool operator<(const CodeRange& other) const {
    return std::tie(byteLength, low, high) < std::tie(other.byteLength, other.low, other.high);
  }
  bool operator==(const CodeRange& other) const {
    return byteLength == other.byteLength && low == other.low && high == other.high;
  }
};

struct ParsedCMap {
  std::vector<CodeRange> codeSpace;
  std::map<Key, std::uint32_t> cids;
  std::map<Key, std::uint32_t> notdefs;
};

[[noreturn]] void fail(const std::string& message) { throw std::runtime_error(message); }

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::vector<std::string> tokenize(const std::string& text) {
  std::vector<std::string> tokens;
  std::size_t i = 0;
  while (i < text.size()) {
    const char c = text[i];
    if (c == '%') {
      while (i < text.size() && text[i] != '\n' && text[i] != '\r') ++i;
    } else if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f') {
      ++i;
    } else if (c == '<') {
      const std::size_t end = text.find('>', i);
      if (end == std::string::npos) fail("unterminated hex string");
      tokens.push_back(text.substr(i, end + 1 - i));
      i = end + 1;
    } else {
      const std::size_t start = i;
      while (i < text.size() && text[i] != ' ' && text[i] != '\t' && text[i] != '\n' &&
             text[i] != '\r' && text[i] != '%' && text[i] != '<')
        ++i;
      tokens.push_back(text.substr(start, i - start));
    }
  }
  return tokens;
}

bool isHexCode(const std::string& token) { return token.size() >= 2 && token.front() == '<'; }

// A code written as <hex>: its byte length and value.
Key parseCode(const std::string& token) {
  if (!isHexCode(token)) fail("expected a hex code, found '" + token + "'");
  const std::string digits = token.substr(1, token.size() - 2);
  if (digits.empty() || digits.size() % 2 != 0 || digits.size() > 8)
    fail("bad code length in " + token);
  std::uint32_t value = 0;
  for (char c : digits) {
    const int d = hexDigit(c);
    if (d < 0) fail("bad hex digit in " + token);
    value = value * 16 + static_cast<std::uint32_t>(d);
  }
  return {static_cast<std::uint32_t>(digits.size() / 2), value};
}

std::uint32_t parseCid(const std::string& token) {
  if (token.empty() || token.size() > 6) fail("bad CID '" + token + "'");
  std::uint32_t value = 0;
  for (char c : token) {
    if (c < '0' || c > '9') fail("bad CID '" + token + "'");
    value = value * 10 + static_cast<std::uint32_t>(c - '0');
  }
  return value;
}

std::string readText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) fail("cannot read " + path);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

void addRange(std::map<Key, std::uint32_t>& target, const Key& low, const Key& high,
              std::uint32_t cid) {
  if (low.first != high.first || high.second < low.second) fail("bad code range");
  if (std::uint64_t{high.second} - low.second >= kMaxRangeSize) fail("code range too large");
  for (std::uint64_t code = low.second; code <= high.second; ++code)
    target[{low.first, static_cast<std::uint32_t>(code)}] =
        cid + static_cast<std::uint32_t>(code - low.second);
}

// Reads one CMap file; a usecmap parent is read first so that the file's own
// mappings override it.
void parseCMap(const std::string& folder, const std::string& fileName, ParsedCMap& out,
               int depth) {
  if (depth > kMaxUsecmapDepth) fail("usecmap chain too deep at " + fileName);
  const std::vector<std::string> tokens = tokenize(readText(folder + "/" + fileName));
  const std::size_t n = tokens.size();
  for (std::size_t i = 0; i < n; ++i) {
    const std::string& t = tokens[i];
    if (t == "usecmap") {
      if (i == 0 || tokens[i - 1].size() < 2 || tokens[i - 1][0] != '/')
        fail("usecmap without a name in " + fileName);
      parseCMap(folder, tokens[i - 1].substr(1), out, depth + 1);
    } else if (t == "begincodespacerange") {
      for (++i; i < n && tokens[i] != "endcodespacerange"; i += 2) {
        if (i + 1 >= n) fail("truncated code space in " + fileName);
        const Key low = parseCode(tokens[i]);
        const Key high = parseCode(tokens[i + 1]);
        if (low.first != high.first) fail("mixed code space lengths in " + fileName);
        out.codeSpace.push_back({low.first, low.second, high.second});
      }
    } else if (t == "begincidrange" || t == "beginnotdefrange") {
      auto& target = t == "begincidrange" ? out.cids : out.notdefs;
      const std::string end = t == "begincidrange" ? "endcidrange" : "endnotdefrange";
      for (++i; i < n && tokens[i] != end; i += 3) {
        if (i + 2 >= n) fail("truncated range in " + fileName);
        addRange(target, parseCode(tokens[i]), parseCode(tokens[i + 1]), parseCid(tokens[i + 2]));
      }
    } else if (t == "begincidchar") {
      for (++i; i < n && tokens[i] != "endcidchar"; i += 2) {
        if (i + 1 >= n) fail("truncated cidchar in " + fileName);
        out.cids[parseCode(tokens[i])] = parseCid(tokens[i + 1]);
      }
    }
  }
}

std::vector<std::uint32_t> readCidToUnicode(const std::string& path) {
  std::vector<std::uint32_t> table;
  std::istringstream lines(readText(path));
  std::string line;
  while (std::getline(lines, line)) {
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
    std::uint32_t value = 0;
    if (line.size() > 8) fail("bad CID-to-Unicode line " + std::to_string(table.size() + 1));
    for (char c : line) {
      const int d = hexDigit(c);
      if (d < 0) fail("bad CID-to-Unicode line " + std::to_string(table.size() + 1));
      value = value * 16 + static_cast<std::uint32_t>(d);
    }
    table.push_back(value);
  }
  for (const auto& [cid, codePoint] : kCidOverrides)
    if (cid < table.size()) table[cid] = codePoint;
  return table;
}

std::uint32_t unicodeOf(const std::vector<std::uint32_t>& cidToUnicode, std::uint32_t cid) {
  return cid < cidToUnicode.size() ? cidToUnicode[cid] : 0;
}

bool fileExists(const std::string& path) { return std::ifstream(path).good(); }

struct Table {
  std::map<Key, std::uint32_t> entries;  // (byte length, code) -> code point
  std::vector<CodeRange> codeSpace;
};

Table buildTable(const KnownCMap& cmap, const std::string& folder,
                 const std::vector<std::uint32_t>& cidToUnicode) {
  Table table;
  const std::string name = cmap.name;
  if (name == "Identity") {
    for (std::uint32_t cid = 0; cid < cidToUnicode.size() && cid <= 0xFFFF; ++cid)
      if (cidToUnicode[cid] != 0) table.entries[{2, cid}] = cidToUnicode[cid];
    table.codeSpace.push_back({2, 0, 0xFFFF});
    return table;
  }
  // Horizontal and vertical variants share the horizontal file's table.
  std::string fileName = name + "-H";
  if (!fileExists(folder + "/" + fileName)) fileName = name;
  ParsedCMap parsed;
  parseCMap(folder, fileName, parsed, 0);
  for (const auto& [key, cid] : parsed.notdefs) parsed.cids.emplace(key, cid);

  // The UTF-8 tables record 1 for single-byte sequences and 2 for longer ones.
  const bool utf8 = name.find("UTF8") != std::string::npos;
  for (const auto& [key, cid] : parsed.cids) {
    const std::uint32_t codePoint = unicodeOf(cidToUnicode, cid);
    if (codePoint == 0) continue;
    const std::uint32_t byteLength = utf8 ? (key.first == 1 ? 1 : 2) : key.first;
    table.entries[{byteLength, key.second}] = codePoint;
  }
  for (const CodeRange& range : parsed.codeSpace)
    if (std::find(table.codeSpace.begin(), table.codeSpace.end(), range) == table.codeSpace.end())
      table.codeSpace.push_back(range);
  std::sort(table.codeSpace.begin(), table.codeSpace.end());
  if (table.entries.empty()) fail("no entries for CMap " + name);
  return table;
}

std::string hex(std::uint32_t value) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "0x%X", static_cast<unsigned>(value));
  return buffer;
}

void writeTable(std::ostream& out, const KnownCMap& cmap, const Table& table) {
  out << "\n// " << cmap.name << ": " << table.entries.size() << " entries\n";
  out << "const CMapEntry codeToUtf32TblForEnc" << cmap.suffix << "[] = {\n";
  int column = 0;
  for (const auto& [key, codePoint] : table.entries) {
    out << '{' << key.first << ',' << hex(key.second) << ',' << hex(codePoint) << "},";
    if (++column == 8) {
      out << '\n';
      column = 0;
    }
  }
  out << "{255,0xFFFFFFFF,0xFFFFFFFF}};\n";
  out << "const CodeSpaceRange codeSpaceForEnc" << cmap.suffix << "[] = {";
  for (const CodeRange& range : table.codeSpace)
    out << '{' << range.byteLength << ',' << hex(range.low) << ',' << hex(range.high) << "},";
  out << "{255,0xFFFFFFFF,0xFFFFFFFF}};\n";
}

void generate(const std::string& folder, const std::string& cidFile, const std::string& output) {
  const std::vector<std::uint32_t> cidToUnicode = readCidToUnicode(cidFile);
  if (cidToUnicode.empty()) fail("empty CID-to-Unicode file " + cidFile);

  std::ostringstream out;
  out << "// Generated by generate_cmap_tables from the Adobe-Japan1 CMap files and\n"
         "// CID-to-Unicode list of poppler-data. Do not edit.\n"
         "#include \"pdf/fonts/predefined_cmap_tables.h\"\n\n"
         "namespace zopra::pdf {\n";
  std::vector<std::size_t> sizes;
  for (const KnownCMap& cmap : kTables) {
    Table table = buildTable(cmap, folder, cidToUnicode);
    sizes.push_back(table.entries.size());
    writeTable(out, cmap, table);
  }
  out << "\nconst PredefinedCMapTable predefinedCMapTables[] = {\n";
  for (std::size_t i = 0; i < std::size(kTables); ++i)
    out << "    {\"" << kTables[i].name << "\", codeToUtf32TblForEnc" << kTables[i].suffix << ", "
        << sizes[i] << ", codeSpaceForEnc" << kTables[i].suffix << "},\n";
  out << "};\nconst std::size_t predefinedCMapTableCount = " << std::size(kTables) << ";\n\n"
      << "}  // namespace zopra::pdf\n";

  // Write to a temporary name first so an interrupted run leaves no half file.
  const std::string temporary = output + ".tmp";
  {
    std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
    if (!file) fail("cannot write " + temporary);
    file << out.str();
    if (!file.flush()) fail("cannot write " + temporary);
  }
  if (std::rename(temporary.c_str(), output.c_str()) != 0) fail("cannot rename to " + output);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: %s <CMap folder> <CID-to-Unicode file> <output.cpp>\n", argv[0]);
    return 2;
  }
  try {
    generate(argv[1], argv[2], argv[3]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "generate_cmap_tables: %s\n", error.what());
    return 1;
  }
  return 0;
}
