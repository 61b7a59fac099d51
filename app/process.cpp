#include "app/process.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <initializer_list>

namespace app {

void setUpProcess() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    const int flags = fcntl(stream, F_GETFL);
    if (flags < 0) {
      // open() gives the lowest free descriptor, which is this one.
      static_cast<void>(open("/dev/null", O_RDWR));
    } else if (stream != STDERR_FILENO) {
      fcntl(stream, F_SETFL, flags & ~O_NONBLOCK);
    }
  }
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  std::signal(SIGCHLD, SIG_DFL);
}

}  // namespace app
