// Threads that deflate the streams of one write. Most streams are a few
// kilobytes: a thread started for each would cost more than its deflate,
// so a few threads live as long as the writer and take streams in turn.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "pdf/model/object.h"

namespace zopra::pdf {

class DeflatePool {
 public:
  // `threads` workers (at least one).
  explicit DeflatePool(unsigned threads);
  ~DeflatePool();
  DeflatePool(const DeflatePool&) = delete;
  DeflatePool& operator=(const DeflatePool&) = delete;

  // The deflated bytes of *plain (or of *owned when given), made on a
  // worker, with hex strings made literal first when `literal` (see
  // literalContentStrings). `plain` must stay put until the future is ready.
  std::future<Bytes> submit(const Bytes* plain, std::shared_ptr<const Bytes> owned, bool literal);

  // Runs the oldest stream not taken yet on the calling thread; false when
  // none is waiting. A writer waiting for a stream helps rather than idles.
  bool runOne();

 private:
  void work();

  std::mutex lock_;
  std::condition_variable ready_;
  std::deque<std::packaged_task<Bytes()>> tasks_;
  bool stopping_ = false;
  std::vector<std::thread> workers_;
};

}  // namespace zopra::pdf
