#include "app/serve.h"

#include <csignal>
#include <cstdlib>

#include "app/request_cycle.h"
#include "runtime/queues.h"

namespace app {

namespace {

/// A failed write is an answer, not the end of the process: neither a pipe whose reader is gone
/// nor the limit on a file's size ends it. And a child's end is to be waited for, whatever the
/// host has inherited to us.
void setSignals() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  std::signal(SIGCHLD, SIG_DFL);
}

}  // namespace

void serve(photos::Platform& platform) {
  setSignals();
  runtime::asyncOnMainQueue([&platform] {
    runtime::asyncOnWorkerPool([&platform] {
      run(platform);
      runtime::asyncOnMainQueue([] { std::exit(0); });
    });
  });
  runtime::serveMainQueue();
}

}  // namespace app
