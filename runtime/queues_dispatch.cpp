// The queues of runtime/queues.h on libdispatch, through its interface of plain C functions.
#include <dispatch/dispatch.h>

#include <memory>
#include <utility>

#include "runtime/queues.h"

namespace runtime {
namespace {

void async(dispatch_queue_t queue, std::function<void()> work) {
  auto owned = std::make_unique<std::function<void()>>(std::move(work));
  dispatch_async_f(queue, owned.release(), [](void* context) {
    const std::unique_ptr<std::function<void()>> queued(
        static_cast<std::function<void()>*>(context));
    (*queued)();
  });
}

}  // namespace

void asyncOnMainQueue(std::function<void()> work) {
  async(dispatch_get_main_queue(), std::move(work));
}

void asyncOnWorkerPool(std::function<void()> work) {
  async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0), std::move(work));
}

/// Lets the main thread go: from then on a thread of the pool runs the main queue's work.
void serveMainQueue() { dispatch_main(); }

}  // namespace runtime
