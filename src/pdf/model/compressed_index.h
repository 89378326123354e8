// Where the objects of object streams are, by object number. Large files keep
// tens of thousands of objects in object streams, so the index is compact:
// (number, position) pairs sorted by number, and the stream of each run of
// consecutive pairs that share one stream (producers number the objects of a
// stream consecutively, so runs are long).
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace zopra::pdf {

// An object of an object stream whose value has not been parsed yet.
struct CompressedObject {
  std::uint32_t number = 0;
  std::uint32_t stream = 0;
  // Where the value starts in the stream's decoded bytes (decoded streams are
  // capped far below 4 GiB) ...
  std::uint32_t position = 0;
  // ... and where the next object of the stream starts, past which the
  // value cannot reach; 0 for the stream's last object.
  std::uint32_t end = 0;
};

class CompressedIndex {
 public:
  // Replaces the index; the entries' numbers must be unique.
  void assign(std::vector<CompressedObject> entries) {
    std::sort(entries.begin(), entries.end(),
              [](const CompressedObject& a, const CompressedObject& b) { return a.number < b.number; });
    entries_.clear();
    runs_.clear();
    entries_.reserve(entries.size());
    for (const CompressedObject& entry : entries) {
      if (runs_.empty() || runs_.back().second != entry.stream) {
        runs_.emplace_back(static_cast<std::uint32_t>(entries_.size()), entry.stream);
      }
      entries_.push_back({entry.number, entry.position, entry.end});
    }
    runs_.shrink_to_fit();
  }

  std::optional<CompressedObject> find(std::uint32_t number) const {
    auto it = std::lower_bound(entries_.begin(), entries_.end(), number,
                               [](const Entry& entry, std::uint32_t n) { return entry.number < n; });
    if (it == entries_.end() || it->number != number) return std::nullopt;
    auto index = static_cast<std::uint32_t>(it - entries_.begin());
    auto run = std::upper_bound(runs_.begin(), runs_.end(), index,
                                [](std::uint32_t i, const auto& r) { return i < r.first; });
    return CompressedObject{number, std::prev(run)->second, it->position, it->end};
  }

  bool contains(std::uint32_t number) const { return find(number).has_value(); }
  bool empty() const { return entries_.empty(); }
  std::size_t size() const { return entries_.size(); }
  std::uint32_t highest() const { return entries_.empty() ? 0 : entries_.back().number; }
  // The object number of the index-th entry, in ascending order (index < size()).
  std::uint32_t numberAt(std::size_t index) const { return entries_[index].number; }
  void clear() {
    entries_.clear();
    runs_.clear();
  }

 private:
  struct Entry {
    std::uint32_t number;
    std::uint32_t position;
    std::uint32_t end;
  };
  std::vector<Entry> entries_;
  // (index of the first entry of a run, its object stream)
  std::vector<std::pair<std::uint32_t, std::uint32_t>> runs_;
};

}  // namespace zopra::pdf
