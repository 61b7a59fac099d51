// photos-helper: serves the user's Photos library over standard input and output.

#include "app/serve.h"
#include "platform/system_platform.h"

int main() {
  // Static, so that exit() releases the library in order.
  static const auto platform = platform::makeSystemPlatform();
  app::serve(*platform);
}
