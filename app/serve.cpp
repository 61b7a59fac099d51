#include "app/serve.h"

#include <cstdlib>

#include "app/request_cycle.h"
#include "runtime/queues.h"

namespace app {

void serve(photos::Platform& platform, Observer* observer) {
  runtime::asyncOnMainQueue([&platform, observer] {
    runtime::asyncOnWorkerPool([&platform, observer] {
      run(platform, observer);
      runtime::asyncOnMainQueue([] { std::exit(0); });
    });
  });
  runtime::serveMainQueue();
}

}  // namespace app
