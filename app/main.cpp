// photos-helper: serves the user's Photos library over standard input and output.

#include <cstdlib>
#include <exception>

#include "app/process.h"
#include "app/serve.h"
#include "platform/system_platform.h"

int main() {
  app::setUpProcess();
  try {
    // Static, so that exit() releases the library in order.
    static const auto platform = platform::makeSystemPlatform();
    app::serve(*platform);
  } catch (const std::exception&) {
    // There is no memory, or no thread can be had. The helper writes nothing but answers.
    return EXIT_FAILURE;
  }
}
