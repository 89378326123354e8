// Every position of one keyword in a buffer, found in a single pass the first
// time it is needed. A crafted file can hold thousands of streams that each
// search for "endstream" up to the end of the file; with the positions at
// hand each of those searches is a binary search.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pdf/model/value.h"

namespace zopra::pdf {

class KeywordIndex {
 public:
  KeywordIndex(ByteView bytes, std::string keyword) : bytes_(bytes), keyword_(std::move(keyword)) {}

  // The first occurrence at or after `from` that ends at or before `limit`,
  // or std::string_view::npos.
  std::size_t next(std::size_t from, std::size_t limit) const {
    if (!positions_) index();
    auto it = std::lower_bound(positions_->begin(), positions_->end(), from);
    if (it == positions_->end() || *it + keyword_.size() > limit) return std::string_view::npos;
    return static_cast<std::size_t>(*it);
  }

  // Forgets the positions; the buffer's contents changed.
  void reset() { positions_.reset(); }

 private:
  void index() const {
    positions_.emplace();
    std::string_view text(reinterpret_cast<const char*>(bytes_.data()), bytes_.size());
    for (std::size_t at = text.find(keyword_); at != std::string_view::npos;
         at = text.find(keyword_, at + 1)) {
      positions_->push_back(at);
    }
  }

  ByteView bytes_;
  std::string keyword_;
  mutable std::optional<std::vector<std::uint64_t>> positions_;
};

}  // namespace zopra::pdf
