// The two places where work runs: the main queue and the shared worker pool. On macOS they are
// libdispatch's.
//
// Work is called once and must not throw. Work still queued when the process exits is never called.
// The main queue's work is called in order, never two pieces at a time. On macOS the main thread
// ends in serveMainQueue(), and threads of the pool run the main queue's work: nothing may rely on
// the main thread's identity after start-up.
#pragma once

#include <functional>

namespace runtime {

/// Queues work for the main queue. From any thread.
void asyncOnMainQueue(std::function<void()> work);

/// Queues work for a thread of the worker pool. From any thread.
void asyncOnWorkerPool(std::function<void()> work);

/// Serves the main queue until the process exits. Called once, by the main thread, last.
[[noreturn]] void serveMainQueue();

}  // namespace runtime
