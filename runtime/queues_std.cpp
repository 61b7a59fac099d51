// The queues of runtime/queues.h on std::thread.
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

#include "runtime/queues.h"

namespace runtime {
namespace {

struct MainQueue {
  std::mutex mutex;
  std::condition_variable arrived;
  std::deque<std::function<void()>> work;
};

/// Never destroyed: other threads may still use it while exit() runs.
MainQueue& mainQueue() {
  static auto* const queue = new MainQueue;
  return *queue;
}

}  // namespace

void asyncOnMainQueue(std::function<void()> work) {
  MainQueue& queue = mainQueue();
  {
    const std::lock_guard lock(queue.mutex);
    queue.work.push_back(std::move(work));
  }
  queue.arrived.notify_one();
}

void asyncOnWorkerPool(std::function<void()> work) { std::thread(std::move(work)).detach(); }

void serveMainQueue() {
  MainQueue& queue = mainQueue();
  for (;;) {
    std::unique_lock lock(queue.mutex);
    queue.arrived.wait(lock, [&queue] { return !queue.work.empty(); });
    const std::function<void()> work = std::move(queue.work.front());
    queue.work.pop_front();
    lock.unlock();
    work();
  }
}

}  // namespace runtime
