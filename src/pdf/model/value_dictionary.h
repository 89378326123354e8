// The entries of a PDF dictionary, ordered by plain byte comparison of the
// key. Kept in one sorted vector rather than a tree: dictionaries are small,
// looked up far more often than changed, and a document holds tens of
// thousands of them, so a node per entry would dominate its memory.
#pragma once

#include <algorithm>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zopra::pdf {

template <typename V>
class BasicDictionary {
 public:
  using value_type = std::pair<std::string, V>;
  using iterator = typename std::vector<value_type>::iterator;
  using const_iterator = typename std::vector<value_type>::const_iterator;

  // The special members are defined after the class: the value type is
  // still incomplete where a Value declares its dictionary member.
  BasicDictionary();
  ~BasicDictionary();
  BasicDictionary(const BasicDictionary& other);
  BasicDictionary(BasicDictionary&& other) noexcept;
  BasicDictionary& operator=(const BasicDictionary& other);
  BasicDictionary& operator=(BasicDictionary&& other) noexcept;
  // Like a map built from a list: the first of repeated keys is kept.
  BasicDictionary(std::initializer_list<value_type> entries) {
    for (const value_type& entry : entries) emplace(entry.first, entry.second);
  }

  // Builds a dictionary from entries in any order; of repeated keys the last
  // one wins, as in PDF syntax.
  static BasicDictionary fromEntries(std::vector<value_type> entries) {
    std::stable_sort(entries.begin(), entries.end(),
                     [](const value_type& a, const value_type& b) { return a.first < b.first; });
    BasicDictionary result;
    result.entries_.reserve(entries.size());
    for (value_type& entry : entries) {
      if (!result.entries_.empty() && result.entries_.back().first == entry.first) {
        result.entries_.back().second = std::move(entry.second);
      } else {
        result.entries_.push_back(std::move(entry));
      }
    }
    return result;
  }

  iterator begin() { return entries_.begin(); }
  iterator end() { return entries_.end(); }
  const_iterator begin() const { return entries_.begin(); }
  const_iterator end() const { return entries_.end(); }
  std::size_t size() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }
  void clear() { entries_.clear(); }

  iterator find(std::string_view key) {
    auto it = lowerBound(key);
    return it != entries_.end() && it->first == key ? it : entries_.end();
  }
  const_iterator find(std::string_view key) const {
    return const_cast<BasicDictionary*>(this)->find(key);
  }
  std::size_t count(std::string_view key) const { return find(key) != end() ? 1 : 0; }
  V& at(std::string_view key) { return find(key)->second; }

  template <typename K>
  std::pair<iterator, bool> emplace(K&& key, V value) {
    std::string_view view(key);
    auto it = lowerBound(view);
    if (it != entries_.end() && it->first == view) return {it, false};
    return {entries_.emplace(it, std::string(view), std::move(value)), true};
  }

  template <typename K>
  std::pair<iterator, bool> insert_or_assign(K&& key, V value) {
    std::string_view view(key);
    auto it = lowerBound(view);
    if (it != entries_.end() && it->first == view) {
      it->second = std::move(value);
      return {it, false};
    }
    return {entries_.emplace(it, std::string(view), std::move(value)), true};
  }

  template <typename K>
  V& operator[](K&& key) {
    return emplace(std::forward<K>(key), V()).first->second;
  }

  std::size_t erase(std::string_view key) {
    auto it = find(key);
    if (it == entries_.end()) return 0;
    entries_.erase(it);
    return 1;
  }
  iterator erase(iterator position) { return entries_.erase(position); }

  void shrinkToFit() { entries_.shrink_to_fit(); }

 private:
  iterator lowerBound(std::string_view key) {
    return std::lower_bound(entries_.begin(), entries_.end(), key,
                            [](const value_type& entry, std::string_view k) { return entry.first < k; });
  }

  std::vector<value_type> entries_;
};

template <typename V>
BasicDictionary<V>::BasicDictionary() = default;
template <typename V>
BasicDictionary<V>::~BasicDictionary() = default;
template <typename V>
BasicDictionary<V>::BasicDictionary(const BasicDictionary& other) = default;
template <typename V>
BasicDictionary<V>::BasicDictionary(BasicDictionary&& other) noexcept = default;
template <typename V>
BasicDictionary<V>& BasicDictionary<V>::operator=(const BasicDictionary& other) = default;
template <typename V>
BasicDictionary<V>& BasicDictionary<V>::operator=(BasicDictionary&& other) noexcept = default;

}  // namespace zopra::pdf
