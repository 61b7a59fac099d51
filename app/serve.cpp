#include "app/serve.h"

#include <cstdlib>

#include "app/request_cycle.h"
#include "runtime/queues.h"

namespace app {

void serve(photos::Platform& platform) {
  runtime::asyncOnMainQueue([&platform] {
    runtime::asyncOnWorkerPool([&platform] {
      run(platform);
      runtime::asyncOnMainQueue([] { std::exit(0); });
    });
  });
  runtime::serveMainQueue();
}

}  // namespace app
