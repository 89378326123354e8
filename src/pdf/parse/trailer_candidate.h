// The rule that picks the trailer among several candidates: one holding
// "Root" beats one without; between equals the later one in the file wins.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>

#include "pdf/model/value.h"

namespace zopra::pdf {

class TrailerCandidate {
 public:
  void offer(Value dictionary, std::uint64_t offset) {
    if (!dictionary.isDictionary()) return;
    bool hasRoot = dictionary.find("Root") != nullptr;
    if (chosen_) {
      if (hasRoot_ && !hasRoot) return;
      if (hasRoot_ == hasRoot && offset_ >= offset) return;
    }
    chosen_ = std::move(dictionary);
    offset_ = offset;
    hasRoot_ = hasRoot;
  }

  bool present() const { return chosen_.has_value(); }
  bool hasRoot() const { return hasRoot_; }
  Value take() { return std::move(*chosen_); }

 private:
  std::optional<Value> chosen_;
  std::uint64_t offset_ = 0;
  bool hasRoot_ = false;
};

}  // namespace zopra::pdf
