#include "pdf/fonts/tounicode_cmap.h"

#include <algorithm>
#include <map>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "pdf/content/content_lexer.h"
#include "pdf/fonts/unicode.h"

namespace zopra::pdf {

namespace {

// One bfrange maps at most this many codes (a full two-byte plane).
constexpr std::uint64_t kMaxRangeCodes = 65536;
// The map never holds more entries than this (two full two-byte planes) ...
constexpr std::size_t kMaxEntries = std::size_t{1} << 17;
// ... nor more code points in all its targets, nor more in one target than a
// destination string may hold ...
constexpr std::size_t kMaxPoints = std::size_t{1} << 20;
constexpr std::size_t kMaxTargetPoints = 512;
// ... and all bfranges of one CMap together visit at most this many codes, so
// that thousands of overlapping full-plane ranges cannot take unbounded time.
constexpr std::uint64_t kMaxRangeWork = 1u << 19;

enum class Section { None, CodeSpace, BfChar, BfRange };

bool isKeyword(const Token& token, const char* text) {
  return token.kind == Token::Kind::Keyword && token.text == text;
}

// A code written as a hexadecimal string of 1 to 4 bytes.
bool codeOf(const Token& token, std::uint32_t& code, std::uint32_t& byteLength) {
  if (token.kind != Token::Kind::String || token.text.empty() || token.text.size() > 4) return false;
  code = 0;
  for (char byte : token.text) code = (code << 8) | static_cast<unsigned char>(byte);
  byteLength = static_cast<std::uint32_t>(token.text.size());
  return true;
}

// Adds one to a big-endian byte string, carrying into the earlier bytes.
void increment(std::string& bytes) {
  for (auto it = bytes.rbegin(); it != bytes.rend(); ++it) {
    *it = static_cast<char>(static_cast<unsigned char>(*it) + 1);
    if (*it != 0) return;
  }
}

class CMapReader {
 public:
  void codeSpaceRange(const Token& low, const Token& high) {
    CodeSpaceRange range;
    std::uint32_t highLength = 0;
    if (!codeOf(low, range.low, range.byteLength) || !codeOf(high, range.high, highLength)) return;
    codeSpace_.push_back(range);
  }

  void bfChar(const Token& source, const Token& destination) {
    std::uint32_t code = 0;
    std::uint32_t length = 0;
    if (!codeOf(source, code, length) || destination.kind != Token::Kind::String) return;
    map(length, code, utf16be(destination.text));
  }

  void bfRange(const Token& lowToken, const Token& highToken, const Token& destination) {
    std::uint32_t low = 0;
    std::uint32_t high = 0;
    std::uint32_t length = 0;
    std::uint32_t highLength = 0;
    if (!codeOf(lowToken, low, length) || !codeOf(highToken, high, highLength) || high < low) return;
    std::uint64_t count = std::min<std::uint64_t>(std::uint64_t{high} - low + 1, kMaxRangeCodes);
    count = std::min(count, kMaxRangeWork - work_);
    if (destination.kind == Token::Kind::Array) {
      count = std::min<std::uint64_t>(count, destination.elements.size());
      for (std::uint64_t i = 0; i < count; ++i) {
        const Token& element = destination.elements[i];
        if (element.kind == Token::Kind::String) {
          map(length, low + static_cast<std::uint32_t>(i), utf16be(element.text));
        }
      }
    } else if (destination.kind == Token::Kind::String) {
      // Consecutive codes map to consecutive values of the destination string.
      std::string target = destination.text;
      for (std::uint64_t i = 0; i < count; ++i) {
        map(length, low + static_cast<std::uint32_t>(i), utf16be(target));
        increment(target);
      }
    }
    work_ += count;
  }

  ToUnicodeMap finish() { return compactToUnicodeMap(map_, std::move(codeSpace_)); }

 private:
  void map(std::uint32_t length, std::uint32_t code, std::vector<std::uint32_t> codePoints) {
    if (codePoints.size() > kMaxTargetPoints) codePoints.resize(kMaxTargetPoints);
    auto key = std::make_pair(length, code);
    auto found = map_.find(key);
    if (found == map_.end()) {
      if (map_.size() >= kMaxEntries || points_ + codePoints.size() > kMaxPoints) return;
      points_ += codePoints.size();
      map_.emplace(key, std::move(codePoints));
    } else if (points_ - found->second.size() + codePoints.size() <= kMaxPoints) {
      points_ = points_ - found->second.size() + codePoints.size();
      found->second = std::move(codePoints);
    }
  }

  ToUnicodeEntries map_;
  std::vector<CodeSpaceRange> codeSpace_;
  std::size_t points_ = 0;
  std::uint64_t work_ = 0;
};

}  // namespace

ToUnicodeMap compactToUnicodeMap(const ToUnicodeEntries& entries, std::vector<CodeSpaceRange> codeSpace) {
  ToUnicodeMap result;
  result.entries.reserve(entries.size());
  std::size_t total = 0;
  for (const auto& [key, codePoints] : entries) total += codePoints.size();
  result.points.reserve(total);
  for (const auto& [key, codePoints] : entries) {
    result.entries.push_back({key.first, key.second, static_cast<std::uint32_t>(result.points.size()),
                              static_cast<std::uint32_t>(codePoints.size())});
    result.points.insert(result.points.end(), codePoints.begin(), codePoints.end());
  }
  result.codeSpace = std::move(codeSpace);
  return result;
}

void addCodeSpaceRange(FontInfo& font, const CodeSpaceRange& range) {
  font.codeSpace.push_back(range);
  auto& lengths = font.codeLengths;
  if (std::find(lengths.begin(), lengths.end(), range.byteLength) == lengths.end()) {
    lengths.push_back(range.byteLength);
  }
}

ToUnicodeMap readToUnicodeCMap(const Bytes& data) {
  CMapReader reader;
  ContentLexer lexer(data);
  Section section = Section::None;
  std::vector<Token> operands;
  Token token;
  Token previous;
  bool havePrevious = false;
  while (lexer.next(token)) {
    if (token.kind == Token::Kind::Keyword) {
      // Any keyword ends the current section. A section starts only when the
      // declared entry count stands right before its keyword.
      section = Section::None;
      operands.clear();
      if (havePrevious && previous.kind == Token::Kind::Number && previous.number >= 1) {
        if (isKeyword(token, "begincodespacerange")) section = Section::CodeSpace;
        if (isKeyword(token, "beginbfchar")) section = Section::BfChar;
        if (isKeyword(token, "beginbfrange")) section = Section::BfRange;
      }
    } else if (section != Section::None) {
      operands.push_back(token);
      if (section == Section::CodeSpace && operands.size() == 2) {
        reader.codeSpaceRange(operands[0], operands[1]);
        operands.clear();
      } else if (section == Section::BfChar && operands.size() == 2) {
        reader.bfChar(operands[0], operands[1]);
        operands.clear();
      } else if (section == Section::BfRange && operands.size() == 3) {
        reader.bfRange(operands[0], operands[1], operands[2]);
        operands.clear();
      }
    }
    previous = std::move(token);
    havePrevious = true;
  }
  return reader.finish();
}

}  // namespace zopra::pdf
