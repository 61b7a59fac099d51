// A queue as the frameworks have them: its work runs in order, on a thread that is not the
// caller's.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>

namespace stand_in {

/// Work must not throw. A queue must live for ever, as its thread does: a thread that ends leaves
/// objects of Foundation's for later.
class Queue {
 public:
  /// From any thread.
  void async(std::function<void()> work) {
    const std::lock_guard lock(mutex_);
    work_.push_back(std::move(work));
    if (!std::exchange(isServed_, true)) {
      std::thread([this] { serve(); }).detach();
    }
    arrived_.notify_one();
  }

 private:
  [[noreturn]] void serve() {
    for (std::unique_lock lock(mutex_);; lock.lock()) {
      arrived_.wait(lock, [this] { return !work_.empty(); });
      const std::function<void()> work = std::move(work_.front());
      work_.pop_front();
      lock.unlock();
      work();
    }
  }

  std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<std::function<void()>> work_;
  bool isServed_ = false;
};

}  // namespace stand_in
