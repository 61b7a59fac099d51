#include "platform/local/serial_queue.h"

#include <utility>

namespace platform::local {

SerialQueue::~SerialQueue() {
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
  }
  arrived_.notify_one();
  if (thread_.joinable()) {
    thread_.join();
  }
}

void SerialQueue::async(std::function<void()> work) {
  {
    const std::lock_guard lock(mutex_);
    work_.push_back(std::move(work));
    if (!thread_.joinable()) {
      thread_ = std::thread([this] { serve(); });
    }
  }
  arrived_.notify_one();
}

void SerialQueue::serve() {
  for (;;) {
    std::function<void()> work;
    {
      std::unique_lock lock(mutex_);
      arrived_.wait(lock, [this] { return isEnding_ || !work_.empty(); });
      if (work_.empty()) {
        return;
      }
      work = std::move(work_.front());
      work_.pop_front();
    }
    work();
  }
}

}  // namespace platform::local
