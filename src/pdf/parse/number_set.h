// A set of object numbers that stays small for the dense numbering of real
// files: a bitmap for numbers below 2^24 (at most 2 MiB, grown on demand) and a
// hash set for the rare larger ones.
#pragma once

#include <cstdint>
#include <unordered_set>
#include <vector>

namespace zopra::pdf {

class NumberSet {
 public:
  // Adds `number`; false when it was already present.
  bool insert(std::uint32_t number) {
    if (number >= kBitmapLimit) return large_.insert(number).second;
    std::size_t word = number / 64;
    if (word >= bits_.size()) bits_.resize(word + 1 + bits_.size() / 2, 0);
    std::uint64_t mask = std::uint64_t{1} << (number % 64);
    if (bits_[word] & mask) return false;
    bits_[word] |= mask;
    return true;
  }

  bool contains(std::uint32_t number) const {
    if (number >= kBitmapLimit) return large_.count(number) != 0;
    std::size_t word = number / 64;
    return word < bits_.size() && (bits_[word] >> (number % 64) & 1) != 0;
  }

 private:
  static constexpr std::uint32_t kBitmapLimit = 1u << 24;
  std::vector<std::uint64_t> bits_;
  std::unordered_set<std::uint32_t> large_;
};

}  // namespace zopra::pdf
