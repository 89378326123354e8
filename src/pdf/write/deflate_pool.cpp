#include "pdf/write/deflate_pool.h"

#include <utility>

#include "pdf/write/content_strings.h"
#include "pdf/write/document_writer.h"

namespace zopra::pdf {

DeflatePool::DeflatePool(unsigned threads) {
  if (threads == 0) threads = 1;
  workers_.reserve(threads);
  for (unsigned i = 0; i < threads; ++i) workers_.emplace_back([this] { work(); });
}

DeflatePool::~DeflatePool() {
  {
    std::lock_guard<std::mutex> guard(lock_);
    stopping_ = true;
  }
  ready_.notify_all();
  for (std::thread& worker : workers_) worker.join();
}

std::future<Bytes> DeflatePool::submit(const Bytes* plain, std::shared_ptr<const Bytes> owned, bool literal) {
  std::packaged_task<Bytes()> task([plain, owned = std::move(owned), literal] {
    const Bytes& bytes = owned ? *owned : *plain;
    return deflateBytes(literal ? literalContentStrings(bytes) : bytes);
  });
  std::future<Bytes> result = task.get_future();
  {
    std::lock_guard<std::mutex> guard(lock_);
    tasks_.push_back(std::move(task));
  }
  ready_.notify_one();
  return result;
}

bool DeflatePool::runOne() {
  std::packaged_task<Bytes()> task;
  {
    std::lock_guard<std::mutex> guard(lock_);
    if (tasks_.empty()) return false;
    task = std::move(tasks_.front());
    tasks_.pop_front();
  }
  task();
  return true;
}

void DeflatePool::work() {
  for (;;) {
    std::packaged_task<Bytes()> task;
    {
      std::unique_lock<std::mutex> guard(lock_);
      ready_.wait(guard, [this] { return stopping_ || !tasks_.empty(); });
      // Queued streams are deflated even when stopping: their futures may
      // still be waited for.
      if (tasks_.empty()) return;
      task = std::move(tasks_.front());
      tasks_.pop_front();
    }
    // A failure (no memory, a zlib error) reaches the waiting future.
    task();
  }
}

}  // namespace zopra::pdf
