#include "pdf/layout/block_text.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "pdf/content/text_merge.h"
#include "pdf/fonts/unicode.h"

namespace zopra::pdf {

namespace {

constexpr double kSpaceGap = 0.2;

bool isSpace(std::uint32_t c) { return c == 0x20 || c == 0x09 || c == 0x0A || c == 0x0D || c == 0xA0 || c == 0x3000; }

// Letters by their case, for Latin, Greek and Cyrillic text; anything else
// (digits, CJK, symbols) has no case.
bool isLower(std::uint32_t c) {
  if (c >= 'a' && c <= 'z') return true;
  if (c >= 0xDF && c <= 0xFF && c != 0xF7) return true;
  if (c >= 0x100 && c <= 0x17F) return (c & 1) == 1 || c == 0x138;
  if (c >= 0x3B1 && c <= 0x3C9) return true;
  if (c >= 0x430 && c <= 0x45F) return true;
  return c >= 0xFB00 && c <= 0xFB06;
}

bool isHyphen(std::uint32_t c) { return c == '-' || c == 0xAD || c == 0x2010; }

// The word [begin, end) holds the "://" of a web address.
bool holdsScheme(const std::uint32_t* begin, const std::uint32_t* end) {
  for (const std::uint32_t* c = begin; c + 2 < end; ++c) {
    if (c[0] == ':' && c[1] == '/' && c[2] == '/') return true;
  }
  return false;
}

// The last word of `text` is a web address ("http://...").
bool inAddress(const std::vector<std::uint32_t>& text) {
  std::size_t start = text.size();
  while (start > 0 && text[start - 1] != ' ') --start;
  return holdsScheme(text.data() + start, text.data() + text.size());
}

// A copy of `earlier` drawn again a little off its place: a shadow, or a
// bold face faked by drawing the text twice. Its glyphs are the same words.
constexpr double kShadowOffset = 0.25;  // em

bool shadowOf(const TextEntry& item, const TextEntry* earlier, double em) {
  return earlier && item.text == earlier->text && std::fabs(item.startX - earlier->startX) <= kShadowOffset * em &&
         std::fabs(item.startY - earlier->startY) <= kShadowOffset * em;
}

}  // namespace

std::string lineText(const std::vector<TextEntry>& items, const TextLine& line) {
  std::string text;
  const TextEntry* previous = nullptr;
  const double em = line.size > 0 ? line.size : 1;
  for (std::uint32_t index : line.items) {
    const TextEntry& item = items[index];
    if (shadowOf(item, previous, em)) continue;
    if (previous && !text.empty() && text.back() != ' ' && !item.text.empty() && item.text.front() != ' ') {
      const double gap = item.startX - previous->endX;
      if (gap > kSpaceGap * em || previous->trailingSpace || item.leadingSpace) text += ' ';
    }
    text += item.text;
    previous = &item;
  }
  return text;
}

std::string codeLineText(const std::vector<TextEntry>& items, const TextLine& line) {
  if (line.items.empty()) return std::string();
  const double em = line.size > 0 ? line.size : 1;
  // The pitch: the advance per character of the longest item without
  // trimmed white space.
  double pitch = 0;
  std::size_t longest = 0;
  for (std::uint32_t index : line.items) {
    const TextEntry& item = items[index];
    const std::size_t count = decodeUtf8(item.text, nullptr).size();
    if (item.leadingSpace || item.trailingSpace || count <= longest) continue;
    pitch = std::hypot(item.endX - item.startX, item.endY - item.startY) / static_cast<double>(count);
    longest = count;
  }
  if (!(pitch > 0.2 * em)) pitch = 0.6 * em;
  std::string text(std::min<std::uint32_t>(items[line.items[0]].leadingSpaces, 256), ' ');
  const TextEntry* previous = nullptr;
  for (std::uint32_t index : line.items) {
    const TextEntry& item = items[index];
    if (shadowOf(item, previous, em)) continue;
    if (previous) {
      const double gap = item.startX - previous->endX;
      long spaces = std::lround(std::min(gap, 256 * pitch) / pitch);
      if (spaces < 1 && (gap > kSpaceGap * em || previous->trailingSpace || item.leadingSpace)) spaces = 1;
      if (spaces > 0) text.append(static_cast<std::size_t>(spaces), ' ');
    }
    text += item.text;
    previous = &item;
  }
  return text;
}

// The line's first word reads as more of an address: it holds a slash, or
// a dot between letters ("dte.html"), unlike a word or a year after one,
// and starts no address of its own.
bool addressPart(const std::vector<std::uint32_t>& line) {
  std::size_t end = 0;
  while (end < line.size() && line[end] != ' ') ++end;
  if (holdsScheme(line.data(), line.data() + end)) return false;
  for (std::size_t k = 0; k < end; ++k) {
    const bool innerDot = line[k] == '.' && k > 0 && k + 1 < end && isAsciiLetter(line[k - 1]) &&
                          isAsciiLetter(line[k + 1]);
    if (line[k] == '/' || innerDot) return true;
  }
  return false;
}

bool unspacedScript(std::uint32_t c) { return cjkCharacter(c) && !(c >= 0xAC00 && c <= 0xD7AF); }

std::string joinLines(const std::vector<std::string>& lines) {
  std::vector<std::uint32_t> out;
  for (const std::string& raw : lines) {
    const std::vector<std::uint32_t> line = decodeUtf8(plainText(raw), nullptr);
    if (line.empty()) continue;
    if (!out.empty()) {
      const std::size_t n = out.size();
      if (isHyphen(out[n - 1])) {
        // A word that already holds a hyphen ("state-of-the-") is a
        // compound, and a web address ("http://research-") is broken at
        // its own hyphens: the hyphen at the line end is one of the word's.
        bool compound = inAddress(out);
        for (std::size_t k = n - 1; k > 0 && out[k - 1] != ' '; --k) compound = compound || isHyphen(out[k - 1]);
        const bool broken = n >= 2 && isLower(out[n - 2]) && isLower(line.front()) && !compound;
        // A soft hyphen is never part of the word.
        if (broken || out[n - 1] == 0xAD) out.pop_back();
      } else if (!(out[n - 1] == '/' && inAddress(out) && addressPart(line)) &&
                 !(unspacedScript(out[n - 1]) && unspacedScript(line.front()))) {
        // A web address broken after a slash goes on without a space, and
        // so do Chinese and Japanese, which put no spaces between words.
        out.push_back(' ');
      }
    }
    out.insert(out.end(), line.begin(), line.end());
  }
  return encodeUtf8(out);
}

namespace {

// One character, a ligature spelled out.
void appendSpelled(std::string& out, std::uint32_t c) {
  static const char* const kLigatures[] = {"ff", "fi", "fl", "ffi", "ffl", "st", "st"};
  if (c >= 0xFB00 && c <= 0xFB06) {
    out += kLigatures[c - 0xFB00];
  } else {
    out += encodeUtf8(c);
  }
}

}  // namespace

std::string plainText(const std::string& text) {
  std::string out;
  bool pendingSpace = false;
  for (std::uint32_t c : decodeUtf8(text, nullptr)) {
    if (isSpace(c)) {
      pendingSpace = !out.empty();
      continue;
    }
    if (pendingSpace) out += ' ';
    pendingSpace = false;
    appendSpelled(out, c);
  }
  return out;
}

std::string codeText(const std::string& text) {
  std::string out;
  for (std::uint32_t c : decodeUtf8(text, nullptr)) {
    if (isSpace(c)) {
      out += ' ';
    } else {
      appendSpelled(out, c);
    }
  }
  while (!out.empty() && out.back() == ' ') out.pop_back();
  return out;
}

}  // namespace zopra::pdf
