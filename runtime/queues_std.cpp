#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

#include "runtime/queues.h"

namespace runtime {
namespace {

class WorkQueue {
 public:
  void push(std::function<void()> work) {
    {
      const std::lock_guard lock(mutex_);
      work_.push_back(std::move(work));
    }
    arrived_.notify_one();
  }

  [[noreturn]] void serve() {
    for (;;) {
      next()();
    }
  }

 private:
  std::function<void()> next() {
    std::unique_lock lock(mutex_);
    arrived_.wait(lock, [this] { return !work_.empty(); });
    std::function<void()> work = std::move(work_.front());
    work_.pop_front();
    return work;
  }

  std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<std::function<void()>> work_;
};

// Both queues live for ever: their threads still wait on them while exit() tears the process down.

WorkQueue& mainQueue() {
  static auto* const queue = new WorkQueue;
  return *queue;
}

WorkQueue& workerPool() {
  static auto* const queue = [] {
    auto* const pool = new WorkQueue;
    const unsigned threads = std::max(2U, std::thread::hardware_concurrency());
    for (unsigned thread = 0; thread < threads; ++thread) {
      std::thread([pool] { pool->serve(); }).detach();
    }
    return pool;
  }();
  return *queue;
}

}  // namespace

void asyncOnMainQueue(std::function<void()> work) { mainQueue().push(std::move(work)); }

void asyncOnWorkerPool(std::function<void()> work) { workerPool().push(std::move(work)); }

void serveMainQueue() { mainQueue().serve(); }

}  // namespace runtime
