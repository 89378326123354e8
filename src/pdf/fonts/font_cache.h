// Fonts built from indirect font dictionaries, and ToUnicode maps parsed from
// streams, by object number: pages that share fonts share this work. Both are
// bounded in bytes; when a new entry would pass the budget, the entries used
// least recently are dropped (whoever still holds one keeps it alive).
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <unordered_map>
#include <utility>

#include "pdf/fonts/font_info.h"

namespace zopra::pdf {

template <typename T>
class BoundedCache {
 public:
  explicit BoundedCache(std::size_t budget) : budget_(budget) {}

  std::shared_ptr<T> find(std::uint32_t key) {
    auto it = index_.find(key);
    if (it == index_.end()) return nullptr;
    order_.splice(order_.end(), order_, it->second);  // now the most recent
    return it->second->value;
  }

  void put(std::uint32_t key, std::shared_ptr<T> value, std::size_t bytes) {
    erase(key);
    while (!order_.empty() && used_ + bytes > budget_) erase(order_.front().key);
    order_.push_back({key, std::move(value), bytes});
    index_[key] = std::prev(order_.end());
    used_ += bytes;
  }

  void clear() {
    order_.clear();
    index_.clear();
    used_ = 0;
  }

  // Drops one entry, if present.
  void forget(std::uint32_t key) { erase(key); }

  // A new budget; the least recent entries go until the rest fit.
  void setBudget(std::size_t budget) {
    budget_ = budget;
    while (order_.size() > 1 && used_ > budget_) erase(order_.front().key);
  }
  std::size_t budget() const { return budget_; }

  std::size_t used() const { return used_; }

 private:
  struct Item {
    std::uint32_t key;
    std::shared_ptr<T> value;
    std::size_t bytes;
  };

  void erase(std::uint32_t key) {
    auto it = index_.find(key);
    if (it == index_.end()) return;
    used_ -= it->second->bytes;
    order_.erase(it->second);
    index_.erase(it);
  }

  std::size_t budget_;
  std::size_t used_ = 0;
  std::list<Item> order_;
  std::unordered_map<std::uint32_t, typename std::list<Item>::iterator> index_;
};

struct FontCache {
  static constexpr std::size_t kFontBudget = std::size_t{8} << 20;
  static constexpr std::size_t kToUnicodeBudget = std::size_t{8} << 20;

  BoundedCache<FontInfo> fonts{kFontBudget};
  BoundedCache<const ToUnicodeMap> toUnicode{kToUnicodeBudget};

  void clear() {
    fonts.clear();
    toUnicode.clear();
  }
};

}  // namespace zopra::pdf
