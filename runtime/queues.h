// The two places where work runs: the main queue, served by the main thread, and the shared worker
// pool. On macOS they are libdispatch's.
//
// Work is called once, on its queue's thread, and must not throw. Work still queued when the
// process exits is never called.
#pragma once

#include <functional>

namespace runtime {

/// Queues work for the main thread, in order. From any thread.
void asyncOnMainQueue(std::function<void()> work);

/// Queues work for a thread of the worker pool. From any thread.
void asyncOnWorkerPool(std::function<void()> work);

/// Serves the main queue for ever. Called once, by the main thread.
[[noreturn]] void serveMainQueue();

}  // namespace runtime
