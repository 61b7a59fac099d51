// A thread of its own that runs work in order.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace platform::local {

/// The thread starts with the first work. Work must not throw.
class SerialQueue {
 public:
  SerialQueue() = default;
  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;

  /// Waits for all queued work.
  ~SerialQueue();

  /// From any thread.
  void async(std::function<void()> work);

 private:
  void serve();

  std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<std::function<void()>> work_;
  bool isEnding_ = false;
  std::thread thread_;
};

}  // namespace platform::local
