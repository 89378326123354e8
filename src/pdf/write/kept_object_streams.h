// Object streams of the input that the compact writer writes as they stand.
//
// Most objects of a large file sit in object streams and are written
// unchanged: decoding them, packing them into new object streams and
// deflating those again is a fifth of the time of writing an edited file.
// When every object a stream holds is current and unchanged (not replaced
// for the write, and, if parsed since, still what its text says), the
// stream's bytes are copied instead, and the cross-reference stream points
// into it. Its objects that nothing refers to any more stay listed there,
// as readers expect every object of an object stream to be.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "pdf/model/document.h"

namespace zopra::pdf {

class KeptObjectStreams {
 public:
  // `replacements` are the objects the writer writes in place of the
  // document's own.
  KeptObjectStreams(Document& document, const std::map<std::uint32_t, Object>& replacements)
      : document_(document), replacements_(replacements) {}

  // Where the object `found`, written unchanged, stays: its stream's number and its
  // index in it, when that stream is kept; nothing when the object is to
  // be written anew.
  std::optional<std::pair<std::uint32_t, std::uint32_t>> place(const CompressedObject& found);

  // The kept streams, in the order their first object was placed.
  const std::vector<std::uint32_t>& streams() const { return order_; }
  bool kept(std::uint32_t stream) const {
    auto slot = streams_.find(stream);
    return slot != streams_.end() && slot->second.keep;
  }

  // Object number and index of the objects the kept stream holds for the
  // file, by number.
  const std::vector<std::pair<std::uint32_t, std::uint32_t>>& held(std::uint32_t stream) const {
    return streams_.at(stream).index;
  }

  // The stream's object as it is written: its dictionary reduced to what
  // an object stream needs, its bytes those of the input.
  Object writtenStream(std::uint32_t stream) const;

 private:
  struct Stream {
    bool keep = false;
    bool placed = false;
    // Index in the stream of each object it holds for the file, by
    // number.
    std::vector<std::pair<std::uint32_t, std::uint32_t>> index;
  };

  Stream decide(std::uint32_t number);
  bool unchanged(const CompressedObject& found, const ObjectStreamData& data) const;

  Document& document_;
  const std::map<std::uint32_t, Object>& replacements_;
  std::unordered_map<std::uint32_t, Stream> streams_;
  // The stream place() looked at last: objects of one stream come in runs.
  std::uint32_t lastNumber_ = 0;
  Stream* last_ = nullptr;
  std::vector<std::uint32_t> order_;
};

}  // namespace zopra::pdf
