// LZWDecode: variable-width codes (9 to 12 bits, most significant bit first)
// over a dictionary that starts with the 256 single bytes, code 256 clearing
// it and code 257 ending the data.
#include <cstdint>
#include <memory>

#include "pdf/filters/filters.h"
#include "pdf/model/error.h"

namespace zopra::pdf {

namespace {

constexpr std::uint32_t kClear = 256;
constexpr std::uint32_t kEnd = 257;
constexpr std::uint32_t kFirstFree = 258;
constexpr std::uint32_t kTableSize = 4096;
constexpr unsigned kMaxWidth = 12;

// Reads codes of a given width from the input, most significant bit first.
class CodeReader {
 public:
  explicit CodeReader(const Bytes& input) : input_(input) {}

  // False once fewer than `width` bits are left.
  bool read(unsigned width, std::uint32_t& code) {
    while (bitCount_ < width) {
      if (position_ >= input_.size()) return false;
      bits_ = (bits_ << 8) | input_[position_++];
      bitCount_ += 8;
    }
    bitCount_ -= width;
    code = static_cast<std::uint32_t>(bits_ >> bitCount_) & ((1u << width) - 1);
    return true;
  }

 private:
  const Bytes& input_;
  std::size_t position_ = 0;
  std::uint32_t bits_ = 0;
  unsigned bitCount_ = 0;
};

// The dictionary as a tree: every entry is an earlier entry plus one byte,
// so the table costs a few bytes per entry whatever the string lengths.
class Dictionary {
 public:
  Dictionary() {
    for (std::uint32_t i = 0; i < 256; ++i) {
      prefix_[i] = kTableSize;
      last_[i] = static_cast<std::uint8_t>(i);
      first_[i] = static_cast<std::uint8_t>(i);
      length_[i] = 1;
    }
  }

  void add(std::uint32_t code, std::uint32_t prefix, std::uint8_t last) {
    prefix_[code] = prefix;
    last_[code] = last;
    first_[code] = first_[prefix];
    length_[code] = static_cast<std::uint16_t>(length_[prefix] + 1);
  }

  std::uint8_t first(std::uint32_t code) const { return first_[code]; }

  // Appends the string of `code` to `output`.
  void append(std::uint32_t code, Bytes& output) const {
    std::size_t end = output.size() + length_[code];
    output.resize(end);
    for (std::size_t at = end; code != kTableSize; code = prefix_[code]) output[--at] = last_[code];
  }

  std::uint16_t length(std::uint32_t code) const { return length_[code]; }

 private:
  std::uint32_t prefix_[kTableSize] = {};
  std::uint8_t last_[kTableSize] = {};
  std::uint8_t first_[kTableSize] = {};
  std::uint16_t length_[kTableSize] = {};
};

// Decodes the codes; with `output` the bytes are appended to it, without
// only counted. Returns the count.
std::size_t decodeCodes(const Bytes& input, std::uint32_t early, std::size_t limit, Bytes* output) {
  auto dictionary = std::make_unique<Dictionary>();
  CodeReader reader(input);
  std::size_t total = 0;
  std::uint32_t next = kFirstFree;
  unsigned width = 9;
  bool havePrevious = false;
  std::uint32_t previous = 0;
  std::uint32_t code = 0;
  while (reader.read(width, code)) {
    if (code == kEnd) break;
    if (code == kClear) {
      next = kFirstFree;
      width = 9;
      havePrevious = false;
      continue;
    }
    if (havePrevious) {
      if (code > next) throw Exception(Error::Stream, "invalid LZW stream");
      // The one code not yet in the table is the previous string plus its
      // own first byte.
      std::uint8_t firstByte = code < next ? dictionary->first(code) : dictionary->first(previous);
      if (next < kTableSize) {
        dictionary->add(next, previous, firstByte);
        ++next;
        if (next + early >= (1u << width) && width < kMaxWidth) ++width;
      }
    } else if (code >= 256) {
      throw Exception(Error::Stream, "invalid LZW stream");
    }
    checkDecodedSize(total + dictionary->length(code), limit);
    total += dictionary->length(code);
    if (output) dictionary->append(code, *output);
    previous = code;
    havePrevious = true;
  }
  return total;
}

}  // namespace

Bytes lzwDecode(const Bytes& input, int earlyChange, std::size_t limit) {
  // Anything but 0 means the usual early switch, as the common readers take it.
  const std::uint32_t early = earlyChange == 0 ? 0 : 1;
  // Counted first: a few kilobytes of codes can stand for hundreds of
  // megabytes, which then fail on the limit before anything is allocated.
  Bytes output;
  output.reserve(decodeCodes(input, early, limit, nullptr));
  decodeCodes(input, early, limit, &output);
  return output;
}

}  // namespace zopra::pdf
